#include "player/PlayerSession.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/Log.h"
#include "core/RegisteredMessages.h"
#include "dsp/AlignedVector.h"
#include "dsp/DSPDemodMain.h"
#include "dsp/FFTWPlan.h"
#include "persist/MySettingsStore.h"

namespace {
// The most a stop waits for the thread to close its file.
constexpr int kStopWaitMs = 2000;
}  // namespace

CPlayerSession::CPlayerSession(std::shared_ptr<CAudioBackend> pBackend) : m_thread(std::move(pBackend)) {
  RegisterAllMessages();
}

CPlayerSession::~CPlayerSession() { Shutdown(); }

void CPlayerSession::SetChangeCallback(std::function<void()> onChange) {
  std::lock_guard lock(m_mutex);
  m_onChange = std::move(onChange);
}

void CPlayerSession::Emit(const std::string& strLine) const {
  if (m_log)
    m_log(strLine);
  else
    LogLine(strLine);
}

bool CPlayerSession::Start(bool bRepeat) {
  if (m_bStarted) return true;
  if (!StartPlayerThread(m_thread, &m_target, bRepeat)) {
    Emit("Cannot start thread \"Demod\"");
    return false;
  }
  m_bStarted = true;
  return true;
}

void CPlayerSession::SaveOptions(CMySettingsStore& store) const {
  store.Write("DemodPlayerOutputID", m_options.m_nOutputID);
  store.Write("DemodPlayerOutputName", m_options.m_strOutputName);
  store.Write("DemodPlayerFFT", m_options.m_nFFTLinesPerSecond);
  store.Write("DemodPlayerMode", m_options.m_strMode);
  store.Write("DemodPlayerFilterLow", m_options.m_nFilterLow);
  store.Write("DemodPlayerFilterHigh", m_options.m_nFilterHigh);
  store.Write("DemodPlayerAudioLevel", m_options.m_nAudioLevel);
  store.Write("DemodPlayerFreqSnapEnable", m_options.m_bFreqSnapEnable);
  store.Write("DemodPlayerFreqSnap", m_options.m_strFreqSnap);
  store.Write("DemodPlayerSquelchEnable", m_options.m_bSquelchEnable);
  store.Write("DemodPlayerSquelchLevel", m_options.m_nSquelchLevel);
  store.Write("DemodPlayerNoiseBlanker", m_options.m_bNoiseBlanker);
  store.Write("DemodPlayerNoiseReduction", m_options.m_nNoiseReduction);
}

void CPlayerSession::PlanAhead(std::uint32_t nRateHz, const CDisplayFFTSetup& setup) {
  // The mode of this play: the chain's other modes plan from wisdom (or estimate) when the
  // user changes to them, which never holds up the audio.
  const int nMode = PlayerModeNumber(m_options.m_strMode);
  if (!m_planned.insert({nRateHz, setup.m_nLinesPerSecond, nMode}).second) return;
  CDSPDemodMain::PlanAhead(setup.m_nLinesPerSecond, FFT_PLAN_FAST, nMode);
  // The display FFT, as the thread plans it (out of place).
  CAlignedVector<std::complex<float>> aIn(setup.m_nSize);
  CAlignedVector<std::complex<float>> aOut(setup.m_nSize);
  CFFTWPlanF::Complex(static_cast<int>(setup.m_nSize), aIn.data(), aOut.data(), FFTW_FORWARD, FFT_PLAN_FAST);
}

bool CPlayerSession::Play(const CRecordingDescription& desc, double tPlayStart, bool bSwapIQ,
                          std::string& strMessage, CDisplayFFTSetup* pSetup) {
  if (!m_bStarted && !Start()) {
    strMessage = "The player thread could not be started.";
    return false;
  }
  {
    std::lock_guard lock(m_mutex);
    m_state = CPlayerState{};
    m_spectrum.reset();
    m_state.m_bPlaying = true;
  }
  m_nCentreHz = desc.m_nCenterFrequency;
  CDisplayFFTSetup setup;
  const auto log = [this](const std::string& strLine) { Emit(strLine); };
  const auto planAhead = [this](std::uint32_t nRateHz, const CDisplayFFTSetup& s) { PlanAhead(nRateHz, s); };
  if (!StartPlay(m_thread, desc, tPlayStart, bSwapIQ, m_options, &m_target, reinterpret_cast<std::uintptr_t>(&m_target),
                 log, strMessage, &setup, planAhead)) {
    std::lock_guard lock(m_mutex);
    m_state.m_bPlaying = false;
    return false;
  }
  if (pSetup) *pSetup = setup;
  return true;
}

