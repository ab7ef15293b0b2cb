#include "kelmorth/CutterWindow.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMetaObject>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include <cmath>

#include "core/Log.h"
#include "core/QuantityText.h"
#include "core/SystemTime.h"

namespace {
QString Text(const std::string& s) { return QString::fromStdString(s); }

QString SecondsText(double dSeconds) { return QString::number(dSeconds, 'f', dSeconds == std::floor(dSeconds) ? 0 : 3); }

QWidget* Row(QWidget* pField, QWidget* pButton) {
  auto* pRow = new QWidget;
  auto* pLayout = new QHBoxLayout(pRow);
  pLayout->setContentsMargins(0, 0, 0, 0);
  pLayout->addWidget(pField, 1);
  pLayout->addWidget(pButton);
  return pRow;
}
}  // namespace

CCutterWindow::CCutterWindow(const CCutRequest& initial, QWidget* pParent)
    : QWidget(pParent), m_pCutter(std::make_unique<CRecordingCutter>()) {
  setWindowTitle("Kelmorth - cut a band out of a recording");
  m_pRecording = new QLineEdit(Text(initial.input.string()));
  auto* pBrowse = new QPushButton("Browse...");
  m_pRecordingInfo = new QLabel;
  m_pRecordingInfo->setWordWrap(true);
  m_pStart = new QLineEdit;
  m_pEnd = new QLineEdit;
  m_pCentre = new QLineEdit;
  m_pBandwidth = new QLineEdit;
  m_pRate = new QLineEdit;
  m_pRate->setPlaceholderText("automatic");
  m_pBits = new QComboBox;
  m_pBits->addItems({"16-bit", "24-bit", "32-bit float"});
  m_pBits->setCurrentIndex(static_cast<int>(initial.eFormat));
  m_pFolder = new QLineEdit;
  auto* pBrowseFolder = new QPushButton("Browse...");
  m_pName = new QLineEdit;
  m_pProgress = new QProgressBar;
  m_pProgress->setRange(0, 1000);
  m_pProgress->setValue(0);
  m_pStatus = new QLabel;
  m_pStatus->setWordWrap(true);
  m_pCut = new QPushButton("Cut");
  m_pCancel = new QPushButton("Close");
  m_pOpen = new QPushButton("Open in Vexlor");
  m_pOpen->setEnabled(false);
  m_pCut->setDefault(true);
  // Names by which scripts and tests find the controls.
  m_pCut->setObjectName("cut");
  m_pCancel->setObjectName("cancel");
  m_pOpen->setObjectName("open");
  m_pStatus->setObjectName("status");
  m_pProgress->setObjectName("progress");
  m_pName->setObjectName("name");
  m_pFolder->setObjectName("folder");

  for (QLineEdit* p : {m_pStart, m_pEnd})
    p->setToolTip("\"YYYY-MM-DD HH:MM:SS\" (UTC) or seconds from the start of the recording");
  for (QLineEdit* p : {m_pCentre, m_pBandwidth, m_pRate}) p->setToolTip("Hz, or with k or M: 7100k, 7.1M");

  m_pFields = new QWidget;
  auto* pForm = new QFormLayout(m_pFields);
  pForm->setContentsMargins(0, 0, 0, 0);
  pForm->addRow("Recording:", Row(m_pRecording, pBrowse));
  pForm->addRow("", m_pRecordingInfo);
  pForm->addRow("Start:", m_pStart);
  pForm->addRow("End:", m_pEnd);
  pForm->addRow("Centre frequency:", m_pCentre);
  pForm->addRow("Bandwidth:", m_pBandwidth);
  pForm->addRow("Output rate:", m_pRate);
  pForm->addRow("Samples:", m_pBits);
  pForm->addRow("Folder:", Row(m_pFolder, pBrowseFolder));
  pForm->addRow("Name:", m_pName);
  auto* pButtons = new QHBoxLayout;
  pButtons->addStretch(1);
  pButtons->addWidget(m_pCut);
  pButtons->addWidget(m_pCancel);
  pButtons->addWidget(m_pOpen);
  auto* pLayout = new QVBoxLayout(this);
  pLayout->addWidget(m_pFields);
  pLayout->addWidget(m_pProgress);
  pLayout->addWidget(m_pStatus);
  pLayout->addLayout(pButtons);
  resize(620, height());

  connect(pBrowse, &QPushButton::clicked, this, &CCutterWindow::BrowseRecording);
  connect(pBrowseFolder, &QPushButton::clicked, this, &CCutterWindow::BrowseFolder);
  connect(m_pRecording, &QLineEdit::editingFinished, this, &CCutterWindow::RecordingChanged);
  connect(m_pBandwidth, &QLineEdit::textChanged, this, &CCutterWindow::BandChanged);
  connect(m_pCut, &QPushButton::clicked, this, &CCutterWindow::StartCut);
  connect(m_pCancel, &QPushButton::clicked, this, &CCutterWindow::CancelOrClose);
  connect(m_pOpen, &QPushButton::clicked, this, &CCutterWindow::OpenInVexlor);

  if (!initial.input.empty()) RecordingChanged();
  // Values given on the command line or by a project win over the recording's defaults.
  if (initial.dCentreHz > 0.0) m_pCentre->setText(QString::number(initial.dCentreHz, 'f', 0));
  if (initial.dBandwidthHz > 0.0) m_pBandwidth->setText(QString::number(initial.dBandwidthHz, 'f', 0));
  if (initial.dStartSeconds > 0.0) m_pStart->setText(SecondsText(initial.dStartSeconds));
  if (initial.dEndSeconds >= 0.0) m_pEnd->setText(SecondsText(initial.dEndSeconds));
  if (initial.nOutputRate > 0) m_pRate->setText(QString::number(initial.nOutputRate));
  if (!initial.output.empty()) {
    m_pFolder->setText(Text(initial.output.parent_path().string()));
    m_pName->setText(Text(initial.output.filename().string()));
  }
  BandChanged();
}

