// Analysis options (defaults, derived values, checks, the current options file), the
// window tables, and the small rules of the reader, forwarder and controller.

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "analysis/AnalysisOptions.h"
#include "analysis/AnalysisRun.h"
#include "analysis/AnalysisThreadPool.h"
#include "analysis/AnalysisWindow.h"
#include "analysis/BackgroundThreadReader.h"
#include "persist/MySettingsStore.h"
#include "recording/RecordingDescription.h"
#include "support/TestEnvironment.h"

namespace {

CRecordingDescription TwoMegaHertzRecording(std::uint32_t nCentreHz) {
  CRecordingDescription d;
  d.m_astrFileNames = {"/rec/a 000.wav", "/rec/a 001.wav"};
  d.m_anFileSizes = {80'000'000, 40'000'000};
  d.m_anFileStartTimes = {0, 0};
  d.m_nFiles = 2;
  d.m_tStart = 1'700'000'000;
  d.m_tEnd = d.m_tStart + 15;
  d.m_nSampleRate = 2'000'000;
  d.m_nBitsPerSample = 16;
  d.m_nBytesPerSecond = 8'000'000;
  d.m_nCenterFrequency = nCentreHz;
  d.m_nTotalMillions = 120;
  return d;
}

TEST(AnalysisOptionsTest, ResetRestoresTheDeliberateDefaults) {
  CAnalysisOptions o;
  o.m_astrRecordingFilenames = {"x"};
  o.m_nAnalysisFFTSize = 4096;
  o.m_bAnalysisWholeRange = 0;
  o.m_tAnalysisStartUTC = 5;
  o.Reset();
  EXPECT_TRUE(o.m_astrRecordingFilenames.empty());
  EXPECT_EQ(o.m_nAnalysisFFTSize, 1048576u);
  EXPECT_EQ(o.m_nAnalysisDisplayRows, 5000);
  EXPECT_EQ(o.m_nAnalysisBandwidth, 100u);
  EXPECT_EQ(o.m_nAnalysisCenterFreq, 1000000u);
  EXPECT_EQ(o.m_bAnalysisWholeRange, 1);
  EXPECT_EQ(o.m_tAnalysisStartUTC, 0);
  EXPECT_EQ(o.m_tRecordingEndUTC, 0);
  EXPECT_EQ(o.m_nFFTHint, 2);
}

TEST(AnalysisOptionsTest, DerivedValuesFollowTheRecordingAndTheChosenRange) {
  CAnalysisOptions o;
  o.m_nAnalysisFFTSize = 1024;
  o.m_nAnalysisOverlap = 50;
  o.SetFromRecording(TwoMegaHertzRecording(7'000'000));
  EXPECT_EQ(o.m_astrRecordingFilenames.size(), 2u);
  EXPECT_DOUBLE_EQ(o.m_dAnalysisRBW, 2'000'000.0 / 1024);
  EXPECT_EQ(o.ResolutionBandwidthText(), "1953.125 Hz");
  EXPECT_EQ(o.RecordingSizeGBText(), "0.120 GB");
  EXPECT_EQ(o.m_nAnalysisDataLength, 15 * 8'000'000);
  // Step 512 samples of 4 bytes: 1 + (len - 4096) / 2048 rows.
  EXPECT_EQ(o.m_nAnalysisDisplayRows, 1 + (15 * 8'000'000 - 4096) / 2048);

  o.m_bAnalysisWholeRange = 0;
  o.m_tAnalysisStartUTC = o.m_tRecordingStartUTC + 10;  // given the wrong way round
  o.m_tAnalysisEndUTC = o.m_tRecordingStartUTC + 4;
  o.UpdateDerivedValues(8'000'000);
  EXPECT_EQ(o.m_nAnalysisTimeOffset, 4u);
  EXPECT_EQ(o.m_nAnalysisTimeRange, 6u);
  EXPECT_EQ(o.m_nAnalysisDataOffset, 32'000'000);
  EXPECT_EQ(o.m_nAnalysisDataLength, 48'000'000);
}

TEST(AnalysisOptionsTest, RowsAroundOneFrame) {
  EXPECT_EQ(CAnalysisOptions::StepSamples(1024, 50), 512u);
  EXPECT_EQ(CAnalysisOptions::StepSamples(64, 99), 0u);
  // Shorter than one step: no row. Just over one frame: one row.
  EXPECT_EQ(CAnalysisOptions::Rows(4 * 512 - 1, 4, 1024, 50), 0);
  EXPECT_EQ(CAnalysisOptions::Rows(4 * 1024 + 1, 4, 1024, 0), 1);
  EXPECT_EQ(CAnalysisOptions::Rows(4 * 1024 * 3, 4, 1024, 0), 3);
}

TEST(AnalysisOptionsTest, ChecksRefuseOptionsThatCannotWork) {
  CAnalysisOptions o;
  o.m_nAnalysisFFTSize = 65536;
  o.SetFromRecording(TwoMegaHertzRecording(7'000'000));
  o.m_nAnalysisCenterFreq = 7'000'000;
  o.m_nAnalysisBandwidth = 100'000;
  std::string msg;
  EXPECT_TRUE(o.Check(msg)) << msg;

  CAnalysisOptions bad = o;
  bad.m_nAnalysisFFTSize = 64;
  bad.m_nAnalysisOverlap = 99;
  bad.UpdateDerivedValues(8'000'000);
  EXPECT_FALSE(bad.Check(msg));
  EXPECT_NE(msg.find("step of 0 samples"), std::string::npos);

  bad = o;
  bad.m_nAnalysisCenterFreq = 9'100'000;  // the band lies above the recording's 6..8 MHz
  EXPECT_FALSE(bad.Check(msg));
  EXPECT_NE(msg.find("outside the recording's band"), std::string::npos);

  bad = o;
  bad.m_bAnalysisWholeRange = 0;
  bad.m_tAnalysisStartUTC = o.m_tRecordingStartUTC + 10;
  bad.m_tAnalysisEndUTC = o.m_tRecordingEndUTC + 60;
  bad.UpdateDerivedValues(8'000'000);
  EXPECT_FALSE(bad.Check(msg));
  EXPECT_NE(msg.find("lies outside the recording"), std::string::npos);

  // 999,999 Hz is below half of 2,000,000 Hz; 1,000,000 Hz is not.
  bad.SetFromRecording(TwoMegaHertzRecording(999'999));
  bad.m_bAnalysisWholeRange = 1;
  bad.UpdateDerivedValues(8'000'000);
  EXPECT_FALSE(bad.Check(msg));
  EXPECT_EQ(msg.rfind("The centre frequency is less than (<) half the bandwidth ", 0), 0u);
  bad.SetFromRecording(TwoMegaHertzRecording(1'000'000));
  bad.m_nAnalysisCenterFreq = 1'000'000;
  EXPECT_TRUE(bad.Check(msg)) << msg;
}

TEST(AnalysisOptionsTest, CurrentOptionsFileKeepsEveryKeyIncludingTheTimeFormat) {
  // Catches a key written under one name and read under another, and a current options
  // file that loses the local-time flag (only projects read it from the other key).
  CTempFolder dir;
  CAnalysisOptions o;
  o.SetFromRecording(TwoMegaHertzRecording(7'000'000));
  o.m_bTimeFormatLocal = 1;
  o.m_eAnalysisWindow = ANALYSIS_WINDOW_NONE;
  o.m_nAnalysisOverlap = 25;
  o.m_bAnalysisSwapIQ = 1;
  o.m_nAnalysisDisplayWidth = 1234;
  o.m_nFFTHint = FFT_HINT_FAST;
  ASSERT_TRUE(o.SaveCurrent(dir.Path()));
  CAnalysisOptions back;
  ASSERT_TRUE(back.LoadCurrent(dir.Path()));
  back.m_nFFTHint = FFT_HINT_FAST;  // copied with the options but never saved
  EXPECT_EQ(back.m_astrRecordingFilenames, o.m_astrRecordingFilenames);
  EXPECT_EQ(back.m_anRecordingFileSizes, o.m_anRecordingFileSizes);
  EXPECT_EQ(back.m_bTimeFormatLocal, 1);
  EXPECT_EQ(back.m_dRecordingSizeMB, o.m_dRecordingSizeMB);
  EXPECT_EQ(back.m_dAnalysisRBW, o.m_dAnalysisRBW);
  EXPECT_EQ(back.m_eAnalysisWindow, 999u);
  EXPECT_EQ(back.m_nAnalysisOverlap, 25u);
  EXPECT_EQ(back.m_bAnalysisSwapIQ, 1);
  EXPECT_EQ(back.m_nAnalysisDisplayWidth, 1234);
  EXPECT_EQ(back.m_nAnalysisDataLength, o.m_nAnalysisDataLength);
  EXPECT_EQ(back.m_tRecordingEndUTC, o.m_tRecordingEndUTC);
  EXPECT_EQ(back.m_tAnalysisStartUTC, o.m_tAnalysisStartUTC);
}

TEST(AnalysisWindowTest, TablesFollowTheirFormulas) {
  // Catches a window over N instead of N − 1 points (non-zero Hann ends, a shifted peak).
  const std::uint32_t n = 9;
  const auto hann = BuildAnalysisWindow(ANALYSIS_WINDOW_HANN, n);
  EXPECT_FLOAT_EQ(hann[0], 0.0f);
  EXPECT_FLOAT_EQ(hann[4], 1.0f);
  EXPECT_NEAR(hann[8], 0.0f, 1e-7);
  EXPECT_EQ(BuildAnalysisWindow(ANALYSIS_WINDOW_DEFAULT, n), hann);
  EXPECT_EQ(BuildAnalysisWindow(42, n), hann);  // unknown values are "Default"
  const auto hamming = BuildAnalysisWindow(ANALYSIS_WINDOW_HAMMING, n);
  EXPECT_FLOAT_EQ(hamming[0], 0.08f);
  EXPECT_FLOAT_EQ(hamming[4], 1.0f);
  const auto bartlett = BuildAnalysisWindow(ANALYSIS_WINDOW_BARTLETT, n);
  EXPECT_FLOAT_EQ(bartlett[2], 0.5f);
  EXPECT_FLOAT_EQ(bartlett[6], 0.5f);
  const auto blackman = BuildAnalysisWindow(ANALYSIS_WINDOW_BLACKMAN_STD, n);
  EXPECT_NEAR(blackman[0], 0.0f, 1e-7);
  EXPECT_NEAR(blackman[2], 0.42 - 0.5 * std::cos(std::numbers::pi / 2) + 0.08 * std::cos(std::numbers::pi), 1e-6);
  const double alpha = -0.5 / (1.0 + std::cos(2.0 * std::numbers::pi / 8));
  const auto opt = BuildAnalysisWindow(ANALYSIS_WINDOW_BLACKMAN_OPT, n);
  EXPECT_NEAR(opt[1], (alpha + 1) / 2 - 0.5 * std::cos(std::numbers::pi / 4) - alpha / 2 * std::cos(std::numbers::pi / 2), 1e-6);
  for (float v : BuildAnalysisWindow(ANALYSIS_WINDOW_NONE, n)) EXPECT_EQ(v, 1.0f);
}

TEST(AnalysisRulesTest, ReadingStartsInTheFileThatHoldsTheOffset) {
  CAnalysisOptions o;
  o.m_astrRecordingFilenames = {"a", "b", "c"};
  o.m_anRecordingFileSizes = {1000, 500, 800};
  auto at = [&](std::int64_t nOffset) {
    o.m_nAnalysisDataOffset = nOffset;
    return CAnalysisRun::FindStart(o);
  };
  EXPECT_EQ(at(0).strPath, "a");
  EXPECT_EQ(at(999).strPath, "a");
  EXPECT_EQ(at(999).nSkipBytes, 999u);
  EXPECT_EQ(at(1000).strPath, "b");  // a file boundary: the next file, nothing skipped
  EXPECT_EQ(at(1000).nSkipBytes, 0u);
  EXPECT_EQ(at(1700).strPath, "c");
  EXPECT_EQ(at(1700).nSkipBytes, 200u);
  EXPECT_EQ(at(2300).strPath, "");  // beyond the recording: no file, a failed open
}

TEST(AnalysisRulesTest, TheForwarderPicksTheLeastLoadedOfAllButOneWorker) {
  // Catches the deliberate cap of count − 1 being "fixed" to the controller's count.
  // One worker: M = count − 1 = 0, so always worker 0.
  EXPECT_EQ(CBackgroundThreadReader::ChooseWorker({5}, -1), 0);
  // Four workers, nothing stored: M = min(4, 3) = 3; the idle fourth worker is never asked.
  EXPECT_EQ(CBackgroundThreadReader::ChooseWorker({3, 1, 2, 0}, -1), 1);
  EXPECT_EQ(CBackgroundThreadReader::ChooseWorker({3, 1, 0, 0}, -1), 2);
  // Ties go to the lowest number; a stored 2 limits the choice to workers 0 and 1.
  EXPECT_EQ(CBackgroundThreadReader::ChooseWorker({2, 2, 0}, -1), 0);
  EXPECT_EQ(CBackgroundThreadReader::ChooseWorker({3, 1, 0, 0}, 2), 1);
  // A stored 0 counts as 1.
  EXPECT_EQ(CBackgroundThreadReader::ChooseWorker({2, 1, 0}, 0), 0);
}

TEST(AnalysisRulesTest, InFlightLimitKeepsTheMemoryReserve) {
  constexpr std::uint64_t kGB = 1'000'000'000;
  // 24 GB: reserve 4.8 GB; one 16-bit block of a 64 K FFT costs 256 MiB + the plan.
  EXPECT_EQ(CBackgroundThreadReader::InFlightLimit(24 * kGB, 0, 65536, 2, 3), 3u);
  // Nothing left above the reserve: still one block.
  EXPECT_EQ(CBackgroundThreadReader::InFlightLimit(4 * kGB, 3 * kGB, 65536, 2, 3), 1u);
  // Room for exactly two blocks of 16 M samples × 2 bytes × 8 plus the plan's working memory.
  const std::uint64_t nCost = 16'777'216ull * 16 + CBackgroundThreadReader::FFTWorkingMemoryBytes(24);
  EXPECT_EQ(CBackgroundThreadReader::InFlightLimit(10 * kGB, 8 * kGB - 2 * nCost - 1000, 16'777'216, 2, 8), 2u);
}

TEST(AnalysisRulesTest, MaxThreadsSettingIsClampedToTheWorkers) {
  CTempFolder dir;
  CMySettingsStore settings(dir / "Settings.xml");
  EXPECT_EQ(CAnalysisThreadPool::MaxThreads(settings, 1), 1);
  EXPECT_EQ(CAnalysisThreadPool::MaxThreads(settings, 15), 4);
  settings.Write("CMainFrame::MaxThreads", 9);
  EXPECT_EQ(CAnalysisThreadPool::MaxThreads(settings, 6), 6);
  EXPECT_EQ(CAnalysisThreadPool::FFTHint(settings), 1);
}

TEST(AnalysisProgressTest, RateRemainingTimeAndPercent) {
  EXPECT_EQ(CAnalysisRun::FormatRemaining(3725), "1:02:05");
  EXPECT_EQ(CAnalysisRun::FormatRemaining(65), "1:05");
  // During the first two seconds the rate shows 0.0.
  CAnalysisProgress p = CAnalysisRun::ComputeProgress(50'000'000, 1'000'000'000, 1500);
  EXPECT_EQ(p.strRate, "0.0 MB/s");
  EXPECT_DOUBLE_EQ(p.dPercent, 5.0);
  EXPECT_EQ(p.nProgressBar, 50);
  // 25.69 % after 10 s: the percent is kept in tenths; 74.4 / 25.6 · 10 s ≈ 29 s left.
  p = CAnalysisRun::ComputeProgress(256'900'000, 1'000'000'000, 10'000);
  EXPECT_EQ(p.strRate, "25.7 MB/s");
  EXPECT_DOUBLE_EQ(p.dPercent, 25.6);
  EXPECT_EQ(p.nProgressBar, 250);
  EXPECT_EQ(p.nTaskbarPercent, 26);
  EXPECT_EQ(p.strRemaining, "0:29");
}

}  // namespace
