#include "player/PlayerControl.h"

#include <strings.h>

#include <algorithm>
#include <cmath>

#include "core/BackgroundThreadBase.h"
#include "core/Log.h"
#include "core/SystemTime.h"
#include "dsp/DSPDemodMain.h"
#include "persist/MySettingsStore.h"

namespace {

void Emit(const PlayerLogFunction& log, const std::string& strLine) {
  if (log) log(strLine);
}

std::uint32_t FrameBytes(const CRecordingDescription& desc) { return desc.m_nBitsPerSample / 8 * 2; }

std::uint32_t DataRate(const CRecordingDescription& desc) {
  return desc.m_nFmtSampleRate ? desc.m_nFmtSampleRate : desc.m_nSampleRate;
}

// A thread that has just started is idle within moments; the limit only keeps a thread that
// never runs from holding up the view.
constexpr int kStartIdleWaitMs = 5000;

std::string FormatRecordingTime(const CRecordingDescription& desc, double tSeconds) {
  return FormatUtcSeconds(desc.m_tStart + static_cast<std::int64_t>(std::floor(tSeconds)), "%d-%b-%Y %H:%M:%S");
}

}  // namespace

CPlayerOptions ReadPlayerOptions(CMySettingsStore& store) {
  CPlayerOptions options;
  store.Read("DemodPlayerOutputID", options.m_nOutputID);
  store.Read("DemodPlayerOutputName", options.m_strOutputName);
  store.Read("DemodPlayerFFT", options.m_nFFTLinesPerSecond);
  store.Read("DemodPlayerMode", options.m_strMode);
  int nLow = options.m_nFilterLow;
  int nHigh = options.m_nFilterHigh;
  store.Read("DemodPlayerFilterLow", nLow);
  store.Read("DemodPlayerFilterHigh", nHigh);
  options.m_nFilterLow = std::min(nLow, nHigh);
  options.m_nFilterHigh = std::max(nLow, nHigh);
  store.Read("DemodPlayerAudioLevel", options.m_nAudioLevel);
  store.Read("DemodPlayerFreqSnapEnable", options.m_bFreqSnapEnable);
  store.Read("DemodPlayerFreqSnap", options.m_strFreqSnap);
  store.Read("DemodPlayerSquelchEnable", options.m_bSquelchEnable);
  store.Read("DemodPlayerSquelchLevel", options.m_nSquelchLevel);
  options.m_nSquelchLevel = std::clamp(options.m_nSquelchLevel, 0, 100);
  store.Read("DemodPlayerNoiseBlanker", options.m_bNoiseBlanker);
  store.Read("DemodPlayerNoiseReduction", options.m_nNoiseReduction);
  if (options.m_nNoiseReduction < 0 || options.m_nNoiseReduction > 3) options.m_nNoiseReduction = 0;
  return options;
}

int PlayerModeNumber(const std::string& strMode) {
  // The stored text is the name as the options pane wrote it, so it must match exactly;
  // only "cw" is taken in any case.
  for (int nMode = 0; nMode < eDemodModeCount; ++nMode)
    if (strMode == CDSPDemodMain::ShortName(nMode) || strMode == CDSPDemodMain::LongName(nMode)) return nMode;
  if (strcasecmp(strMode.c_str(), "cw") == 0) return eDemodCWU;
  return eDemodUSB;
}

CDisplayFFTSetup DisplayFFTForRate(std::uint32_t nRateHz, int nLinesPerSecondSetting) {
  CDisplayFFTSetup setup;
  setup.m_nLinesPerSecond = nLinesPerSecondSetting > 0 ? nLinesPerSecondSetting : 20;
  const std::uint64_t nPerLine = nRateHz / static_cast<std::uint32_t>(setup.m_nLinesPerSecond);
  std::uint64_t nSize = 2;
  while (nSize < nPerLine && nSize < (std::uint64_t{1} << 31)) nSize <<= 1;
  setup.m_nSize = static_cast<std::uint32_t>(nSize);
  setup.m_nOverlap = static_cast<int>(100 - static_cast<std::int64_t>(nPerLine * 100 / nSize));
  return setup;
}