CCutterWindow::~CCutterWindow() { StopWorker(); }

QString CCutterWindow::VexlorExecutable() {
  const QString dir = QCoreApplication::applicationDirPath();
  for (const QString& candidate : {dir + "/vexlor", dir + "/../app/vexlor"}) {
    const QFileInfo info(candidate);
    if (info.isFile() && info.isExecutable()) return info.canonicalFilePath();
  }
  return {};
}

void CCutterWindow::BrowseRecording() {
  const QString path = QFileDialog::getOpenFileName(this, "Recording", m_pRecording->text(),
                                                    "Recordings (*.wav *.WAV *.ddc);;All files (*)");
  if (path.isEmpty()) return;
  m_pRecording->setText(path);
  RecordingChanged();
}

void CCutterWindow::BrowseFolder() {
  const QString dir = QFileDialog::getExistingDirectory(this, "Output folder", m_pFolder->text());
  if (!dir.isEmpty()) m_pFolder->setText(dir);
}

void CCutterWindow::RecordingChanged() {
  const std::string path = m_pRecording->text().trimmed().toStdString();
  if (path.empty()) return;
  if (!m_pCutter->OpenInput(path)) {
    m_pRecordingInfo->setText(Text(m_pCutter->Error()));
    return;
  }
  const CRecordingDescription& desc = m_pCutter->Input();
  const double seconds = m_pCutter->InputSeconds();
  m_pRecordingInfo->setText(Text(StrFormat("%s, %u file%s, centre %u Hz, %u Hz, %u bits, %s UTC, %.1f s",
                                           desc.m_strSource.c_str(), desc.m_nFiles, desc.m_nFiles == 1 ? "" : "s",
                                           desc.m_nCenterFrequency, m_pCutter->InputRate(), desc.m_nBitsPerSample,
                                           FormatUtcSeconds(desc.m_tStart).c_str(), seconds)));
  m_pStart->setText("0");
  m_pEnd->setText(SecondsText(seconds));
  m_pCentre->setText(QString::number(desc.m_nCenterFrequency));
  m_pBandwidth->setText(QString::number(m_pCutter->InputRate() / 10));
  const QFileInfo info(QString::fromStdString(path));
  m_pFolder->setText(info.absolutePath());
  QString base = info.completeBaseName();
  if (base.endsWith(" 000")) base.chop(4);
  m_pName->setText(base + " cut 000.wav");
}

void CCutterWindow::BandChanged() {
  double dBandwidth = 0.0;
  std::string strError;
  if (m_pCutter->InputRate() == 0 || !ParseFrequencyText(m_pBandwidth->text().trimmed().toStdString(), dBandwidth, strError))
    return;
  const std::uint32_t rate = m_pCutter->DefaultRate(dBandwidth);
  m_pRate->setPlaceholderText(rate ? QString("automatic: %1 Hz").arg(rate) : QString("automatic"));
}

