#include "app/AnalyseStatusDlg.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QMessageBox>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include "analysis/AnalysisSession.h"

CAnalyseStatusDlg::CAnalyseStatusDlg(QWidget* pParent) : QDialog(pParent) {
  setWindowTitle("Analysing");
  setModal(false);
  m_pProgress = new QProgressBar(this);
  m_pProgress->setRange(0, 1000);
  m_pProgress->setTextVisible(false);
  m_pRate = new QLabel(this);
  m_pRemaining = new QLabel(this);
  m_pNote = new QLabel(this);
  m_pNote->setWordWrap(true);
  m_pNote->hide();
  m_pLink = new QLabel(QString("<a href=\"%1\">Analysis is slow: cut the recording down with %1...</a>")
                           .arg(kCompanionTool),
                       this);
  m_pLink->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
  m_pLink->hide();
  connect(m_pLink, &QLabel::linkActivated, this, [this] { StartCompanionTool(); });
  m_pAbort = new QPushButton("Abort", this);
  m_pAbort->setToolTip("Stop the analysis; the rows analysed so far are kept");
  connect(m_pAbort, &QPushButton::clicked, this, [this] {
    m_pAbort->setEnabled(false);
    m_pAbort->setText("Aborting...");
    emit AbortRequested();
  });

  auto* pForm = new QFormLayout;
  pForm->addRow("Rate:", m_pRate);
  pForm->addRow("Remaining:", m_pRemaining);
  auto* pLayout = new QVBoxLayout(this);
  pLayout->addWidget(m_pProgress);
  pLayout->addLayout(pForm);
  pLayout->addWidget(m_pNote);
  pLayout->addWidget(m_pLink);
  pLayout->addWidget(m_pAbort, 0, Qt::AlignRight);
  setMinimumWidth(380);

  m_growTimer.setSingleShot(true);
  m_growTimer.setInterval(kGrowDelayMs);
  connect(&m_growTimer, &QTimer::timeout, this, &CAnalyseStatusDlg::CheckSlowRun);
}

void CAnalyseStatusDlg::Start(const QString& strRecording) {
  m_strRecording = strRecording;
  m_pProgress->setValue(0);
  m_pRate->setText("Initialising");
  m_pRemaining->setText("--:--:--");
  m_pNote->hide();
  m_pLink->hide();
  m_pAbort->setEnabled(true);
  m_pAbort->setText("Abort");
  adjustSize();
  if (parentWidget()) move(parentWidget()->frameGeometry().center() - rect().center());
  m_growTimer.start();
  show();
  raise();
}

void CAnalyseStatusDlg::ShowProgress(const SAnalysisRunState& state) {
  m_pProgress->setValue(state.nProgress);
  m_pRate->setText(QString::fromStdString(state.strRate));
  m_pRemaining->setText(QString::fromStdString(state.strRemaining));
}

void CAnalyseStatusDlg::ShowOpenFailed() {
  m_pNote->setText("The recording's first file could not be opened (the log says why). "
                   "Press Abort to end the run.");
  m_pNote->show();
  adjustSize();
}

void CAnalyseStatusDlg::CheckSlowRun() {
  if (m_pProgress->value() >= 500 || m_pLink->isVisible()) return;
  const int nHeight = height();
  m_pLink->show();
  resize(width(), nHeight + kGrowPixels);
}

int CAnalyseStatusDlg::Progress() const { return m_pProgress->value(); }
QString CAnalyseStatusDlg::RateText() const { return m_pRate->text(); }
QString CAnalyseStatusDlg::RemainingText() const { return m_pRemaining->text(); }
bool CAnalyseStatusDlg::LinkShown() const { return !m_pLink->isHidden(); }

bool CAnalyseStatusDlg::StartCompanionTool() {
  // Installed, the tool sits beside vexlor; in the build tree, in its own folder next to it.
  const QDir dir(QCoreApplication::applicationDirPath());
  QString strTool = dir.filePath(kCompanionTool);
  for (const QString& strCandidate : {strTool, dir.filePath(QString("../kelmorth/") + kCompanionTool)}) {
    const QFileInfo info(strCandidate);
    if (!info.isFile() || !info.isExecutable()) continue;
    const QStringList args = m_strRecording.isEmpty() ? QStringList() : QStringList{m_strRecording};
    if (QProcess::startDetached(info.absoluteFilePath(), args)) return true;
    strTool = strCandidate;
  }
  QMessageBox::information(this, "Analysing",
                           QString("The companion tool %1 is not installed (looked for %2).").arg(kCompanionTool, strTool));
  return false;
}

// The dialog lives as long as the run: closing it asks for the abort.
void CAnalyseStatusDlg::closeEvent(QCloseEvent* pEvent) {
  pEvent->ignore();
  if (m_pAbort->isEnabled()) m_pAbort->click();
}

void CAnalyseStatusDlg::reject() {
  if (m_pAbort->isEnabled()) m_pAbort->click();
}
