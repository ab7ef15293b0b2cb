#include "player/DemodBackgroundThread.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "analysis/AnalysisWindow.h"
#include "core/AppState.h"
#include "core/Int16Samples.h"
#include "core/Log.h"
#include "core/RegisteredMessages.h"
#include "dsp/DSPDemodMain.h"
#include "dsp/SpectrumKernel.h"
#include "recording/IQSampleConverter.h"
#include "recording/SeriesPosition.h"

namespace {

constexpr int kPacing = CAudioOutput::kPacingQueued;


std::uint64_t ToValue(CMessageTarget* pTarget) { return reinterpret_cast<std::uintptr_t>(pTarget); }
CMessageTarget* ToTarget(std::uint64_t nValue) {
  return reinterpret_cast<CMessageTarget*>(static_cast<std::uintptr_t>(nValue));
}

}  // namespace

CDemodBackgroundThread::CDemodBackgroundThread(std::shared_ptr<CAudioBackend> pBackend)
    : m_audio(*this, std::move(pBackend)) {
  SetThreadName("Demod");
  ThrottleQueueReports();
}

CDemodBackgroundThread::~CDemodBackgroundThread() {
  StopThread();
  // Closing hands back queued buffers, whose completions may still ask for a block: the
  // queue they go to belongs to the base and is still alive here.
  m_audio.Close();
  m_recorder.Stop();
}

// ---- Commands -------------------------------------------------------------------------

void CDemodBackgroundThread::SendConfigureSpectrumTap(int nIndex, bool bEnable, int nLinesPerSecond,
                                                      std::uint64_t nDestination) {
  auto p = std::make_unique<CDemodBkgPacket>(DEMOD_CMD_SPECTRUM_TAP, bEnable ? 1 : 0, nLinesPerSecond);
  p->m_dValue = nIndex;
  p->m_nValue = nDestination;
  QueuePacket(std::move(p));
}

void CDemodBackgroundThread::SendRebuildDemod() {
  QueuePacket(std::make_unique<CDemodBkgPacket>(DEMOD_CMD_REBUILD_DEMOD));
}

void CDemodBackgroundThread::SendInitDisplayFFT() {
  QueuePacket(std::make_unique<CDemodBkgPacket>(DEMOD_CMD_INIT_DISPLAY_FFT));
}

void CDemodBackgroundThread::SendOpenFile(CMessageTarget* pNotify, const std::string& strFile, std::uint32_t nOffset,
                                          bool bOnlyIfOpen) {
  auto p = std::make_unique<CDemodBkgPacket>(DEMOD_CMD_OPEN_FILE, static_cast<std::int32_t>(nOffset),
                                             bOnlyIfOpen ? 1 : 0);
  p->m_nValue = ToValue(pNotify);
  p->m_str1 = strFile;
  QueuePacket(std::move(p));
}

void CDemodBackgroundThread::SendOpenAudio() { QueuePacket(std::make_unique<CDemodBkgPacket>(DEMOD_CMD_OPEN_AUDIO)); }

void CDemodBackgroundThread::SendPause(bool bPaused) {
  QueuePacket(std::make_unique<CDemodBkgPacket>(DEMOD_CMD_PAUSE, bPaused ? 1 : 0));
}

void CDemodBackgroundThread::SendPassBand(int nFilterLowHz, int nFilterHighHz) {
  QueuePacket(std::make_unique<CDemodBkgPacket>(DEMOD_CMD_PASS_BAND, nFilterLowHz, nFilterHighHz));
}

void CDemodBackgroundThread::SendDisplayFFT(std::uint32_t nSize, int nOverlapPercent) {
  QueuePacket(std::make_unique<CDemodBkgPacket>(DEMOD_CMD_DISPLAY_FFT, static_cast<std::int32_t>(nSize),
                                                nOverlapPercent));
}

void CDemodBackgroundThread::SendTuningOffset(int nOffsetHz) {
  QueuePacket(std::make_unique<CDemodBkgPacket>(DEMOD_CMD_TUNING_OFFSET, nOffsetHz));
}

void CDemodBackgroundThread::SendMode(int nMode) {
  QueuePacket(std::make_unique<CDemodBkgPacket>(DEMOD_CMD_MODE, nMode));
}

