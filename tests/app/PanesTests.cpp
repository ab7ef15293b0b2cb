// The panes and small windows of the desktop application through its windows: the signal
// history chart filled from a picture's rows, tags drawn by dragging on the picture and kept
// in projects, deleting that asks first, manual scale levels that recolour the picture
// without analysing, the current-values and About windows.
//
// Pictures of any length come from made-up project files, so no recording is analysed.

#include <QAction>
#include <QChart>
#include <QChartView>
#include <QDateTime>
#include <QDateTimeAxis>
#include <QDockWidget>
#include <QLineEdit>
#include <QLineSeries>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollBar>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTimer>
#include <QTreeWidget>
#include <QValueAxis>
#include <QtTest>

#include "analysis/AnalysisSession.h"
#include "analysis/ProjectFile.h"
#include "app/AboutDlg.h"
#include "app/CurrentValuesDlg.h"
#include "app/MainFrame.h"
#include "app/ManualScalePane.h"
#include "app/SignalHistoryDlg.h"
#include "app/SignalHistoryView.h"
#include "app/SplashScreen.h"
#include "app/TagDialog.h"
#include "app/TagsPane.h"
#include "app/VexlorApp.h"
#include "app/VexlorView.h"
#include "core/StatusFigures.h"
#include "persist/MySettingsStore.h"
#include "support/SyntheticProject.h"

namespace {

// The chart's x value of a time: local calendar time in milliseconds.
qreal ChartTime(std::int64_t tSeconds) {
  return static_cast<qreal>(QDateTime::fromSecsSinceEpoch(tSeconds, Qt::LocalTime).toMSecsSinceEpoch());
}

// Runs fnAnswer on the next modal window once it is up (a dialog's exec() blocks the test).
void AnswerNextModal(std::function<void(QWidget*)> fnAnswer) {
  auto* pTimer = new QTimer;
  pTimer->setInterval(50);
  QObject::connect(pTimer, &QTimer::timeout, [pTimer, fnAnswer] {
    if (QWidget* p = QApplication::activeModalWidget()) {
      pTimer->stop();
      pTimer->deleteLater();
      fnAnswer(p);
    }
  });
  pTimer->start();
}

}  // namespace

class CPanesTests : public QObject {
  Q_OBJECT

 private:
  QTemporaryDir m_dir;
  std::unique_ptr<CVexlorApp> m_pApp;
  CMainFrame* Frame() { return m_pApp->MainFrame(); }
  CVexlorView& View() { return Frame()->View(); }
  CAnalysisSession& Session() { return View().Session(); }
  CSignalHistoryDlg& Chart() { return Frame()->History().Dialog(); }

  void Open(const SSyntheticProject& project, const QString& strName, CImageRows* pRows = nullptr) {
    const QString strPath = m_dir.filePath(strName);
    std::string strError;
    if (pRows)
      QVERIFY2(CProjectFile::Save(project.Options(), strPath.toStdString(), *pRows, project.nWidth, project.nRows, "",
                                  nullptr, strError),
               strError.c_str());
    else
      QVERIFY2(project.Write(strPath.toStdString(), strError), strError.c_str());
    QVERIFY(Frame()->OpenProject(strPath));
    QCOMPARE(Session().Width(), project.nWidth);
  }

  // The viewport point of picture pixel (x, y).
  QPoint ViewPoint(int nX, int nY) {
    const QRect rc = View().PictureArea();
    return QPoint(rc.left() + nX - View().horizontalScrollBar()->value(),
                  rc.top() + nY - View().verticalScrollBar()->value());
  }

  // Ctrl+click on picture column nColumn charts its history.
  void CtrlClickColumn(int nColumn) {
    const QPoint pt = ViewPoint(nColumn, 0);
    int nX = 0, nY = 0;
    QVERIFY(View().PicturePixelAt(pt, nX, nY));
    QCOMPARE(nX, nColumn);
    QTest::mouseClick(View().viewport(), Qt::LeftButton, Qt::ControlModifier, pt);
  }

