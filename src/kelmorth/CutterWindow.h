#pragma once
// kelmorth's window: the recording, the time range and the band to keep, the output's rate,
// format, folder and name, a progress bar with Cancel, and "Open in Vexlor" once the cut is
// written. The cut runs on a worker thread through CRecordingCutter; the window only
// parses, shows and forwards.

#include <QWidget>

#include <atomic>
#include <memory>
#include <thread>

#include "cutter/RecordingCutter.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;

class CCutterWindow : public QWidget {
 public:
  explicit CCutterWindow(const CCutRequest& initial, QWidget* pParent = nullptr);
  ~CCutterWindow() override;

  // The vexlor executable beside this program (or in the build tree's app folder); empty
  // when there is none.
  static QString VexlorExecutable();

 protected:
  void closeEvent(QCloseEvent* pEvent) override;

 private:
  void BrowseRecording();
  void BrowseFolder();
  void RecordingChanged();
  void BandChanged();
  // Builds the request from the fields; false with a message shown in the status line.
  bool BuildRequest(CCutRequest& request);
  void StartCut();
  void CancelOrClose();
  void OpenInVexlor();
  void ShowProgress(const CCutProgress& progress);
  void CutFinished(bool bOk);
  void SetRunning(bool bRunning);
  void StopWorker();

  QWidget* m_pFields = nullptr;
  QLineEdit* m_pRecording = nullptr;
  QLabel* m_pRecordingInfo = nullptr;
  QLineEdit* m_pStart = nullptr;
  QLineEdit* m_pEnd = nullptr;
  QLineEdit* m_pCentre = nullptr;
  QLineEdit* m_pBandwidth = nullptr;
  QLineEdit* m_pRate = nullptr;
  QComboBox* m_pBits = nullptr;
  QLineEdit* m_pFolder = nullptr;
  QLineEdit* m_pName = nullptr;
  QProgressBar* m_pProgress = nullptr;
  QLabel* m_pStatus = nullptr;
  QPushButton* m_pCut = nullptr;
  QPushButton* m_pCancel = nullptr;
  QPushButton* m_pOpen = nullptr;

  std::unique_ptr<CRecordingCutter> m_pCutter;
  std::thread m_worker;
  std::atomic<bool> m_bAbort{false};
  bool m_bRunning = false;
  QString m_strOutput;
};