void CDemodBackgroundThread::SendAudioDevice(std::uint32_t nDeviceID, const std::string& strName) {
  auto p = std::make_unique<CDemodBkgPacket>(DEMOD_CMD_AUDIO_DEVICE, static_cast<std::int32_t>(nDeviceID));
  p->m_str1 = strName;
  QueuePacket(std::move(p));
}

void CDemodBackgroundThread::SendSquelch(int nLevel) {
  QueuePacket(std::make_unique<CDemodBkgPacket>(DEMOD_CMD_SQUELCH, nLevel));
}

void CDemodBackgroundThread::SendNoiseBlanker(bool bEnabled) {
  QueuePacket(std::make_unique<CDemodBkgPacket>(DEMOD_CMD_NOISE_BLANKER, bEnabled ? 1 : 0));
}

void CDemodBackgroundThread::SendNoiseReduction(int nMethod) {
  QueuePacket(std::make_unique<CDemodBkgPacket>(DEMOD_CMD_NOISE_REDUCTION, nMethod));
}

void CDemodBackgroundThread::SendStop() { QueuePacket(std::make_unique<CDemodBkgPacket>(DEMOD_CMD_STOP)); }

void CDemodBackgroundThread::SendRecordingMetadata(int nSlot, const std::string& strText) {
  auto p = std::make_unique<CDemodBkgPacket>(DEMOD_CMD_RECORD_METADATA, nSlot);
  p->m_str1 = strText;
  QueuePacket(std::move(p));
}

void CDemodBackgroundThread::SendStartRecording(CMessageTarget* pNotify, int eFormat, const std::string& strFolder,
                                                const std::string& strFileName) {
  auto p = std::make_unique<CDemodBkgPacket>(DEMOD_CMD_RECORD_START, eFormat);
  p->m_nValue = ToValue(pNotify);
  p->m_str1 = strFolder;
  p->m_str2 = strFileName;
  QueuePacket(std::move(p));
}

void CDemodBackgroundThread::SendStopRecording() {
  QueuePacket(std::make_unique<CDemodBkgPacket>(DEMOD_CMD_RECORD_STOP));
}

void CDemodBackgroundThread::RequestNextBlock() {
  if (AppState::bShuttingDown.load()) return;
  ReplaceQueued(DEMOD_CMD_NEXT_BLOCK, std::make_unique<CDemodBkgPacket>(DEMOD_CMD_NEXT_BLOCK));
}

// ---- Fields written by the view -------------------------------------------------------

void CDemodBackgroundThread::SetSeries(const std::vector<std::string>& astrFiles,
                                       const std::vector<std::uint32_t>& anSizes) {
  std::lock_guard lock(m_seriesMutex);
  m_astrFiles = astrFiles;
  m_anFileSizes = anSizes;
  m_anFileSizes.resize(m_astrFiles.size(), 0);
}

void CDemodBackgroundThread::SetRepeatRange(const CRepeatRange& range) {
  std::lock_guard lock(m_repeatMutex);
  m_repeat = range;
}

CRepeatRange CDemodBackgroundThread::RepeatRange() const {
  std::lock_guard lock(m_repeatMutex);
  return m_repeat;
}

void CDemodBackgroundThread::PrepareForPlay(bool bSwapIQ) {
  m_bSwapIQ = bSwapIQ;
  m_bStopped = false;
  m_bSkipCarry = true;
  m_nBlocksProcessed = 0;
  m_bChangeFFT = false;
  m_nBytesPlayed = 0;
  // The pending mode change is left alone: the play sequence queues its mode (command 11)
  // after the rebuild (command 2), and when the thread has already handled both, clearing
  // the flag here would leave the new chain in the previous play's mode. Applying a mode
  // already in force does nothing, so a flag left set costs nothing.
}

// ---- Packet handling ------------------------------------------------------------------

