#pragma once
// CPlayerPane: the "Player" pane. From the top: the transport (Play, Pause/Resume, Stop,
// Repeat) and what plays, the tuning bar, the spectrum scope of the channel, the player's
// waterfall of the band, the option grid (output device, mode, filter edges with the
// mode's default band one click away, squelch and its level, noise blanker and noise
// reduction, volume and mute, display lines per second, frequency snap and its step) and the recorder (WAV or MP3, folder, start/stop, time and
// file). Every change goes to the controller at once, also while playing.

#include <QWidget>

class QAction;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSlider;
class QSpinBox;
class CPlayerController;
class CPlayerWaterfall;
class CSpectrumScope;
class CTuningBar;

class CPlayerPane final : public QWidget {
  Q_OBJECT
 public:
  // pPlay, pPause and pStop are the main window's commands, shown as buttons here.
  CPlayerPane(CPlayerController& player, QAction* pPlay, QAction* pPause, QAction* pStop, QWidget* pParent = nullptr);

  CSpectrumScope* Scope() const { return m_pScope; }
  CPlayerWaterfall* Waterfall() const { return m_pWaterfall; }
  CTuningBar* TuningBar() const { return m_pTuningBar; }
  QComboBox* DeviceList() const { return m_pDevice; }
  QComboBox* ModeList() const { return m_pMode; }
  QSpinBox* FilterLow() const { return m_pFilterLow; }
  QSpinBox* FilterHigh() const { return m_pFilterHigh; }
  QPushButton* DefaultBandButton() const { return m_pDefaultBand; }
  QCheckBox* SquelchEnable() const { return m_pSquelch; }
  QSpinBox* SquelchLevel() const { return m_pSquelchLevel; }
  QCheckBox* NoiseBlanker() const { return m_pNoiseBlanker; }
  QComboBox* NoiseReduction() const { return m_pNoiseReduction; }
  QSlider* Volume() const { return m_pVolume; }
  QCheckBox* Mute() const { return m_pMute; }
  QSpinBox* LinesPerSecond() const { return m_pLines; }
  QCheckBox* SnapEnable() const { return m_pSnap; }
  QComboBox* SnapStep() const { return m_pSnapStep; }
  QCheckBox* RepeatBox() const { return m_pRepeat; }
  QComboBox* RecordFormat() const { return m_pRecordFormat; }
  QLineEdit* RecordFolder() const { return m_pRecordFolder; }
  QPushButton* RecordButton() const { return m_pRecord; }
  QLabel* RecordStatus() const { return m_pRecordStatus; }
  QLabel* PlayStatus() const { return m_pPlayStatus; }

  void SetPalette(int nPalette);

 private:
  QWidget* CreateOptions();
  QWidget* CreateRecorder();
  void UpdateTuning();
  void UpdateState();
  void UpdateSnapStep();

  CPlayerController& m_player;
  CTuningBar* m_pTuningBar = nullptr;
  CSpectrumScope* m_pScope = nullptr;
  CPlayerWaterfall* m_pWaterfall = nullptr;
  QComboBox* m_pDevice = nullptr;
  QComboBox* m_pMode = nullptr;
  QSpinBox* m_pFilterLow = nullptr;
  QSpinBox* m_pFilterHigh = nullptr;
  QPushButton* m_pDefaultBand = nullptr;
  QCheckBox* m_pSquelch = nullptr;
  QSpinBox* m_pSquelchLevel = nullptr;
  QCheckBox* m_pNoiseBlanker = nullptr;
  QComboBox* m_pNoiseReduction = nullptr;
  QSlider* m_pVolume = nullptr;
  QLabel* m_pVolumeText = nullptr;
  QCheckBox* m_pMute = nullptr;
  QSpinBox* m_pLines = nullptr;
  QCheckBox* m_pSnap = nullptr;
  QComboBox* m_pSnapStep = nullptr;
  QCheckBox* m_pRepeat = nullptr;
  QComboBox* m_pRecordFormat = nullptr;
  QLineEdit* m_pRecordFolder = nullptr;
  QPushButton* m_pRecord = nullptr;
  QLabel* m_pRecordStatus = nullptr;
  QLabel* m_pPlayStatus = nullptr;
};
