#pragma once
// CPlayerController: the desktop application's side of the player. It owns the engine's
// CPlayerSession (and so the "Demod" thread) for the life of the main window, runs the
// Play, Pause/Resume, Stop, click and repeat commands over the view's document, keeps the
// player options in the settings, and hands the session's state and newest spectra to the
// widgets on the GUI thread. Errors a listener must see arrive as ErrorRaised.

#include <QObject>
#include <QString>
#include <QTimer>
#include <atomic>
#include <memory>
#include <optional>

#include "player/PlayerSession.h"

class CAnalysisSession;
class CMySettingsStore;
struct CPictureClick;

class CPlayerController final : public QObject {
  Q_OBJECT
 public:
  // The settings of the options the session does not keep.
  static constexpr const char* kRecordFormatKey = "DemodPlayerRecordFormat";  // 0 WAV, 1 MP3
  static constexpr const char* kRecordFolderKey = "DemodPlayerRecordFolder";
  static constexpr const char* kRepeatKey = "CVexlorView::m_bPlayerRepeat";
  static constexpr int kPollMs = 40;

  CPlayerController(CMySettingsStore& settings, CAnalysisSession& document, QObject* pParent = nullptr);
  ~CPlayerController() override;

  CPlayerSession& Session() { return *m_pSession; }
  const CPlayerOptions& Options() const { return m_pSession->Options(); }
  // The output devices: the sound card's and the silent null-clock device.
  std::vector<CPlaybackDevice> Devices();

  // The commands. Play starts at the start of the analysed range; false (after
  // ErrorRaised) when it could not.
  bool Play();
  void TogglePause();
  void Stop();
  bool IsPlaying() const { return m_bPlaying; }
  bool IsPaused() const { return m_bPaused; }
  // A click in the picture: plays that moment at that frequency. When nothing plays, play
  // starts there first.
  bool PlayAt(const CPictureClick& click);
  // Tunes without moving the play position (the tuning bar).
  bool Retune(double dFrequencyHz);

  // The repeat range in recording seconds (UTC seconds since 1970), either way round.
  void SetRepeatRange(double tFromUtc, double tToUtc);
  bool HasRepeatRange() const { return m_bHaveRepeatRange; }
  double RepeatStartUtc() const { return m_tRepeatStartUtc; }
  double RepeatEndUtc() const { return m_tRepeatEndUtc; }
  bool Repeat() const { return m_bRepeat; }
  void SetRepeat(bool bRepeat);

  // The options; each is saved and applied at once while playing.
  void SetDevice(std::uint32_t nDeviceID, const std::string& strName);
  void SetMode(int nMode);
  void SetPassBand(int nLowHz, int nHighHz);
  void SetSquelch(bool bEnable, int nLevel);
  void SetNoiseBlanker(bool bEnable);
  void SetNoiseReduction(int nMethod);
  void SetVolume(int nPercent);
  void SetMute(bool bMute);
  bool Mute() const { return m_bMute; }
  void SetDisplayRate(int nLinesPerSecond);
  void SetSnap(bool bEnable, const std::string& strStep);

  // The recorder: the format (AUDIO_RECORD_WAV or AUDIO_RECORD_MP3) and folder come from the
  // settings; the file is named after the time, frequency and mode.
  int RecordFormat() const;
  void SetRecordFormat(int eFormat);
  QString RecordFolder() const;
  void SetRecordFolder(const QString& strFolder);
  bool StartRecording();
  void StopRecording();

  // What the displays and the picture show.
  const CPlayerState& State() const { return m_state; }
  double TunedFrequency() const { return m_pSession->TunedFrequency(); }
  void PassBand(double& dLowHz, double& dHighHz) const { m_pSession->PassBand(dLowHz, dHighHz); }
  // The recording time (UTC seconds) of the playing point; valid once play reported it.
  bool HasPlayingPoint() const { return m_bPlaying && m_bHavePosition; }
  double PlayingPointUtc() const;
  double RecordingCentreHz() const;

  // Handles what the session reported (the poll timer calls it; tests may too).
  void Poll();

 signals:
  void StateChanged();
  void DisplaySpectrum(const CDisplaySpectrum& spectrum, double dCentreHz);
  void TapSpectrum(int nTap, const CDisplaySpectrum& spectrum, double dCentreHz);
  void TuningChanged();
  void Erase();
  void ErrorRaised(const QString& strTitle, const QString& strText);

 private:
  // Opens the document's recording when only its picture was loaded; false (after
  // ErrorRaised) when there is none or it cannot be read.
  bool HaveRecording();
  const CRecordingDescription* Recording() const;
  void SaveOptions();
  void OnLogLine(const std::string& strLine);
  QString TakeErrorText(const QString& strFallback);

  CMySettingsStore& m_settings;
  CAnalysisSession& m_document;
  std::unique_ptr<CPlayerSession> m_pSession;
  QTimer m_pollTimer;
  std::atomic<bool> m_bPollQueued{false};
  CPlayerState m_state;
  bool m_bPlaying = false;
  bool m_bPaused = false;
  bool m_bHavePosition = false;
  bool m_bMute = false;
  bool m_bRepeat = false;
  bool m_bHaveRepeatRange = false;
  double m_tRepeatStartUtc = 0.0;
  double m_tRepeatEndUtc = 0.0;
  bool m_bReportedDevice = false;
  bool m_bReportedRecording = false;
  std::uint64_t m_nErasures = 0;
  CRecordingDescription m_ownRecording;  // read for a project whose document holds none
  bool m_bHaveOwnRecording = false;
  std::string m_strOwnRecording;
  // The newest error lines of the log (written on the player thread).
  std::mutex m_errorMutex;
  std::string m_strErrorText;
  bool m_bErrorContinues = false;
};
