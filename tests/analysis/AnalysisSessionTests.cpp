// The analysis document: runs one after the other on one session, the picture's geometry
// on a real recording's options, projects, and faults handed to the front end.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <thread>

#include "analysis/AnalysisSession.h"
#include "analysis/HeadlessAnalysis.h"
#include "core/Log.h"
#include "core/RegisteredMessages.h"
#include "persist/MySettingsStore.h"
#include "recording/DemoRecording.h"
#include "support/SyntheticProject.h"
#include "support/TestEnvironment.h"

namespace {

// The demonstration recording, two files of two seconds (250 kS/s, 16-bit): 4 s in all.
class AnalysisSessionTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    RegisterAllMessages();
    s_pDir = new CTempFolder;
    std::vector<std::filesystem::path> written;
    std::string strError;
    ASSERT_TRUE(WriteDemoRecording(s_pDir->Path(), written, strError, CDemoOptions{2, 2})) << strError;
    s_first = written.front();
  }
  static void TearDownTestSuite() {
    delete s_pDir;
    s_pDir = nullptr;
  }
  void SetUp() override { SetLogFilePath(dir / "Vexlor.log"); }
  void TearDown() override { SetLogFilePath({}); }

  // A headless engine whose FFT workers run at normal priority (a busy test machine could
  // starve idle ones for minutes).
  struct CEngine {
    explicit CEngine(const std::filesystem::path& settingsFile)
        : settings(settingsFile), headless(settings, 2, THREAD_PRIORITY_NORMAL), session(headless, settings) {
      session.SetAbortWhenOpenFails(true);
    }
    CMySettingsStore settings;
    CHeadlessAnalysis headless;
    CAnalysisSession session;
  };

  static void Choose(CAnalysisSession& session, std::uint32_t nFFT, std::uint32_t nOverlap, int nWidth,
                     int nHeight) {
    CAnalysisOptions& o = session.MutableOptions();
    o.m_nAnalysisFFTSize = nFFT;
    o.m_nAnalysisOverlap = nOverlap;
    o.m_nAnalysisDisplayWidth = nWidth;
    o.m_nAnalysisDisplayHeight = nHeight;
    o.m_nFFTHint = FFT_HINT_NONE;
    session.UpdateDerivedValues();
  }

  static void Analyse(CAnalysisSession& session) {
    std::string strError;
    ASSERT_TRUE(session.StartAnalysis(strError)) << strError;
    session.PumpUntilFinished();
    ASSERT_TRUE(session.RunState().bFinished);
  }

  static CImageRows FreshRows(const std::filesystem::path& settingsFile, std::uint32_t nFFT, std::uint32_t nOverlap,
                              int nWidth) {
    CEngine engine(settingsFile);
    std::string strError;
    EXPECT_TRUE(engine.session.OpenRecording(s_first, strError)) << strError;
    Choose(engine.session, nFFT, nOverlap, nWidth, 0);
    Analyse(engine.session);
    return engine.session.Image().Rows();
  }

  inline static CTempFolder* s_pDir = nullptr;
  inline static std::filesystem::path s_first;
  CTempFolder dir;
};

