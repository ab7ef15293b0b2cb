#include "app/PlayerPane.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QToolButton>
#include <QVBoxLayout>

#include "app/PlayerController.h"
#include "app/PlayerWaterfall.h"
#include "app/SpectrumScope.h"
#include "app/TuningBar.h"
#include "core/QuantityText.h"
#include "core/SystemTime.h"
#include "dsp/DSPDemodMain.h"
#include "player/AudioRecorder.h"
#include "player/PlayerControl.h"

namespace {

constexpr int kModes = 18;

QToolButton* ActionButton(QAction* pAction, QWidget* pParent) {
  auto* p = new QToolButton(pParent);
  p->setDefaultAction(pAction);
  p->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  return p;
}

QSpinBox* HertzBox(QWidget* pParent) {
  auto* p = new QSpinBox(pParent);
  p->setRange(0, 200000);
  p->setSingleStep(50);
  p->setSuffix(" Hz");
  p->setKeyboardTracking(false);
  return p;
}

}  // namespace

CPlayerPane::CPlayerPane(CPlayerController& player, QAction* pPlay, QAction* pPause, QAction* pStop, QWidget* pParent)
    : QWidget(pParent), m_player(player) {
  setObjectName("PlayerPaneContents");
  auto* pLayout = new QVBoxLayout(this);
  pLayout->setContentsMargins(4, 4, 4, 4);
  pLayout->setSpacing(4);

  auto* pTransport = new QHBoxLayout;
  for (QAction* p : {pPlay, pPause, pStop})
    if (p) pTransport->addWidget(ActionButton(p, this));
  m_pRepeat = new QCheckBox("Repeat", this);
  m_pRepeat->setObjectName("PlayerRepeat");
  m_pRepeat->setToolTip(
      "Play the repeat range (Shift+drag or the context menu in the picture) over and over, or the whole recording");
  m_pRepeat->setChecked(player.Repeat());
  connect(m_pRepeat, &QCheckBox::toggled, &player, &CPlayerController::SetRepeat);
  pTransport->addWidget(m_pRepeat);
  pTransport->addStretch();
  pLayout->addLayout(pTransport);
  m_pPlayStatus = new QLabel("Stopped", this);
  m_pPlayStatus->setObjectName("PlayStatus");
  pLayout->addWidget(m_pPlayStatus);

  m_pTuningBar = new CTuningBar(this);
  pLayout->addWidget(m_pTuningBar);
  m_pScope = new CSpectrumScope(this);
  pLayout->addWidget(m_pScope, 3);
  m_pWaterfall = new CPlayerWaterfall(this);
  pLayout->addWidget(m_pWaterfall, 3);
  pLayout->addWidget(CreateOptions());
  pLayout->addWidget(CreateRecorder());

  connect(m_pTuningBar, &CTuningBar::TuneRequested, &player, &CPlayerController::Retune);
  connect(&player, &CPlayerController::TuningChanged, this, &CPlayerPane::UpdateTuning);
  connect(&player, &CPlayerController::StateChanged, this, &CPlayerPane::UpdateState);
  connect(&player, &CPlayerController::Erase, m_pWaterfall, &CPlayerWaterfall::Erase);
  connect(&player, &CPlayerController::DisplaySpectrum, m_pWaterfall, &CPlayerWaterfall::AddLine);
  connect(&player, &CPlayerController::TapSpectrum, this,
          [this](int nTap, const CDisplaySpectrum& spectrum, double dCentreHz) {
            if (nTap == 0) m_pScope->SetSpectrum(spectrum, dCentreHz);
          });
  UpdateSnapStep();
  UpdateTuning();
  UpdateState();
}

