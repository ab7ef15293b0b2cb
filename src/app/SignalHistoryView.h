#pragma once
// CSignalHistoryView: the "Signal History" pane. It hosts the chart (CSignalHistoryDlg)
// under a small toolbar: the fixed or automatic scale, the chart's settings, and copying
// or saving the points (CSV) and the chart (PNG).
//
// ShowColumn() charts one column of the picture from the picture's kept rows (the engine's
// signal history of that column); the recording is not read again.

#include <QWidget>

class CAnalysisSession;
class CMySettingsStore;
class CSignalHistoryDlg;
class QAction;
class QLabel;

class CSignalHistoryView final : public QWidget {
  Q_OBJECT
 public:
  CSignalHistoryView(CMySettingsStore& settings, QWidget* pParent = nullptr);

  // Charts picture column nColumn of session, titled with the column's frequency.
  void ShowColumn(const CAnalysisSession& session, int nColumn);
  void Clear();
  CSignalHistoryDlg& Dialog() { return *m_pDlg; }
  QAction* Action(const QString& strName) const;

  // The points as CSV, to the clipboard or a file; the chart as PNG. False with strError.
  void CopyPoints();
  bool SavePoints(const QString& strPath, QString& strError);
  bool SaveChart(const QString& strPath, QString& strError);

 signals:
  void Message(const QString& strText);

 private:
  void UpdateInfo();
  void OnSavePoints();
  void OnSaveChart();
  void OnLineColour();
  void OnDisplayPeriod();

  CSignalHistoryDlg* m_pDlg = nullptr;
  QLabel* m_pInfo = nullptr;
  QString m_strFileStem;
};