void CDemodBackgroundThread::ProcessPacket(CDemodBkgPacket& packet, int) {
  switch (packet.m_nCommand) {
    case DEMOD_CMD_SPECTRUM_TAP:
      if (m_pDemod)
        m_pDemod->ConfigureSpectrumTap(static_cast<int>(packet.m_dValue), packet.m_nParam1 != 0, packet.m_nParam2,
                                       packet.m_nValue);
      break;
    case DEMOD_CMD_REBUILD_DEMOD:
      RebuildDemod();
      break;
    case DEMOD_CMD_INIT_DISPLAY_FFT:
      InitDisplayFFT();
      break;
    case DEMOD_CMD_OPEN_FILE:
      m_bPaused = false;
      if (packet.m_nParam2 != 0 && !m_file.IsOpen()) break;
      OpenFile(packet.m_str1, static_cast<std::uint32_t>(packet.m_nParam1), true, ToTarget(packet.m_nValue), true);
      break;
    case DEMOD_CMD_OPEN_AUDIO:
      m_audio.Open();
      // The device just opened is the one a pending change named.
      m_bChangeDevice = false;
      m_bAudioOpen = m_audio.IsOpen();
      break;
    case DEMOD_CMD_PAUSE:
      m_bPaused = packet.m_nParam1 != 0;
      if (!m_bPaused) RequestNextBlock();
      break;
    case DEMOD_CMD_NEXT_BLOCK:
      if (!m_bPaused) ReadAndPlayBlock();
      break;
    case DEMOD_CMD_PASS_BAND:
      m_nFilterLow = packet.m_nParam1;
      m_nFilterHigh = packet.m_nParam2;
      m_bChangePassBand = true;
      break;
    case DEMOD_CMD_DISPLAY_FFT:
      if (static_cast<std::uint32_t>(packet.m_nParam1) != m_nFFTSize || packet.m_nParam2 != m_nOverlap) {
        m_nFFTSize = static_cast<std::uint32_t>(packet.m_nParam1);
        m_nOverlap = packet.m_nParam2;
        m_bChangeFFT = true;
      }
      break;
    case DEMOD_CMD_TUNING_OFFSET:
      m_nTuningOffset = packet.m_nParam1;
      m_bChangeOffset = true;
      if (m_pDemod) m_pDemod->SetTuningOffset(m_nTuningOffset);
      break;
    case DEMOD_CMD_MODE:
      m_nMode = packet.m_nParam1;
      m_bChangeMode = true;
      break;
    case DEMOD_CMD_AUDIO_DEVICE: {
      const auto nID = static_cast<std::uint32_t>(packet.m_nParam1);
      if (nID != m_audio.DeviceID() || packet.m_str1 != m_audio.DeviceName()) {
        m_audio.SetDevice(nID, packet.m_str1);
        m_bChangeDevice = true;
      }
      break;
    }
    case DEMOD_CMD_SQUELCH:
      m_noise.m_nSquelch = packet.m_nParam1 < 0 ? -1 : std::min(packet.m_nParam1, 100);
      m_bChangeNoise = true;
      break;
    case DEMOD_CMD_NOISE_BLANKER:
      m_noise.m_bNoiseBlanker = packet.m_nParam1 != 0;
      m_bChangeNoise = true;
      break;
    case DEMOD_CMD_NOISE_REDUCTION:
      if (packet.m_nParam1 >= 0 && packet.m_nParam1 <= 3) m_noise.m_nNoiseReduction = packet.m_nParam1;
      m_bChangeNoise = true;
      break;
    case DEMOD_CMD_STOP:
      if (m_file.IsOpen()) CloseFile(true);
      m_bPaused = false;
      m_bStopped = true;
      break;
    case DEMOD_CMD_RECORD_METADATA:
      m_recorder.SetMetadata(packet.m_nParam1, packet.m_str1);
      break;
    case DEMOD_CMD_RECORD_START:
      StartRecording(packet);
      break;
    case DEMOD_CMD_RECORD_STOP:
      StopRecording();
      break;
    default:
      break;
  }
}

void CDemodBackgroundThread::RebuildDemod() {
  m_pDemod.reset();
  m_pDemod = std::make_unique<CDSPDemodMain>();
  m_pDemod->SetTuningOffset(m_nTuningOffset);
  m_pDemod->SetMode(m_nMode);
  m_pDemod->SetPassBand(m_nFilterLow, m_nFilterHigh, m_nMode, m_pDemod->IFRate());
  m_pDemod->SetNoiseSettings(m_noise);
}

