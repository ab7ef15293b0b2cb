#include "app/MainFrame.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QComboBox>
#include <QDateTime>
#include <QDesktopServices>
#include <QDir>
#include <QDockWidget>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QStatusBar>
#include <QToolBar>
#include <QScreen>
#include <QScrollArea>
#include <QUrl>

#include "analysis/AnalysisThreadPool.h"
#include "analysis/Palettes.h"
#include "analysis/ProjectFile.h"
#include "app/AboutDlg.h"
#include "app/CurrentValuesDlg.h"
#include "app/PlayerController.h"
#include "app/PlayerOverlay.h"
#include "app/PlayerPane.h"
#include "app/ManualScalePane.h"
#include "app/ProjectProgressDialog.h"
#include "app/PropertiesPane.h"
#include "app/SelectDataFile.h"
#include "app/SignalHistoryDlg.h"
#include "app/SignalHistoryView.h"
#include "app/StatusPanes.h"
#include "app/TagsPane.h"
#include "app/VexlorApp.h"
#include "app/VexlorView.h"
#include "core/Log.h"
#include "core/MessageQueue.h"
#include "core/Paths.h"
#include "render/PictureRenderer.h"

namespace {

constexpr const char* kGeometryKey = "CMainFrame::Geometry";
constexpr const char* kDockStateKey = "CMainFrame::DockState";
constexpr const char* kDefaultProjectKey = "DefaultProject";
constexpr const char* kMaxThreadsKey = "CMainFrame::MaxThreads";
constexpr const char* kFFTHintKey = "CMainFrame::FFTHint";

QByteArray ReadBytes(CMySettingsStore& settings, const char* pszKey) {
  std::vector<std::uint8_t> ab;
  if (!settings.Read(pszKey, ab)) return {};
  return QByteArray(reinterpret_cast<const char*>(ab.data()), static_cast<qsizetype>(ab.size()));
}

void WriteBytes(CMySettingsStore& settings, const char* pszKey, const QByteArray& bytes) {
  settings.Write(pszKey, std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
}

bool IsProjectPath(const QString& strPath) { return strPath.endsWith(".xml", Qt::CaseInsensitive); }

// A file that can be dropped on the window: a project or a recording.
bool IsOpenablePath(const QString& strPath) {
  return IsProjectPath(strPath) || strPath.endsWith(".wav", Qt::CaseInsensitive);
}

}  // namespace

CMainFrame::CMainFrame(CVexlorApp& app)
    : m_app(app), m_logTarget([](CMessage& msg) { WriteIfLogMessage(msg); }) {
  setObjectName("CMainFrame");
  setWindowTitle(CVexlorApp::kProductName);
  setAcceptDrops(true);
  setDockNestingEnabled(true);
  m_pView = new CVexlorView(app, m_logTarget, this);
  setCentralWidget(m_pView);
  m_pStatus = new CStatusPanes(*statusBar(), m_pView->Session());
  m_pPlayer = new CPlayerController(app.Settings(), m_pView->Session(), this);
  m_pPlayerOverlay = std::make_unique<CPlayerOverlay>(*m_pPlayer, m_pView->Session());
  m_pView->SetPlayerOverlay(m_pPlayerOverlay.get());

  CreateActions();
  CreateMenusAndToolbar();
  CreatePlayerActions();
  CreateDocks();
  UpdateRecentFiles();

  connect(m_pView, &CVexlorView::TitleChanged, this, &QWidget::setWindowTitle);
  ConnectPlayer();
  connect(m_pView, &CVexlorView::PointClicked, this, [this](const CPictureClick& click) {
    m_pStatus->ShowPoint(true, click);
    m_pStatus->ShowMessage(QString("Marked %1 at %2")
                               .arg(QString::fromStdString(CStatusFigures::FrequencyText(click.m_dFrequencyHz)),
                                    QDateTime::fromSecsSinceEpoch(static_cast<qint64>(click.m_tTime), Qt::UTC)
                                        .toString("yyyy-MM-dd HH:mm:ss 'UTC'")));
  });
  connect(m_pView, &CVexlorView::RunStateChanged, this, [this](bool bBusy) {
    m_pStatus->ShowMessage(bBusy ? "Analysing..." : QString());
    UpdateCommands();
  });

  // Without a stored layout: the whole screen (also where no window manager maximises).
  if (!restoreGeometry(ReadBytes(app.Settings(), kGeometryKey)) && screen())
    setGeometry(screen()->availableGeometry());
  restoreState(ReadBytes(app.Settings(), kDockStateKey));
  UpdateCommands();
}

CMainFrame::~CMainFrame() {
  // The player goes first: its thread posts to the view's session.
  m_pView->disconnect(this);
  m_pView->SetPlayerOverlay(nullptr);
  delete m_pPlayer;
  m_pPlayer = nullptr;
  m_logTarget.Close();
  // The status panes and the view (with its session) refer to each other and to the log
  // target: they go first, while everything they refer to is still there.
  delete m_pStatus;
  delete takeCentralWidget();
}

// --- Commands -------------------------------------------------------------------------------

QAction* CMainFrame::AddAction(const QString& strName, const QString& strText, const QKeySequence& key,
                               const QString& strTip, void (CMainFrame::*pSlot)()) {
  auto* pAction = new QAction(strText, this);
  pAction->setObjectName(strName);
  if (!key.isEmpty()) pAction->setShortcut(key);
  pAction->setStatusTip(strTip);
  pAction->setToolTip(key.isEmpty() ? strTip : QString("%1 (%2)").arg(strTip, key.toString(QKeySequence::NativeText)));
  if (pSlot) connect(pAction, &QAction::triggered, this, pSlot);
  m_actions[strName] = pAction;
  return pAction;
}

QAction* CMainFrame::Action(const QString& strName) const {
  const auto it = m_actions.find(strName);
  return it == m_actions.end() ? nullptr : it->second;
}

void CMainFrame::CreateActions() {
  AddAction("NewProject", "&New Project...", QKeySequence::New, "Choose a recording and analyse it",
            &CMainFrame::OnNewProject);
  AddAction("OpenProject", "&Open Project...", QKeySequence::Open, "Open a saved analysis", &CMainFrame::OnOpenProject);
  AddAction("SaveProject", "&Save Project...", QKeySequence::Save, "Save the analysis as a project",
            &CMainFrame::OnSaveProject);
  AddAction("EditProject", "&Edit Project...", QKeySequence(Qt::CTRL | Qt::Key_E),
            "Change the analysis options and analyse again", &CMainFrame::OnEditProject);
  AddAction("Analyse", "&Analyse", QKeySequence(Qt::Key_F5), "Analyse the recording (aborts a running analysis)",
            &CMainFrame::OnAnalyse);
  AddAction("SaveImage", "Save &image to file...", QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S),
            "Save the picture with its scales as BMP, GIF, JPEG or PNG", &CMainFrame::OnSaveImage);
  AddAction("Screenshot", "Screens&hot", QKeySequence(Qt::Key_Print), "Save a picture of this window and show it",
            &CMainFrame::OnScreenshot);
  AddAction("OpenSettings", "Open the se&ttings file", {}, "Open the settings file in the desktop's editor",
            &CMainFrame::OnOpenSettings);
  AddAction("Exit", "E&xit", QKeySequence::Quit, "Close the program", nullptr);
  AddAction("CurrentValues", "&Current values", QKeySequence(Qt::CTRL | Qt::Key_I),
            "Show the values under the mouse in a small window", &CMainFrame::OnCurrentValues);
  AddAction("About", "&About Vexlor", {}, "The version, the libraries and the folders of the program",
            &CMainFrame::OnAbout);
  connect(Action("Exit"), &QAction::triggered, this, &QWidget::close);

