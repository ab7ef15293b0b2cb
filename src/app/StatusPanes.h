#pragma once
// CStatusPanes: the main frame's status bar. The message pane ("Ready"), then the ten
// panes of CStatusFigures with their placeholders, widths and tooltips, refreshed every
// 250 ms from CStatusFigures and the session's run state; Frequency, Time and Signal show
// the point under the mouse in the picture.

#include <QObject>
#include <QTimer>
#include <map>
#include <string>

#include "core/StatusFigures.h"

class QLabel;
class QStatusBar;
class CAnalysisSession;
struct CPictureClick;

class CStatusPanes final : public QObject {
  Q_OBJECT
 public:
  CStatusPanes(QStatusBar& bar, const CAnalysisSession& session);

  // The pane of that name ("CPU" ... "Remaining", or "Message").
  QLabel* Pane(const QString& strName) const;
  // Samples the process and refreshes the figures (the 250-ms timer calls it).
  void Refresh();
  // The point under the mouse; bInside false puts the placeholders back.
  void ShowPoint(bool bInside, const CPictureClick& click);
  void ShowMessage(const QString& strText);

 private:
  QLabel* AddPane(const CStatusFigures::SPane& pane);

  QStatusBar& m_bar;
  const CAnalysisSession& m_session;
  CStatusFigures m_figures;
  std::map<QString, QLabel*> m_panes;
  QTimer m_timer;
};