void CDemodBackgroundThread::InitDisplayFFT() {
  m_abRaw.clear();
  m_aBlock = {};
  m_aFFTIn = {};
  m_aFFTOut = {};
  m_afWindow.clear();
  m_plan = {};
  m_bSkipCarry = true;
  // A size change still pending (command 9 before command 3) is met by this set-up.
  m_bChangeFFT = false;

  const std::uint32_t nSize = m_nFFTSize;
  const auto nOrder = static_cast<std::uint32_t>(std::floor(std::log2(static_cast<double>(nSize)) + 0.0001));
  Log("Initialising FFT, size = %u, order = %u, overlap = %u\n", nSize, nOrder, static_cast<unsigned>(m_nOverlap));
  if (nSize < 2) return;

  // Room for 32-bit values, and 8 bytes per sample beyond the block.
  m_abRaw.assign(static_cast<std::size_t>(nSize) * 2 * 4 + static_cast<std::size_t>(nSize) * 8, 0);
  m_aBlock = CAlignedVector<std::complex<float>>(nSize);
  m_aFFTIn = CAlignedVector<std::complex<float>>(nSize);
  m_aFFTOut = CAlignedVector<std::complex<float>>(nSize);
  // Planned from wisdom or estimated, never measured here: the player session plans the
  // sizes ahead when it starts.
  m_plan = CFFTWPlanF::Complex(static_cast<int>(nSize), m_aFFTIn.data(), m_aFFTOut.data(), FFTW_FORWARD);
  m_afWindow = BuildAnalysisWindow(m_eWindow.load(), nSize);
  m_fReferenceDb = SpectrumKernel::ReferenceLevel(nSize);
}

// ---- Files ----------------------------------------------------------------------------

int CDemodBackgroundThread::SeriesIndex(const std::string& strFile, bool& bFound) const {
  std::lock_guard lock(m_seriesMutex);
  for (std::size_t i = 0; i < m_astrFiles.size(); ++i) {
    if (m_astrFiles[i] == strFile) {
      bFound = true;
      return static_cast<int>(i);
    }
  }
  bFound = false;
  return 0;
}

std::uint64_t CDemodBackgroundThread::BytesBefore(const std::string& strFile) const {
  std::lock_guard lock(m_seriesMutex);
  return SeriesBytesBefore(m_astrFiles, m_anFileSizes, strFile);
}

void CDemodBackgroundThread::CloseFile(bool bLog) {
  if (!m_file.IsOpen()) return;
  if (bLog) Log("%s> Closing", m_strFile.c_str());
  m_file.Close();
  m_bFileOpen = false;
}

void CDemodBackgroundThread::OpenFile(const std::string& strFile, std::uint32_t nOffset, bool bAccounting,
                                      CMessageTarget* pNotify, bool bNotify) {
  CloseFile(true);
  m_strFile = strFile;
  m_nPosition = nOffset;
  if (bAccounting) {
    const CRepeatRange range = RepeatRange();
    const std::int64_t nStart = static_cast<std::int64_t>(BytesBefore(strFile)) + nOffset;
    const std::int64_t nRepeatStart =
        range.m_strStartFile.empty()
            ? 0
            : static_cast<std::int64_t>(BytesBefore(range.m_strStartFile)) + range.m_nStartOffset;
    m_nBytesPlayed = nStart - nRepeatStart;
  }
  if (bNotify && pNotify) m_pView = pNotify;
  const bool bOk = m_file.Open(strFile, nOffset, bNotify ? pNotify : nullptr,
                               [this](const std::string& strLine) { LogText(strLine); },
                               RegMsgSDR::nMsgDemodFileOpen);
  m_nBytesPerSample = m_file.BytesPerSample();
  m_bFileOpen = bOk;
  Log("%s> %s", strFile.c_str(), bOk ? "Open" : "Failed");
  if (bNotify) PostPosition();
}

void CDemodBackgroundThread::Restart() {
  if (!m_bRepeat.load()) return;
  Log("Restarting");
  const CRepeatRange range = RepeatRange();
  if (!range.m_strStartFile.empty()) {
    Log("  Start ..: %s> %u", range.m_strStartFile.c_str(), range.m_nStartOffset);
    Log("  Finish .: %s> %u", range.m_strEndFile.c_str(), range.m_nEndOffset);
    Log("%s", "");
    OpenFile(range.m_strStartFile, range.m_nStartOffset, true, nullptr, true);
  } else {
    std::string strFirst;
    {
      std::lock_guard lock(m_seriesMutex);
      if (!m_astrFiles.empty()) strFirst = m_astrFiles.front();
    }
    Log("  Start ..: %s> %u", strFirst.c_str(), 0u);
    Log("  Finish .: EOF");
    Log("%s", "");
    OpenFile(strFirst, 0, true, nullptr, true);
  }
  if (m_pView) m_pView->Post(RegMsgSDR::nMsgPlayerErase, 0, 0);
}