  QAction* pAuto = AddAction("ScaleAutomatic", "&Automatic scale", QKeySequence(Qt::CTRL | Qt::Key_A),
                             "Scale each row between its floor and the held peak", nullptr);
  QAction* pManual = AddAction("ScaleManual", "&Manual scale", QKeySequence(Qt::CTRL | Qt::Key_M),
                               "Scale between the levels of the Manual Scale pane", nullptr);
  auto* pScaleGroup = new QActionGroup(this);
  for (QAction* p : {pAuto, pManual}) {
    p->setCheckable(true);
    pScaleGroup->addAction(p);
  }
  (m_pView->ScaleAutomatic() ? pAuto : pManual)->setChecked(true);
  connect(pAuto, &QAction::triggered, this, [this] { m_pView->SetScaleAutomatic(true); });
  connect(pManual, &QAction::triggered, this, [this] { m_pView->SetScaleAutomatic(false); });

  QAction* pLegend = AddAction("Legend", "&Legend", QKeySequence(Qt::CTRL | Qt::Key_L), "Show the colour bar", nullptr);
  pLegend->setCheckable(true);
  pLegend->setChecked(m_pView->ShowLegend());
  connect(pLegend, &QAction::toggled, m_pView, &CVexlorView::SetShowLegend);
  QAction* pGrid = AddAction("Grid", "&Grid", QKeySequence(Qt::CTRL | Qt::Key_G), "Show the grid", nullptr);
  pGrid->setCheckable(true);
  connect(pGrid, &QAction::toggled, m_pView, &CVexlorView::SetShowGrid);

  connect(AddAction("ZoomIn", "Zoom &in", QKeySequence::ZoomIn, "Enlarge the picture", nullptr), &QAction::triggered,
          this, [this] { m_pView->SetZoomStep(m_pView->ZoomStep() + 1); });
  connect(AddAction("ZoomOut", "Zoom &out", QKeySequence::ZoomOut, "Shrink the picture", nullptr),
          &QAction::triggered, this, [this] { m_pView->SetZoomStep(m_pView->ZoomStep() - 1); });
  connect(AddAction("ZoomReset", "&Actual size", QKeySequence(Qt::CTRL | Qt::Key_0),
                    "One picture pixel per screen pixel", nullptr),
          &QAction::triggered, this, [this] { m_pView->SetZoomStep(0); });

