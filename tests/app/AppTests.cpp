// The desktop application through its windows: the New/Edit Project dialog, a whole run
// driven from the main window compared pixel for pixel with the engine's own picture,
// projects and images, colouring switches, the status bar, closing and dropping.

#include <QAction>
#include <QComboBox>
#include <QDockWidget>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QScrollBar>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolTip>
#include <QtTest>
#include <atomic>
#include <cstring>
#include <thread>

#include "dsp/FFTWPlan.h"
#include "analysis/AnalysisSession.h"
#include "analysis/HeadlessAnalysis.h"
#include "analysis/Palettes.h"
#include "AppTestSetup.h"
#include "app/AnalyseStatusDlg.h"
#include "app/MainFrame.h"
#include "app/ManualScalePane.h"
#include "app/PropertiesPane.h"
#include "app/QtMessageTarget.h"
#include "app/SelectDataFile.h"
#include "app/StatusPanes.h"
#include "app/VexlorApp.h"
#include "app/VexlorView.h"
#include "core/AppState.h"
#include "core/StatusFigures.h"
#include "persist/MySettingsStore.h"
#include "recording/DemoRecording.h"

namespace {

// The analysis of the tests: small enough to run in a few seconds, wide enough to show
// every signal of the demonstration recording.
void SetTestOptions(CAnalysisSession& session) {
  CAnalysisOptions& o = session.MutableOptions();
  o.m_nAnalysisFFTSize = 8192;
  o.m_nAnalysisOverlap = 0;
  o.m_eAnalysisWindow = ANALYSIS_WINDOW_HANN;
  o.m_nAnalysisBandwidth = o.m_nRecordingBandwidth;
  o.m_nAnalysisCenterFreq = o.m_nRecordingCenterFreq;
  o.m_nAnalysisDisplayWidth = 800;
  o.m_nAnalysisDisplayHeight = 0;  // one line per row
  session.UpdateDerivedValues();
}

bool SamePixels(const CAnalysisImage& a, const CAnalysisImage& b) {
  return a.Width() == b.Width() && a.Height() == b.Height() &&
         std::memcmp(a.Pixels(), b.Pixels(), static_cast<std::size_t>(a.Stride()) * a.Height()) == 0;
}

// Closes the next modal dialog (a message box) and remembers its text.
QString CloseNextModal() {
  auto* pText = new QString;
  QTimer::singleShot(200, [pText] {
    if (QWidget* p = QApplication::activeModalWidget()) {
      if (auto* pBox = qobject_cast<QMessageBox*>(p)) *pText = pBox->text();
      p->close();
    }
  });
  QTest::qWait(400);
  const QString str = *pText;
  delete pText;
  return str;
}

struct CCountedPayload final : CMessagePayload {
  explicit CCountedPayload(std::atomic<int>& n) : nAlive(n) { ++nAlive; }
  ~CCountedPayload() override { --nAlive; }
  std::atomic<int>& nAlive;
};

}  // namespace

class CAppTests : public QObject {
  Q_OBJECT

 private:
  QTemporaryDir m_dir;
  QString m_strFirstFile;
  std::unique_ptr<CVexlorApp> m_pApp;
  CMainFrame* Frame() { return m_pApp->MainFrame(); }
  CVexlorView& View() { return Frame()->View(); }

  // Runs the test analysis through the main window's "Analyse" command until it ends.
  void AnalyseThroughWindow() {
    CAnalysisSession& session = View().Session();
    std::string strError;
    QVERIFY2(session.OpenRecording(m_strFirstFile.toStdString(), strError), strError.c_str());
    SetTestOptions(session);
    Frame()->OnAnalyse();
    QVERIFY(View().IsBusy());
    QVERIFY(View().StatusDialog());
    QVERIFY(View().StatusDialog()->isVisible());
    // Closing during a run is refused and changes nothing.
    QVERIFY(!Frame()->close());
    QVERIFY(Frame()->isVisible());
    QVERIFY(!AppState::bShuttingDown);
    QTRY_VERIFY_WITH_TIMEOUT(!View().IsBusy(), 120000);
    QVERIFY(!View().StatusDialog());
    QVERIFY(session.Image().Rows().Count() > 100);
  }

