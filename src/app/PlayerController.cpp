#include "app/PlayerController.h"

#include <QDateTime>
#include <QDir>
#include <QStandardPaths>

#include "analysis/AnalysisSession.h"
#include "core/Log.h"
#include "dsp/DSPDemodMain.h"
#include "persist/MySettingsStore.h"
#include "player/AudioBackendWithNull.h"
#include "player/AudioRecorder.h"

CPlayerController::CPlayerController(CMySettingsStore& settings, CAnalysisSession& document, QObject* pParent)
    : QObject(pParent),
      m_settings(settings),
      m_document(document),
      m_pSession(std::make_unique<CPlayerSession>(CreateAudioBackendWithNull(AudioBackendChoiceFromEnvironment()))) {
  m_pSession->LoadOptions(settings);
  m_pSession->SetLogFunction([this](const std::string& strLine) { OnLogLine(strLine); });
  // The session tells of news on the player thread; one queued poll at a time wakes the GUI.
  m_pSession->SetChangeCallback([this] {
    if (!m_bPollQueued.exchange(true)) QMetaObject::invokeMethod(this, &CPlayerController::Poll, Qt::QueuedConnection);
  });
  settings.Read(kRepeatKey, m_bRepeat);
  m_pollTimer.setInterval(kPollMs);
  connect(&m_pollTimer, &QTimer::timeout, this, &CPlayerController::Poll);
}

CPlayerController::~CPlayerController() {
  m_pSession->SetChangeCallback({});
  m_pSession->Shutdown();
}

std::vector<CPlaybackDevice> CPlayerController::Devices() {
  return SortedPlaybackDevices(*m_pSession->Thread().AudioOutput().Backend());
}

void CPlayerController::OnLogLine(const std::string& strLine) {
  LogLine(strLine);
  std::lock_guard lock(m_errorMutex);
  // "Error opening <device> (ID = n) -" is followed by the device's own text.
  if (strLine.rfind("Error", 0) == 0 || strLine.rfind("Recording: cannot", 0) == 0 ||
      strLine.rfind("Recording ended", 0) == 0) {
    m_strErrorText = strLine;
    m_bErrorContinues = strLine.size() > 1 && strLine.back() == '-';
  } else if (m_bErrorContinues) {
    if (!strLine.empty()) m_strErrorText += " " + strLine;
    m_bErrorContinues = false;
  }
}

QString CPlayerController::TakeErrorText(const QString& strFallback) {
  std::lock_guard lock(m_errorMutex);
  const QString str = m_strErrorText.empty() ? strFallback : QString::fromStdString(m_strErrorText);
  m_strErrorText.clear();
  return str;
}

void CPlayerController::SaveOptions() { m_pSession->SaveOptions(m_settings); }

// --- Commands -------------------------------------------------------------------------------

const CRecordingDescription* CPlayerController::Recording() const {
  if (m_document.HasRecording()) return &m_document.Recording();
  return m_bHaveOwnRecording ? &m_ownRecording : nullptr;
}

bool CPlayerController::HaveRecording() {
  if (m_document.HasRecording()) return true;
  // A project opens with its picture only; the player reads the recording it names (the
  // document and its geometry stay as they are).
  const auto& astrFiles = m_document.Options().m_astrRecordingFilenames;
  if (astrFiles.empty()) {
    emit ErrorRaised("Play", "There is no recording to play: open a project or start a New Project.");
    return false;
  }
  if (m_bHaveOwnRecording && m_ownRecording.m_astrFileNames.size() > 0 && m_strOwnRecording == astrFiles.front())
    return true;
  std::string strError;
  m_bHaveOwnRecording = CAnalysisSession::ReadRecording(astrFiles.front(), m_ownRecording, strError);
  m_strOwnRecording = astrFiles.front();
  if (!m_bHaveOwnRecording) emit ErrorRaised("Play", QString::fromStdString(strError));
  return m_bHaveOwnRecording;
}

bool CPlayerController::Play() {
  if (!HaveRecording()) return false;
  const CRecordingDescription& desc = *Recording();
  if (!m_pSession->IsStarted() && !m_pSession->Start(m_bRepeat)) {
    emit ErrorRaised("Play", "The player thread \"Demod\" could not be started.");
    return false;
  }
  if (m_bPlaying) m_pSession->Stop();
  const CAnalysisOptions& options = m_document.Options();
  const double tStart = std::max<double>(0.0, static_cast<double>(options.m_tAnalysisStartUTC - desc.m_tStart));
  {
    std::lock_guard lock(m_errorMutex);
    m_strErrorText.clear();
  }
  std::string strMessage;
  if (!m_pSession->Play(desc, tStart, options.m_bAnalysisSwapIQ != 0, strMessage)) {
    emit ErrorRaised("Play", QString::fromStdString(strMessage));
    return false;
  }
  m_pSession->SetVolume(Options().m_nAudioLevel);
  m_pSession->SetMute(m_bMute);
  if (m_bHaveRepeatRange)
    m_pSession->SetRepeatRange(desc, m_tRepeatStartUtc - desc.m_tStart, m_tRepeatEndUtc - desc.m_tStart);
  m_bPlaying = true;
  m_bPaused = false;
  m_bHavePosition = false;
  m_bReportedDevice = false;
  m_bReportedRecording = false;
  m_nErasures = 0;
  m_state = CPlayerState{};
  m_pollTimer.start();
  emit Erase();
  emit StateChanged();
  emit TuningChanged();
  return true;
}