  m_pPaletteGroup = new QActionGroup(this);
  for (int n = 0; n < CPalettes::kCount; ++n) {
    QAction* p = AddAction(QString("Palette%1").arg(n), CPalettes::Name(n),
                           QKeySequence(Qt::CTRL | static_cast<Qt::Key>(Qt::Key_1 + n)),
                           QString("Colour the picture with \"%1\"").arg(CPalettes::Name(n)), nullptr);
    p->setCheckable(true);
    p->setChecked(CPalettes::Normalise(m_app.Palette()) == n);
    m_pPaletteGroup->addAction(p);
    connect(p, &QAction::triggered, this, [this, n] { SetPalette(n); });
  }
}

void CMainFrame::CreateMenusAndToolbar() {
  QMenu* pFile = menuBar()->addMenu("&File");
  for (const char* psz : {"NewProject", "OpenProject", "SaveProject", "EditProject"}) pFile->addAction(Action(psz));
  m_pRecentMenu = pFile->addMenu("Recent &files");
  pFile->addSeparator();
  pFile->addAction(Action("SaveImage"));
  pFile->addAction(Action("Screenshot"));
  pFile->addSeparator();
  pFile->addAction(Action("Exit"));

  QMenu* pAnalysis = menuBar()->addMenu("&Analysis");
  pAnalysis->addAction(Action("Analyse"));

  // "CMainFrame::MaxThreads": 1 .. usable processors; "CMainFrame::FFTHint": "Best" 2, "Fast" 1.
  m_pThreads = new QComboBox(this);
  m_pThreads->setObjectName("MaxThreads");
  m_pThreads->setToolTip("FFT threads an analysis may use");
  m_pThreads->setMaxVisibleItems(250 / std::max(1, m_pThreads->fontMetrics().height() + 4));
  const int nUsable = m_app.UsableProcessors();
  for (int n = 1; n <= nUsable; ++n) m_pThreads->addItem(QString::number(n), n);
  m_pThreads->setCurrentIndex(CAnalysisThreadPool::MaxThreads(m_app.Settings(), nUsable) - 1);
  connect(m_pThreads, &QComboBox::currentIndexChanged, this,
          [this](int i) { m_app.Settings().Write(kMaxThreadsKey, m_pThreads->itemData(i).toInt()); });
  m_pFFTHint = new QComboBox(this);
  m_pFFTHint->setObjectName("FFTHint");
  m_pFFTHint->setToolTip("FFT planning: \"Best\" plans longer for the fastest transform, \"Fast\" starts sooner");
  m_pFFTHint->addItem("Best", 2);
  m_pFFTHint->addItem("Fast", 1);
  m_pFFTHint->setCurrentIndex(CAnalysisThreadPool::FFTHint(m_app.Settings()) == 2 ? 0 : 1);
  connect(m_pFFTHint, &QComboBox::currentIndexChanged, this,
          [this](int i) { m_app.Settings().Write(kFFTHintKey, m_pFFTHint->itemData(i).toInt()); });
  QMenu* pThreads = pAnalysis->addMenu("&Threads");
  auto* pThreadGroup = new QActionGroup(this);
  for (int n = 1; n <= nUsable; ++n) {
    QAction* p = pThreads->addAction(QString::number(n));
    p->setCheckable(true);
    p->setChecked(m_pThreads->currentIndex() == n - 1);
    pThreadGroup->addAction(p);
    connect(p, &QAction::triggered, m_pThreads, [this, n] { m_pThreads->setCurrentIndex(n - 1); });
    connect(m_pThreads, &QComboBox::currentIndexChanged, p, [p, n](int i) { p->setChecked(i == n - 1); });
  }
  QMenu* pHint = pAnalysis->addMenu("FFT &hint");
  auto* pHintGroup = new QActionGroup(this);
  for (int i = 0; i < 2; ++i) {
    QAction* p = pHint->addAction(m_pFFTHint->itemText(i));
    p->setCheckable(true);
    p->setChecked(m_pFFTHint->currentIndex() == i);
    pHintGroup->addAction(p);
    connect(p, &QAction::triggered, m_pFFTHint, [this, i] { m_pFFTHint->setCurrentIndex(i); });
    connect(m_pFFTHint, &QComboBox::currentIndexChanged, p, [p, i](int j) { p->setChecked(i == j); });
  }

  QMenu* pView = menuBar()->addMenu("&View");
  QMenu* pPalette = pView->addMenu("&Palette");
  for (QAction* p : m_pPaletteGroup->actions()) pPalette->addAction(p);
  pView->addAction(Action("ScaleAutomatic"));
  pView->addAction(Action("ScaleManual"));
  pView->addSeparator();
  pView->addAction(Action("Legend"));
  pView->addAction(Action("Grid"));
  pView->addSeparator();
  for (const char* psz : {"ZoomIn", "ZoomOut", "ZoomReset"}) pView->addAction(Action(psz));
  pView->addSeparator();
  m_pPanesMenu = pView->addMenu("P&anes");
  pView->addAction(Action("CurrentValues"));

  QMenu* pTools = menuBar()->addMenu("&Tools");
  pTools->addAction(Action("OpenSettings"));
  QMenu* pHelp = menuBar()->addMenu("&Help");
  pHelp->addAction(Action("About"));

  QToolBar* pBar = addToolBar("Main");
  pBar->setObjectName("MainToolBar");
  for (const char* psz : {"NewProject", "OpenProject", "SaveProject", "EditProject"}) pBar->addAction(Action(psz));
  pBar->addSeparator();
  pBar->addAction(Action("Analyse"));
  pBar->addWidget(new QLabel(" Threads "));
  pBar->addWidget(m_pThreads);
  pBar->addWidget(new QLabel(" FFT "));
  pBar->addWidget(m_pFFTHint);
  pBar->addSeparator();
  auto* pPaletteList = new QComboBox(this);
  pPaletteList->setObjectName("PaletteList");
  pPaletteList->setToolTip("The palette of the picture");
  for (int n = 0; n < CPalettes::kCount; ++n) pPaletteList->addItem(CPalettes::Name(n), n);
  pPaletteList->setCurrentIndex(CPalettes::Normalise(m_app.Palette()));
  connect(pPaletteList, &QComboBox::activated, this, [this](int i) { SetPalette(i); });
  connect(m_pPaletteGroup, &QActionGroup::triggered, pPaletteList,
          [this, pPaletteList] { pPaletteList->setCurrentIndex(CPalettes::Normalise(m_app.Palette())); });
  pBar->addWidget(pPaletteList);
  for (const char* psz : {"ScaleAutomatic", "Legend", "Grid", "ZoomIn", "ZoomOut"}) pBar->addAction(Action(psz));
  pBar->addSeparator();
  pBar->addAction(Action("SaveImage"));
  pBar->addAction(Action("Screenshot"));
}