// Catches a front end that leaves an aborted run (Ctrl-C in the command-line tool) with
// rows lost or out of place: what it keeps is exactly the start of a complete run.
TEST_F(AnalysisSessionTest, ARunLeftOnAbortKeepsTheFirstRowsOfTheRecording) {
  const CImageRows whole = FreshRows(dir / "Fresh.xml", 1024, 50, 64);
  CEngine engine(dir / "Settings.xml");
  std::string strError;
  ASSERT_TRUE(engine.session.OpenRecording(s_first, strError)) << strError;
  Choose(engine.session, 1024, 50, 64, 0);
  ASSERT_TRUE(engine.session.StartAnalysis(strError)) << strError;
  std::atomic<bool> bAbort{false};
  engine.session.PumpUntilFinished(&bAbort, [&] { bAbort = !engine.session.Image().Rows().Empty(); }, true);
  const CImageRows& kept = engine.session.Image().Rows();
  ASSERT_GT(kept.Count(), 0u);
  ASSERT_LE(kept.Count(), whole.Count());
  for (std::size_t r = 0; r < kept.Count(); ++r) {
    ASSERT_EQ(kept.m_aLines[r], whole.m_aLines[r]) << "row " << r;
    ASSERT_EQ(kept.m_anTimes[r], whole.m_anTimes[r]) << "row " << r;
  }

  // Aborted before the workers had anything: no row, and the pump still returns.
  CEngine early(dir / "Early.xml");
  ASSERT_TRUE(early.session.OpenRecording(s_first, strError)) << strError;
  Choose(early.session, 1024, 50, 64, 0);
  ASSERT_TRUE(early.session.StartAnalysis(strError)) << strError;
  early.session.RequestAbort();
  early.session.PumpUntilFinished(nullptr, {}, true);
  EXPECT_TRUE(early.session.Image().Rows().Empty());
}

TEST_F(AnalysisSessionTest, RunsOneAfterAnotherGiveTheRowsOfFreshSessions) {
  // Catches state a run leaves behind for the next (picture, pending rows, buffers, window
  // table, the abort flag): the GUI runs many analyses on one document.
  CEngine engine(dir / "Settings.xml");
  std::string strError;
  ASSERT_TRUE(engine.session.OpenRecording(s_first, strError)) << strError;
  CAnalysisSession& session = engine.session;

  // An aborted run first, then the same options to the end, then other options.
  Choose(session, 4096, 0, 300, 0);
  ASSERT_TRUE(session.StartAnalysis(strError)) << strError;
  session.RequestAbort();
  EXPECT_TRUE(session.RunState().bAborting);
  session.PumpUntilFinished();
  EXPECT_TRUE(session.RunState().bFinished);
  EXPECT_TRUE(session.RunState().bAborted);

  Analyse(session);
  EXPECT_FALSE(session.RunState().bAborted);
  const CImageRows first = session.Image().Rows();
  EXPECT_EQ(first, FreshRows(dir / "Fresh1.xml", 4096, 0, 300));
  EXPECT_EQ(session.RunState().nRowsDone, first.Count());
  // 1,000,000 samples in frames of 4096: 244 rows, the picture one line per row ("Full").
  EXPECT_EQ(first.Count(), 244u);
  EXPECT_EQ(session.Height(), 244);
  EXPECT_EQ(session.RunState().nProgress, 1000);

  Choose(session, 8192, 50, 0, 0);
  Analyse(session);
  const CImageRows second = session.Image().Rows();
  EXPECT_EQ(second, FreshRows(dir / "Fresh2.xml", 8192, 50, 0));
  // "Full" width: one column per FFT bin of the band (the whole recording's here).
  EXPECT_EQ(session.Width(), 8192);
  EXPECT_NE(first, second);
}

TEST_F(AnalysisSessionTest, GeometryRoundTripsOnARealRecordingsOptions) {
  CEngine engine(dir / "Settings.xml");
  std::string strError;
  ASSERT_TRUE(engine.session.OpenRecording(s_first, strError)) << strError;
  CAnalysisSession& session = engine.session;
  for (int nWidth : {700, 4096, 5000}) {
    // Narrower than the bins (runs of bins per column), equal, and wider (interpolated).
    Choose(session, 4096, 25, nWidth, 0);
    Analyse(session);
    ASSERT_EQ(session.Width(), nWidth);
    for (int c = 0; c < nWidth; ++c)
      ASSERT_EQ(session.FrequencyColumn(session.ColumnFrequency(c)), c) << "width " << nWidth;
    for (int x = 0; x <= nWidth; x += 7)
      ASSERT_NEAR(session.XAtFrequency(session.FrequencyAtX(x)), x, 1e-6);
  }
  EXPECT_DOUBLE_EQ(session.FrequencyAtX(0), kDemoCenterFreqHz - kDemoSampleRateHz / 2.0);
  EXPECT_DOUBLE_EQ(session.FrequencyAtX(session.Width()), kDemoCenterFreqHz + kDemoSampleRateHz / 2.0);

  const int nRows = static_cast<int>(session.Image().Rows().Count());
  for (int r = 0; r < nRows; ++r) ASSERT_EQ(session.RowAtTime(session.TimeAtRow(r)), r);
  EXPECT_DOUBLE_EQ(session.TimeAtRow(0), static_cast<double>(kDemoStartUtc));
  // Rows are as the picture stores their times: whole seconds after the range's start.
  EXPECT_EQ(session.Image().Rows().m_anTimes.back(),
            static_cast<std::uint32_t>(std::trunc(session.TimeAtRow(nRows - 1) - kDemoStartUtc + 0.5)));
}

