#pragma once
// CAnalyseStatusDlg: the status of a run. A progress bar (0 .. 1000), the rate and the time
// remaining ("Initialising" and "--:--:--" until the first figures), and an Abort button.
// Sixty seconds after the start, when the run is below 50 %, the dialog grows and shows a
// link that starts the companion tool `kelmorth` (installed beside `vexlor`) so that the
// user can cut the recording down to what matters.

#include <QDialog>
#include <QTimer>

class QLabel;
class QProgressBar;
class QPushButton;
struct SAnalysisRunState;

class CAnalyseStatusDlg final : public QDialog {
  Q_OBJECT
 public:
  static constexpr int kGrowDelayMs = 60000;
  static constexpr int kGrowPixels = 20;
  static constexpr const char* kCompanionTool = "kelmorth";

  explicit CAnalyseStatusDlg(QWidget* pParent);

  // The initial state, centred over the parent and shown in front; the 60-s timer starts.
  // strRecording: the first file of the recording being analysed, handed to the companion tool.
  void Start(const QString& strRecording = {});
  void ShowProgress(const SAnalysisRunState& state);
  // The reader could not open the first file: only Abort ends the run.
  void ShowOpenFailed();
  // The 60-s check: grows and shows the link when the run is below 50 %.
  void CheckSlowRun();

  int Progress() const;
  QString RateText() const;
  QString RemainingText() const;
  bool LinkShown() const;
  // Starts the companion tool; false (after telling the user) when it is not installed.
  bool StartCompanionTool();

 signals:
  void AbortRequested();

 protected:
  void closeEvent(QCloseEvent* pEvent) override;
  void reject() override;

 private:
  QString m_strRecording;  // handed to the companion tool
  QProgressBar* m_pProgress;
  QLabel* m_pRate;
  QLabel* m_pRemaining;
  QLabel* m_pNote;
  QLabel* m_pLink;
  QPushButton* m_pAbort;
  QTimer m_growTimer;
};