void CMainFrame::CreateDocks() {
  QDockWidget* pPlayer = AddPane("Player", CreatePlayerPane(), Qt::RightDockWidgetArea);
  m_pManualScale = new CManualScalePane(m_app.Settings(), this);
  AddPane("Manual Scale", m_pManualScale, Qt::RightDockWidgetArea);
  connect(m_pManualScale, &CManualScalePane::ScalingChanged, m_pView, &CVexlorView::SetScaling);
  m_pView->SetScaling(m_pManualScale->Contrast(), m_pManualScale->ManualFirst(), m_pManualScale->ManualSecond());
  m_pManualScale->AddScaleSwitch(Action("ScaleAutomatic"), Action("ScaleManual"));
  CreateHistoryAndTagsPanes();
  m_pProperties = new CPropertiesPane(m_app.Settings(), this);
  QDockWidget* pProperties = AddPane("Properties", m_pProperties, Qt::RightDockWidgetArea);
  // The right-hand panes share one column as tabs; the player in front.
  const auto docks = findChildren<QDockWidget*>();
  for (QDockWidget* p : docks)
    if (p != pProperties && dockWidgetArea(p) == Qt::RightDockWidgetArea) tabifyDockWidget(pProperties, p);
  pPlayer->raise();
}

// --- Signal History and Tags ---------------------------------------------------------------

QDockWidget* CMainFrame::AddPane(const char* pszTitle, QWidget* pContent, Qt::DockWidgetArea eArea) {
  auto* pDock = new QDockWidget(pszTitle, this);
  pDock->setObjectName(QString(pszTitle).remove(' ') + "Pane");
  pDock->setWidget(pContent);
  addDockWidget(eArea, pDock);
  m_pPanesMenu->addAction(pDock->toggleViewAction());
  return pDock;
}