 private slots:
  void initTestCase() {
    QVERIFY(m_dir.isValid());
    m_pApp = std::make_unique<CVexlorApp>();
    QVERIFY(m_pApp->Initialise({}, false));
    Frame()->resize(1400, 900);
    Frame()->show();
    QVERIFY(QTest::qWaitForWindowExposed(Frame()));
  }

  void cleanupTestCase() {
    QVERIFY(Frame()->close());
    m_pApp.reset();
  }

  // Catches minute mode switched on too early or too late, points taken from the wrong
  // column, and times not counted from the recording's start.
  void historyHasAPointPerRowUpTo1200SecondsAndAPointPerMinuteBeyond() {
    SSyntheticProject shortOne;  // 1200 s, 200 rows 6 s apart
    Open(shortOne, "short.xml");
    CtrlClickColumn(shortOne.nCarrierColumn);
    QVERIFY(Frame()->findChild<QDockWidget*>("SignalHistoryPane")->isVisible());
    QLineSeries* pSeries = Chart().Series();
    QCOMPARE(pSeries->count(), 200);
    QCOMPARE(pSeries->at(0).x(), ChartTime(shortOne.tStartUTC));
    QCOMPARE(pSeries->at(199).x(), ChartTime(shortOne.tStartUTC + 199 * 6));
    for (const QPointF& pt : pSeries->points()) QCOMPARE(pt.y(), -40.0);
    QCOMPARE(Chart().Chart()->title(),
             QString::fromStdString(CStatusFigures::FrequencyText(Session().ColumnFrequency(shortOne.nCarrierColumn))));

    SSyntheticProject longOne;  // 3000 s, 300 rows 10 s apart, starting 20 s into a minute
    longOne.nSeconds = 3000;
    longOne.nRows = 300;
    Open(longOne, "long.xml");
    QCOMPARE(pSeries->count(), 0);  // a new picture clears the chart
    CtrlClickColumn(longOne.nCarrierColumn);
    // 22:13:20 .. 23:03:10: the minutes 22:13 .. 23:03.
    QCOMPARE(pSeries->count(), 51);
    QCOMPARE(pSeries->at(0).x(), ChartTime(1699999980));
    QCOMPARE(pSeries->at(50).x(), ChartTime(1699999980 + 50 * 60));
    // The columns beside the carrier see it too (the largest of three columns).
    CtrlClickColumn(longOne.nCarrierColumn + 1);
    QCOMPARE(pSeries->at(10).y(), -40.0);
  }

  // Catches rows the analysis left empty (zeros) pulling the line up to 0 dB.
  void rowsThatSumToMinusOneOrMoreAddNoPoint() {
    SSyntheticProject project;
    CImageRows rows = project.Rows();
    for (int r = 10; r < 20; ++r) std::fill(rows.m_aLines[r].begin(), rows.m_aLines[r].end(), 0.0f);
    Open(project, "gaps.xml", &rows);
    CtrlClickColumn(50);
    QCOMPARE(Chart().Series()->count(), 190);
    for (const QPointF& pt : Chart().Series()->points()) QVERIFY(pt.y() < -90.0);
  }