bool CPlayerSession::PlayAtPoint(const CRecordingDescription& desc, const CPictureClick& click,
                                 double& dFrequencyHz) {
  if (!::PlayAtPoint(m_thread, desc, click, m_options, &m_target, [this](const std::string& s) { Emit(s); },
                     dFrequencyHz))
    return false;
  m_nCentreHz = desc.m_nCenterFrequency;
  m_nOffsetHz = static_cast<int>(dFrequencyHz - desc.m_nCenterFrequency);
  return true;
}

bool CPlayerSession::Retune(const CRecordingDescription& desc, double dFrequencyHz) {
  const double dHalfSpan = PlayRate(desc) / 2.0;
  const double dOffset = dFrequencyHz - desc.m_nCenterFrequency;
  if (PlayRate(desc) == 0 || std::abs(dOffset) >= dHalfSpan) return false;
  m_nCentreHz = desc.m_nCenterFrequency;
  SetTuningOffset(static_cast<int>(dOffset));
  return true;
}

void CPlayerSession::PassBand(double& dLowHz, double& dHighHz) const {
  PassBandFrequencies(PlayerModeNumber(m_options.m_strMode), m_options.m_nFilterLow, m_options.m_nFilterHigh,
                      TunedFrequency(), dLowHz, dHighHz);
}

double CPlayerSession::PlayingPointSeconds(const CRecordingDescription& desc) const {
  const CPlayerState state = State();
  return SeriesSecondsAt(desc, state.m_nFileIndex, state.m_nPosition);
}

void CPlayerSession::SetRepeatRange(const CRecordingDescription& desc, double tStart, double tEnd) {
  SetPlayerRepeatRange(m_thread, desc, tStart, tEnd, [this](const std::string& s) { Emit(s); });
}

void CPlayerSession::Stop() {
  m_thread.SendStop();
  m_thread.WaitUntilIdle(kStopWaitMs);
  std::lock_guard lock(m_mutex);
  m_state.m_bPlaying = false;
}

void CPlayerSession::SetMode(int nMode) {
  m_options.m_strMode = CDSPDemodMain::ShortName(nMode);
  m_thread.SendMode(nMode);
}

void CPlayerSession::SetPassBand(int nLowHz, int nHighHz) {
  m_options.m_nFilterLow = std::min(nLowHz, nHighHz);
  m_options.m_nFilterHigh = std::max(nLowHz, nHighHz);
  m_thread.SendPassBand(m_options.m_nFilterLow, m_options.m_nFilterHigh);
}

void CPlayerSession::SetSquelch(bool bEnable, int nLevel) {
  m_options.m_bSquelchEnable = bEnable;
  m_options.m_nSquelchLevel = std::clamp(nLevel, 0, 100);
  m_thread.SendSquelch(m_options.NoiseSettings().m_nSquelch);
}

void CPlayerSession::SetNoiseBlanker(bool bEnable) {
  m_options.m_bNoiseBlanker = bEnable;
  m_thread.SendNoiseBlanker(bEnable);
}

void CPlayerSession::SetNoiseReduction(int nMethod) {
  if (nMethod < 0 || nMethod > 3) return;
  m_options.m_nNoiseReduction = nMethod;
  m_thread.SendNoiseReduction(nMethod);
}

void CPlayerSession::SetDisplayRate(const CRecordingDescription& desc, int nLinesPerSecond) {
  m_options.m_nFFTLinesPerSecond = nLinesPerSecond;
  if (!m_bStarted || !State().m_bPlaying || PlayRate(desc) == 0) return;
  const CDisplayFFTSetup setup = DisplayFFTForRate(PlayRate(desc), nLinesPerSecond);
  PlanAhead(PlayRate(desc), setup);
  m_thread.SendDisplayFFT(setup.m_nSize, setup.m_nOverlap);
  const auto nDestination = reinterpret_cast<std::uintptr_t>(&m_target);
  for (int nTap = 0; nTap < 2; ++nTap)
    m_thread.SendConfigureSpectrumTap(nTap, true, setup.m_nLinesPerSecond, nDestination);
}

void CPlayerSession::StartRecording(int eFormat, const std::string& strFolder, const std::string& strFileName,
                                    const std::vector<std::pair<int, std::string>>& aMetadata) {
  for (const auto& [nSlot, strText] : aMetadata) m_thread.SendRecordingMetadata(nSlot, strText);
  m_thread.SendStartRecording(&m_target, eFormat, strFolder, strFileName);
}

CPlayerState CPlayerSession::State() const {
  std::lock_guard lock(m_mutex);
  return m_state;
}

