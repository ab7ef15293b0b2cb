#pragma once
// CMainFrame: the main window. A toolbar and menus stand in for the ribbon; the view of
// the analysis is the central widget; the docking panes are "Player", "Signal History",
// "Tags", "Manual Scale" and the properties pane with its "Sounds" group; the status bar
// shows "Ready" and the live figures. Window geometry and the dock layout come back from
// the settings. Closing is refused (with a beep) while an analysis runs.

#include <QMainWindow>
#include <QPointer>
#include <map>
#include <memory>

#include "app/QtMessageTarget.h"

class QAction;
class QActionGroup;
class QComboBox;
class QDockWidget;
class QMenu;
class CPlayerController;
class CPlayerOverlay;
class CPlayerPane;
class CCurrentValuesDlg;
class CManualScalePane;
class CPropertiesPane;
class CSignalHistoryView;
class CTagsPane;
class CStatusPanes;
class CVexlorApp;
class CVexlorView;

class CMainFrame final : public QMainWindow {
  Q_OBJECT
 public:
  explicit CMainFrame(CVexlorApp& app);
  ~CMainFrame() override;

  // The target the workers post their log lines to.
  CMessageTarget& LogTarget() { return m_logTarget; }
  CVexlorView& View() { return *m_pView; }
  CStatusPanes& StatusPanes() { return *m_pStatus; }
  CPropertiesPane& Properties() { return *m_pProperties; }
  CPlayerController& Player() { return *m_pPlayer; }
  CPlayerPane& PlayerPane() { return *m_pPlayerPane; }
  CSignalHistoryView& History() { return *m_pHistory; }
  CTagsPane& Tags() { return *m_pTags; }
  CCurrentValuesDlg* CurrentValues() const;
  CManualScalePane& ManualScale() { return *m_pManualScale; }
  QAction* Action(const QString& strName) const;
  QComboBox* ThreadList() const { return m_pThreads; }
  QComboBox* FFTHintList() const { return m_pFFTHint; }

  // A project opens with its picture; a recording opens "New Project" with that file
  // chosen, or with bAnalyse is analysed at once with the last choices. A file that cannot
  // be read gets a message box naming it and the fault; false then.
  bool OpenFile(const QString& strPath, bool bAnalyse = false);
  bool OpenProject(const QString& strPath);
  bool SaveProject(const QString& strPath);
  // Writes the picture with its scales; false with the message "Error saving file as %s - %s".
  bool SaveImage(const QString& strPath, QString& strError);
  // Saves "Screenshot-%Y-%m-%d-%H%M%S.png" in the "Brannock (V2)" folder of the pictures
  // folder and returns its path (empty on failure).
  QString SaveScreenshot();

  // The commands.
  void OnNewProject();
  void OnOpenProject();
  void OnSaveProject();
  void OnEditProject();
  void OnAnalyse();
  void OnSaveImage();
  void OnScreenshot();
  void OnOpenSettings();
  void SetPalette(int nPalette);
  // The player's commands: Play (F6), Pause/Resume (Space), Stop (F8).
  void OnPlay();
  void OnPauseResume();
  void OnStop();
  void OnCurrentValues();
  void OnAbout();
  // Charts a picture column in the "Signal History" pane and shows the pane.
  void ShowHistory(int nColumn);

  // Shows the New/Edit Project dialog; on acceptance the options become the document's,
  // "CurrentAnalysisOptions.xml" is saved and the analysis starts.
  bool RunProjectDialog(bool bNew, const QString& strFile = {});

 protected:
  void closeEvent(QCloseEvent* pEvent) override;
  void dragEnterEvent(QDragEnterEvent* pEvent) override;
  void dropEvent(QDropEvent* pEvent) override;

 private:
  void CreateActions();
  void CreateMenusAndToolbar();
  void CreateDocks();
  // The player: its commands, its pane in the "Player" dock and its links to the view.
  void CreatePlayerActions();
  QWidget* CreatePlayerPane();
  void ConnectPlayer();
  void UpdatePlayerCommands();
  // A docking pane titled pszTitle holding pContent, listed in the "Panes" menu.
  QDockWidget* AddPane(const char* pszTitle, QWidget* pContent, Qt::DockWidgetArea eArea);
  void CreateHistoryAndTagsPanes();
  void RaisePane(QWidget* pContent);
  void UpdateRecentFiles();
  void UpdateCommands();
  bool StartAnalysis(const char* pszCommand);
  void ShowError(const QString& strTitle, const QString& strText);
  QAction* AddAction(const QString& strName, const QString& strText, const QKeySequence& key,
                     const QString& strTip, void (CMainFrame::*pSlot)());

  CVexlorApp& m_app;
  CQtMessageTarget m_logTarget;
  CVexlorView* m_pView = nullptr;
  CStatusPanes* m_pStatus = nullptr;
  CPropertiesPane* m_pProperties = nullptr;
  CPlayerController* m_pPlayer = nullptr;
  std::unique_ptr<CPlayerOverlay> m_pPlayerOverlay;
  CPlayerPane* m_pPlayerPane = nullptr;
  CSignalHistoryView* m_pHistory = nullptr;
  QDockWidget* m_pHistoryDock = nullptr;
  CTagsPane* m_pTags = nullptr;
  QPointer<CCurrentValuesDlg> m_pCurrentValues;
  CManualScalePane* m_pManualScale = nullptr;
  QComboBox* m_pThreads = nullptr;
  QComboBox* m_pFFTHint = nullptr;
  QActionGroup* m_pPaletteGroup = nullptr;
  QMenu* m_pRecentMenu = nullptr;
  QMenu* m_pPanesMenu = nullptr;
  std::map<QString, QAction*> m_actions;
};