  // Catches an automatic scale that collapses to nothing with one point, and the fixed
  // scale not being -150..0 with whole-number labels.
  void theAutomaticScaleOfOnePointAndTheFixedScale() {
    SSyntheticProject project;
    project.nRows = 1;
    project.nSeconds = 60;
    Open(project, "one.xml");
    CtrlClickColumn(project.nCarrierColumn);
    QCOMPARE(Chart().Series()->count(), 1);
    for (bool bPrimary : {true, false}) {
      QValueAxis* pAxis = Chart().LevelAxis(bPrimary);
      QVERIFY(qAbs(pAxis->min() - (-40.0 - 0.0005)) < 1e-9);
      QVERIFY(qAbs(pAxis->max() - (-40.0 + 0.0005)) < 1e-9);
      QCOMPARE(pAxis->labelFormat(), QString("%.2f"));
      QCOMPARE(pAxis->titleText(), QString("Signal level in dBm"));
    }
    QVERIFY(Chart().Series()->attachedAxes().contains(Chart().LevelAxis(false)));
    Frame()->History().Action("HistoryFixedScale")->trigger();
    QCOMPARE(Chart().LevelAxis(true)->min(), -150.0);
    QCOMPARE(Chart().LevelAxis(true)->max(), 0.0);
    QCOMPARE(Chart().LevelAxis(false)->labelFormat(), QString("%.0f"));
    Frame()->History().Action("HistoryFixedScale")->trigger();
    QCOMPARE(Chart().LevelAxis(true)->labelFormat(), QString("%.2f"));
    QCOMPARE(Chart().TimeAxis()->format(), QString("HH:mm"));
    QCOMPARE(Chart().TimeAxis()->labelsAngle(), 315);
    QVERIFY(!Chart().Chart()->legend()->isVisible());

    // The points as CSV and the chart as PNG.
    QString strError;
    const QString strCsv = m_dir.filePath("history.csv");
    QVERIFY2(Frame()->History().SavePoints(strCsv, strError), qPrintable(strError));
    QFile csv(strCsv);
    QVERIFY(csv.open(QIODevice::ReadOnly));
    QCOMPARE(csv.readAll(), QByteArray("time_utc,level_db\n2023-11-14T22:13:20Z,-40.000\n"));
    QVERIFY(Frame()->History().SaveChart(m_dir.filePath("history.png"), strError));
    QVERIFY(!QImage(m_dir.filePath("history.png")).isNull());
    QVERIFY(!Frame()->History().SavePoints(m_dir.filePath("no/such/folder/h.csv"), strError));
    QVERIFY(strError.contains("h.csv"));
  }

  // Catches chart settings that are not kept.
  void chartSettingsAreKept() {
    CMySettingsStore& settings = m_pApp->Settings();
    Chart().SetLineColour(QColor(0x12, 0x34, 0x56));
    Chart().SetAxisLeft(false);
    Chart().SetAppearance(CSignalHistoryDlg::kAppearanceDark);
    CSignalHistoryDlg other(settings);
    QCOMPARE(other.LineColour(), QColor(0x12, 0x34, 0x56));
    QVERIFY(!other.AxisLeft());
    QCOMPARE(other.Appearance(), QString(CSignalHistoryDlg::kAppearanceDark));
    QCOMPARE(other.LevelAxis(true)->alignment(), Qt::AlignRight);
    Chart().SetAxisLeft(true);
    Chart().SetAppearance(CSignalHistoryDlg::kAppearanceNature);
  }