TEST_F(AnalysisSessionTest, AClickGivesFrequencyTimeLevelAndTheFileAndOffsetToPlayFrom) {
  CEngine engine(dir / "Settings.xml");
  std::string strError;
  ASSERT_TRUE(engine.session.OpenRecording(s_first, strError)) << strError;
  CAnalysisSession& session = engine.session;
  Choose(session, 4096, 0, 1000, 0);
  Analyse(session);
  const int nHeight = session.Height();

  // The bottom line is the first row; the top line the last.
  const CPictureClick bottom = session.Click(500, nHeight - 1);
  ASSERT_TRUE(bottom.m_bInside);
  EXPECT_EQ(bottom.m_nRow, 0);
  EXPECT_EQ(bottom.m_strFile, s_first.string());
  EXPECT_EQ(bottom.m_nFileOffset, 0u);
  EXPECT_DOUBLE_EQ(bottom.m_dFrequencyHz, kDemoCenterFreqHz);
  ASSERT_TRUE(bottom.m_bHasLevel);
  EXPECT_EQ(bottom.m_fLevel, session.Image().Rows().m_aLines[0][500]);

  // The last row lies in the second file, at the bytes of its time.
  const CPictureClick top = session.Click(0, 0);
  EXPECT_EQ(top.m_nRow, nHeight - 1);
  EXPECT_EQ(std::filesystem::path(top.m_strFile).filename(), DemoFileName(1));
  const double dSeconds = top.m_tTime - kDemoStartUtc;
  const std::uint64_t nExpected = static_cast<std::uint64_t>(std::floor(dSeconds * kDemoSampleRateHz)) * 4 -
                                  session.Options().m_anRecordingFileSizes[0];
  EXPECT_EQ(top.m_nFileOffset, nExpected);
  // The player counts the time down from the top over the picture's span: the same time.
  for (const CPictureClick& c : {bottom, top}) {
    const double tPlayer = c.m_tTop - static_cast<double>(c.m_nY) / c.m_nHeight * (c.m_tTop - c.m_tBottom);
    EXPECT_NEAR(tPlayer + kDemoStartUtc, c.m_tTime, 1e-6);
  }
  EXPECT_FALSE(session.Click(-1, 0).m_bInside);
  EXPECT_FALSE(session.Click(0, nHeight).m_bInside);

  // A tag over the middle tenth of the band and the whole time covers those columns and
  // every line.
  CTagDefinition tag;
  tag.m_nFrequency = kDemoCenterFreqHz;
  tag.m_nBandwidth = kDemoSampleRateHz / 10;
  tag.m_tStartTime = kDemoStartUtc;
  tag.m_nDuration = 4;
  const SPictureRect rect = session.TagRect(tag);
  EXPECT_TRUE(rect.bVisible);
  EXPECT_EQ(rect.nLeft, 450);
  EXPECT_EQ(rect.nRight, 550);
  EXPECT_EQ(rect.nTop, 0);
  EXPECT_EQ(rect.nBottom, nHeight);
  tag.m_nFrequency = kDemoCenterFreqHz + kDemoSampleRateHz;  // beside the band
  EXPECT_FALSE(session.TagRect(tag).bVisible);
}

