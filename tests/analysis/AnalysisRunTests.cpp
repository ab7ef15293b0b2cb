// The run as a whole: which samples each row is made of (overlap, file boundaries, byte
// ranges), row order across workers, the end of the stream, and abort.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <numeric>

#include "EngineTestSupport.h"
#include "core/Log.h"
#include "core/MessageQueue.h"
#include "core/RegisteredMessages.h"
#include "support/TestEnvironment.h"

using namespace enginetest;

namespace {

constexpr std::uint32_t kRate = 48'000;

class AnalysisRunTest : public ::testing::Test {
 protected:
  void SetUp() override {
    RegisterAllMessages();
    SetLogFilePath(dir / "Vexlor.log");
  }
  void TearDown() override { SetLogFilePath({}); }

  // raw written as consecutive files cut at the given byte positions.
  std::vector<std::filesystem::path> WriteSeries(const CRawIQ& raw, const std::vector<std::size_t>& cuts,
                                                 std::vector<std::uint32_t>& sizes) {
    std::vector<std::filesystem::path> files;
    std::size_t nFrom = 0;
    for (std::size_t i = 0; i <= cuts.size(); ++i) {
      const std::size_t nTo = i < cuts.size() ? cuts[i] : raw.bytes.size();
      files.push_back(WriteWav(dir / StrFormat("rec %03zu.wav", i), raw, kRate, nFrom, nTo - nFrom));
      sizes.push_back(static_cast<std::uint32_t>(nTo - nFrom));
      nFrom = nTo;
    }
    return files;
  }

  std::string LogText() const { return ReadBytes(dir / "Vexlor.log"); }

