#include "app/CurrentValuesDlg.h"

#include <QDateTime>
#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>

#include "analysis/AnalysisSession.h"
#include "core/StatusFigures.h"
#include "core/SystemTime.h"

CCurrentValuesDlg::CCurrentValuesDlg(const CAnalysisSession& session, QWidget* pParent)
    : QDialog(pParent), m_session(session) {
  setObjectName("CCurrentValuesDlg");
  setWindowTitle("Current values");
  auto* pForm = new QFormLayout(this);
  QFont font("Courier New");
  font.setStyleHint(QFont::TypeWriter);
  for (const char* psz : {"Time", "Local time", "Frequency", "Level", "Row", "Column", "Bins", "File"}) {
    auto* pValue = new QLabel("-", this);
    pValue->setFont(font);
    pValue->setTextInteractionFlags(Qt::TextSelectableByMouse);
    pValue->setMinimumWidth(pValue->fontMetrics().horizontalAdvance("2026-11-24 23:59:59 UTC__"));
    pForm->addRow(QString("%1:").arg(psz), pValue);
    m_aValues.emplace_back(psz, pValue);
  }
}

QString CCurrentValuesDlg::Value(const QString& strLabel) const {
  for (const auto& [str, pLabel] : m_aValues)
    if (str == strLabel) return pLabel->text();
  return {};
}

void CCurrentValuesDlg::ShowPoint(bool bInside, const CPictureClick& click) {
  for (const auto& value : m_aValues) value.second->setEnabled(bInside);
  if (!bInside) return;
  const auto set = [this](const char* pszLabel, const QString& strText) {
    for (const auto& [str, pLabel] : m_aValues)
      if (str == pszLabel) pLabel->setText(strText);
  };
  const auto t = static_cast<std::int64_t>(click.m_tTime);
  set("Time", QString::fromStdString(FormatUtcSeconds(t) + " UTC"));
  set("Local time", QDateTime::fromSecsSinceEpoch(t, Qt::LocalTime).toString("yyyy-MM-dd HH:mm:ss"));
  set("Frequency", QString::fromStdString(CStatusFigures::FrequencyText(click.m_dFrequencyHz)));
  set("Level", click.m_bHasLevel ? QString::fromStdString(CStatusFigures::SignalText(click.m_fLevel)) : QString("-"));
  set("Row", QString("%1 of %2").arg(click.m_nRow).arg(m_session.Image().Rows().Count()));
  set("Column", QString("%1 of %2").arg(click.m_nColumn).arg(m_session.Width()));
  const CAnalysisImage::SBinRange bins = m_session.ColumnBins(click.m_nColumn);
  set("Bins", bins.nCount == 0 ? QString("-")
              : bins.nCount == 1
                  ? QString("%1 of %2").arg(bins.nFirst).arg(m_session.Options().m_nAnalysisFFTSize)
                  : QString("%1 .. %2 of %3")
                        .arg(bins.nFirst)
                        .arg(bins.nFirst + bins.nCount - 1)
                        .arg(m_session.Options().m_nAnalysisFFTSize));
  set("File", click.m_strFile.empty() ? QString("-")
                                      : QString("%1 @ %2")
                                            .arg(QFileInfo(QString::fromStdString(click.m_strFile)).fileName())
                                            .arg(click.m_nFileOffset));
}