TEST_F(AnalysisSessionTest, AViewLearnsWhichRowsChanged) {
  CEngine engine(dir / "Settings.xml");
  std::string strError;
  ASSERT_TRUE(engine.session.OpenRecording(s_first, strError)) << strError;
  CAnalysisSession& session = engine.session;
  Choose(session, 4096, 0, 200, 0);
  const std::uint64_t nBefore = session.Generation();
  ASSERT_TRUE(session.StartAnalysis(strError)) << strError;
  session.PumpUntilFinished();
  SPictureChange change = session.TakePictureChange();
  EXPECT_TRUE(change.bAll);  // a new run redraws everything
  EXPECT_GT(change.nGeneration, nBefore);
  EXPECT_TRUE(session.TakePictureChange().Empty());
  session.SetColouring(2, true, 50, 0, 0);
  EXPECT_TRUE(session.TakePictureChange().bAll);
}

TEST_F(AnalysisSessionTest, AProjectSavedAndLoadedGivesTheSamePictureAndGeometry) {
  CEngine engine(dir / "Settings.xml");
  std::string strError;
  ASSERT_TRUE(engine.session.OpenRecording(s_first, strError)) << strError;
  Choose(engine.session, 4096, 0, 640, 0);
  engine.session.Tags().Tags().push_back({"Beacon", "", kDemoCenterFreqHz + 15000, 500, kDemoStartUtc, 4});
  Analyse(engine.session);
  ASSERT_TRUE(engine.session.SaveProject(dir / "P.xml", strError)) << strError;

  CEngine other(dir / "Settings2.xml");
  std::string strMessage;
  ASSERT_TRUE(other.session.LoadProject(dir / "P.xml", strMessage)) << strMessage;
  EXPECT_TRUE(strMessage.empty()) << strMessage;
  EXPECT_FALSE(other.session.HasRecording());
  EXPECT_EQ(other.session.Image().Rows(), engine.session.Image().Rows());
  EXPECT_EQ(other.session.Width(), 640);
  EXPECT_EQ(other.session.Height(), engine.session.Height());
  ASSERT_EQ(other.session.Tags().Tags().size(), 1u);
  EXPECT_EQ(other.session.Tags().Tags()[0].m_strTitle, "Beacon");
  const CPictureClick a = engine.session.Click(320, 10), b = other.session.Click(320, 10);
  EXPECT_EQ(a.m_dFrequencyHz, b.m_dFrequencyHz);
  EXPECT_EQ(a.m_tTime, b.m_tTime);
  EXPECT_EQ(a.m_strFile, b.m_strFile);
  EXPECT_EQ(a.m_nFileOffset, b.m_nFileOffset);
  EXPECT_FALSE(other.session.LoadProject(dir / "missing.xml", strMessage));
  EXPECT_FALSE(strMessage.empty());
}

TEST_F(AnalysisSessionTest, RowsSpooledDuringTheRunSaveTheSameProjectAsRowsEncodedAfterIt) {
  // Catches spooled lines that differ from the writer's own (format, order, a row of the
  // last run left in the spool) and a spool used for a project in another folder.
  CEngine engine(dir / "Settings.xml");
  std::string strError;
  ASSERT_TRUE(engine.session.OpenRecording(s_first, strError)) << strError;
  std::filesystem::create_directories(dir / "spooled");
  std::filesystem::create_directories(dir / "encoded");
  ASSERT_TRUE(engine.session.SpoolProjectRows(dir / "spooled" / "P.xml", strError)) << strError;
  Choose(engine.session, 16384, 50, 300, 0);
  Analyse(engine.session);  // a first run whose rows must not stay in the spool
  Choose(engine.session, 4096, 0, 640, 0);
  Analyse(engine.session);
  ASSERT_EQ(engine.session.SpooledRows(), engine.session.Image().Rows().Count());
  ASSERT_TRUE(engine.session.SaveProject(dir / "spooled" / "P.xml", strError)) << strError;
  ASSERT_TRUE(engine.session.SaveProject(dir / "encoded" / "P.xml", strError)) << strError;
  // The same rows, closing tags and the same "Data" element (the spooled file may hold
  // blanks between its start tag and the first row).
  const auto rowsOf = [](const std::filesystem::path& path) {
    const std::string strText = ReadBytes(path);
    const std::size_t nData = strText.find("<Data ");
    return strText.substr(nData, strText.find('>', nData) - nData) + strText.substr(strText.find("    <Entry "));
  };
  const std::string strSpooled = rowsOf(dir / "spooled" / "P.xml");
  EXPECT_EQ(strSpooled, rowsOf(dir / "encoded" / "P.xml"));
  std::size_t nEntries = 0;
  for (std::size_t p = strSpooled.find("<Entry "); p != std::string::npos; p = strSpooled.find("<Entry ", p + 1))
    ++nEntries;
  EXPECT_EQ(nEntries, engine.session.Image().Rows().Count());
  // It loads as the rows it was written from.
  CEngine other(dir / "Settings2.xml");
  std::string strMessage;
  ASSERT_TRUE(other.session.LoadProject(dir / "spooled" / "P.xml", strMessage)) << strMessage;
  EXPECT_EQ(other.session.Image().Rows(), engine.session.Image().Rows());
  // Nothing but the project is left in its folder.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir / "spooled"), {}), 1);
}

