#include "app/SignalHistoryView.h"

#include <QAction>
#include <QActionGroup>
#include <QBuffer>
#include <QApplication>
#include <QClipboard>
#include <QColorDialog>
#include <QFileDialog>
#include <QInputDialog>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

#include "analysis/AnalysisSession.h"
#include "app/SignalHistoryDlg.h"
#include "core/AtomicFile.h"
#include "core/StatusFigures.h"

CSignalHistoryView::CSignalHistoryView(CMySettingsStore& settings, QWidget* pParent) : QWidget(pParent) {
  setObjectName("CSignalHistoryView");
  m_pDlg = new CSignalHistoryDlg(settings, this);
  auto* pBar = new QToolBar(this);
  pBar->setIconSize(QSize(16, 16));
  pBar->setToolButtonStyle(Qt::ToolButtonTextOnly);

  QAction* pFixed = pBar->addAction("Fixed scale");
  pFixed->setObjectName("HistoryFixedScale");
  pFixed->setCheckable(true);
  pFixed->setToolTip("Level axes from -150 to 0 dBm; off: they follow the points");
  connect(pFixed, &QAction::toggled, m_pDlg, &CSignalHistoryDlg::SetFixedScale);
  pBar->addSeparator();
  QAction* pCopy = pBar->addAction("Copy", this, &CSignalHistoryView::CopyPoints);
  pCopy->setObjectName("HistoryCopy");
  pCopy->setToolTip("Copy the points as CSV (time in UTC, level in dB)");
  QAction* pSave = pBar->addAction("Save CSV...", this, &CSignalHistoryView::OnSavePoints);
  pSave->setObjectName("HistorySaveCsv");
  pSave->setToolTip("Save the points as a CSV file");
  QAction* pPng = pBar->addAction("Save PNG...", this, &CSignalHistoryView::OnSaveChart);
  pPng->setObjectName("HistorySavePng");
  pPng->setToolTip("Save the chart as a PNG image");
  pBar->addSeparator();

  // The chart's settings.
  auto* pMenu = new QMenu(this);
  pMenu->addAction("Line colour...", this, &CSignalHistoryView::OnLineColour);
  QAction* pLeft = pMenu->addAction("Level axis on the left");
  pLeft->setObjectName("HistoryAxisLeft");
  pLeft->setCheckable(true);
  pLeft->setChecked(m_pDlg->AxisLeft());
  connect(pLeft, &QAction::toggled, m_pDlg, &CSignalHistoryDlg::SetAxisLeft);
  pMenu->addAction("Display period...", this, &CSignalHistoryView::OnDisplayPeriod);
  QMenu* pAppearance = pMenu->addMenu("Appearance");
  auto* pGroup = new QActionGroup(this);
  for (const auto& [pszText, pszValue] : {std::pair{"Nature (light)", CSignalHistoryDlg::kAppearanceNature},
                                          std::pair{"Dark", CSignalHistoryDlg::kAppearanceDark}}) {
    QAction* p = pAppearance->addAction(pszText);
    p->setCheckable(true);
    p->setChecked(m_pDlg->Appearance() == pszValue);
    pGroup->addAction(p);
    const QString strValue = pszValue;
    connect(p, &QAction::triggered, m_pDlg, [this, strValue] { m_pDlg->SetAppearance(strValue); });
  }
  auto* pSettings = new QToolButton(this);
  pSettings->setText("Settings");
  pSettings->setPopupMode(QToolButton::InstantPopup);
  pSettings->setMenu(pMenu);
  pBar->addWidget(pSettings);

  m_pInfo = new QLabel(this);
  m_pInfo->setContentsMargins(8, 0, 4, 0);
  pBar->addWidget(m_pInfo);

  auto* pLayout = new QVBoxLayout(this);
  pLayout->setContentsMargins(0, 0, 0, 0);
  pLayout->setSpacing(0);
  pLayout->addWidget(pBar);
  pLayout->addWidget(m_pDlg, 1);
  // Below this the level labels give way to "...".
  setMinimumHeight(240);
  Clear();
}