QWidget* CPlayerPane::CreateOptions() {
  auto* pBox = new QGroupBox("Options", this);
  auto* pForm = new QFormLayout(pBox);
  pForm->setContentsMargins(6, 4, 6, 4);
  const CPlayerOptions& options = m_player.Options();

  m_pDevice = new QComboBox(pBox);
  m_pDevice->setObjectName("PlayerDevice");
  m_pDevice->setToolTip("The sound card output the player plays on");
  for (const CPlaybackDevice& device : m_player.Devices())
    m_pDevice->addItem(QString::fromStdString(device.m_strName), device.m_nDeviceID);
  // The saved device stays shown when it is not in the list now (the system's default
  // output, a card unplugged): choosing another is then a deliberate change.
  if (m_pDevice->findData(options.m_nOutputID) < 0)
    m_pDevice->insertItem(0, QString::fromStdString(options.m_strOutputName), options.m_nOutputID);
  m_pDevice->setCurrentIndex(m_pDevice->findData(options.m_nOutputID));
  connect(m_pDevice, &QComboBox::activated, this, [this](int i) {
    m_player.SetDevice(m_pDevice->itemData(i).toUInt(), m_pDevice->itemText(i).toStdString());
  });
  pForm->addRow("Output", m_pDevice);

  m_pMode = new QComboBox(pBox);
  m_pMode->setObjectName("PlayerMode");
  for (int n = 0; n < kModes; ++n) m_pMode->addItem(CDSPDemodMain::LongName(n), n);
  m_pMode->setCurrentIndex(PlayerModeNumber(options.m_strMode));
  connect(m_pMode, &QComboBox::activated, this, [this](int i) { m_player.SetMode(i); });
  pForm->addRow("Mode", m_pMode);

  auto* pFilter = new QHBoxLayout;
  m_pFilterLow = HertzBox(pBox);
  m_pFilterLow->setObjectName("PlayerFilterLow");
  m_pFilterLow->setToolTip("The pass band's edge nearest the tuned frequency");
  m_pFilterHigh = HertzBox(pBox);
  m_pFilterHigh->setObjectName("PlayerFilterHigh");
  m_pFilterHigh->setToolTip("The pass band's far edge");
  m_pFilterLow->setValue(options.m_nFilterLow);
  m_pFilterHigh->setValue(options.m_nFilterHigh);
  m_pDefaultBand = new QPushButton("Default", pBox);
  m_pDefaultBand->setObjectName("PlayerDefaultBand");
  m_pDefaultBand->setToolTip("The mode's usual pass band");
  const auto applyBand = [this] { m_player.SetPassBand(m_pFilterLow->value(), m_pFilterHigh->value()); };
  connect(m_pFilterLow, &QSpinBox::valueChanged, this, applyBand);
  connect(m_pFilterHigh, &QSpinBox::valueChanged, this, applyBand);
  connect(m_pDefaultBand, &QPushButton::clicked, this, [this] {
    int nLow = 0, nHigh = 0;
    CDSPDemodMain::DefaultPassBand(m_pMode->currentIndex(), 500, nLow, nHigh);
    const QSignalBlocker block(m_pFilterLow);
    m_pFilterLow->setValue(nLow);
    m_pFilterHigh->setValue(nHigh);  // applies both
  });
  pFilter->addWidget(m_pFilterLow);
  pFilter->addWidget(new QLabel("to", pBox));
  pFilter->addWidget(m_pFilterHigh);
  pFilter->addWidget(m_pDefaultBand);
  pForm->addRow("Filter", pFilter);

  auto* pSquelch = new QHBoxLayout;
  m_pSquelch = new QCheckBox("On", pBox);
  m_pSquelch->setObjectName("PlayerSquelch");
  m_pSquelch->setToolTip("Mute the audio while the channel holds only noise");
  m_pSquelch->setChecked(options.m_bSquelchEnable);
  m_pSquelchLevel = new QSpinBox(pBox);
  m_pSquelchLevel->setObjectName("PlayerSquelchLevel");
  m_pSquelchLevel->setRange(0, 100);
  m_pSquelchLevel->setPrefix("level ");
  m_pSquelchLevel->setKeyboardTracking(false);
  m_pSquelchLevel->setValue(options.m_nSquelchLevel);
  m_pSquelchLevel->setToolTip("The channel level that opens the squelch: higher needs a stronger signal");
  const auto applySquelch = [this] { m_player.SetSquelch(m_pSquelch->isChecked(), m_pSquelchLevel->value()); };
  connect(m_pSquelch, &QCheckBox::toggled, this, applySquelch);
  connect(m_pSquelchLevel, &QSpinBox::valueChanged, this, applySquelch);
  pSquelch->addWidget(m_pSquelch);
  pSquelch->addWidget(m_pSquelchLevel, 1);
  pForm->addRow("Squelch", pSquelch);

  auto* pNoise = new QHBoxLayout;
  m_pNoiseBlanker = new QCheckBox("Blanker", pBox);
  m_pNoiseBlanker->setObjectName("PlayerNoiseBlanker");
  m_pNoiseBlanker->setToolTip("Blank impulse noise (ignition, switching spikes) before the channel filter");
  m_pNoiseBlanker->setChecked(options.m_bNoiseBlanker);
  connect(m_pNoiseBlanker, &QCheckBox::toggled, &m_player, &CPlayerController::SetNoiseBlanker);
  m_pNoiseReduction = new QComboBox(pBox);
  m_pNoiseReduction->setObjectName("PlayerNoiseReduction");
  m_pNoiseReduction->setToolTip("Noise reduction of the demodulated audio");
  m_pNoiseReduction->addItems({"No reduction", "Ephraim-Malah", "FIR LMS", "Spectral subtraction"});
  m_pNoiseReduction->setCurrentIndex(options.m_nNoiseReduction);
  connect(m_pNoiseReduction, &QComboBox::activated, &m_player, &CPlayerController::SetNoiseReduction);
  pNoise->addWidget(m_pNoiseBlanker);
  pNoise->addWidget(m_pNoiseReduction, 1);
  pForm->addRow("Noise", pNoise);

  auto* pVolume = new QHBoxLayout;
  m_pVolume = new QSlider(Qt::Horizontal, pBox);
  m_pVolume->setObjectName("PlayerVolume");
  m_pVolume->setRange(0, 100);
  m_pVolume->setValue(options.m_nAudioLevel);
  m_pVolumeText = new QLabel(QString("%1%").arg(options.m_nAudioLevel), pBox);
  m_pVolumeText->setMinimumWidth(m_pVolumeText->fontMetrics().horizontalAdvance("100%"));
  m_pMute = new QCheckBox("Mute", pBox);
  m_pMute->setObjectName("PlayerMute");
  connect(m_pVolume, &QSlider::valueChanged, this, [this](int n) {
    m_pVolumeText->setText(QString("%1%").arg(n));
    m_player.SetVolume(n);
  });
  connect(m_pMute, &QCheckBox::toggled, &m_player, &CPlayerController::SetMute);
  pVolume->addWidget(m_pVolume);
  pVolume->addWidget(m_pVolumeText);
  pVolume->addWidget(m_pMute);
  pForm->addRow("Volume", pVolume);

  m_pLines = new QSpinBox(pBox);
  m_pLines->setObjectName("PlayerLines");
  m_pLines->setRange(0, 100);
  m_pLines->setSpecialValueText("20 (default)");
  m_pLines->setSuffix(" lines/s");
  m_pLines->setKeyboardTracking(false);
  m_pLines->setValue(options.m_nFFTLinesPerSecond);
  m_pLines->setToolTip("Lines per second of the scope and the player's waterfall");
  connect(m_pLines, &QSpinBox::valueChanged, &m_player, &CPlayerController::SetDisplayRate);
  pForm->addRow("Display", m_pLines);

  auto* pSnap = new QHBoxLayout;
  m_pSnap = new QCheckBox("Snap to", pBox);
  m_pSnap->setObjectName("PlayerSnap");
  m_pSnap->setToolTip("A click tunes to the nearest multiple of the step (not in the CW modes)");
  m_pSnap->setChecked(options.m_bFreqSnapEnable);
  m_pSnapStep = new QComboBox(pBox);
  m_pSnapStep->setObjectName("PlayerSnapStep");
  m_pSnapStep->setEditable(true);
  m_pSnapStep->addItems({"1k", "5k", "9k", "10k", "12.5k", "25k", "100"});
  m_pSnapStep->setCurrentText(options.m_strFreqSnap.empty() ? "5k" : QString::fromStdString(options.m_strFreqSnap));
  const auto applySnap = [this] {
    m_player.SetSnap(m_pSnap->isChecked(), m_pSnapStep->currentText().trimmed().toStdString());
    UpdateSnapStep();
  };
  connect(m_pSnap, &QCheckBox::toggled, this, applySnap);
  connect(m_pSnapStep, &QComboBox::currentTextChanged, this, applySnap);
  pSnap->addWidget(m_pSnap);
  pSnap->addWidget(m_pSnapStep, 1);
  pForm->addRow("Frequency", pSnap);
  return pBox;
}