CSeriesPosition SeriesPositionAt(const CRecordingDescription& desc, double tSeconds) {
  CSeriesPosition position;
  const double dSamples = std::max(0.0, std::floor(tSeconds * DataRate(desc)));
  FindSeriesPosition(desc, static_cast<std::uint64_t>(dSamples) * FrameBytes(desc), position);
  return position;
}

std::uint32_t PlayRate(const CRecordingDescription& desc) { return DataRate(desc); }

double SeriesSecondsAt(const CRecordingDescription& desc, std::size_t nFileIndex, std::uint32_t nOffset) {
  const std::uint32_t nRate = DataRate(desc);
  const std::uint64_t nFrame = FrameBytes(desc);
  if (nRate == 0 || nFrame == 0) return 0.0;
  std::uint64_t nByte = nOffset;
  for (std::size_t i = 0; i < nFileIndex && i < desc.m_anFileSizes.size(); ++i) nByte += desc.m_anFileSizes[i];
  return static_cast<double>(nByte / nFrame) / nRate;
}

void PassBandFrequencies(int nMode, int nFilterLow, int nFilterHigh, double dTunedHz, double& dLowHz,
                         double& dHighHz) {
  const double dLow = std::min(nFilterLow, nFilterHigh);
  const double dHigh = std::max(nFilterLow, nFilterHigh);
  switch (CDSPDemodMain::PassBandOf(nMode)) {
    case EPassBand::eLower:
      dLowHz = dTunedHz - dHigh;
      dHighHz = dTunedHz - dLow;
      break;
    case EPassBand::eUpper:
      dLowHz = dTunedHz + dLow;
      dHighHz = dTunedHz + dHigh;
      break;
    default:
      dLowHz = dTunedHz - dHigh;
      dHighHz = dTunedHz + dHigh;
  }
}

double PlayDurationSeconds(const CRecordingDescription& desc) {
  const std::uint32_t nRate = DataRate(desc);
  if (FrameBytes(desc) == 0 || nRate == 0) return 0.0;
  return static_cast<double>(desc.TotalBytes() / FrameBytes(desc)) / nRate;
}

bool CheckPlayRequest(const CRecordingDescription& desc, double dFrequencyHz, double tStart, std::string& strError) {
  const std::uint32_t nRate = DataRate(desc);
  if (!desc.m_bValid || desc.m_nFiles == 0) {
    strError = "not a recording";
    return false;
  }
  if (nRate == 0 || desc.m_nBitsPerSample == 0) {
    strError = "the recording has no sample rate";
    return false;
  }
  if (std::fabs(dFrequencyHz - static_cast<double>(desc.m_nCenterFrequency)) >= nRate / 2.0) {
    strError = StrFormat("%.0f Hz is outside the recording's band (%.0f .. %.0f Hz)", dFrequencyHz,
                         desc.m_nCenterFrequency - nRate / 2.0, desc.m_nCenterFrequency + nRate / 2.0);
    return false;
  }
  const double dDuration = PlayDurationSeconds(desc);
  if (tStart < 0.0 || tStart >= dDuration) {
    strError = StrFormat("the start is outside the recording (%s .. %s UTC, %.1f s)",
                         FormatUtcSeconds(desc.m_tStart).c_str(), FormatUtcSeconds(desc.m_tEnd).c_str(), dDuration);
    return false;
  }
  return true;
}

bool StartPlayerThread(CDemodBackgroundThread& thread, CMessageTarget* pMainFrame, bool bRepeat) {
  thread.SetThreadName("Demod");
  thread.SetTargetWindow(pMainFrame);
  if (!thread.StartThread()) return false;
  thread.SetPriority(THREAD_PRIORITY_BELOW_NORMAL);
  thread.WaitUntilIdle(kStartIdleWaitMs);
  if (bRepeat) thread.SetRepeat(true);
  return true;
}