QAction* CSignalHistoryView::Action(const QString& strName) const { return findChild<QAction*>(strName); }

void CSignalHistoryView::Clear() {
  m_pDlg->Clear();
  m_strFileStem = "Signal history";
  UpdateInfo();
}

void CSignalHistoryView::ShowColumn(const CAnalysisSession& session, int nColumn) {
  const CSignalHistory history = session.SignalHistoryOfColumn(nColumn);
  const std::string strFrequency = CStatusFigures::FrequencyText(session.ColumnFrequency(history.Column()));
  m_pDlg->Fill(history, QString::fromStdString(strFrequency));
  m_strFileStem = QString("Signal history %1").arg(QString::fromStdString(strFrequency)).remove('.');
  UpdateInfo();
}

void CSignalHistoryView::UpdateInfo() {
  const CSignalHistory& history = m_pDlg->History();
  QString str;
  if (!history.Points().empty()) {
    str = QString("%1 points%2").arg(history.Points().size()).arg(history.MinuteMode() ? ", one per minute" : "");
    if (m_pDlg->InvalidTimes() > 0) str += QString(", %1 times not shown exactly").arg(m_pDlg->InvalidTimes());
  }
  m_pInfo->setText(str);
  for (const char* psz : {"HistoryCopy", "HistorySaveCsv", "HistorySavePng"})
    if (QAction* p = Action(psz)) p->setEnabled(!history.Points().empty());
}

void CSignalHistoryView::CopyPoints() {
  QApplication::clipboard()->setText(QString::fromStdString(m_pDlg->History().CsvText()));
  emit Message(QString("%1 points copied").arg(m_pDlg->History().Points().size()));
}

bool CSignalHistoryView::SavePoints(const QString& strPath, QString& strError) {
  const std::string strText = m_pDlg->History().CsvText();
  std::string strReason;
  if (WriteFileAtomically(strPath.toStdString(), strText.data(), strText.size(), &strReason)) return true;
  strError = QString::fromStdString(strReason);
  return false;
}

bool CSignalHistoryView::SaveChart(const QString& strPath, QString& strError) {
  QByteArray bytes;
  QBuffer buffer(&bytes);
  buffer.open(QIODevice::WriteOnly);
  if (!m_pDlg->ChartImage().save(&buffer, "PNG")) {
    strError = QString("%1: the chart could not be encoded as PNG").arg(strPath);
    return false;
  }
  std::string strReason;
  if (WriteFileAtomically(strPath.toStdString(), bytes.constData(), static_cast<std::size_t>(bytes.size()), &strReason))
    return true;
  strError = QString::fromStdString(strReason);
  return false;
}

void CSignalHistoryView::OnSavePoints() {
  const QString strPath = QFileDialog::getSaveFileName(this, "Save the signal history", m_strFileStem + ".csv",
                                                       "CSV files (*.csv)");
  if (strPath.isEmpty()) return;
  QString strError;
  if (!SavePoints(strPath, strError)) QMessageBox::warning(this, "Signal History", strError);
}

void CSignalHistoryView::OnSaveChart() {
  const QString strPath =
      QFileDialog::getSaveFileName(this, "Save the chart", m_strFileStem + ".png", "PNG images (*.png)");
  if (strPath.isEmpty()) return;
  QString strError;
  if (!SaveChart(strPath, strError)) QMessageBox::warning(this, "Signal History", strError);
}

void CSignalHistoryView::OnLineColour() {
  const QColor colour = QColorDialog::getColor(m_pDlg->LineColour(), this, "Line colour");
  if (colour.isValid()) m_pDlg->SetLineColour(colour);
}

void CSignalHistoryView::OnDisplayPeriod() {
  bool bOk = false;
  const int nMinutes = QInputDialog::getInt(this, "Display period", "Minutes of the newest points to show (0: all):",
                                            m_pDlg->DisplayPeriod(), 0, 60 * 24 * 366, 10, &bOk);
  if (bOk) m_pDlg->SetDisplayPeriod(nMinutes);
}