void CMainFrame::CreateHistoryAndTagsPanes() {
  CAnalysisSession& session = m_pView->Session();
  m_pHistory = new CSignalHistoryView(m_app.Settings(), this);
  m_pHistoryDock = AddPane("Signal History", m_pHistory, Qt::BottomDockWidgetArea);
  m_pHistoryDock->hide();
  m_pTags = new CTagsPane(session, this);
  AddPane("Tags", m_pTags, Qt::RightDockWidgetArea);

  connect(m_pView, &CVexlorView::HistoryRequested, this, [this](int nColumn) { ShowHistory(nColumn); });
  // A new run makes a new picture: the chart of the old one goes.
  connect(m_pView, &CVexlorView::RunStateChanged, m_pHistory, [this](bool bBusy) {
    if (bBusy) m_pHistory->Clear();
  });
  connect(m_pHistory, &CSignalHistoryView::Message, m_pStatus, [this](const QString& str) { m_pStatus->ShowMessage(str); });
  connect(m_pView, &CVexlorView::TagRectangleDrawn, this, [this](const CTagDefinition& tag) {
    // The dialog starts with the rectangle's band and times; the title and text come from the user.
    if (m_pTags->AddWithDialog(tag)) RaisePane(m_pTags);
  });
  connect(m_pTags, &CTagsPane::TagsChanged, m_pView->viewport(), qOverload<>(&QWidget::update));
  connect(m_pTags, &CTagsPane::TagActivated, m_pView, &CVexlorView::ShowTag);
  connect(m_pView, &CVexlorView::PointChanged, this, [this](bool bInside, const CPictureClick& click) {
    if (m_pCurrentValues && m_pCurrentValues->isVisible()) m_pCurrentValues->ShowPoint(bInside, click);
  });
}

void CMainFrame::RaisePane(QWidget* pContent) {
  if (auto* pDock = qobject_cast<QDockWidget*>(pContent->parentWidget())) {
    pDock->show();
    pDock->raise();
  }
}

void CMainFrame::ShowHistory(int nColumn) {
  m_pHistory->ShowColumn(m_pView->Session(), nColumn);
  // The pane opens at a third of the window's height, the chart's readable size.
  const bool bWasHidden = m_pHistoryDock->isHidden();
  RaisePane(m_pHistory);
  if (bWasHidden && !m_pHistoryDock->isFloating())
    resizeDocks({m_pHistoryDock}, {std::max(m_pHistory->minimumHeight(), height() / 3)}, Qt::Vertical);
  const CSignalHistory& history = m_pHistory->Dialog().History();
  m_pStatus->ShowMessage(QString("Signal history of column %1: %2 points").arg(history.Column()).arg(history.Points().size()));
}

CCurrentValuesDlg* CMainFrame::CurrentValues() const { return m_pCurrentValues; }

void CMainFrame::OnCurrentValues() {
  if (!m_pCurrentValues) m_pCurrentValues = new CCurrentValuesDlg(m_pView->Session(), this);
  m_pCurrentValues->show();
  m_pCurrentValues->raise();
}

void CMainFrame::OnAbout() {
  CAboutDlg dialog(m_app.Settings(), this);
  dialog.exec();
}

void CMainFrame::UpdateRecentFiles() {
  m_pRecentMenu->clear();
  const QStringList list = m_app.RecentFiles();
  for (int i = 0; i < list.size(); ++i) {
    const QString strPath = list[i];
    m_pRecentMenu->addAction(QString("&%1 %2").arg(i + 1 < 10 ? QString::number(i + 1) : "", strPath), this,
                             [this, strPath] { OpenFile(strPath); });
  }
  m_pRecentMenu->setEnabled(!list.isEmpty());
}

void CMainFrame::UpdateCommands() {
  const bool bBusy = m_pView->IsBusy();
  const CAnalysisSession& session = m_pView->Session();
  const bool bHaveOptions = session.HasRecording() || !session.Options().m_astrRecordingFilenames.empty();
  for (const char* psz : {"NewProject", "OpenProject"}) Action(psz)->setEnabled(!bBusy);
  Action("EditProject")->setEnabled(!bBusy && bHaveOptions);
  Action("SaveProject")->setEnabled(!bBusy && session.Image().Rows().Count() > 0);
  Action("SaveImage")->setEnabled(!bBusy && session.Image().Rows().Count() > 0);
  Action("Analyse")->setEnabled(bBusy || bHaveOptions);
  Action("Analyse")->setText(bBusy ? "&Abort" : "&Analyse");
}

void CMainFrame::ShowError(const QString& strTitle, const QString& strText) {
  QMessageBox::warning(this, strTitle, strText);
}

void CMainFrame::SetPalette(int nPalette) {
  m_app.SetPalette(nPalette);
  if (QAction* p = Action(QString("Palette%1").arg(CPalettes::Normalise(nPalette)))) p->setChecked(true);
  m_pView->ApplyColouring();
  m_pPlayerPane->SetPalette(CPalettes::Normalise(nPalette));
}

bool CMainFrame::StartAnalysis(const char* pszCommand) {
  QString strError;
  if (!m_pView->Analyse(strError)) {
    ShowError(pszCommand, strError);
    return false;
  }
  UpdateCommands();
  return true;
}

void CMainFrame::OnAnalyse() { StartAnalysis("Analyse"); }

void CMainFrame::OnNewProject() { RunProjectDialog(true); }

void CMainFrame::OnEditProject() { RunProjectDialog(false); }