 private slots:
  void initTestCase() {
    QVERIFY(m_dir.isValid());
    const QString strNotOwn = ClearTestFolders("app_tests");
    QVERIFY2(strNotOwn.isEmpty(), qPrintable(strNotOwn));
    std::string strError;
    m_strFirstFile = WriteDemo(m_dir, strError);
    QVERIFY2(!m_strFirstFile.isEmpty(), strError.c_str());
    m_pApp = std::make_unique<CVexlorApp>();
    QVERIFY(m_pApp->Initialise({}, false));
    Frame()->show();
    QVERIFY(QTest::qWaitForWindowExposed(Frame()));
  }

  void cleanupTestCase() {
    QVERIFY(Frame()->close());
    QVERIFY(AppState::bShuttingDown);
    m_pApp.reset();
  }

  void commandLineTakesOneFileAndTheAnalyseSwitch() {
    auto cmd = CVexlorApp::ParseCommandLine({"vexlor", "a 000.wav", "--analyse"});
    QCOMPARE(cmd.strFile, QString("a 000.wav"));
    QVERIFY(cmd.bAnalyse && cmd.strError.isEmpty());
    QVERIFY(!CVexlorApp::ParseCommandLine({"vexlor", "--analyse"}).strError.isEmpty());
    QVERIFY(!CVexlorApp::ParseCommandLine({"vexlor", "a", "b"}).strError.isEmpty());
    QVERIFY(!CVexlorApp::ParseCommandLine({"vexlor", "--frobnicate"}).strError.isEmpty());
    QVERIFY(CVexlorApp::ParseCommandLine({"vexlor", "--version"}).bVersion);
    QCOMPARE(CVexlorApp::ParseCommandLine({"vexlor", "--", "--odd name.xml"}).strFile, QString("--odd name.xml"));
  }

  void messagesPostedFromAThreadArriveInOrderAndClosingFreesTheRest() {
    std::vector<unsigned> anSeen;
    std::atomic<int> nAlive{0};
    auto pTarget = std::make_unique<CQtMessageTarget>([&](CMessage& msg) { anSeen.push_back(msg.nMsg); });
    std::thread poster([&] {
      for (unsigned n = 1; n <= 100; ++n) pTarget->Post(n, 0, 0, std::make_unique<CCountedPayload>(nAlive));
    });
    poster.join();
    QCOMPARE(nAlive.load(), 100);
    QCoreApplication::processEvents();
    QCOMPARE(anSeen.size(), std::size_t{100});
    QVERIFY(std::is_sorted(anSeen.begin(), anSeen.end()));
    QCOMPARE(nAlive.load(), 0);  // handled messages free their payloads
    // Queued but never handled: Close() frees them, and later posts are refused.
    for (unsigned n = 0; n < 10; ++n) pTarget->Post(n, 0, 0, std::make_unique<CCountedPayload>(nAlive));
    QCOMPARE(nAlive.load(), 10);
    pTarget->Close();
    QCOMPARE(nAlive.load(), 0);
    QVERIFY(!pTarget->Post(1, 0, 0, std::make_unique<CCountedPayload>(nAlive)));
    QCOMPARE(nAlive.load(), 0);
  }

  void projectDialogOffersTheListsWithTheirDefaultsAndTooltips() {
    CSelectDataFile dialog(CSelectDataFile::EMode::New, m_pApp->Settings(), CSelectionModel(), Frame());
    QCOMPARE(dialog.windowTitle(), QString("New Project"));
    QCOMPARE(dialog.FFTSizeList()->count(), 15);
    QCOMPARE(dialog.FFTSizeList()->currentText(), QString("1 M"));
    QCOMPARE(dialog.FFTSizeList()->itemText(0), QString("4 K"));
    QCOMPARE(dialog.FFTSizeList()->itemText(14), QString("64 M"));
    QCOMPARE(dialog.OverlapList()->currentText(), QString("None"));
    QCOMPARE(dialog.BandwidthList()->currentText(), QString("10 kHz"));
    QCOMPARE(dialog.WindowList()->currentText(), QString("Default"));
    QCOMPARE(dialog.WidthList()->currentText(), QString("5000"));
    QCOMPARE(dialog.HeightList()->currentText(), QString("Full"));
    QCOMPARE(dialog.AnalyseButton()->toolTip(), QString("Start the analysis"));
    QCOMPARE(dialog.CentreField()->toolTip(), QString("The frequency shown in the center of the display"));
    QCOMPARE(dialog.BandwidthList()->toolTip(), QString("The display bandiwdth"));
    QVERIFY(dialog.Summary()->minimumHeight() >= 500);
    // Without a recording nothing can be analysed.
    QVERIFY(!dialog.AnalyseButton()->isEnabled());
  }

