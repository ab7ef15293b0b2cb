#pragma once
// CAboutDlg: the About window: the program and its version, the libraries it runs on with
// their versions, and the folders it keeps its data, settings and log in.

#include <QDialog>

class CMySettingsStore;

class CAboutDlg final : public QDialog {
  Q_OBJECT
 public:
  CAboutDlg(CMySettingsStore& settings, QWidget* pParent = nullptr);

  // The window's text (what a test or a bug report reads).
  QString Text() const { return m_strText; }

 private:
  QString m_strText;
};