TEST_F(AnalysisSessionTest, RowsKeptOnlyInTheProjectSaveTheRowsOfAnOrdinaryRun) {
  // Catches levels dropped before they were spooled, and a save that writes the emptied
  // rows instead of the spooled ones.
  CEngine engine(dir / "Settings.xml");
  std::string strError;
  ASSERT_TRUE(engine.session.OpenRecording(s_first, strError)) << strError;
  ASSERT_TRUE(engine.session.SpoolProjectRows(dir / "P.xml", strError)) << strError;
  engine.session.KeepRowsOnlyInProject(true);
  Choose(engine.session, 4096, 0, 640, 0);
  Analyse(engine.session);
  const CImageRows& kept = engine.session.Image().Rows();
  ASSERT_GT(kept.Count(), 100u);
  EXPECT_TRUE(kept.m_aLines[kept.Count() / 2].empty());
  ASSERT_TRUE(engine.session.SaveProject(dir / "P.xml", strError)) << strError;

  CEngine other(dir / "Settings2.xml");
  std::string strMessage;
  ASSERT_TRUE(other.session.LoadProject(dir / "P.xml", strMessage)) << strMessage;
  EXPECT_EQ(other.session.Image().Rows(), FreshRows(dir / "Settings3.xml", 4096, 0, 640));
}

TEST_F(AnalysisSessionTest, OpeningWhatIsNoRecordingSaysWhichFileAndWhy) {
  CEngine engine(dir / "Settings.xml");
  std::string strError;
  EXPECT_FALSE(engine.session.OpenRecording(dir / "missing.wav", strError));
  EXPECT_EQ(strError, (dir / "missing.wav").string() + ": File not found");
  WriteBytes(dir / "text.wav", "not a recording");
  EXPECT_FALSE(engine.session.OpenRecording(dir / "text.wav", strError));
  EXPECT_EQ(strError.rfind((dir / "text.wav").string() + ": ", 0), 0u);
  EXPECT_FALSE(engine.session.HasRecording());
  EXPECT_FALSE(engine.session.StartAnalysis(strError));
  EXPECT_EQ(strError, "No recording is selected.");
}