  // Catches a dragged rectangle that gives other frequencies or times than the picture
  // shows, a tag not drawn in the overlay colour, and a tag lost in a project.
  void aTagDraggedOnThePictureIsDrawnListedAndKeptInTheProject() {
    SSyntheticProject project;  // 100 kHz over 400 columns, 6 s a row
    Open(project, "tags.xml");
    Session().Tags().Tags().clear();
    Frame()->Tags().Refresh();
    AnswerNextModal([](QWidget* p) {
      auto* pDialog = qobject_cast<CTagDialog*>(p);
      QVERIFY(pDialog);
      QCOMPARE(pDialog->FrequencyField()->text(), QString("0007.080.000"));
      pDialog->TitleField()->setText("Beacon");
      pDialog->accept();
    });
    // Alt+drag from (100, 50) to (139, 89): columns 100 .. 139, lines 50 .. 89 from the top.
    QTest::mousePress(View().viewport(), Qt::LeftButton, Qt::AltModifier, ViewPoint(100, 50));
    QMouseEvent move(QEvent::MouseMove, ViewPoint(139, 89), View().viewport()->mapToGlobal(ViewPoint(139, 89)),
                     Qt::NoButton, Qt::LeftButton, Qt::AltModifier);
    QApplication::sendEvent(View().viewport(), &move);
    QTest::mouseRelease(View().viewport(), Qt::LeftButton, Qt::AltModifier, ViewPoint(139, 89));
    QTRY_COMPARE(Session().Tags().Tags().size(), std::size_t{1});
    const CTagDefinition tag = Session().Tags().Tags()[0];
    QCOMPARE(tag.m_strTitle, std::string("Beacon"));
    QCOMPARE(tag.m_nFrequency, 7050000u + 120 * 250);
    QCOMPARE(tag.m_nBandwidth, 40u * 250);
    QCOMPARE(tag.m_tStartTime, project.tStartUTC + 110 * 6);
    QCOMPARE(tag.m_nDuration, 39u * 6);

    // Listed ...
    QTreeWidget* pList = Frame()->Tags().List();
    QCOMPARE(pList->topLevelItemCount(), 1);
    QCOMPARE(pList->topLevelItem(0)->text(0), QString("7.080 MHz"));
    QCOMPARE(pList->topLevelItem(0)->text(1), QString("10 kHz"));
    QCOMPARE(pList->topLevelItem(0)->text(2), QString("2023-11-14 22:24:20"));
    QCOMPARE(pList->topLevelItem(0)->toolTip(0), QString("Beacon, 14-Nov-2023 22:24:20"));
    // ... drawn over the picture in the palette's index-128 colour ...
    const QImage shot = View().viewport()->grab().toImage();
    const QColor overlay = QColor::fromRgba(Session().Image().Colours().OverlayColour());
    int nOnEdge = 0;
    for (int y = 60; y < 80; ++y)
      for (int dx = -1; dx <= 1; ++dx)
        if (shot.pixelColor(ViewPoint(100 + dx, y)) == overlay) ++nOnEdge;
    QVERIFY2(nOnEdge >= 20, qPrintable(QString::number(nOnEdge)));
    // ... and kept in the project and in the user's list.
    const QString strPath = m_dir.filePath("tagged.xml");
    QVERIFY(Frame()->SaveProject(strPath));
    CMySettingsStore settings(m_dir.filePath("other.xml").toStdString());
    CAnalysisSession other(settings);
    std::string strMessage;
    QVERIFY(other.LoadProject(strPath.toStdString(), strMessage));
    QCOMPARE(other.Tags().Tags().size(), std::size_t{1});
    QVERIFY(other.Tags().Tags()[0] == tag);
    CTagDefinitions stored;
    QVERIFY(stored.LoadDefault());
    QVERIFY(stored.Tags().size() == 1 && stored.Tags()[0] == tag);

    // A double-click on the entry clicks the tag's start at its frequency.
    std::vector<CPictureClick> aClicks;
    const auto connection = connect(&View(), &CVexlorView::PointClicked, this,
                                    [&aClicks](const CPictureClick& c) { aClicks.push_back(c); });
    // The made-up project names no recording: the player says it cannot play it.
    QString strPlayError;
    AnswerNextModal([&strPlayError](QWidget* p) {
      strPlayError = p->windowTitle();
      p->close();
    });
    emit pList->itemDoubleClicked(pList->topLevelItem(0), 0);
    disconnect(connection);
    QCOMPARE(strPlayError, QString("Play"));
    QCOMPARE(aClicks.size(), std::size_t{1});
    const CPictureClick click = aClicks.front();
    QVERIFY(qAbs(click.m_dFrequencyHz - tag.m_nFrequency) <= 250.0);
    QVERIFY(qAbs(click.m_tTime - static_cast<double>(tag.m_tStartTime)) < 6.0);
  }

  // Catches a delete that does not ask, or deletes when the answer is No.
  void deletingAsksFirst() {
    QTreeWidget* pList = Frame()->Tags().List();
    QCOMPARE(pList->topLevelItemCount(), 1);
    pList->topLevelItem(0)->setSelected(true);
    const unsigned nCount = Session().Tags().ChangeCount();
    QString strTitle, strText;
    AnswerNextModal([&](QWidget* p) {
      auto* pBox = qobject_cast<QMessageBox*>(p);
      QVERIFY(pBox);
      strTitle = pBox->windowTitle();
      strText = pBox->text();
      pBox->button(QMessageBox::No)->click();
    });
    Frame()->Tags().OnDelete();
    QCOMPARE(strTitle, QString("Delete"));
    QCOMPARE(strText, QString("Really delete the selected definitions?"));
    QCOMPARE(Session().Tags().Tags().size(), std::size_t{1});
    AnswerNextModal([](QWidget* p) { qobject_cast<QMessageBox*>(p)->button(QMessageBox::Yes)->click(); });
    Frame()->Tags().OnDelete();
    QCOMPARE(Session().Tags().Tags().size(), std::size_t{0});
    QCOMPARE(pList->topLevelItemCount(), 0);
    QCOMPARE(Session().Tags().ChangeCount(), nCount + 1);
  }