bool CDemodBackgroundThread::RepeatRangePassed() const {
  const CRepeatRange range = RepeatRange();
  if (range.m_strEndFile.empty()) return false;
  if (m_strFile == range.m_strEndFile) return m_nPosition >= range.m_nEndOffset;
  // Once the end file has been passed, the current file's own position is compared with
  // the end offset: that is how the range has always behaved.
  std::lock_guard lock(m_seriesMutex);
  bool bMetEnd = false;
  for (const std::string& strFile : m_astrFiles) {
    if (strFile == range.m_strEndFile) bMetEnd = true;
    if (strFile == m_strFile) return bMetEnd && m_nPosition >= range.m_nEndOffset;
  }
  return false;
}

// ---- Blocks ---------------------------------------------------------------------------

void CDemodBackgroundThread::ApplyPendingChanges() {
  if (m_bChangeFFT.exchange(false)) InitDisplayFFT();
  if (m_bChangeOffset) {
    m_bChangeOffset = false;
    if (m_pDemod) m_pDemod->SetTuningOffset(m_nTuningOffset);
  }
  if (m_bChangeMode.exchange(false) && m_pDemod) {
    m_pDemod->SetMode(m_nMode);
    m_pDemod->SetPassBand(m_nFilterLow, m_nFilterHigh, m_nMode, m_pDemod->IFRate());
  }
  if (m_bChangePassBand) {
    m_bChangePassBand = false;
    if (m_pDemod) m_pDemod->SetPassBand(m_nFilterLow, m_nFilterHigh, m_nMode, m_pDemod->IFRate());
  }
  if (m_bChangeNoise) {
    m_bChangeNoise = false;
    if (m_pDemod) m_pDemod->SetNoiseSettings(m_noise);
  }
  if (m_bChangeDevice) {
    m_bChangeDevice = false;
    m_audio.Open();
    m_bAudioOpen = m_audio.IsOpen();
  }
}

void CDemodBackgroundThread::ReadAndPlayBlock() {
  ApplyPendingChanges();
  if (m_bStopped.load() || !m_file.IsOpen()) return;
  const std::uint32_t nSize = m_nFFTSize;
  const std::size_t nBytesPerSample = m_nBytesPerSample;
  const std::size_t nBlockBytes = nBytesPerSample * nSize * 2;
  if (nSize < 2 || m_aBlock.size() != nSize || nBytesPerSample == 0) return;
  if (m_abRaw.size() < nBlockBytes) m_abRaw.resize(nBlockBytes);

  // An overlap of 100 % or more would carry the whole block (or more) and never read on.
  std::uint32_t nCarry = 0;
  if (!m_bSkipCarry.load() && m_nOverlap > 0 && m_nOverlap < 100)
    nCarry = static_cast<std::uint32_t>(static_cast<std::uint64_t>(m_nOverlap) * nSize / 100);
  const std::size_t nCarryBytes = static_cast<std::size_t>(nCarry) * nBytesPerSample * 2;
  if (nCarryBytes) std::memmove(m_abRaw.data(), m_abRaw.data() + nBlockBytes - nCarryBytes, nCarryBytes);
  std::size_t nFilled = nCarryBytes;

  if (RepeatRangePassed()) {
    CloseFile(true);
    Restart();
  }

  // A series of empty files under repeat would restart for ever: one restart without a
  // byte read in between is the most a block waits for.
  int nEmptyRestarts = 0;
  while (nFilled < nBlockBytes && m_file.IsOpen()) {
    const std::size_t nWanted = nBlockBytes - nFilled;
    const std::int64_t nRead = m_file.Read(m_abRaw.data() + nFilled, nWanted);
    if (nRead > 0) {
      nFilled += static_cast<std::size_t>(nRead);
      m_nBytesPlayed += nRead;
      m_nPosition += static_cast<std::uint32_t>(nRead);
      nEmptyRestarts = 0;
      continue;
    }
    if (nRead < 0)
      Log("Error reading %d bytes: %s", static_cast<int>(nWanted), MmioErrorText(m_file.File().LastError()).c_str());
    const std::string strEnded = m_strFile;
    CloseFile(false);
    Log("%s> EOF", strEnded.c_str());
    bool bFound = false;
    const int nIndex = SeriesIndex(strEnded, bFound);
    std::string strNext;
    {
      std::lock_guard lock(m_seriesMutex);
      if (bFound && static_cast<std::size_t>(nIndex) + 1 < m_astrFiles.size()) strNext = m_astrFiles[nIndex + 1];
    }
    if (strNext.empty()) {
      if (++nEmptyRestarts > 1) break;
      Restart();
    } else {
      OpenFile(strNext, 0, false, nullptr, false);
    }
  }

  if (nFilled == nBlockBytes) {
    ConvertBlock();
    m_bSkipCarry = false;
    ++m_nBlocksProcessed;
    // At most 32768 samples a call, and fewer where the chain's fixed buffers could not hold
    // the audio of that many (recordings below the IF rate, modes with a low audio rate).
    std::uint32_t nPieceMax = kMaxChainInput;
    if (m_pDemod) {
      const int nChainMax = m_pDemod->MaxBlockSamples(static_cast<int>(m_file.Format().nSamplesPerSec));
      if (nChainMax > 0) nPieceMax = std::min<std::uint32_t>(nPieceMax, static_cast<std::uint32_t>(nChainMax));
    }
    for (std::uint32_t i = nCarry; i < nSize; i += nPieceMax) {
      const int nPiece = static_cast<int>(std::min<std::uint32_t>(nPieceMax, nSize - i));
      PlayPiece(m_aBlock.data() + i, nPiece);
    }
    PostDisplaySpectrum();
    PostPosition();
    if (m_audio.QueuedCount() < kPacing) RequestNextBlock();
  }
  if (!m_file.IsOpen() && m_pView) m_pView->Post(RegMsgSDR::nMsgDemodFFTOutput, 0, 0);
}