bool StartPlay(CDemodBackgroundThread& thread, const CRecordingDescription& desc, double tPlayStart, bool bSwapIQ,
               const CPlayerOptions& options, CMessageTarget* pView, std::uint64_t nDisplayDestination,
               const PlayerLogFunction& log, std::string& strMessage, CDisplayFFTSetup* pSetup,
               const std::function<void(std::uint32_t, const CDisplayFFTSetup&)>& planAhead) {
  const int nMode = PlayerModeNumber(options.m_strMode);
  if (desc.m_astrFileNames.empty()) {
    strMessage = "Cannot read first input file to determine file format.";
    return false;
  }
  std::uint32_t nRate = 0;
  {
    CWaveStreamFile first;
    if (!first.Open(desc.m_astrFileNames.front(), 0, nullptr, {}) || first.Format().nSamplesPerSec == 0) {
      strMessage = "Cannot read first input file to determine file format.";
      return false;
    }
    nRate = first.Format().nSamplesPerSec;
  }
  const CDisplayFFTSetup setup = DisplayFFTForRate(nRate, options.m_nFFTLinesPerSecond);
  if (pSetup) *pSetup = setup;
  if (planAhead) planAhead(nRate, setup);

  thread.SendDisplayFFT(setup.m_nSize, setup.m_nOverlap);
  thread.SendInitDisplayFFT();
  const std::size_t nFiles = std::min<std::size_t>(desc.m_nFiles, desc.m_astrFileNames.size());
  std::vector<std::string> astrFiles(desc.m_astrFileNames.begin(), desc.m_astrFileNames.begin() + nFiles);
  std::vector<std::uint32_t> anSizes(desc.m_anFileSizes.begin(),
                                     desc.m_anFileSizes.begin() + std::min(nFiles, desc.m_anFileSizes.size()));
  thread.SetSeries(astrFiles, anSizes);
  thread.SetVolume(options.m_nAudioLevel);

  thread.SendAudioDevice(options.m_nOutputID, options.m_strOutputName);
  thread.SendOpenAudio();
  thread.SendRebuildDemod();
  thread.SendConfigureSpectrumTap(0, true, setup.m_nLinesPerSecond, nDisplayDestination);
  thread.SendConfigureSpectrumTap(1, true, setup.m_nLinesPerSecond, nDisplayDestination);
  thread.SendMode(nMode);
  thread.SendPassBand(options.m_nFilterLow, options.m_nFilterHigh);
  const CDemodNoiseSettings noise = options.NoiseSettings();
  thread.SendSquelch(noise.m_nSquelch);
  thread.SendNoiseBlanker(noise.m_bNoiseBlanker);
  thread.SendNoiseReduction(noise.m_nNoiseReduction);

  const CSeriesPosition start = SeriesPositionAt(desc, tPlayStart);
  Emit(log, "Play");
  Emit(log, StrFormat("  Start   = %s, %s", start.m_strFile.c_str(), std::to_string(start.m_nOffset).c_str()));
  Emit(log, StrFormat("  Swap IQ = %s", bSwapIQ ? "Yes" : "No"));

  thread.PrepareForPlay(bSwapIQ);
  thread.SendOpenFile(pView, start.m_strFile, start.m_nOffset, false);
  thread.RequestNextBlock();
  return true;
}

double ClickFrequency(const CPictureClick& click, const CPlayerOptions& options) {
  double f = click.m_dCentreHz - click.m_dSpanHz / 2.0 +
             static_cast<double>(click.m_nX) / static_cast<double>(click.m_nWidth) * click.m_dSpanHz;
  const int nMode = PlayerModeNumber(options.m_strMode);
  const int nLow = std::min(options.m_nFilterLow, options.m_nFilterHigh);
  const int nHigh = std::max(options.m_nFilterLow, options.m_nFilterHigh);
  const int nShift = (nLow + nHigh) / 2;
  if (nMode == eDemodCWL) {
    f += nShift;
  } else if (nMode == eDemodCWU) {
    f -= nShift;
  } else if (options.m_bFreqSnapEnable && !options.m_strFreqSnap.empty()) {
    std::uint32_t nStep = static_cast<std::uint32_t>(std::atoi(options.m_strFreqSnap.c_str()));
    if (options.m_strFreqSnap.find('k') != std::string::npos) nStep *= 1000;
    if (nStep != 0) {
      // Unsigned 32-bit arithmetic, as the snap has always been computed.
      const std::uint32_t nHalfUp = nStep / 2 + static_cast<std::uint32_t>(static_cast<std::int64_t>(f));
      f = static_cast<double>(nHalfUp - nHalfUp % nStep);
    }
  }
  return f;
}