bool CCutterWindow::BuildRequest(CCutRequest& request) {
  std::string strError;
  const auto fail = [this](const QString& what, const std::string& why) {
    m_pStatus->setText(what + ": " + Text(why));
    return false;
  };
  request.input = m_pRecording->text().trimmed().toStdString();
  if (request.input.empty()) return fail("Recording", "choose a recording first");
  if (!m_pCutter->OpenInput(request.input)) return fail("Recording", m_pCutter->Error());
  const std::int64_t tStart = m_pCutter->Input().m_tStart;
  if (!ParseRecordingTimeText(m_pStart->text().trimmed().toStdString(), tStart, request.dStartSeconds, strError))
    return fail("Start", strError);
  if (!ParseRecordingTimeText(m_pEnd->text().trimmed().toStdString(), tStart, request.dEndSeconds, strError))
    return fail("End", strError);
  if (!ParseFrequencyText(m_pCentre->text().trimmed().toStdString(), request.dCentreHz, strError))
    return fail("Centre frequency", strError);
  if (!ParseFrequencyText(m_pBandwidth->text().trimmed().toStdString(), request.dBandwidthHz, strError))
    return fail("Bandwidth", strError);
  request.nOutputRate = 0;
  if (!m_pRate->text().trimmed().isEmpty()) {
    double dRate = 0.0;
    if (!ParseFrequencyText(m_pRate->text().trimmed().toStdString(), dRate, strError)) return fail("Output rate", strError);
    request.nOutputRate = static_cast<std::uint32_t>(std::lround(dRate));
  }
  request.eFormat = static_cast<CIQSeriesWriter::ESampleFormat>(m_pBits->currentIndex());
  QString name = m_pName->text().trimmed();
  if (name.isEmpty()) return fail("Name", "give the output a name");
  if (!name.endsWith(".wav", Qt::CaseInsensitive)) name += " 000.wav";
  request.output = (QDir(m_pFolder->text().trimmed()).filePath(name)).toStdString();
  return true;
}

void CCutterWindow::StartCut() {
  if (m_bRunning) return;
  CCutRequest request;
  if (!BuildRequest(request)) return;
  if (!m_pCutter->Prepare(request)) {
    m_pStatus->setText(Text(m_pCutter->Error()));
    return;
  }
  m_strOutput = Text(request.output.string());
  m_pStatus->setText(Text(StrFormat("Cutting to %u Hz ...", m_pCutter->Plan().nOutputRate)));
  m_bAbort = false;
  SetRunning(true);
  StopWorker();
  m_worker = std::thread([this] {
    const bool bOk = m_pCutter->Run(&m_bAbort, [this](const CCutProgress& progress) {
      QMetaObject::invokeMethod(this, [this, progress] { ShowProgress(progress); }, Qt::QueuedConnection);
    });
    QMetaObject::invokeMethod(this, [this, bOk] { CutFinished(bOk); }, Qt::QueuedConnection);
  });
}

void CCutterWindow::ShowProgress(const CCutProgress& progress) {
  m_pProgress->setValue(static_cast<int>(progress.dFraction * 1000.0));
  m_pStatus->setText(Text(StrFormat("%.1f %%   %.1f MB/s   remaining %.0f s", 100.0 * progress.dFraction,
                                    progress.dMegabytesPerSecond, progress.dRemainingSeconds)));
}

void CCutterWindow::CutFinished(bool bOk) {
  StopWorker();
  SetRunning(false);
  if (!bOk) {
    m_pStatus->setText(Text(m_pCutter->Error()));
    return;
  }
  const CCutPlan& plan = m_pCutter->Plan();
  const double seconds = static_cast<double>(m_pCutter->OutputSamplesWritten()) / plan.nOutputRate;
  if (!m_pCutter->WasAborted()) m_pProgress->setValue(1000);
  m_pStatus->setText(Text(StrFormat("%s %s: %u Hz, %.3f s%s", m_pCutter->WasAborted() ? "Cancelled; wrote" : "Wrote",
                                    m_strOutput.toStdString().c_str(), plan.nOutputRate, seconds,
                                    m_pCutter->WasAborted() ? " (a shorter recording)" : "")));
  const bool bHaveVexlor = !VexlorExecutable().isEmpty();
  m_pOpen->setEnabled(bHaveVexlor);
  m_pOpen->setToolTip(bHaveVexlor ? QString() : QString("vexlor is not installed beside kelmorth"));
}

void CCutterWindow::OpenInVexlor() {
  const QString vexlor = VexlorExecutable();
  if (vexlor.isEmpty() || m_strOutput.isEmpty()) return;
  if (!QProcess::startDetached(vexlor, {m_strOutput})) m_pStatus->setText("Vexlor could not be started: " + vexlor);
}

void CCutterWindow::CancelOrClose() {
  if (m_bRunning)
    m_bAbort = true;
  else
    close();
}

void CCutterWindow::SetRunning(bool bRunning) {
  m_bRunning = bRunning;
  m_pCut->setEnabled(!bRunning);
  // The worker owns the cutter while it runs: nothing may change the request meanwhile.
  m_pFields->setEnabled(!bRunning);
  m_pCancel->setText(bRunning ? "Cancel" : "Close");
  if (bRunning) {
    m_pOpen->setEnabled(false);
    m_pProgress->setValue(0);
  }
}

void CCutterWindow::StopWorker() {
  if (m_worker.joinable()) {
    m_bAbort = true;
    m_worker.join();
  }
}

void CCutterWindow::closeEvent(QCloseEvent* pEvent) {
  // The cut ends at once and leaves a valid, shorter recording.
  StopWorker();
  pEvent->accept();
}