void CDemodBackgroundThread::ConvertBlock() {
  // Formats the converter cannot read are not converted.
  const CIQSampleConverter converter(m_file.Format(), m_bSwapIQ.load());
  if (converter.IsValid()) converter.Convert(m_abRaw.data(), m_nFFTSize, m_aBlock.data());
}

void CDemodBackgroundThread::PlayPiece(const std::complex<float>* pSamples, int nCount) {
  if (!m_pDemod) return;
  m_pDemod->ProcessBlock(pSamples, nCount, static_cast<int>(m_file.Format().nSamplesPerSec));
  PostTapSpectra();
  HandleAudio();
}

void CDemodBackgroundThread::HandleAudio() {
  const int nCount = m_pDemod->OutputCount();
  if (nCount <= 0) return;
  m_anAudio.resize(static_cast<std::size_t>(nCount));
  const float* pIn = m_pDemod->Output();
  for (int i = 0; i < nCount; ++i) m_anAudio[i] = RoundToInt16(pIn[i]);
  if (m_recorder.IsRecording() && m_recorder.SamplesWritten() == 0) m_recorder.SetContext(RecordingContext());
  if (m_recorder.IsRecording() && !m_recorder.Write(m_anAudio.data(), m_anAudio.size())) {
    Log("Recording ended: cannot write %s", m_recorder.Path().c_str());
    m_bRecording = false;
    PostRecordingStatus(RECORDING_ENDED_BY_ERROR);
  }
  m_audio.Write(nCount, m_anAudio.data());
  m_bAudioOpen = m_audio.IsOpen();
  m_nPeakInQueue = m_audio.PeakInQueue();
  if (m_audio.QueuedCount() < kPacing) RequestNextBlock();
}

void CDemodBackgroundThread::PostTapSpectra() {
  for (int nTap = 0; nTap < 2; ++nTap) {
    CDSPSpectrumTap& tap = m_pDemod->SpectrumTap(nTap);
    if (!tap.IsEnabled()) continue;
    std::vector<std::vector<float>> aSpectra = tap.TakeSpectra();
    CMessageTarget* pTarget = ToTarget(tap.Destination());
    if (!pTarget) continue;
    for (auto& afSpectrum : aSpectra) {
      const auto nLength = static_cast<std::intptr_t>(afSpectrum.size());
      pTarget->Post(RegMsgSDR::nMsgDemodFFTDemod, static_cast<std::uintptr_t>(nTap), nLength,
                    std::make_unique<CValuePayload<std::vector<float>>>(std::move(afSpectrum)));
    }
  }
}