TEST_F(AnalysisSessionTest, AnAcceptedSelectionBecomesTheDocumentAndItsCurrentOptions) {
  CEngine engine(dir / "Settings.xml");
  CRecordingDescription desc;
  std::string strError, strTitle;
  ASSERT_TRUE(CAnalysisSession::ReadRecording(s_first, desc, strError)) << strError;
  CSelectionModel model;
  model.SetRecording(desc);
  model.Choices().nFFTSize = 8192;
  model.Choices().nBandwidth = 100000;
  model.Choices().nDisplayWidth = 500;
  ASSERT_TRUE(engine.session.ApplySelection(model, strTitle, strError)) << strTitle << ": " << strError;
  EXPECT_TRUE(engine.session.HasRecording());
  EXPECT_EQ(engine.session.Options().m_nAnalysisFFTSize, 8192u);
  CAnalysisOptions saved;
  ASSERT_TRUE(saved.LoadCurrent());
  EXPECT_EQ(saved.m_nAnalysisBandwidth, 100000u);
  Analyse(engine.session);
  EXPECT_EQ(engine.session.Width(), 500);
  // The picture shows the chosen band: its edges are the band's.
  EXPECT_DOUBLE_EQ(engine.session.FrequencyAtX(0), kDemoCenterFreqHz - 50000.0);
  // Edit Project starts from what the document holds.
  EXPECT_EQ(engine.session.SelectionModel().Choices().nFFTSize, 8192u);

  desc.m_nCenterFrequency = desc.m_nSampleRate / 2 - 1;
  model.SetRecording(desc);
  EXPECT_FALSE(engine.session.ApplySelection(model, strTitle, strError));
  EXPECT_EQ(strTitle, "Invalid Recording");
  EXPECT_EQ(engine.session.Options().m_nAnalysisFFTSize, 8192u);  // the document is unchanged
}

class CFaultListener final : public IAnalysisSessionListener {
 public:
  void EngineFault(const CEngineFault& fault) override {
    faults.push_back(fault);
    threads.push_back(std::this_thread::get_id());
  }
  std::vector<CEngineFault> faults;
  std::vector<std::thread::id> threads;
};

TEST_F(AnalysisSessionTest, FaultsOfOtherThreadsReachTheListenerOnTheSessionsThread) {
  CEngine engine(dir / "Settings.xml");
  CFaultListener listener;
  engine.session.SetListener(&listener);
  std::thread([] { ReportEngineFault(EEngineFault::Buffer, "FFT 2> Cannot allocate"); }).join();
  EXPECT_TRUE(listener.faults.empty());  // not on the worker's thread
  engine.session.OnTimer();
  ASSERT_EQ(listener.faults.size(), 1u);
  EXPECT_EQ(listener.faults[0].eKind, EEngineFault::Buffer);
  EXPECT_EQ(listener.threads[0], std::this_thread::get_id());
}

}  // namespace

// Catches a dragged rectangle giving the band's edge instead of its centre, times counted
// from the wrong end of the picture (rows grow upward), or a tag that TagRect does not put
// back where it was drawn.
TEST_F(AnalysisSessionTest, ARectangleOfThePictureBecomesTheTagThatCoversIt) {
  SSyntheticProject project;  // 1200 s over 200 rows (6 s a row), 100 kHz over 400 columns
  std::string strError;
  ASSERT_TRUE(project.Write(dir / "S.xml", strError)) << strError;
  CMySettingsStore settings(dir / "Settings.xml");
  CAnalysisSession session(settings);
  ASSERT_TRUE(session.LoadProject(dir / "S.xml", strError)) << strError;
  ASSERT_EQ(session.Width(), 400);
  ASSERT_EQ(session.Height(), 200);

  // Columns 100 .. 140 (250 Hz each) and lines 50 .. 89 from the top: rows 110 .. 149.
  const CTagDefinition tag = session.TagOfRect(140, 90, 100, 50);
  EXPECT_EQ(tag.m_nFrequency, 7050000u + 120 * 250);
  EXPECT_EQ(tag.m_nBandwidth, 40u * 250);
  EXPECT_EQ(tag.m_tStartTime, project.tStartUTC + 110 * 6);
  EXPECT_EQ(tag.m_nDuration, 39u * 6);
  const SPictureRect rect = session.TagRect(tag);
  EXPECT_EQ(rect.nLeft, 100);
  EXPECT_EQ(rect.nRight, 140);
  EXPECT_EQ(rect.nTop, 50);
  EXPECT_EQ(rect.nBottom, 90);

  // A click without a drag still marks one column and at least a second.
  const CTagDefinition dot = session.TagOfRect(10, 10, 10, 10);
  EXPECT_EQ(dot.m_nBandwidth, 250u);
  EXPECT_GE(dot.m_nDuration, 1u);
}