QWidget* CPlayerPane::CreateRecorder() {
  auto* pBox = new QGroupBox("Recorder", this);
  auto* pForm = new QFormLayout(pBox);
  pForm->setContentsMargins(6, 4, 6, 4);
  m_pRecordFormat = new QComboBox(pBox);
  m_pRecordFormat->setObjectName("RecordFormat");
  m_pRecordFormat->addItem("WAV", AUDIO_RECORD_WAV);
  m_pRecordFormat->addItem("MP3", AUDIO_RECORD_MP3);
  m_pRecordFormat->setCurrentIndex(m_player.RecordFormat() == AUDIO_RECORD_MP3 ? 1 : 0);
  connect(m_pRecordFormat, &QComboBox::activated, this,
          [this](int i) { m_player.SetRecordFormat(m_pRecordFormat->itemData(i).toInt()); });
  m_pRecord = new QPushButton("Record", pBox);
  m_pRecord->setObjectName("RecordButton");
  m_pRecord->setCheckable(true);
  m_pRecord->setToolTip("Record what plays into the folder below");
  connect(m_pRecord, &QPushButton::clicked, this, [this](bool bOn) {
    if (bOn) {
      if (!m_player.StartRecording()) m_pRecord->setChecked(false);
    } else {
      m_player.StopRecording();
    }
  });
  auto* pRow = new QHBoxLayout;
  pRow->addWidget(m_pRecordFormat);
  pRow->addWidget(m_pRecord, 1);
  pForm->addRow("Format", pRow);

  auto* pFolder = new QHBoxLayout;
  m_pRecordFolder = new QLineEdit(m_player.RecordFolder(), pBox);
  m_pRecordFolder->setObjectName("RecordFolder");
  connect(m_pRecordFolder, &QLineEdit::editingFinished, this,
          [this] { m_player.SetRecordFolder(m_pRecordFolder->text()); });
  auto* pBrowse = new QPushButton("...", pBox);
  pBrowse->setMaximumWidth(30);
  connect(pBrowse, &QPushButton::clicked, this, [this] {
    const QString str = QFileDialog::getExistingDirectory(this, "Recording folder", m_pRecordFolder->text());
    if (str.isEmpty()) return;
    m_pRecordFolder->setText(str);
    m_player.SetRecordFolder(str);
  });
  pFolder->addWidget(m_pRecordFolder, 1);
  pFolder->addWidget(pBrowse);
  pForm->addRow("Folder", pFolder);
  m_pRecordStatus = new QLabel("Not recording", pBox);
  m_pRecordStatus->setObjectName("RecordStatus");
  m_pRecordStatus->setWordWrap(true);
  pForm->addRow(m_pRecordStatus);
  return pBox;
}