bool CMainFrame::RunProjectDialog(bool bNew, const QString& strFile) {
  if (m_pView->IsBusy()) return false;
  CAnalysisSession& session = m_pView->Session();
  if (!bNew && !session.HasRecording()) {
    // A loaded project: its recording, when it is still there.
    const auto& astrFiles = session.Options().m_astrRecordingFilenames;
    const CAnalysisOptions projectOptions = session.Options();
    std::string strError;
    if (astrFiles.empty() || !session.OpenRecording(astrFiles.front(), strError)) {
      ShowError("Edit Project", astrFiles.empty() ? QString("There is no recording to edit: open a project or "
                                                            "start a New Project.")
                                                  : QString::fromStdString(strError));
      return false;
    }
    session.SetOptions(projectOptions);
  }
  CSelectionModel model = bNew ? CSelectionModel() : session.SelectionModel();
  if (bNew) {
    // The choices of the last analysis where they do not depend on the recording.
    CAnalysisOptions lastOptions;
    if (lastOptions.LoadCurrent()) model.TakeAnalysisChoices(lastOptions);
  }
  CSelectDataFile dialog(bNew ? CSelectDataFile::EMode::New : CSelectDataFile::EMode::Edit, m_app.Settings(),
                         std::move(model), this);
  if (!strFile.isEmpty()) dialog.SetFile(strFile);
  if (dialog.exec() != QDialog::Accepted) return false;
  std::string strTitle, strMessage;
  if (!session.ApplySelection(dialog.Model(), strTitle, strMessage)) {
    ShowError(QString::fromStdString(strTitle), QString::fromStdString(strMessage));
    return false;
  }
  m_app.AddRecentFile(dialog.File());
  UpdateRecentFiles();
  return StartAnalysis(bNew ? "New Project" : "Edit Project");
}

bool CMainFrame::OpenFile(const QString& strGivenPath, bool bAnalyse) {
  const QString strPath = QFileInfo(strGivenPath).absoluteFilePath();
  if (IsProjectPath(strPath)) return OpenProject(strPath);
  if (!bAnalyse) {
    RunProjectDialog(true, strPath);
    return true;
  }
  // --analyse: the choices the dialog would open with, without showing it.
  CRecordingDescription desc;
  std::string strError, strTitle;
  if (!CAnalysisSession::ReadRecording(strPath.toStdString(), desc, strError)) {
    ShowError("Open", QString::fromStdString(strError));
    return false;
  }
  CSelectionModel model;
  model.SetRecording(desc);
  CAnalysisOptions lastOptions;
  if (lastOptions.LoadCurrent()) model.TakeAnalysisChoices(lastOptions);
  if (!m_pView->Session().ApplySelection(model, strTitle, strError)) {
    ShowError(QString::fromStdString(strTitle), QString::fromStdString(strError));
    return false;
  }
  m_app.AddRecentFile(strPath);
  UpdateRecentFiles();
  return StartAnalysis("Analyse");
}

bool CMainFrame::OpenProject(const QString& strPath) {
  if (m_pView->IsBusy()) {
    QApplication::beep();
    return false;
  }
  CProjectProgressDialog progress(this);
  std::string strMessage;
  if (!m_pView->Session().LoadProject(strPath.toStdString(), strMessage, &progress)) {
    ShowError("Open Project", QString::fromStdString(strMessage));
    return false;
  }
  m_pView->ApplyColouring();
  m_pView->PictureReplaced();
  m_pTags->Refresh();
  m_pHistory->Clear();
  m_app.Settings().Write(kDefaultProjectKey, QFileInfo(strPath).absoluteFilePath().toStdString());
  m_app.AddRecentFile(strPath);
  UpdateRecentFiles();
  UpdateCommands();
  // A damaged project that could still be shown says what was worked around.
  if (!strMessage.empty()) QMessageBox::information(this, "Open Project", QString::fromStdString(strMessage));
  m_pStatus->ShowMessage(QString("Project loaded: %1").arg(QFileInfo(strPath).fileName()));
  return true;
}

void CMainFrame::OnOpenProject() {
  std::string strDefault;
  m_app.Settings().Read(kDefaultProjectKey, strDefault);
  const QString strPath = QFileDialog::getOpenFileName(this, "Open IQ analysis defnition...",
                                                       QString::fromStdString(strDefault), "XML files (*.XML *.xml)");
  if (!strPath.isEmpty()) OpenProject(strPath);
}

bool CMainFrame::SaveProject(const QString& strPath) {
  CProjectProgressDialog progress(this);
  std::string strError;
  if (!m_pView->Session().SaveProject(strPath.toStdString(), strError, &progress)) {
    ShowError("Save Project", QString::fromStdString(strError));
    return false;
  }
  m_app.Settings().Write(kDefaultProjectKey, QFileInfo(strPath).absoluteFilePath().toStdString());
  m_app.AddRecentFile(strPath);
  UpdateRecentFiles();
  m_pStatus->ShowMessage(QString("Project saved: %1").arg(QFileInfo(strPath).fileName()));
  return true;
}