std::optional<CDisplaySpectrum> CPlayerSession::TakeDisplaySpectrum() {
  std::lock_guard lock(m_mutex);
  return std::exchange(m_spectrum, std::nullopt);
}

std::optional<CDisplaySpectrum> CPlayerSession::TakeTapSpectrum(int nTap) {
  std::lock_guard lock(m_mutex);
  return std::exchange(m_aTapSpectra[nTap & 1], std::nullopt);
}

void CPlayerSession::Shutdown() {
  if (!m_bStarted) return;
  m_bStarted = false;
  m_thread.SendStopRecording();
  m_thread.SendStop();
  m_thread.WaitUntilIdle(kStopWaitMs);
  m_thread.StopThread();
  m_thread.AudioOutput().Close();
  std::lock_guard lock(m_mutex);
  m_state.m_bPlaying = false;
}

// On the player thread (and on the caller's, for the sequences' own posts).
bool CPlayerSession::OnMessage(CMessage& msg) {
  if (msg.nMsg == RegMsgSDR::nMsgSendLogfile) {
    if (auto p = msg.TakePayload<CValuePayload<std::string>>()) Emit(p->value);
    return true;
  }
  std::function<void()> onChange;
  {
    std::lock_guard lock(m_mutex);
    CPlayerState& s = m_state;
    if (msg.nMsg == RegMsgSDR::nMsgDemodFFTOutput) {
      auto p = msg.TakePayload<CValuePayload<std::vector<float>>>();
      if (!p) {
        if (msg.wParam == 0 && msg.lParam == 0) {
          s.m_bEnded = true;
          s.m_bPlaying = false;
        }
      } else if (p->value.size() >= static_cast<std::size_t>(CDemodBackgroundThread::kSpectrumHeader)) {
        std::vector<float>& af = p->value;
        CDisplaySpectrum spectrum;
        spectrum.m_nSampleRate = static_cast<std::uint32_t>(af[3]);
        std::memcpy(&spectrum.m_nPlayingSeconds, &af[4], sizeof spectrum.m_nPlayingSeconds);
        af.erase(af.begin(), af.begin() + CDemodBackgroundThread::kSpectrumHeader);
        spectrum.m_afLevels = std::move(af);
        s.m_nPlayingSeconds = spectrum.m_nPlayingSeconds;
        m_spectrum = std::move(spectrum);  // the newest replaces any not yet taken
      }
      s.m_nBlocks = m_thread.BlocksProcessed();
      if (s.m_nBlocks > 0 && !m_thread.IsAudioOpen()) s.m_bDeviceFailed = true;
    } else if (msg.nMsg == RegMsgSDR::nMsgDemodFFTDemod) {
      auto p = msg.TakePayload<CValuePayload<std::vector<float>>>();
      if (p && p->value.size() >= static_cast<std::size_t>(CDemodBackgroundThread::kSpectrumHeader)) {
        CDisplaySpectrum spectrum;
        spectrum.m_nSampleRate = static_cast<std::uint32_t>(p->value[3]);
        spectrum.m_nPlayingSeconds = s.m_nPlayingSeconds;
        spectrum.m_afLevels.assign(p->value.begin() + CDemodBackgroundThread::kSpectrumHeader, p->value.end());
        m_aTapSpectra[msg.wParam & 1] = std::move(spectrum);
      }
    } else if (msg.nMsg == RegMsgSDR::nMsgDemodFilePosn) {
      s.m_nFileIndex = static_cast<std::size_t>(msg.wParam);
      s.m_nPosition = static_cast<std::uint32_t>(msg.lParam);
    } else if (msg.nMsg == RegMsgSDR::nMsgDemodFileOpen) {
      if (msg.lParam == 0) {
        s.m_bFileOpenFailed = true;
        s.m_bEnded = true;
        s.m_bPlaying = false;
      }
    } else if (msg.nMsg == RegMsgSDR::nMsgPlayerErase) {
      ++s.m_nErasures;
    } else if (msg.nMsg == RegMsgSDR::nMsgRecordingStatus) {
      s.m_eRecording = static_cast<ERecordingStatus>(msg.wParam);
      s.m_nRecordedSamples = static_cast<std::uint64_t>(msg.lParam);
      if (s.m_eRecording == RECORDING_FAILED_TO_START || s.m_eRecording == RECORDING_ENDED_BY_ERROR)
        s.m_bRecordingFailed = true;
      if (auto p = msg.TakePayload<CValuePayload<std::string>>()) s.m_strRecordingPath = p->value;
    } else {
      return true;
    }
    onChange = m_onChange;
  }
  if (onChange) onChange();
  return true;
}