void CPlayerController::TogglePause() {
  if (!m_bPlaying) return;
  m_bPaused = !m_bPaused;
  m_pSession->Pause(m_bPaused);
  emit StateChanged();
}

void CPlayerController::Stop() {
  if (!m_bPlaying) return;
  m_pSession->Stop();
  m_bPlaying = false;
  m_bPaused = false;
  m_pollTimer.stop();
  Poll();
  emit StateChanged();
}

bool CPlayerController::PlayAt(const CPictureClick& click) {
  if (!click.m_bInside || !HaveRecording()) return false;
  // A click while nothing plays starts play, then moves it to the point.
  if (!m_bPlaying && !Play()) return false;
  if (m_bPaused) TogglePause();
  double dFrequencyHz = 0.0;
  if (!m_pSession->PlayAtPoint(*Recording(), click, dFrequencyHz)) return false;
  m_bHavePosition = false;
  emit Erase();
  emit TuningChanged();
  return true;
}

bool CPlayerController::Retune(double dFrequencyHz) {
  if (!Recording() || !m_pSession->Retune(*Recording(), dFrequencyHz)) return false;
  emit TuningChanged();
  return true;
}

void CPlayerController::SetRepeatRange(double tFromUtc, double tToUtc) {
  if (!HaveRecording()) return;
  m_tRepeatStartUtc = std::min(tFromUtc, tToUtc);
  m_tRepeatEndUtc = std::max(tFromUtc, tToUtc);
  m_bHaveRepeatRange = true;
  const CRecordingDescription& desc = *Recording();
  m_pSession->SetRepeatRange(desc, m_tRepeatStartUtc - desc.m_tStart, m_tRepeatEndUtc - desc.m_tStart);
  emit StateChanged();
}

void CPlayerController::SetRepeat(bool bRepeat) {
  if (bRepeat == m_bRepeat) return;
  m_bRepeat = m_pSession->ToggleRepeat(m_settings);
  emit StateChanged();
}

// --- Options --------------------------------------------------------------------------------

void CPlayerController::SetDevice(std::uint32_t nDeviceID, const std::string& strName) {
  CPlayerOptions options = Options();
  options.m_nOutputID = nDeviceID;
  options.m_strOutputName = strName;
  m_pSession->SetOptions(options);
  SaveOptions();
  if (m_bPlaying) {
    m_bReportedDevice = false;
    m_pSession->Thread().SendAudioDevice(nDeviceID, strName);
  }
}

void CPlayerController::SetMode(int nMode) {
  m_pSession->SetMode(nMode);
  SaveOptions();
  emit TuningChanged();
}

void CPlayerController::SetPassBand(int nLowHz, int nHighHz) {
  m_pSession->SetPassBand(nLowHz, nHighHz);
  SaveOptions();
  emit TuningChanged();
}

void CPlayerController::SetSquelch(bool bEnable, int nLevel) {
  m_pSession->SetSquelch(bEnable, nLevel);
  SaveOptions();
}

void CPlayerController::SetNoiseBlanker(bool bEnable) {
  m_pSession->SetNoiseBlanker(bEnable);
  SaveOptions();
}

void CPlayerController::SetNoiseReduction(int nMethod) {
  m_pSession->SetNoiseReduction(nMethod);
  SaveOptions();
}

void CPlayerController::SetVolume(int nPercent) {
  CPlayerOptions options = Options();
  options.m_nAudioLevel = std::clamp(nPercent, 0, 100);
  m_pSession->SetOptions(options);
  m_pSession->SetVolume(options.m_nAudioLevel);
  SaveOptions();
}

void CPlayerController::SetMute(bool bMute) {
  m_bMute = bMute;
  m_pSession->SetMute(bMute);
}

void CPlayerController::SetDisplayRate(int nLinesPerSecond) {
  if (Recording())
    m_pSession->SetDisplayRate(*Recording(), nLinesPerSecond);
  else {
    CPlayerOptions options = Options();
    options.m_nFFTLinesPerSecond = nLinesPerSecond;
    m_pSession->SetOptions(options);
  }
  SaveOptions();
}

void CPlayerController::SetSnap(bool bEnable, const std::string& strStep) {
  CPlayerOptions options = Options();
  options.m_bFreqSnapEnable = bEnable;
  options.m_strFreqSnap = strStep;
  m_pSession->SetOptions(options);
  SaveOptions();
}