  CTempFolder dir;
};

void ExpectRowIs(const std::vector<float>& row, const CRawIQ& raw, std::size_t nFirstSample, std::uint32_t n,
                 std::uint32_t nWindow) {
  const std::vector<double> ref = ReferenceLevels(raw, nFirstSample, n, nWindow);
  ASSERT_EQ(row.size(), n);
  for (std::size_t j = 0; j < n; ++j) ASSERT_NEAR(row[j], ref[j], 0.01) << "level " << j << " of the block at " << nFirstSample;
}

TEST_F(AnalysisRunTest, OverlapStartsEachRowAStepOfSamplesAfterTheLast) {
  // Catches a step counted in bytes instead of samples, or overlapping samples taken once.
  constexpr std::uint32_t n = 256;
  const CRawIQ raw = Noise(16, 20000.0, 5 * n, 3);
  std::vector<std::uint32_t> sizes;
  const auto files = WriteSeries(raw, {}, sizes);
  CEngine engine(dir / "Settings.xml");
  ASSERT_TRUE(engine.Run(MakeOptions(files, sizes, kRate, 16, n, ANALYSIS_WINDOW_NONE, 50)));
  // Blocks start 128 samples apart: 0, 128, ... 1024 (the last that fits in 1280 samples).
  ASSERT_EQ(engine.rows.rows.size(), 9u);
  for (std::size_t r = 0; r < 9; ++r) ExpectRowIs(engine.rows.rows[r], raw, r * 128, n, ANALYSIS_WINDOW_NONE);
}

TEST_F(AnalysisRunTest, ABlockThatSpansTwoFilesTakesItsLastSamplesFromTheSecond) {
  // Catches a reader that stops at a file's end, or restarts the staging at each file.
  constexpr std::uint32_t n = 512;
  const CRawIQ raw = Noise(16, 20000.0, 3 * n, 5);
  std::vector<std::uint32_t> sizes;
  // The first file ends 100 samples into the second FFT block.
  const auto files = WriteSeries(raw, {(n + 100) * 4}, sizes);
  CEngine engine(dir / "Settings.xml");
  ASSERT_TRUE(engine.Run(MakeOptions(files, sizes, kRate, 16, n, ANALYSIS_WINDOW_DEFAULT)));
  ASSERT_EQ(engine.rows.rows.size(), 3u);
  for (std::size_t r = 0; r < 3; ++r) ExpectRowIs(engine.rows.rows[r], raw, r * n, n, ANALYSIS_WINDOW_DEFAULT);
}

TEST_F(AnalysisRunTest, AByteRangeSkipsIntoTheRightFileAndEndsInsideTheBuffer) {
  // Catches a start offset applied to the first file regardless of the file sizes, and a
  // data length that is not cut inside the last buffer (extra rows past the range).
  constexpr std::uint32_t n = 256;
  const CRawIQ raw = Noise(16, 20000.0, 40 * n, 9);
  std::vector<std::uint32_t> sizes;
  const auto files = WriteSeries(raw, {12 * n * 4, 25 * n * 4}, sizes);
  CAnalysisOptions o = MakeOptions(files, sizes, kRate, 16, n, ANALYSIS_WINDOW_NONE);
  o.m_bAnalysisWholeRange = 0;
  o.m_nAnalysisDataOffset = (15 * n + 10) * 4;  // inside the second file
  o.m_nAnalysisDataLength = (6 * n + 30) * 4;   // six whole blocks and a part
  CEngine engine(dir / "Settings.xml");
  ASSERT_TRUE(engine.Run(o));
  ASSERT_EQ(engine.rows.rows.size(), 6u);
  for (std::size_t r = 0; r < 6; ++r) ExpectRowIs(engine.rows.rows[r], raw, 15 * n + 10 + r * n, n, ANALYSIS_WINDOW_NONE);
  EXPECT_NE(LogText().find(StrFormat("Seeking %u bytes from current position", (3 * n + 10) * 4)), std::string::npos);
}

TEST_F(AnalysisRunTest, AFileThatVanishesEndsTheStreamWithALogLineAndAFinishedRun) {
  // Catches a run that hangs (or fails) when the next file of the series cannot be opened.
  constexpr std::uint32_t n = 256;
  const CRawIQ raw = Noise(16, 20000.0, 8 * n, 11);
  std::vector<std::uint32_t> sizes;
  const auto files = WriteSeries(raw, {4 * n * 4}, sizes);
  std::filesystem::remove(files[1]);
  CEngine engine(dir / "Settings.xml");
  ASSERT_TRUE(engine.Run(MakeOptions(files, sizes, kRate, 16, n, ANALYSIS_WINDOW_NONE)));
  EXPECT_FALSE(engine.analysis.Run().IsBusy());
  EXPECT_EQ(engine.rows.rows.size(), 4u);
  EXPECT_EQ(engine.rows.completions, 1);
  const std::string log = LogText();
  EXPECT_NE(log.find("Error: File not found"), std::string::npos);
  EXPECT_NE(log.find("Finished"), std::string::npos);
}

TEST_F(AnalysisRunTest, RowsOfSeveralWorkersReachThePictureInIndexOrderExactlyOnce) {
  // Catches rows applied in arrival order, lost or applied twice when workers overtake
  // each other. A file I/O buffer holds 8 M samples: this recording fills two, and the
  // second buffer's blocks go to the second worker while the first is busy. The blocks that
  // run across the two buffers are copied into a sample block of their own.
  constexpr std::uint32_t n = 512;
  const CRawIQ raw = Noise(16, 20000.0, 8'800'000, 13);
  std::vector<std::uint32_t> sizes;
  const auto files = WriteSeries(raw, {}, sizes);
  CEngine engine(dir / "Settings.xml", 3);
  engine.settings.Write("CMainFrame::MaxThreads", 3);
  ASSERT_TRUE(engine.Run(MakeOptions(files, sizes, kRate, 16, n, ANALYSIS_WINDOW_DEFAULT, 75)));
  const std::size_t nRows = 1 + (raw.Samples() - n) / 128;
  ASSERT_GT(nRows, 8'388'608u / 128);
  ASSERT_EQ(engine.rows.indices.size(), nRows);
  for (std::size_t r = 0; r < nRows; ++r) ASSERT_EQ(engine.rows.indices[r], r);
  // The second worker's rows did overtake the first's.
  EXPECT_GT(engine.analysis.Run().PeakPendingRows(), 0u);
  // The first row, one that runs across the two buffers, the first wholly in the second
  // buffer and the last.
  for (std::size_t r : {std::size_t{0}, std::size_t{8'388'608u / 128 - 1}, std::size_t{8'388'608u / 128}, nRows - 1})
    ExpectRowIs(engine.rows.rows[r], raw, r * 128, n, ANALYSIS_WINDOW_DEFAULT);
}

TEST_F(AnalysisRunTest, BlocksAcrossBufferEndsAreTheStreamsOwnAtEveryOverlap) {
  // Catches a block cut wrongly where one file I/O buffer (8 M samples) ends and the next
  // begins: a step that does not divide the buffer leaves a different remainder each time,
  // and the blocks across the end are copied while the others are read in place. The
  // series' files also end mid-block.
  constexpr std::uint32_t n = 512;
  const CRawIQ raw = Noise(16, 20000.0, 8'500'000, 19);
  std::vector<std::uint32_t> sizes;
  const auto files = WriteSeries(raw, {std::size_t{3'000'001} * 4}, sizes);
  for (std::uint32_t nOverlap : {0u, 30u}) {
    CEngine engine(dir / "Settings.xml");
    ASSERT_TRUE(engine.Run(MakeOptions(files, sizes, kRate, 16, n, ANALYSIS_WINDOW_HANN, nOverlap)));
    const std::size_t nStep = CAnalysisOptions::StepSamples(n, nOverlap);
    const std::size_t nRows = 1 + (raw.Samples() - n) / nStep;
    ASSERT_EQ(engine.rows.rows.size(), nRows) << "overlap " << nOverlap;
    // Every row whose block touches the buffer's end, and the ones beside them.
    const std::size_t nBoundary = 8'388'608;
    for (std::size_t r = (nBoundary - n) / nStep - 1; r <= nBoundary / nStep + 1; ++r)
      ExpectRowIs(engine.rows.rows[r], raw, r * nStep, n, ANALYSIS_WINDOW_HANN);
    ExpectRowIs(engine.rows.rows[nRows - 1], raw, (nRows - 1) * nStep, n, ANALYSIS_WINDOW_HANN);
  }
}

TEST_F(AnalysisRunTest, AbortKeepsTheRowsAppliedSoFarInOrderAndFinishes) {
  // Catches an abort that leaves the run busy for ever or leaves a gap in the rows kept.
  // Three file I/O buffers of samples: the abort comes while the later ones are read.
  constexpr std::uint32_t n = 512;
  const CRawIQ raw = Noise(16, 20000.0, 24'000'000, 17);
  std::vector<std::uint32_t> sizes;
  const auto files = WriteSeries(raw, {}, sizes);
  CEngine engine(dir / "Settings.xml");
  CAnalysisRun& run = engine.analysis.Run();
  ASSERT_TRUE(run.Start(MakeOptions(files, sizes, kRate, 16, n, ANALYSIS_WINDOW_DEFAULT, 75)));
  bool bAborted = false;
  engine.analysis.PumpUntilFinished(nullptr, [&] {
    if (!engine.rows.rows.empty() && !bAborted) {
      bAborted = true;
      run.Analyse(CAnalysisOptions{});  // "Analyse" during a run is the abort request
      EXPECT_TRUE(run.IsAborting());
    }
  });
  EXPECT_TRUE(bAborted);
  EXPECT_FALSE(run.IsBusy());
  EXPECT_EQ(engine.rows.completions, 1);
  for (std::size_t r = 0; r < engine.rows.indices.size(); ++r) ASSERT_EQ(engine.rows.indices[r], r);
  const std::string log = LogText();
  EXPECT_NE(log.find("Aborting..."), std::string::npos);
  EXPECT_NE(log.find("Finished"), std::string::npos);
}

TEST_F(AnalysisRunTest, AnAbortBeforeTheFirstBufferStillReadsTheRecordingToItsEnd) {
  // The deliberate way of stopping: the timer goes on asking for reads, every buffer is
  // thrown away, and the run ends when the reader reaches the end. Catches an abort that
  // stops the reader at once (or never ends the run).
  constexpr std::uint32_t n = 1024;
  const CRawIQ raw = Noise(16, 20000.0, 3'000'000, 23);
  std::vector<std::uint32_t> sizes;
  const auto files = WriteSeries(raw, {4'000'000}, sizes);
  CEngine engine(dir / "Settings.xml");
  CAnalysisRun& run = engine.analysis.Run();
  ASSERT_TRUE(run.Start(MakeOptions(files, sizes, kRate, 16, n, ANALYSIS_WINDOW_DEFAULT)));
  run.RequestAbort();
  engine.analysis.PumpUntilFinished();
  EXPECT_FALSE(run.IsBusy());
  EXPECT_TRUE(engine.rows.rows.empty());
  EXPECT_EQ(run.BytesRead(), static_cast<std::int64_t>(raw.bytes.size()));
  EXPECT_EQ(engine.rows.completions, 1);
}

TEST_F(AnalysisRunTest, AFailedFirstOpenKeepsTheRunBusyUntilTheAbortEndsIt) {
  // Catches a run that ends by itself when its first file cannot be opened (it is to wait,
  // showing "Initialising", for the user's abort), and an abort that cannot end it then.
  struct COpenWatcher final : IAnalysisStatus {
    void FileOpened(bool bSuccess) override { bFailed = !bSuccess; }
    bool bFailed = false;
  } status;
  constexpr std::uint32_t n = 256;
  const CRawIQ raw = Noise(16, 20000.0, 4 * n, 31);
  std::vector<std::uint32_t> sizes;
  const auto files = WriteSeries(raw, {}, sizes);
  std::filesystem::remove(files[0]);
  CEngine engine(dir / "Settings.xml");
  CAnalysisRun& run = engine.analysis.Run();
  run.SetStatus(&status);
  ASSERT_TRUE(run.Start(MakeOptions(files, sizes, kRate, 16, n, ANALYSIS_WINDOW_NONE)));
  int nTicksAfterFailure = 0;
  engine.analysis.PumpUntilFinished(nullptr, [&] {
    if (status.bFailed && ++nTicksAfterFailure == 10) run.RequestAbort();
  });
  EXPECT_GE(nTicksAfterFailure, 10);
  EXPECT_TRUE(engine.rows.rows.empty());
  EXPECT_EQ(engine.rows.completions, 1);
  EXPECT_NE(LogText().find("Finished"), std::string::npos);
}

TEST_F(AnalysisRunTest, ARecordingShorterThanOneBlockFinishesWithNoRows) {
  // Catches a finish test that waits for a first row count that never comes.
  constexpr std::uint32_t n = 1024;
  const CRawIQ raw = Noise(16, 20000.0, n - 1, 19);
  std::vector<std::uint32_t> sizes;
  const auto files = WriteSeries(raw, {}, sizes);
  CEngine engine(dir / "Settings.xml");
  ASSERT_TRUE(engine.Run(MakeOptions(files, sizes, kRate, 16, n, ANALYSIS_WINDOW_NONE)));
  EXPECT_TRUE(engine.rows.rows.empty());
  EXPECT_EQ(engine.rows.completions, 1);
}

// A controller fed row messages by hand: rows that arrive out of order.
TEST(AnalysisRunRowOrderTest, RowsArrivingTwoZeroOneAreAppliedZeroOneTwo) {
  // Catches a pending row that is never released, or released before its predecessor.
  RegisterAllMessages();
  CTempFolder dir;
  CMySettingsStore settings(dir / "Settings.xml");
  CMessageQueue queue;
  CAnalysisThreadPool pool;
  ASSERT_TRUE(pool.Create(&queue, 1));
  CAnalysisRun run(pool, settings, queue, queue);
  CRowCollector rows;
  run.SetRowConsumer(&rows);
  auto post = [&](std::uint32_t r) {
    auto pRecord = std::make_unique<CRowRecord>(4);
    std::fill(pRecord->Levels(), pRecord->Levels() + 4, static_cast<float>(r));
    CMessage msg{RegMsgSDR::nMsgFFTOutput, r, 0, std::move(pRecord)};
    EXPECT_TRUE(run.HandleMessage(msg));
  };
  post(2);
  EXPECT_TRUE(rows.indices.empty());
  EXPECT_EQ(run.PendingRows(), 1u);
  post(0);
  EXPECT_EQ(rows.indices, (std::vector<std::uint32_t>{0}));
  post(1);
  EXPECT_EQ(rows.indices, (std::vector<std::uint32_t>{0, 1, 2}));
  EXPECT_EQ(rows.rows[2][0], 2.0f);
  EXPECT_EQ(run.PendingRows(), 0u);
  EXPECT_EQ(run.RowsApplied(), 3u);
}

}  // namespace