  void projectDialogTellsWhyAFileCannotBeUsed() {
    CSelectDataFile dialog(CSelectDataFile::EMode::New, m_pApp->Settings(), CSelectionModel(), Frame());
    QVERIFY(!dialog.SetFile(m_dir.filePath("missing 000.wav")));
    QCOMPARE(dialog.StatusText(), QString("File not found"));
    QFile junk(m_dir.filePath("junk 000.wav"));
    QVERIFY(junk.open(QIODevice::WriteOnly));
    junk.write("this is no RIFF file at all, only text");
    junk.close();
    QVERIFY(!dialog.SetFile(junk.fileName()));
    QCOMPARE(dialog.StatusText(), QString("File format not supported"));
    QVERIFY(!dialog.AnalyseButton()->isEnabled());
  }

  void projectDialogSummaryFollowsEveryChoiceAndRefusesNegativeFrequencies() {
    CSelectDataFile dialog(CSelectDataFile::EMode::New, m_pApp->Settings(), CSelectionModel(), Frame());
    QVERIFY(dialog.SetFile(m_strFirstFile));
    QVERIFY(dialog.AnalyseButton()->isEnabled());
    const auto value = [&](const QString& strLabel, int nSkip = 0) {
      QTableWidget* p = dialog.Summary();
      for (int r = 0; r < p->rowCount(); ++r)
        if (p->item(r, 0)->text() == strLabel && nSkip-- == 0) return p->item(r, 1)->text();
      return QString("<none>");
    };
    QCOMPARE(value("Files"), QString("3"));
    QCOMPARE(value("Source"), QString::fromStdString(dialog.Model().Recording()->m_strSource));
    QCOMPARE(value("FFT Size"), QString("1048576"));
    QCOMPARE(dialog.Summary()->item(0, 0)->toolTip(), QString("Recording: Total files"));
    // A new FFT size changes the resolution bandwidth and the rows at once.
    const QString strRows = value("Display Rows");
    dialog.FFTSizeList()->setCurrentIndex(dialog.FFTSizeList()->findText("8 K"));
    QCOMPARE(value("FFT Size"), QString("8192"));
    QVERIFY(value("Display Rows") != strRows);
    QCOMPARE(dialog.Options().m_nAnalysisFFTSize, 8192u);
    // A band outside the recording is refused with a message, and the dialog stays.
    dialog.CentreField()->setText("0000.100.000");
    QCOMPARE(dialog.Options().m_nAnalysisCenterFreq, 100000u);
    dialog.show();
    QTimer::singleShot(0, &dialog, [&dialog] { dialog.AnalyseButton()->click(); });
    QVERIFY(CloseNextModal().contains("outside the recording"));
    QVERIFY(dialog.isVisible());
    QCOMPARE(dialog.result(), 0);
    dialog.reject();
  }

  void statusDialogStartsWithItsInitialTextsAndGrowsForASlowRun() {
    CAnalyseStatusDlg dialog(Frame());
    dialog.Start();
    QCOMPARE(dialog.RateText(), QString("Initialising"));
    QCOMPARE(dialog.RemainingText(), QString("--:--:--"));
    QCOMPARE(dialog.Progress(), 0);
    const int nHeight = dialog.height();
    dialog.CheckSlowRun();
    QVERIFY(dialog.LinkShown());
    QVERIFY(dialog.height() >= nHeight + CAnalyseStatusDlg::kGrowPixels);
    // Past half-way the link is not offered.
    CAnalyseStatusDlg fast(Frame());
    fast.Start();
    SAnalysisRunState state;
    state.nProgress = 600;
    state.strRate = "12.5 MB/s";
    state.strRemaining = "1:05";
    fast.ShowProgress(state);
    fast.CheckSlowRun();
    QVERIFY(!fast.LinkShown());
    QCOMPARE(fast.RateText(), QString("12.5 MB/s"));
    QCOMPARE(fast.RemainingText(), QString("1:05"));
  }