void CMainFrame::OnSaveProject() {
  const CAnalysisSession& session = m_pView->Session();
  const auto& astrFiles = session.Options().m_astrRecordingFilenames;
  const QString strProposed =
      astrFiles.empty() ? QString()
                        : QString::fromStdString(CProjectFile::ProposedPath(astrFiles.front()).string());
  const QString strPath =
      QFileDialog::getSaveFileName(this, "Save IQ analysis defnition...", strProposed, "XML files (*.XML *.xml)");
  if (!strPath.isEmpty()) SaveProject(strPath);
}

bool CMainFrame::SaveImage(const QString& strPath, QString& strError) {
  std::string strMessage;
  if (CPictureRenderer::Save(m_pView->Session(), strPath.toStdString(), strMessage)) return true;
  strError = QString::fromStdString(strMessage);
  return false;
}

void CMainFrame::OnSaveImage() {
  const auto& astrFiles = m_pView->Session().Options().m_astrRecordingFilenames;
  QString strProposed;
  if (!astrFiles.empty()) {
    std::filesystem::path path = CProjectFile::ProposedPath(astrFiles.front());
    strProposed = QString::fromStdString(path.replace_extension(".png").string()).replace(" (Project).png", ".png");
  }
  QString strFilter = "PNG (*.png)";
  const QString strPath = QFileDialog::getSaveFileName(
      this, "Save image to file...", strProposed, "PNG (*.png);;BMP (*.bmp);;JPEG (*.jpg *.jpeg);;GIF (*.gif)",
      &strFilter);
  if (strPath.isEmpty()) return;
  QString strError;
  if (!SaveImage(strPath, strError)) ShowError("Save image to file", strError);
}

QString CMainFrame::SaveScreenshot() {
  const QDir folder(QString::fromStdString((PicturesFolder() / kCompanyKey).string()));
  if (!folder.exists() && !QDir().mkpath(folder.path())) return {};
  const QString strPath = folder.filePath(
      QString("Screenshot-%1.png").arg(QDateTime::currentDateTime().toString("yyyy-MM-dd-HHmmss")));
  return grab().save(strPath, "PNG", 100) ? strPath : QString();
}

void CMainFrame::OnScreenshot() {
  const QString strPath = SaveScreenshot();
  if (strPath.isEmpty()) {
    ShowError("Screenshot", "The screenshot could not be saved in the pictures folder.");
    return;
  }
  m_pStatus->ShowMessage(QString("Screenshot saved: %1").arg(strPath));
  QDesktopServices::openUrl(QUrl::fromLocalFile(strPath));
}

void CMainFrame::OnOpenSettings() {
  const QString strPath = QString::fromStdString(m_app.Settings().EditorFilePath().string());
  if (!QDesktopServices::openUrl(QUrl::fromLocalFile(strPath)))
    ShowError("Settings", QString("No editor could be started for %1").arg(strPath));
}

// --- Closing and dropping ------------------------------------------------------------------

void CMainFrame::closeEvent(QCloseEvent* pEvent) {
  if (m_pView->IsBusy()) {
    QApplication::beep();
    pEvent->ignore();
    return;
  }
  int nWindows = 0;
  for (QWidget* p : QApplication::topLevelWidgets())
    if (qobject_cast<CMainFrame*>(p) && p->isVisible()) ++nWindows;
  if (nWindows > 1 && QMessageBox::question(this, "Close", "This will close all windows - continue?",
                                            QMessageBox::Yes | QMessageBox::No) != QMessageBox::Yes) {
    pEvent->ignore();
    return;
  }
  WriteBytes(m_app.Settings(), kGeometryKey, saveGeometry());
  WriteBytes(m_app.Settings(), kDockStateKey, saveState());
  m_app.Shutdown();
  pEvent->accept();
}

void CMainFrame::dragEnterEvent(QDragEnterEvent* pEvent) {
  const QList<QUrl> urls = pEvent->mimeData()->urls();
  if (urls.size() == 1 && urls.front().isLocalFile() && IsOpenablePath(urls.front().toLocalFile()))
    pEvent->acceptProposedAction();
}

void CMainFrame::dropEvent(QDropEvent* pEvent) {
  const QList<QUrl> urls = pEvent->mimeData()->urls();
  if (urls.size() != 1 || !urls.front().isLocalFile()) return;
  pEvent->acceptProposedAction();
  const QString strPath = urls.front().toLocalFile();
  // Opened after the drop has ended, so that a dialog does not run inside the drag.
  QMetaObject::invokeMethod(this, [this, strPath] { OpenFile(strPath); }, Qt::QueuedConnection);
}

// --- The player -----------------------------------------------------------------------------

