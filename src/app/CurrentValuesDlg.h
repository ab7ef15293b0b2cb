#pragma once
// CCurrentValuesDlg: a small window that follows the mouse over the picture and shows the
// values under it: time (UTC and local), frequency, level, picture row and column, the FFT
// bins the column is made from, and the recording file and byte offset of the row.

#include <QDialog>

#include "analysis/PictureClick.h"

class CAnalysisSession;
class QLabel;

class CCurrentValuesDlg final : public QDialog {
  Q_OBJECT
 public:
  CCurrentValuesDlg(const CAnalysisSession& session, QWidget* pParent = nullptr);

  // The point under the mouse (bInside false: none; the last values stay, greyed).
  void ShowPoint(bool bInside, const CPictureClick& click);
  // The text of a value by its label ("Time", "Frequency", "Level", "Row", "Column", "Bins",
  // "File").
  QString Value(const QString& strLabel) const;

 private:
  const CAnalysisSession& m_session;
  std::vector<std::pair<QString, QLabel*>> m_aValues;
};