  void statusBarShowsReadyTheTenPanesAndThePointUnderTheMouse() {
    CStatusPanes& panes = Frame()->StatusPanes();
    QCOMPARE(panes.Pane("Message")->text(), QString("Ready"));
    for (const CStatusFigures::SPane& pane : CStatusFigures::kPanes) {
      QLabel* p = panes.Pane(pane.pszName);
      QVERIFY2(p, pane.pszName);
      QCOMPARE(p->toolTip(), QString(pane.pszTooltip));
    }
    QCOMPARE(panes.Pane("Frequency")->text(), QString("---.---.--- MHz"));
    QVERIFY(panes.Pane("Frequency")->minimumWidth() >=
            panes.Pane("Frequency")->fontMetrics().horizontalAdvance("9.999.999.999 MHz"));
    panes.Refresh();
    QVERIFY(panes.Pane("Size")->text().startsWith("Size: "));
    QVERIFY(panes.Pane("Size")->text().endsWith(" MB") || panes.Pane("Size")->text().endsWith(" GB"));
    QVERIFY(panes.Pane("Threads")->text().startsWith("Threads: "));
    QCOMPARE(QString::fromStdString(CStatusFigures::MemoryText("Size", 1'000'000'000)), QString("Size: 1.0 GB"));
    QCOMPARE(QString::fromStdString(CStatusFigures::MemoryText("Size", 999'999'999)), QString("Size: 1000.0 MB"));
  }

  void aRunThroughTheWindowMakesTheEnginesPicture() {
    // Both runs transform with the measured plan: a first run without wisdom starts from the
    // estimate, whose levels differ from the measured plan's in the last bits.
    QVERIFY(FFTWPlanner::PlanAnalysisSize(8192, FFT_PLAN_FAST));
    AnalyseThroughWindow();
    CAnalysisSession& session = View().Session();
    QVERIFY(Frame()->windowTitle().startsWith("Vexlor, 2025-06-01 12:00:00 to "));

    // The same options through the engine alone.
    CMySettingsStore settings;
    CHeadlessAnalysis engine(settings);
    CAnalysisSession reference(engine, settings);
    std::string strError;
    QVERIFY(reference.OpenRecording(m_strFirstFile.toStdString(), strError));
    reference.SetOptions(session.Options());
    reference.SetColouring(m_pApp->Palette(), true, session.Image().Scaling().Contrast(),
                           session.Image().Scaling().ManualFirst(), session.Image().Scaling().ManualSecond());
    QVERIFY2(reference.StartAnalysis(strError), strError.c_str());
    reference.PumpUntilFinished();
    QCOMPARE(session.Image().Rows().Count(), reference.Image().Rows().Count());
    QVERIFY(SamePixels(session.Image(), reference.Image()));

    // The point under the mouse in the status bar.
    const QRect rc = View().PictureArea();
    const QPoint pt = rc.topLeft() + QPoint(200, 30);
    QTest::mouseMove(View().viewport(), pt);
    int nX = 0, nY = 0;
    QVERIFY(View().PicturePixelAt(pt, nX, nY));
    const CPictureClick click = session.Click(nX, nY);
    CStatusPanes& panes = Frame()->StatusPanes();
    QTRY_COMPARE(panes.Pane("Frequency")->text(),
                 QString::fromStdString(CStatusFigures::FrequencyText(click.m_dFrequencyHz)));
    QCOMPARE(panes.Pane("Signal")->text(), QString::fromStdString(CStatusFigures::SignalText(click.m_fLevel)));
    QCOMPARE(panes.Pane("Time")->text(), QString::fromStdString(CStatusFigures::TimeText(
                                             static_cast<std::int64_t>(click.m_tTime), false)));
  }

  void paletteAndScaleSwitchesRedrawWithoutAnalysing() {
    CAnalysisSession& session = View().Session();
    QVERIFY(session.Image().Rows().Count() > 0);
    const std::vector<std::uint32_t> original(session.Image().Pixels(),
                                              session.Image().Pixels() + session.Width() * session.Height());
    const std::size_t nRows = session.Image().Rows().Count();
    Frame()->SetPalette(CPalettes::ePaletteBlackAndWhite);
    QVERIFY(!View().IsBusy());
    QCOMPARE(session.Image().Rows().Count(), nRows);
    QCOMPARE(session.Image().Palette(), 0);
    QVERIFY(std::memcmp(original.data(), session.Image().Pixels(), original.size() * 4) != 0);
    // Stored at once.
    CMySettingsStore settings;
    int nStored = -1;
    QVERIFY(settings.Read("CVexlorApp::m_ePalette", nStored));
    QCOMPARE(nStored, 0);
    Frame()->Action("ScaleManual")->trigger();
    QVERIFY(!session.Image().Scaling().Automatic());
    // The Manual Scale pane's levels redraw at once.
    std::vector<std::uint32_t> manual(session.Image().Pixels(), session.Image().Pixels() + original.size());
    Frame()->ManualScale().SetLevels(-120, -40);
    QCOMPARE(session.Image().Scaling().ManualFirst(), 120);
    QCOMPARE(session.Image().Scaling().ManualSecond(), 40);
    QVERIFY(std::memcmp(manual.data(), session.Image().Pixels(), original.size() * 4) != 0);
    Frame()->ManualScale().SetLevels(-160, -60);
    Frame()->Action("ScaleAutomatic")->trigger();
    Frame()->SetPalette(CPalettes::kDefault);
    QVERIFY(!View().IsBusy());
    QVERIFY(std::memcmp(original.data(), session.Image().Pixels(), original.size() * 4) == 0);
  }

  void aSavedProjectOpensAgainWithTheSamePicture() {
    CAnalysisSession& session = View().Session();
    const std::vector<std::uint32_t> before(session.Image().Pixels(),
                                            session.Image().Pixels() + session.Width() * session.Height());
    const int nWidth = session.Width(), nHeight = session.Height();
    const QString strProject = m_dir.filePath("demo (Project).xml");
    QVERIFY(Frame()->SaveProject(strProject));
    std::string strDefault;
    CMySettingsStore settings;
    QVERIFY(settings.Read("DefaultProject", strDefault));
    QCOMPARE(QString::fromStdString(strDefault), QFileInfo(strProject).absoluteFilePath());

    Frame()->SetPalette(CPalettes::ePaletteRadarGlow);
    QVERIFY(Frame()->OpenProject(strProject));
    Frame()->SetPalette(CPalettes::kDefault);
    QCOMPARE(session.Width(), nWidth);
    QCOMPARE(session.Height(), nHeight);
    QVERIFY(std::memcmp(before.data(), session.Image().Pixels(), before.size() * 4) == 0);
    QVERIFY(m_pApp->RecentFiles().contains(QFileInfo(strProject).absoluteFilePath()));
  }

  void savedImagesCarryThePictureUnchangedWithinTheirScales() {
    CAnalysisSession& session = View().Session();
    QString strError;
    const QString strPng = m_dir.filePath("picture.png");
    QVERIFY2(Frame()->SaveImage(strPng, strError), qPrintable(strError));
    const QImage image(strPng);
    QVERIFY(image.width() > session.Width() && image.height() > session.Height());
    // The picture sits unchanged to the right of the time labels, below title and scale.
    const QImage picture = image.copy(image.width() - session.Width() - 76, 42, session.Width(), session.Height())
                               .convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < session.Height(); y += 97)
      for (int x = 0; x < session.Width(); x += 89)
        QCOMPARE(picture.pixel(x, y), session.Image().Pixel(x, y));
    for (const char* pszExt : {"bmp", "jpg", "gif"}) {
      const QString strPath = m_dir.filePath(QString("picture.%1").arg(pszExt));
      QVERIFY2(Frame()->SaveImage(strPath, strError), qPrintable(strError));
      QCOMPARE(QImage(strPath).size(), image.size());
    }
    QVERIFY(!Frame()->SaveImage(m_dir.filePath("no such folder/picture.png"), strError));
    QVERIFY(strError.startsWith("Error saving file as "));
  }

  void aFileDroppedOnTheWindowOpens() {
    const QString strProject = m_dir.filePath("dropped (Project).xml");
    QVERIFY(Frame()->SaveProject(strProject));
    const int nWidth = View().Session().Options().m_nAnalysisDisplayWidth;
    View().Session().MutableOptions().m_nAnalysisDisplayWidth = 1;  // changed, to see the drop restore it
    QMimeData mime;
    mime.setUrls({QUrl::fromLocalFile(strProject)});
    QDragEnterEvent enter(QPoint(50, 50), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(Frame(), &enter);
    QVERIFY(enter.isAccepted());
    QDropEvent drop(QPointF(50, 50), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(Frame(), &drop);
    QTRY_COMPARE(View().Session().Options().m_nAnalysisDisplayWidth, nWidth);
    QCOMPARE(QString::fromStdString(View().Session().ProjectPath().string()), strProject);
    // Something that is neither a project nor a recording is not taken.
    QMimeData text;
    text.setUrls({QUrl::fromLocalFile(m_dir.filePath("notes.txt"))});
    QDragEnterEvent refused(QPoint(50, 50), Qt::CopyAction, &text, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(Frame(), &refused);
    QVERIFY(!refused.isAccepted());
  }

  void aRecordingGivenWithAnalyseRunsWithTheLastChoices() {
    // The last analysis: 8 K FFT, 800 columns (stored as "CurrentAnalysisOptions.xml").
    CAnalysisOptions last = View().Session().Options();
    QCOMPARE(last.m_nAnalysisFFTSize, 8192u);
    QCOMPARE(last.m_nAnalysisDisplayWidth, 800);
    QVERIFY(last.SaveCurrent());
    QVERIFY(Frame()->OpenFile(m_strFirstFile, true));
    QVERIFY(View().IsBusy());
    QTRY_VERIFY_WITH_TIMEOUT(!View().IsBusy(), 120000);
    const CAnalysisOptions& o = View().Session().Options();
    QCOMPARE(o.m_nAnalysisFFTSize, 8192u);
    QCOMPARE(View().Session().Width(), 800);
    // The band is the dialog's default, not the last one's.
    QCOMPARE(o.m_nAnalysisBandwidth, 10000u);
    QVERIFY(m_pApp->RecentFiles().contains(m_strFirstFile));
  }

  void screenshotGoesToThePicturesFolder() {
    const QString strPath = Frame()->SaveScreenshot();
    QVERIFY(!strPath.isEmpty());
    QVERIFY(strPath.contains("/Brannock (V2)/Screenshot-"));
    QVERIFY(QFileInfo(strPath).fileName().contains(QRegularExpression("^Screenshot-\\d{4}-\\d\\d-\\d\\d-\\d{6}\\.png$")));
    QVERIFY(!QImage(strPath).isNull());
  }

  void panesAndCommandsAreThere() {
    for (const char* pszTitle : {"Player", "Signal History", "Tags", "Manual Scale", "Properties"}) {
      bool bFound = false;
      for (QDockWidget* p : Frame()->findChildren<QDockWidget*>()) bFound |= p->windowTitle() == pszTitle;
      QVERIFY2(bFound, pszTitle);
    }
    for (const char* pszKey : {"PROP_SND_FILE_STARTUP", "PROP_SND_FILE_CLOSEDOWN", "PROP_SND_FILE_ANALYSIS"})
      QVERIFY(Frame()->Properties().Item(pszKey));
    QCOMPARE(Frame()->Properties().Item("PROP_SND_FILE_STARTUP")->toolTip(0),
             QString("The sound (wave file) to play when the program starts"));
    QCOMPARE(Frame()->ThreadList()->count(), m_pApp->UsableProcessors());
    QVERIFY(Frame()->ThreadList()->currentIndex() >= 0);
    QCOMPARE(Frame()->FFTHintList()->itemText(0), QString("Best"));
    QCOMPARE(Frame()->FFTHintList()->currentText(), QString("Fast"));
    QCOMPARE(Frame()->Action("NewProject")->shortcut(), QKeySequence(QKeySequence::New));
    QCOMPARE(Frame()->Action("OpenProject")->shortcut(), QKeySequence(QKeySequence::Open));
    QCOMPARE(Frame()->Action("SaveProject")->shortcut(), QKeySequence(QKeySequence::Save));
  }
};

QTEST_MAIN(CAppTests)
#include "AppTests.moc"
