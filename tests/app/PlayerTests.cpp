// The player in the desktop application, as a listener uses it: clicks in the picture of
// the demonstration recording play its stations on the null device, whose capture (or the
// recorder's file) is measured; the pane's options, pause, repeat and the errors a
// listener must see.

#include <QDir>
#include <QCheckBox>
#include <QComboBox>
#include <QDockWidget>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollBar>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>
#include <cstring>

#include "analysis/AnalysisSession.h"
#include "AppTestSetup.h"
#include "app/MainFrame.h"
#include "app/PlayerController.h"
#include "app/PlayerPane.h"
#include "app/PlayerWaterfall.h"
#include "app/SpectrumScope.h"
#include "app/StatusPanes.h"
#include "app/TuningBar.h"
#include "app/VexlorApp.h"
#include "app/VexlorView.h"
#include "core/StatusFigures.h"
#include "persist/MySettingsStore.h"
#include "player/AudioBackendWithNull.h"
#include "recording/DemoRecording.h"
#include "SignalMeasure.h"

namespace {

constexpr double kAmHz = kDemoCenterFreqHz + kDemoSignals[0].nOffsetHz;
constexpr int kAmMode = 6;
// Only the demonstration recording's noise is heard there (AM, 7.005 MHz).
constexpr double kNoiseOnlyHz = kDemoCenterFreqHz - 95'000.0;

// The title and text of the next message box, which is closed.
struct SMessage {
  QString strTitle;
  QString strText;
};
SMessage CloseNextMessage(int nWaitMs = 3000) {
  SMessage message;
  QTimer timer;
  QObject::connect(&timer, &QTimer::timeout, [&] {
    if (auto* pBox = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
      message = {pBox->windowTitle(), pBox->text()};
      pBox->close();
    }
  });
  timer.start(50);
  QElapsedTimer waited;
  waited.start();
  while (message.strTitle.isEmpty() && waited.elapsed() < nWaitMs) QTest::qWait(20);
  return message;
}

std::vector<float> ToFloat(const std::vector<std::int16_t>& an, std::size_t nFrom) {
  std::vector<float> af;
  for (std::size_t i = nFrom; i < an.size(); ++i) af.push_back(an[i] / 32768.0f);
  return af;
}

// The longest run of silent samples (|x| <= 1).
std::size_t LongestSilence(const std::vector<std::int16_t>& an, std::size_t nFrom) {
  std::size_t nRun = 0, nLongest = 0;
  for (std::size_t i = nFrom; i < an.size(); ++i) {
    nRun = std::abs(an[i]) <= 1 ? nRun + 1 : 0;
    nLongest = std::max(nLongest, nRun);
  }
  return nLongest;
}

// Where a run of silence lasting to the end starts (an.size() when the end is not silent).
std::size_t StartOfFinalSilence(const std::vector<std::int16_t>& an) {
  std::size_t n = an.size();
  while (n > 0 && std::abs(an[n - 1]) <= 1) --n;
  return n;
}

// The 16-bit samples of a WAV file's data chunk.
std::vector<std::int16_t> ReadWavSamples(const QString& strPath) {
  QFile file(strPath);
  if (!file.open(QIODevice::ReadOnly)) return {};
  const QByteArray bytes = file.readAll();
  const int nData = bytes.indexOf("data");
  if (nData < 0 || bytes.size() < nData + 8) return {};
  std::vector<std::int16_t> an(static_cast<std::size_t>(bytes.size() - nData - 8) / 2);
  std::memcpy(an.data(), bytes.constData() + nData + 8, an.size() * 2);
  return an;
}

}  // namespace

class CPlayerTests : public QObject {
  Q_OBJECT