double ClickTime(const CPictureClick& click) {
  if (click.m_nHeight <= 0) return click.m_tTop;
  return click.m_tTop -
         static_cast<double>(click.m_nY) / static_cast<double>(click.m_nHeight) * (click.m_tTop - click.m_tBottom);
}

bool PlayAtPoint(CDemodBackgroundThread& thread, const CRecordingDescription& desc, const CPictureClick& click,
                 const CPlayerOptions& options, CMessageTarget* pView, const PlayerLogFunction& log,
                 double& dFrequencyHz) {
  if (click.m_nWidth <= 0 || click.m_nHeight <= 0 || click.m_nX < 0 || click.m_nX >= click.m_nWidth ||
      click.m_nY < 0 || click.m_nY >= click.m_nHeight)
    return false;
  dFrequencyHz = ClickFrequency(click, options);
  const int nOffset = static_cast<int>(dFrequencyHz - static_cast<double>(desc.m_nCenterFrequency));
  const CSeriesPosition position = SeriesPositionAt(desc, ClickTime(click));

  // The five lines stay together in the log: they are written before the thread gets the
  // packets, so none of its own lines can fall between them.
  Emit(log, StrFormat("Demod center ....: %s", std::to_string(desc.m_nCenterFrequency).c_str()));
  Emit(log, StrFormat("Demod record ....: %s", StrFormat("%.0f", dFrequencyHz).c_str()));
  Emit(log, StrFormat("Demod offset ....: %d", nOffset));
  Emit(log, StrFormat("Demod IQ File ...: %s", position.m_strFile.c_str()));
  Emit(log, StrFormat("Demod Offset ....: %u bytes", position.m_nOffset));

  thread.SendTuningOffset(nOffset);
  thread.SendOpenFile(pView, position.m_strFile, position.m_nOffset, true);
  return true;
}

void SetPlayerRepeatRange(CDemodBackgroundThread& thread, const CRecordingDescription& desc, double tStart,
                          double tEnd, const PlayerLogFunction& log) {
  const CSeriesPosition start = SeriesPositionAt(desc, tStart);
  const CSeriesPosition end = SeriesPositionAt(desc, tEnd);
  CRepeatRange range;
  range.m_strStartFile = start.m_strFile;
  range.m_nStartOffset = start.m_nOffset;
  range.m_strEndFile = end.m_strFile;
  range.m_nEndOffset = end.m_nOffset;
  thread.SetRepeatRange(range);
  Emit(log, "Repeat range:");
  Emit(log, StrFormat("  Start = %s, %s, %s", start.m_strFile.c_str(), std::to_string(start.m_nOffset).c_str(),
                      FormatRecordingTime(desc, tStart).c_str()));
  Emit(log, StrFormat("  End   = %s, %s, %s", end.m_strFile.c_str(), std::to_string(end.m_nOffset).c_str(),
                      FormatRecordingTime(desc, tEnd).c_str()));
  Emit(log, "");
}

bool TogglePlayerRepeat(CDemodBackgroundThread& thread, CMySettingsStore& store) {
  bool bRepeat = false;
  store.Read("CVexlorView::m_bPlayerRepeat", bRepeat);
  bRepeat = !bRepeat;
  store.Write("CVexlorView::m_bPlayerRepeat", bRepeat);
  thread.SetRepeat(bRepeat);
  return bRepeat;
}
