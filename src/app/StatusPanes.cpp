#include "app/StatusPanes.h"

#include <QLabel>
#include <QStatusBar>

#include "analysis/AnalysisSession.h"

namespace {

// The text that sets a pane's width: its widest value where the table names one, else
// the placeholder.
QString WidthText(const CStatusFigures::SPane& pane) {
  const std::string strName = pane.pszName;
  if (strName == "Frequency") return CStatusFigures::kFrequencyWidest;
  if (strName == "Time") return CStatusFigures::kTimeWidest;
  if (strName == "Signal") return CStatusFigures::kSignalWidest;
  if (strName == "CPU") return "CPU: 100%";
  if (strName == "Size" || strName == "Peak") return QString(pane.pszName) + ": 1000.0 MB";
  if (strName == "Rate") return "Initialising";
  if (strName == "Read") return "Read: 10000.0 MB";
  if (strName == "Threads") return "Threads: 99";
  return pane.pszPlaceholder;
}

QString Placeholder(const char* pszName) {
  for (const CStatusFigures::SPane& pane : CStatusFigures::kPanes)
    if (std::string(pane.pszName) == pszName) return pane.pszPlaceholder;
  return {};
}

}  // namespace

CStatusPanes::CStatusPanes(QStatusBar& bar, const CAnalysisSession& session) : QObject(&bar), m_bar(bar), m_session(session) {
  auto* pMessage = new QLabel(CStatusFigures::kReadyText);
  m_bar.addWidget(pMessage, 1);
  m_panes["Message"] = pMessage;
  for (const CStatusFigures::SPane& pane : CStatusFigures::kPanes) m_panes[pane.pszName] = AddPane(pane);
  m_timer.setInterval(CStatusFigures::kRefreshMs);
  connect(&m_timer, &QTimer::timeout, this, &CStatusPanes::Refresh);
  m_timer.start();
}

QLabel* CStatusPanes::AddPane(const CStatusFigures::SPane& pane) {
  // "CPU: %d%%" and "Threads: %d" are formats: their placeholder is the label alone.
  QString strPlaceholder = pane.pszPlaceholder;
  if (strPlaceholder.contains('%')) strPlaceholder = QString(pane.pszName);
  auto* pLabel = new QLabel(strPlaceholder);
  pLabel->setObjectName(QString("StatusPane") + pane.pszName);
  pLabel->setAlignment(Qt::AlignCenter);
  pLabel->setMinimumWidth(pLabel->fontMetrics().horizontalAdvance(WidthText(pane)) + 12);
  if (*pane.pszTooltip) pLabel->setToolTip(pane.pszTooltip);
  m_bar.addPermanentWidget(pLabel);
  return pLabel;
}

QLabel* CStatusPanes::Pane(const QString& strName) const {
  const auto it = m_panes.find(strName);
  return it == m_panes.end() ? nullptr : it->second;
}

void CStatusPanes::Refresh() {
  m_figures.Refresh(m_session.BusyWorkerThreads());
  Pane("CPU")->setText(QString::fromStdString(m_figures.CpuText()));
  Pane("Size")->setText(QString::fromStdString(m_figures.SizeText()));
  Pane("Peak")->setText(QString::fromStdString(m_figures.PeakText()));
  Pane("Threads")->setText(QString::fromStdString(m_figures.ThreadsText()));
  const SAnalysisRunState& state = m_session.RunState();
  if (state.bBusy || state.bFinished) {
    Pane("Rate")->setText(QString::fromStdString(state.strRate));
    Pane("Read")->setText(QString::fromStdString(CStatusFigures::MemoryText("Read", state.nBytesRead)));
    Pane("Remaining")->setText(state.bBusy ? QString::fromStdString(state.strRemaining) : "Remaining");
  }
}

void CStatusPanes::ShowPoint(bool bInside, const CPictureClick& click) {
  if (!bInside) {
    Pane("Frequency")->setText(Placeholder("Frequency"));
    Pane("Time")->setText(Placeholder("Time"));
    Pane("Signal")->setText(Placeholder("Signal"));
    return;
  }
  const bool bLocal = m_session.Options().m_bTimeFormatLocal != 0;
  Pane("Frequency")->setText(QString::fromStdString(CStatusFigures::FrequencyText(click.m_dFrequencyHz)));
  Pane("Time")->setText(QString::fromStdString(
      CStatusFigures::TimeText(static_cast<std::int64_t>(click.m_tTime), bLocal)));
  Pane("Signal")->setText(click.m_bHasLevel ? QString::fromStdString(CStatusFigures::SignalText(click.m_fLevel))
                                            : Placeholder("Signal"));
}

void CStatusPanes::ShowMessage(const QString& strText) {
  Pane("Message")->setText(strText.isEmpty() ? QString(CStatusFigures::kReadyText) : strText);
}