int CPlayerController::RecordFormat() const {
  int eFormat = AUDIO_RECORD_WAV;
  m_settings.Read(kRecordFormatKey, eFormat);
  return eFormat == AUDIO_RECORD_MP3 ? AUDIO_RECORD_MP3 : AUDIO_RECORD_WAV;
}

void CPlayerController::SetRecordFormat(int eFormat) { m_settings.Write(kRecordFormatKey, eFormat); }

QString CPlayerController::RecordFolder() const {
  std::string str;
  if (m_settings.Read(kRecordFolderKey, str) && !str.empty()) return QString::fromStdString(str);
  const QString strMusic = QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
  return strMusic.isEmpty() ? QDir::homePath() : strMusic;
}

void CPlayerController::SetRecordFolder(const QString& strFolder) {
  m_settings.Write(kRecordFolderKey, strFolder.toStdString());
}

bool CPlayerController::StartRecording() {
  if (!m_bPlaying) {
    emit ErrorRaised("Record", "Recording needs play: click a point of the picture or press Play first.");
    return false;
  }
  const int nMode = PlayerModeNumber(Options().m_strMode);
  const QString strName = QString("Vexlor %1 %2 Hz %3.%4")
                              .arg(QDateTime::currentDateTimeUtc().toString("yyyy-MM-dd HHmmss"))
                              .arg(static_cast<qint64>(TunedFrequency()))
                              .arg(CDSPDemodMain::ShortName(nMode))
                              .arg(RecordFormat() == AUDIO_RECORD_MP3 ? "mp3" : "wav");
  std::string strSource;
  if (Recording() && !Recording()->m_astrFileNames.empty())
    strSource = QFileInfo(QString::fromStdString(Recording()->m_astrFileNames.front())).fileName().toStdString();
  m_bReportedRecording = false;
  m_pSession->StartRecording(RecordFormat(), RecordFolder().toStdString(), strName.toStdString(),
                             {{0, StrFormat("%.0f Hz %s", TunedFrequency(), CDSPDemodMain::ShortName(nMode))},
                              {1, "Vexlor"},
                              {5, strSource}});
  return true;
}

void CPlayerController::StopRecording() { m_pSession->StopRecording(); }

// --- State ----------------------------------------------------------------------------------

double CPlayerController::PlayingPointUtc() const {
  if (!Recording()) return 0.0;
  const CRecordingDescription& desc = *Recording();
  return static_cast<double>(desc.m_tStart) + SeriesSecondsAt(desc, m_state.m_nFileIndex, m_state.m_nPosition);
}

double CPlayerController::RecordingCentreHz() const {
  return Recording() ? Recording()->m_nCenterFrequency : 0.0;
}

void CPlayerController::Poll() {
  m_bPollQueued = false;
  const CPlayerState previous = m_state;
  m_state = m_pSession->State();
  if (m_state.m_nBlocks > 0) m_bHavePosition = true;
  const double dCentre = RecordingCentreHz();
  if (auto spectrum = m_pSession->TakeDisplaySpectrum()) emit DisplaySpectrum(*spectrum, dCentre);
  for (int nTap = 0; nTap < 2; ++nTap)
    if (auto spectrum = m_pSession->TakeTapSpectrum(nTap)) emit TapSpectrum(nTap, *spectrum, TunedFrequency());
  if (m_state.m_nErasures != m_nErasures) {
    m_nErasures = m_state.m_nErasures;
    emit Erase();
  }
  bool bChanged = m_state.m_nFileIndex != previous.m_nFileIndex || m_state.m_nPosition != previous.m_nPosition ||
                  m_state.m_eRecording != previous.m_eRecording ||
                  m_state.m_nRecordedSamples != previous.m_nRecordedSamples;
  if (m_bPlaying && m_state.m_bDeviceFailed && !m_bReportedDevice) {
    // Play does not go on silently: it stops, and the device's error is shown.
    m_bReportedDevice = true;
    const QString strText =
        TakeErrorText(QString("The audio device \"%1\" could not be opened.").arg(QString::fromStdString(Options().m_strOutputName)));
    Stop();
    emit ErrorRaised("Play", strText);
    return;
  }
  if (m_state.m_bRecordingFailed && !m_bReportedRecording) {
    m_bReportedRecording = true;
    emit ErrorRaised("Record", TakeErrorText("The recording could not be started."));
  }
  if (m_bPlaying && !m_state.m_bPlaying && (m_state.m_bEnded || m_state.m_bFileOpenFailed)) {
    m_bPlaying = false;
    m_bPaused = false;
    m_pollTimer.stop();
    bChanged = true;
    if (m_state.m_bFileOpenFailed)
      emit ErrorRaised("Play", TakeErrorText("The recording's file could not be opened."));
  }
  if (bChanged) emit StateChanged();
}