void CDemodBackgroundThread::PostDisplaySpectrum() {
  if (!m_pView || !m_plan) return;
  const std::uint32_t nSize = m_nFFTSize;
  SpectrumKernel::ApplyWindow(reinterpret_cast<const float*>(m_aBlock.data()), m_afWindow.data(), nSize,
                              reinterpret_cast<float*>(m_aFFTIn.data()));
  m_plan.Execute();

  std::vector<float> afOut(nSize + kSpectrumHeader, 0.0f);
  const std::uint32_t nRate = m_file.Format().nSamplesPerSec;
  afOut[0] = static_cast<float>(nSize + kSpectrumHeader);
  afOut[1] = static_cast<float>(kSpectrumHeader);
  afOut[2] = static_cast<float>(nSize);
  afOut[3] = static_cast<float>(nRate);
  const std::int64_t nDivisor = static_cast<std::int64_t>(m_nBytesPerSample) * 2 * nRate;
  // The playing time travels as the bits of a 32-bit integer, not as a float.
  const std::int32_t nSeconds = nDivisor > 0 ? static_cast<std::int32_t>(m_nBytesPlayed.load() / nDivisor) : 0;
  std::memcpy(&afOut[4], &nSeconds, sizeof nSeconds);

  // Negative frequencies (the upper half of the bins) first, then the positive ones.
  SpectrumKernel::ComputeLevels(reinterpret_cast<const float*>(m_aFFTOut.data()), nSize, m_fReferenceDb,
                                afOut.data() + kSpectrumHeader);
  m_pView->Post(RegMsgSDR::nMsgDemodFFTOutput, nSize, 0,
                std::make_unique<CValuePayload<std::vector<float>>>(std::move(afOut)));
}

void CDemodBackgroundThread::PostPosition() {
  if (!m_pView) return;
  bool bFound = false;
  const int nIndex = SeriesIndex(m_strFile, bFound);
  m_pView->Post(RegMsgSDR::nMsgDemodFilePosn, static_cast<std::uintptr_t>(nIndex), m_nPosition);
}

// ---- Recording ------------------------------------------------------------------------

CAudioRecordingContext CDemodBackgroundThread::RecordingContext() const {
  CAudioRecordingContext context;
  context.m_strSourceFile = m_strFile;
  context.m_nTuningOffset = m_nTuningOffset;
  context.m_nMode = m_nMode;
  context.m_nFilterLow = m_nFilterLow;
  context.m_nFilterHigh = m_nFilterHigh;
  return context;
}

void CDemodBackgroundThread::StartRecording(const CDemodBkgPacket& packet) {
  if (m_recorder.IsRecording()) StopRecording();
  m_pRecordNotify = ToTarget(packet.m_nValue);
  std::string strError;
  if (!m_recorder.Start(packet.m_nParam1, packet.m_str1, packet.m_str2, RecordingContext(), strError)) {
    Log("Recording: cannot start %s - %s", m_recorder.Path().c_str(), strError.c_str());
    PostRecordingStatus(RECORDING_FAILED_TO_START);
    return;
  }
  m_bRecording = true;
  Log("Recording: started %s", m_recorder.Path().c_str());
  PostRecordingStatus(RECORDING_STARTED);
}

void CDemodBackgroundThread::StopRecording() {
  if (!m_recorder.IsRecording()) return;
  m_recorder.Stop();
  m_bRecording = false;
  Log("Recording: stopped %s, %llu samples", m_recorder.Path().c_str(),
      static_cast<unsigned long long>(m_recorder.SamplesWritten()));
  PostRecordingStatus(RECORDING_STOPPED);
}

void CDemodBackgroundThread::PostRecordingStatus(ERecordingStatus eStatus) {
  if (!m_pRecordNotify) return;
  m_pRecordNotify->Post(RegMsgSDR::nMsgRecordingStatus, static_cast<std::uintptr_t>(eStatus),
                        static_cast<std::intptr_t>(m_recorder.SamplesWritten()),
                        std::make_unique<CValuePayload<std::string>>(m_recorder.Path().string()));
}