  // Catches a wrong reading of the masked frequency field.
  void theFrequencyFieldReadsMegahertzKilohertzAndHertz() {
    QCOMPARE(CTagDialog::FrequencyFieldText(7100250), QString("0007.100.250"));
    std::uint32_t n = 0;
    QVERIFY(CTagDialog::ParseFrequencyField("0007.100.250", n));
    QCOMPARE(n, 7100250u);
    QVERIFY(CTagDialog::ParseFrequencyField("7___.1__.___", n));
    QCOMPARE(n, 7001000u);
    QVERIFY(!CTagDialog::ParseFrequencyField("____.___.___", n));
    QVERIFY(!CTagDialog::ParseFrequencyField("9999.999.999", n));  // beyond 32 bits
  }

  // Catches manual levels read with the wrong sign or ends swapped, and a change that
  // starts an analysis instead of recolouring the kept rows.
  void manualLevelsRecolourTheKeptRows() {
    SSyntheticProject project;
    Open(project, "scale.xml");
    const CImageRows rowsBefore = Session().Image().Rows();
    const std::uint64_t nGeneration = Session().Generation();
    Frame()->Action("ScaleManual")->trigger();
    QSpinBox* pFirst = Frame()->ManualScale().WeakestField();
    QVERIFY(pFirst->isEnabled());
    Frame()->ManualScale().SetLevels(-120, -40);
    QVERIFY(!View().IsBusy());
    QVERIFY(Session().Generation() > nGeneration);
    QVERIFY(Session().Image().Rows() == rowsBefore);
    const CAnalysisImage& image = Session().Image();
    const int yRow0 = Session().PixelYOfRow(0);
    // -40 dB (the carrier) is -|second|: the strongest colour, entry 65535.
    QCOMPARE(image.Pixel(project.nCarrierColumn, yRow0), image.Colours()[65535]);
    // -110 dB (column 0 of row 0): (-110 + 40) * (-65535 / 80) = 57343.1, entry 65535 - 57343.
    QCOMPARE(image.Pixel(0, yRow0), image.Colours()[8192]);
    // Stored for the next start.
    int nFirst = 0;
    QVERIFY(m_pApp->Settings().Read("CManualScalePane::m_nManualFirst", nFirst));
    QCOMPARE(nFirst, 120);
    Frame()->Action("ScaleAutomatic")->trigger();
    QVERIFY(!pFirst->isEnabled());
    QVERIFY(image.Pixel(0, yRow0) != image.Colours()[8192]);
  }

  void currentValuesFollowTheMouseAndAboutNamesTheLibraries() {
    Frame()->Action("CurrentValues")->trigger();
    CCurrentValuesDlg* pValues = Frame()->CurrentValues();
    QVERIFY(pValues && pValues->isVisible());
    QTest::mouseMove(View().viewport(), ViewPoint(200, 199));
    QTRY_COMPARE(pValues->Value("Column"), QString("200 of 400"));
    QCOMPARE(pValues->Value("Row"), QString("0 of 200"));
    QCOMPARE(pValues->Value("Frequency"), QString::fromStdString(CStatusFigures::FrequencyText(Session().FrequencyAtX(200))));
    QCOMPARE(pValues->Value("Time"), QString("2023-11-14 22:13:20 UTC"));
    QVERIFY2(pValues->Value("Bins").endsWith(" of 4096"), qPrintable(pValues->Value("Bins")));
    pValues->close();

    CAboutDlg about(m_pApp->Settings(), Frame());
    for (const char* psz : {"FFTW", "PortAudio", "LAME", "pugixml", "Qt", CVexlorApp::Version()})
      QVERIFY2(about.Text().contains(psz), psz);
    QVERIFY(about.Text().contains(QString::fromStdString(m_pApp->Settings().FilePath().string()).toHtmlEscaped()));
    CSplashScreen splash;
    QVERIFY(!splash.pixmap().isNull());
  }
};

QTEST_MAIN(CPanesTests)
#include "PanesTests.moc"