void CPlayerPane::SetPalette(int nPalette) { m_pWaterfall->SetPalette(nPalette); }

void CPlayerPane::UpdateSnapStep() {
  // The wheel's step: the snap step when snapping, otherwise 1 kHz.
  double dStep = 1000.0;
  if (m_pSnap->isChecked()) {
    double d = 0.0;
    std::string strError;
    if (ParseFrequencyText(m_pSnapStep->currentText().trimmed().toStdString(), d, strError) && d > 0.0) dStep = d;
  }
  m_pTuningBar->SetStep(dStep);
}

void CPlayerPane::UpdateTuning() {
  double dLow = 0.0, dHigh = 0.0;
  m_player.PassBand(dLow, dHigh);
  const double dTuned = m_player.TunedFrequency();
  const int nMode = PlayerModeNumber(m_player.Options().m_strMode);
  m_pTuningBar->SetTuning(dTuned, dLow, dHigh, CDSPDemodMain::LongName(nMode));
  m_pScope->SetTuning(dTuned, dLow, dHigh);
  m_pWaterfall->SetTuning(dTuned, dLow, dHigh);
  if (m_pMode->currentIndex() != nMode) m_pMode->setCurrentIndex(nMode);
}

void CPlayerPane::UpdateState() {
  const CPlayerState& state = m_player.State();
  if (!m_player.IsPlaying()) {
    m_pPlayStatus->setText(state.m_bEnded ? "Ended" : "Stopped");
  } else {
    const QString strTime =
        m_player.HasPlayingPoint()
            ? QString::fromStdString(FormatUtcSeconds(static_cast<std::int64_t>(m_player.PlayingPointUtc()), "%H:%M:%S"))
            : QString("starting");
    m_pPlayStatus->setText(QString("%1 %2 UTC").arg(m_player.IsPaused() ? "Paused at" : "Playing", strTime));
  }
  if (m_pRepeat->isChecked() != m_player.Repeat()) {
    const QSignalBlocker block(m_pRepeat);
    m_pRepeat->setChecked(m_player.Repeat());
  }
  const QString strFile = QFileInfo(QString::fromStdString(state.m_strRecordingPath)).fileName();
  switch (state.m_eRecording) {
    case RECORDING_STARTED:
      m_pRecordStatus->setText(QString("Recording %1 s to %2")
                                   .arg(QString::number(state.m_nRecordedSamples / 48000.0, 'f', 1), strFile));
      m_pRecord->setChecked(true);
      break;
    case RECORDING_FAILED_TO_START:
    case RECORDING_ENDED_BY_ERROR:
      m_pRecordStatus->setText("Not recording (failed, see the message)");
      m_pRecord->setChecked(false);
      break;
    default:
      m_pRecordStatus->setText(strFile.isEmpty() || state.m_bRecordingFailed ? QString("Not recording")
                                                 : QString("Recorded %1 s in %2")
                                                       .arg(QString::number(state.m_nRecordedSamples / 48000.0, 'f', 1),
                                                            strFile));
      m_pRecord->setChecked(false);
  }
}