void CMainFrame::CreatePlayerActions() {
  AddAction("Play", "&Play", QKeySequence(Qt::Key_F6), "Play the recording from the start of the analysed range",
            &CMainFrame::OnPlay);
  AddAction("PauseResume", "P&ause", QKeySequence(Qt::Key_Space), "Pause or resume play", &CMainFrame::OnPauseResume);
  AddAction("Stop", "&Stop", QKeySequence(Qt::Key_F8), "Stop play", &CMainFrame::OnStop);
  QAction* pRepeat = AddAction("Repeat", "&Repeat", QKeySequence(),
                               "Play the repeat range over and over, or the whole recording", nullptr);
  pRepeat->setCheckable(true);
  pRepeat->setChecked(m_pPlayer->Repeat());
  connect(pRepeat, &QAction::toggled, m_pPlayer, &CPlayerController::SetRepeat);
  m_pView->SetPlayerOverlay(m_pPlayerOverlay.get(), pRepeat);
  Action("Play")->setIcon(style()->standardIcon(QStyle::SP_MediaPlay));
  Action("PauseResume")->setIcon(style()->standardIcon(QStyle::SP_MediaPause));
  Action("Stop")->setIcon(style()->standardIcon(QStyle::SP_MediaStop));
  // The "Player" menu before "Tools"; its toolbar after the main one.
  QAction* pBefore = nullptr;
  for (QAction* p : menuBar()->actions())
    if (p->text() == "&Tools") pBefore = p;
  auto* pMenu = new QMenu("&Player", this);
  menuBar()->insertMenu(pBefore, pMenu);
  QToolBar* pBar = addToolBar("Player");
  pBar->setObjectName("PlayerToolBar");
  for (const char* psz : {"Play", "PauseResume", "Stop"}) {
    pMenu->addAction(Action(psz));
    pBar->addAction(Action(psz));
  }
  pMenu->addSeparator();
  pMenu->addAction(pRepeat);
}

QWidget* CMainFrame::CreatePlayerPane() {
  m_pPlayerPane = new CPlayerPane(*m_pPlayer, Action("Play"), Action("PauseResume"), Action("Stop"));
  m_pPlayerPane->SetPalette(CPalettes::Normalise(m_app.Palette()));
  auto* pScroll = new QScrollArea;
  pScroll->setWidget(m_pPlayerPane);
  pScroll->setWidgetResizable(true);
  pScroll->setFrameShape(QFrame::NoFrame);
  pScroll->setMinimumWidth(300);
  return pScroll;
}

void CMainFrame::ConnectPlayer() {
  // While playing, the status bar's point is the playing point; otherwise the mouse's.
  connect(m_pView, &CVexlorView::PointChanged, m_pStatus, [this](bool bInside, const CPictureClick& click) {
    if (!m_pPlayer || !m_pPlayer->HasPlayingPoint()) m_pStatus->ShowPoint(bInside, click);
  });
  connect(m_pView, &CVexlorView::PointClicked, m_pPlayer, &CPlayerController::PlayAt);
  connect(m_pView, &CVexlorView::RangeSelected, m_pPlayer, &CPlayerController::SetRepeatRange);
  connect(m_pPlayer, &CPlayerController::ErrorRaised, this, &CMainFrame::ShowError);
  connect(m_pPlayer, &CPlayerController::TuningChanged, m_pView->viewport(), qOverload<>(&QWidget::update));
  connect(m_pPlayer, &CPlayerController::StateChanged, this, [this] {
    UpdatePlayerCommands();
    m_pView->viewport()->update();
    if (!m_pPlayer->HasPlayingPoint()) return;
    const CAnalysisSession& session = m_pView->Session();
    const int nX = static_cast<int>(session.XAtFrequency(m_pPlayer->TunedFrequency()));
    const int nY = static_cast<int>(m_pPlayerOverlay->PictureY(m_pPlayer->PlayingPointUtc()));
    const CPictureClick point = session.Click(std::clamp(nX, 0, std::max(0, session.Width() - 1)), nY);
    m_pStatus->ShowPoint(point.m_bInside, point);
  });
  UpdatePlayerCommands();
}

void CMainFrame::UpdatePlayerCommands() {
  const bool bPlaying = m_pPlayer->IsPlaying();
  if (Action("Repeat")->isChecked() != m_pPlayer->Repeat()) {
    const QSignalBlocker block(Action("Repeat"));
    Action("Repeat")->setChecked(m_pPlayer->Repeat());
  }
  Action("PauseResume")->setEnabled(bPlaying);
  Action("Stop")->setEnabled(bPlaying);
  Action("PauseResume")->setText(m_pPlayer->IsPaused() ? "Res&ume" : "P&ause");
  Action("PauseResume")
      ->setIcon(style()->standardIcon(m_pPlayer->IsPaused() ? QStyle::SP_MediaPlay : QStyle::SP_MediaPause));
}

void CMainFrame::OnPlay() { m_pPlayer->Play(); }

void CMainFrame::OnPauseResume() { m_pPlayer->TogglePause(); }

void CMainFrame::OnStop() { m_pPlayer->Stop(); }