 private:
  QTemporaryDir m_dir;
  QString m_strFirstFile;
  std::unique_ptr<CVexlorApp> m_pApp;
  CMainFrame* Frame() { return m_pApp->MainFrame(); }
  CVexlorView& View() { return Frame()->View(); }
  CAnalysisSession& Document() { return View().Session(); }
  CPlayerController& Player() { return Frame()->Player(); }
  CPlayerPane& Pane() { return Frame()->PlayerPane(); }
  static CNullAudioBackend& NullOf(CPlayerController& player) {
    return dynamic_cast<CAudioBackendWithNull&>(*player.Session().Thread().AudioOutput().Backend()).NullDevice();
  }
  CNullAudioBackend& Null() { return NullOf(Player()); }

  // Opens the picture's context menu at a viewport point and chooses the entry whose text
  // starts with strEntry; false when there was no such entry.
  bool ChooseFromContextMenu(const QPoint& pt, const QString& strEntry) {
    bool bChosen = false;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] {
      auto* pMenu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
      if (!pMenu) return;
      timer.stop();
      for (QAction* p : pMenu->actions())
        if (!bChosen && p->text().startsWith(strEntry)) {
          pMenu->setActiveAction(p);
          bChosen = true;
        }
      QTest::keyClick(pMenu, bChosen ? Qt::Key_Return : Qt::Key_Escape);
    });
    timer.start(20);
    QContextMenuEvent event(QContextMenuEvent::Mouse, pt, View().viewport()->mapToGlobal(pt));
    QApplication::sendEvent(View().viewport(), &event);
    return bChosen;
  }

  // Clicks the picture through the view's viewport at a frequency and a recording time
  // (UTC), scrolling the row into view first.
  void ClickPicture(double dFrequencyHz, double tUtc, Qt::KeyboardModifiers modifiers = {}) {
    const CAnalysisSession& session = Document();
    const int nY = session.PixelYOfRow(static_cast<int>(session.RowAtTime(tUtc)));
    const int nX = static_cast<int>(session.XAtFrequency(dFrequencyHz));
    QScrollBar* pBar = View().verticalScrollBar();
    pBar->setValue(nY - View().PictureArea().height() / 2);
    const QRect rc = View().PictureArea();
    const QPoint pt(rc.left() + nX - View().horizontalScrollBar()->value(), rc.top() + nY - pBar->value());
    int x = 0, y = 0;
    QVERIFY(View().PicturePixelAt(pt, x, y));
    QCOMPARE(x, nX);
    QTest::mouseClick(View().viewport(), Qt::LeftButton, modifiers, pt);
  }

  QPoint ViewportPointAt(double tUtc) {
    const CAnalysisSession& session = Document();
    const int nY = session.PixelYOfRow(static_cast<int>(session.RowAtTime(tUtc)));
    const QRect rc = View().PictureArea();
    return {rc.center().x(), rc.top() + nY - View().verticalScrollBar()->value()};
  }

  void SetMode(int nMode) {
    Pane().ModeList()->setCurrentIndex(nMode);
    emit Pane().ModeList()->activated(nMode);
    Pane().DefaultBandButton()->click();
  }

  void StopAndSettle() {
    Player().Stop();
    Player().SetRepeat(false);
    QVERIFY(!Player().IsPlaying());
  }

  double Start() const { return static_cast<double>(kDemoStartUtc); }

 private slots:
  void initTestCase() {
    QVERIFY(m_dir.isValid());
    const QString strNotOwn = ClearTestFolders("player_app_tests");
    QVERIFY2(strNotOwn.isEmpty(), qPrintable(strNotOwn));
    std::string strError;
    m_strFirstFile = WriteDemo(m_dir, strError);
    QVERIFY2(!m_strFirstFile.isEmpty(), strError.c_str());
    m_pApp = std::make_unique<CVexlorApp>();
    QVERIFY(m_pApp->Initialise({}, false));
    Frame()->resize(1400, 900);
    Frame()->show();
    QVERIFY(QTest::qWaitForWindowExposed(Frame()));
    CAnalysisSession& session = Document();
    QVERIFY2(session.OpenRecording(m_strFirstFile.toStdString(), strError), strError.c_str());
    CAnalysisOptions& o = session.MutableOptions();
    o.m_nAnalysisFFTSize = 8192;
    o.m_nAnalysisOverlap = 0;
    o.m_nAnalysisDisplayWidth = 600;
    o.m_nAnalysisDisplayHeight = 0;
    session.UpdateDerivedValues();
    Frame()->OnAnalyse();
    QTRY_VERIFY_WITH_TIMEOUT(!View().IsBusy(), 120000);
    QVERIFY(session.Image().Rows().Count() > 100);
    View().SetZoomStep(0);
  }

  void cleanupTestCase() {
    QVERIFY(Frame()->close());
    m_pApp.reset();
  }

  void aClickAtTheAMStationPlaysItsTonesAndTheScopePeaksAtItsCarrier() {
    SetMode(kAmMode);
    Null().EnableCapture(true);
    const double tClick = Start() + 20.0;
    QElapsedTimer sinceClick;
    sinceClick.start();
    ClickPicture(kAmHz + 1000.0, tClick);  // beside the carrier, which AM hears all the same
    QVERIFY(Player().IsPlaying());
    QTRY_VERIFY(Null().SamplesConsumed() > 0);
    qInfo("click to first audio: %lld ms", static_cast<long long>(sinceClick.elapsed()));
    QCOMPARE(Pane().TuningBar()->FrequencyText().left(6), QString("7.040."));
    QVERIFY(Player().TunedFrequency() > kAmHz + 500.0);
    // A second of audio after the first half second.
    QTRY_VERIFY_WITH_TIMEOUT(Null().Captured().size() > 72000, 20000);
    const std::vector<float> af = ToFloat(Null().Captured(), 24000);
    const double dTone = sigtest::DominantFrequency(af.data(), static_cast<int>(af.size()), 48000.0);
    const double dOther = std::abs(dTone - 400.0) < 10.0 ? 1000.0 : 400.0;
    QVERIFY2(std::abs(dTone - 400.0) < 10.0 || std::abs(dTone - 1000.0) < 10.0, qPrintable(QString::number(dTone)));
    // Both modulating tones, and little between them.
    const int n = static_cast<int>(af.size());
    const double dAmpTone = sigtest::ToneAmplitude(af.data(), n, dTone, 48000.0);
    QVERIFY(sigtest::ToneAmplitude(af.data(), n, dOther, 48000.0) > 0.5 * dAmpTone);
    QVERIFY(sigtest::ToneAmplitude(af.data(), n, 700.0, 48000.0) < 0.05 * dAmpTone);
    qInfo("tones: %.1f Hz (strongest), %.0f Hz at %.2f of its amplitude", dTone, dOther,
          sigtest::ToneAmplitude(af.data(), n, dOther, 48000.0) / dAmpTone);
    Null().EnableCapture(false);

    // The scope: the strongest column is the carrier's (the click lies beside it).
    CSpectrumScope* pScope = Pane().Scope();
    QTRY_VERIFY(pScope->HasSpectrum());
    const double dCarrierColumn = pScope->ColumnOfFrequency(kAmHz);
    QVERIFY2(std::abs(pScope->PeakColumn() - dCarrierColumn) <= 1.5,
             qPrintable(QString("%1 %2").arg(pScope->PeakColumn()).arg(dCarrierColumn)));
    QVERIFY(Pane().Waterfall()->Lines() > 0);
    // The status bar shows the playing point.
    QTRY_COMPARE(Frame()->StatusPanes().Pane("Frequency")->text().left(6), QString("7.040."));
    StopAndSettle();
  }

  void aClickAtAnotherTimeMovesThePositionReports() {
    ClickPicture(kAmHz, Start() + 10.0);
    QTRY_VERIFY(Player().HasPlayingPoint());
    QTRY_VERIFY(std::abs(Player().PlayingPointUtc() - (Start() + 10.5)) < 1.0);
    ClickPicture(kAmHz, Start() + 45.0);
    QTRY_VERIFY_WITH_TIMEOUT(std::abs(Player().PlayingPointUtc() - (Start() + 45.5)) < 1.0, 10000);
    // The time pane follows the playing point.
    QTRY_COMPARE(Frame()->StatusPanes().Pane("Time")->text(),
                 QString::fromStdString(CStatusFigures::TimeText(static_cast<std::int64_t>(Player().PlayingPointUtc()), false)));
    StopAndSettle();
  }

  void aShiftDragSetsTheRepeatRangeThatPlayLoops() {
    const double t0 = Start() + 30.0;
    const double t1 = Start() + 32.0;
    ClickPicture(kAmHz, t0 + 1.0);  // scrolls the range into view and plays
    const QPoint p0 = ViewportPointAt(t0);
    const QPoint p1 = ViewportPointAt(t1);
    QTest::mousePress(View().viewport(), Qt::LeftButton, Qt::ShiftModifier, p0);
    QTest::mouseMove(View().viewport(), p1);
    QTest::mouseRelease(View().viewport(), Qt::LeftButton, Qt::ShiftModifier, p1);
    QVERIFY(Player().HasRepeatRange());
    QVERIFY(std::abs(Player().RepeatStartUtc() - t0) < 0.1);
    QVERIFY(std::abs(Player().RepeatEndUtc() - t1) < 0.1);
    Pane().RepeatBox()->setChecked(true);
    QVERIFY(Player().Repeat());
    Player().Play();  // from the start of the analysed range, into the range's end
    ClickPicture(kAmHz, t0 + 1.0);
    QTRY_VERIFY_WITH_TIMEOUT(Player().State().m_nErasures >= 2, 20000);
    // Looping: the playing point stays inside the span.
    for (int i = 0; i < 10; ++i) {
      QTest::qWait(100);
      const double t = Player().PlayingPointUtc();
      QVERIFY2(t >= t0 - 0.2 && t <= t1 + 0.2, qPrintable(QString::number(t - Start())));
    }
    StopAndSettle();
  }

  void spacePausesAndResumes() {
    ClickPicture(kAmHz, Start() + 5.0);
    QTRY_VERIFY(Null().SamplesConsumed() > 0 && Player().HasPlayingPoint());
    Frame()->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(Frame()));
    QTest::keyClick(Frame(), Qt::Key_Space);
    QVERIFY(Player().IsPaused());
    // Once the queued buffers have played, nothing more is consumed.
    std::uint64_t nBefore = 0;
    QTRY_VERIFY([&] {
      const std::uint64_t n = Null().SamplesConsumed();
      QTest::qWait(150);
      nBefore = Null().SamplesConsumed();
      return n == nBefore;
    }());
    const double tPaused = Player().PlayingPointUtc();
    QTest::qWait(300);
    QCOMPARE(Null().SamplesConsumed(), nBefore);
    QTest::keyClick(Frame(), Qt::Key_Space);
    QVERIFY(!Player().IsPaused());
    QTRY_VERIFY(Null().SamplesConsumed() > nBefore + 48000 / 2);
    QVERIFY(Player().PlayingPointUtc() > tPaused);
    StopAndSettle();
  }

  void aModeChangeWhilePlayingKeepsTheRecordedAudioContinuous() {
    QTemporaryDir folder;
    Pane().RecordFolder()->setText(folder.path());
    emit Pane().RecordFolder()->editingFinished();
    SetMode(kAmMode);
    ClickPicture(kAmHz, Start() + 15.0);
    QTRY_VERIFY(Player().HasPlayingPoint());
    Pane().RecordButton()->click();
    QTRY_VERIFY_WITH_TIMEOUT(Player().State().m_eRecording == RECORDING_STARTED, 5000);
    // A second of play, the mode change, two more seconds (counted by the device's clock).
    const std::uint64_t nStart = Null().SamplesConsumed();
    QTRY_VERIFY_WITH_TIMEOUT(Null().SamplesConsumed() > nStart + 48000, 10000);
    SetMode(10);  // Sync. AM
    QTRY_VERIFY_WITH_TIMEOUT(Null().SamplesConsumed() > nStart + 3 * 48000, 10000);
    Pane().RecordButton()->click();
    QTRY_COMPARE(Player().State().m_eRecording, RECORDING_STOPPED);
    const QString strPath = QString::fromStdString(Player().State().m_strRecordingPath);
    QVERIFY(strPath.startsWith(folder.path()));
    QVERIFY(Pane().RecordStatus()->text().startsWith("Recorded"));
    const std::vector<std::int16_t> an = ReadWavSamples(strPath);
    QVERIFY(an.size() > 3 * 48000);
    QVERIFY2(LongestSilence(an, 4800) <= 512, qPrintable(QString::number(LongestSilence(an, 4800))));
    qInfo("recorded %zu samples across the mode change; longest silence %zu samples", an.size(),
          LongestSilence(an, 4800));
    SetMode(kAmMode);
    StopAndSettle();
  }

  void theTuningBarRetunesByWheelAndTyping() {
    ClickPicture(kAmHz + 1000.0, Start() + 5.0);
    CTuningBar* pBar = Pane().TuningBar();
    const double dTuned = Player().TunedFrequency();
    QVERIFY(std::fmod(dTuned, 1000.0) != 0.0);
    QWheelEvent wheel(QPointF(10, 10), pBar->mapToGlobal(QPointF(10, 10)), {}, QPoint(0, 120), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(pBar, &wheel);
    QCOMPARE(Player().TunedFrequency(), std::ceil(dTuned / 1000.0) * 1000.0);
    QCOMPARE(*CTuningBar::ParseFrequency("7.040.000"), 7'040'000.0);
    QCOMPARE(*CTuningBar::ParseFrequency("7040k"), 7'040'000.0);
    QCOMPARE(*CTuningBar::ParseFrequency("7.04M"), 7'040'000.0);
    QVERIFY(!CTuningBar::ParseFrequency("seven"));
    QTest::keyClick(pBar, Qt::Key_Return);
    pBar->Editor()->setText("7040k");
    QTest::keyClick(pBar->Editor(), Qt::Key_Return);
    QCOMPARE(Player().TunedFrequency(), 7'040'000.0);
    StopAndSettle();
  }

  void theContextMenuSetsTheRepeatRangeThatPlayLoops() {
    const double t0 = Start() + 50.0;
    ClickPicture(kAmHz, t0);  // scrolls the row into view and plays
    const QPoint pt = ViewportPointAt(t0);
    QVERIFY(ChooseFromContextMenu(pt, "Set repeat range here"));
    QVERIFY(Player().HasRepeatRange());
    const double dRow = 8192.0 / kDemoSampleRateHz;
    QVERIFY2(std::abs(Player().RepeatStartUtc() - t0) <= dRow, qPrintable(QString::number(Player().RepeatStartUtc() - t0)));
    QVERIFY(std::abs(Player().RepeatEndUtc() - (t0 + CVexlorView::kRepeatHereSeconds)) <= dRow);
    // The repeat switch of the same menu, shown in the pane as well.
    QVERIFY(!Player().Repeat());
    QVERIFY(ChooseFromContextMenu(pt, "&Repeat"));
    QVERIFY(Player().Repeat());
    QVERIFY(Pane().RepeatBox()->isChecked());

    // Play a second before the range's end: it comes back to its start and stays inside.
    const double t1 = Player().RepeatEndUtc();
    const std::uint64_t nErasures = Player().State().m_nErasures;
    ClickPicture(kAmHz, t1 - 1.0);
    QTRY_VERIFY_WITH_TIMEOUT(Player().State().m_nErasures > nErasures, 10000);
    QTRY_VERIFY(Player().HasPlayingPoint() && Player().PlayingPointUtc() < t0 + 1.5);
    for (int i = 0; i < 5; ++i) {
      QTest::qWait(100);
      const double t = Player().PlayingPointUtc();
      QVERIFY2(t >= Player().RepeatStartUtc() - 0.2 && t <= t1 + 0.2, qPrintable(QString::number(t - t0)));
    }
    QVERIFY(ChooseFromContextMenu(pt, "&Repeat"));
    QVERIFY(!Player().Repeat());
    QVERIFY(!Pane().RepeatBox()->isChecked());
    StopAndSettle();
  }

  void theSquelchAndNoiseControlsApplyWhilePlaying() {
    SetMode(kAmMode);
    Pane().SquelchEnable()->setChecked(false);
    Pane().SquelchLevel()->setValue(40);
    ClickPicture(kNoiseOnlyHz, Start() + 10.0);
    QTRY_VERIFY(Player().HasPlayingPoint());
    Null().EnableCapture(true);
    const std::size_t nFrom = Null().Captured().size();
    // Noise, heard once play has settled.
    QTRY_VERIFY_WITH_TIMEOUT(Null().Captured().size() > nFrom + 48000, 10000);
    QVERIFY(LongestSilence(Null().Captured(), nFrom + 24000) < 480);

    // The squelch at 40 closes on the noise: what plays from then on is silent, and play
    // goes on (no restart: blocks and the playing point keep counting up).
    const std::uint64_t nBlocks = Player().State().m_nBlocks;
    const double tPoint = Player().PlayingPointUtc();
    const std::uint64_t nErasures = Player().State().m_nErasures;
    const std::size_t nAtChange = Null().Captured().size();
    Pane().SquelchEnable()->setChecked(true);
    QTRY_VERIFY_WITH_TIMEOUT(Null().Captured().size() > nAtChange + 48000, 10000);
    std::vector<std::int16_t> an = Null().Captured();
    const std::size_t nSilentFrom = StartOfFinalSilence(an);
    QVERIFY2(nSilentFrom < nAtChange + 24000,
             qPrintable(QString("silent %1 samples after the change").arg(double(nSilentFrom) - double(nAtChange))));
    qInfo("squelch 40 on noise: silent %.0f ms of audio after the change", (double(nSilentFrom) - double(nAtChange)) / 48.0);
    QVERIFY(Player().State().m_nBlocks > nBlocks);
    QVERIFY(Player().PlayingPointUtc() > tPoint);
    QCOMPARE(Player().State().m_nErasures, nErasures);

    // The same level lets the AM station through.
    std::size_t nAtRetune = Null().Captured().size();
    QVERIFY(Player().Retune(kAmHz));
    QTRY_VERIFY_WITH_TIMEOUT(Null().Captured().size() > nAtRetune + 48000, 10000);
    an = Null().Captured();
    QVERIFY(LongestSilence(an, nAtRetune + 24000) < 480);

    // Blanker and noise reduction change while playing too; every control is saved.
    Pane().NoiseBlanker()->setChecked(true);
    Pane().NoiseReduction()->setCurrentIndex(3);
    emit Pane().NoiseReduction()->activated(3);
    nAtRetune = Null().Captured().size();
    QTRY_VERIFY_WITH_TIMEOUT(Null().Captured().size() > nAtRetune + 48000, 10000);
    QVERIFY(LongestSilence(Null().Captured(), nAtRetune + 24000) < 480);
    const CPlayerOptions saved = ReadPlayerOptions(m_pApp->Settings());
    QVERIFY(saved.m_bSquelchEnable);
    QCOMPARE(saved.m_nSquelchLevel, 40);
    QVERIFY(saved.m_bNoiseBlanker);
    QCOMPARE(saved.m_nNoiseReduction, 3);
    Null().EnableCapture(false);
    Pane().SquelchEnable()->setChecked(false);
    Pane().NoiseBlanker()->setChecked(false);
    emit Pane().NoiseReduction()->activated(0);
    StopAndSettle();
  }

  void theNullDeviceIsOfferedBesideTheSoundCardAndPlays() {
    // Without the environment variable the sound card's devices are listed too (when the
    // machine has any), and the null device always.
    const QByteArray kept = qgetenv("VEXLOR_AUDIO_DEVICE");
    qunsetenv("VEXLOR_AUDIO_DEVICE");
    CMySettingsStore settings(m_dir.filePath("devices.ini").toStdString());
    CPlayerController player(settings, Document());
    CPlayerPane pane(player, nullptr, nullptr, nullptr);
    qputenv("VEXLOR_AUDIO_DEVICE", kept);
    QComboBox* pDevices = pane.DeviceList();
    const int nNull = pDevices->findData(CAudioBackendWithNull::kNullDeviceID);
    QVERIFY(nNull >= 0);
    qInfo("devices offered: %d (%s)", pDevices->count(), qPrintable(pDevices->itemText(nNull)));
    pDevices->setCurrentIndex(nNull);
    emit pDevices->activated(nNull);
    QCOMPARE(player.Options().m_nOutputID, CAudioBackendWithNull::kNullDeviceID);
    QVERIFY(player.Play());
    QTRY_VERIFY_WITH_TIMEOUT(NullOf(player).SamplesConsumed() > 4800, 10000);
    player.Stop();
  }

  void aListenerSeesWhyPlayOrRecordingCannotGoOn() {
    // An output device that does not exist: play stops and says why.
    Player().SetDevice(7, "Missing card");
    ClickPicture(kAmHz, Start() + 5.0);
    SMessage message = CloseNextMessage();
    QCOMPARE(message.strTitle, QString("Play"));
    QVERIFY2(message.strText.contains("Missing card"), qPrintable(message.strText));
    QTRY_VERIFY(!Player().IsPlaying());
    Player().SetDevice(CAudioBackendWithNull::kNullDeviceID, "Null output");

    // A recording into a folder that cannot exist.
    ClickPicture(kAmHz, Start() + 5.0);
    const QString strBadFolder = m_strFirstFile + "/folder";  // under a file: never a folder
    Pane().RecordFolder()->setText(strBadFolder);
    emit Pane().RecordFolder()->editingFinished();
    Pane().RecordButton()->click();
    message = CloseNextMessage();
    QCOMPARE(message.strTitle, QString("Record"));
    QVERIFY2(message.strText.contains(strBadFolder), qPrintable(message.strText));
    QVERIFY(!Pane().RecordStatus()->text().startsWith("Recorded"));
    StopAndSettle();

    // The first file of the recording gone.
    QTemporaryDir copy;
    for (const char* psz : {"Vexlor Demo 000", "Vexlor Demo 001"})
      for (const char* pszExt : {".wav", ".xml"})
        QVERIFY(QFile::copy(m_dir.filePath(QString("demo/%1%2").arg(psz, pszExt)),
                            copy.filePath(QString("%1%2").arg(psz, pszExt))));
    CAnalysisSession& session = Document();
    const CAnalysisOptions kept = session.Options();
    std::string strError;
    QVERIFY(session.OpenRecording(copy.filePath("Vexlor Demo 000.wav").toStdString(), strError));
    QVERIFY(QFile::remove(copy.filePath("Vexlor Demo 000.wav")));
    QTimer::singleShot(0, [this] { Frame()->Action("Play")->trigger(); });
    message = CloseNextMessage();
    QCOMPARE(message.strTitle, QString("Play"));
    QCOMPARE(message.strText, QString("Cannot read first input file to determine file format."));
    QVERIFY(!Player().IsPlaying());
    QVERIFY(session.OpenRecording(m_strFirstFile.toStdString(), strError));
    session.SetOptions(kept);
  }
};

QTEST_MAIN(CPlayerTests)
#include "PlayerTests.moc"
