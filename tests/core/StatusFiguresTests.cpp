// The status bar's figures and texts, the log sinks and the engine-fault subscription.

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "core/EngineFaults.h"
#include "core/Log.h"
#include "core/StatusFigures.h"

namespace {

TEST(StatusFigures, MemoryIsShownInDecimalGigabytesFromOneBillionBytesOn) {
  // Catches binary units or a threshold at 1 GiB.
  EXPECT_EQ(CStatusFigures::MemoryText("Size", 1'000'000'000ull), "Size: 1.0 GB");
  EXPECT_EQ(CStatusFigures::MemoryText("Size", 999'999'999ull), "Size: 1000.0 MB");
  EXPECT_EQ(CStatusFigures::MemoryText("Peak", 12'345'678ull), "Peak: 12.3 MB");
  EXPECT_EQ(CStatusFigures::MemoryText("Peak", 2'550'000'000ull), "Peak: 2.5 GB");
}

TEST(StatusFigures, PercentOfPhysicalMemoryIsRoundedUp) {
  // Catches rounding to nearest or truncation: one byte over a whole percent is the next.
  EXPECT_EQ(CStatusFigures::PercentOfPhysical(0, 8'000'000'000ull), 0);
  EXPECT_EQ(CStatusFigures::PercentOfPhysical(80'000'000ull, 8'000'000'000ull), 1);
  EXPECT_EQ(CStatusFigures::PercentOfPhysical(80'000'001ull, 8'000'000'000ull), 2);
  EXPECT_EQ(CStatusFigures::PercentOfPhysical(1, 8'000'000'000ull), 1);
  EXPECT_EQ(CStatusFigures::PercentOfPhysical(5, 0), 0);
}

TEST(StatusFigures, CpuIsTheCpuTimeBetweenTwoRefreshesOverTheWallTime) {
  CStatusFigures figures;
  CStatusFigures::SSample sample;
  sample.dCpuSeconds = 100.0;  // consumed before the first refresh: not counted
  sample.dWallSeconds = 50.0;
  sample.nPrivateBytes = 1'500'000'000ull;
  sample.nPeakBytes = 2'000'000'000ull;
  sample.nPhysicalBytes = 16'000'000'000ull;
  sample.nBusyThreads = 3;
  figures.FromSample(sample);
  EXPECT_EQ(figures.CpuText(), "CPU: 0%");
  EXPECT_EQ(figures.SizeText(), "Size: 1.5 GB");
  EXPECT_EQ(figures.PeakText(), "Peak: 2.0 GB");
  EXPECT_EQ(figures.SizePercent(), 10);
  EXPECT_EQ(figures.PeakPercent(), 13);
  EXPECT_EQ(figures.ThreadsText(), "Threads: 3");

  // Two cores busy for a quarter second: 200 %.
  sample.dCpuSeconds += 0.5;
  sample.dWallSeconds += 0.25;
  figures.FromSample(sample);
  EXPECT_EQ(figures.CpuText(), "CPU: 200%");
  // No wall time at all counts as 1 ms, never a division by zero.
  sample.dCpuSeconds += 0.0005;
  figures.FromSample(sample);
  EXPECT_EQ(figures.CpuPercent(), 50);
}

TEST(StatusFigures, PointTextsGroupHertzInThreesAndRoundLevelsToTenths) {
  // The frequency pane counts whole hertz, in groups that a reader takes as MHz.kHz.Hz.
  EXPECT_EQ(CStatusFigures::FrequencyText(7'100'000.0), "7.100.000 MHz");
  EXPECT_EQ(CStatusFigures::FrequencyText(999.4), "999 MHz");
  EXPECT_EQ(CStatusFigures::FrequencyText(1'000.0), "1.000 MHz");
  EXPECT_EQ(CStatusFigures::FrequencyText(145'500'000.6), "145.500.001 MHz");
  EXPECT_EQ(CStatusFigures::FrequencyText(9'999'999'999.0), CStatusFigures::kFrequencyWidest);
  EXPECT_EQ(CStatusFigures::SignalText(-83.25), "-83.2 dBm");
  EXPECT_EQ(CStatusFigures::TimeText(1'748'779'200 + 3723, false), "13:02:03");
}

TEST(StatusFigures, ARefreshOfThisProcessGivesPlausibleFigures) {
  CStatusFigures figures;
  figures.Refresh(0);
  figures.Refresh(2);
  EXPECT_GT(figures.PrivateBytes(), 0u);
  EXPECT_GE(figures.PeakBytes(), figures.PrivateBytes());
  EXPECT_GE(figures.SizePercent(), 1);
  EXPECT_EQ(figures.ThreadsText(), "Threads: 2");
  EXPECT_STREQ(CStatusFigures::kPanes[0].pszTooltip, "Current CPU usage as a percentage");
  EXPECT_STREQ(CStatusFigures::kPanes[6].pszPlaceholder, "Threads: %d");
}

TEST(LogSink, ASinkGetsEveryLineWithItsPrefixUntilItIsRemoved) {
  std::vector<std::string> lines;
  const int nId = AddLogSink([&lines](const std::string& line) { lines.push_back(line); });
  SetLogFilePath({});  // no file: the sink still sees every line
  LogLine("CXMLMgr> Constructor");
  LogLine("");
  std::thread([] { LogLine("from a worker"); }).join();
  RemoveLogSink(nId);
  LogLine("after removal");
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].substr(LogPrefix().size()), "CXMLMgr> Constructor");
  EXPECT_EQ(lines[1], "");
  EXPECT_EQ(lines[2].substr(LogPrefix().size()), "from a worker");
}

TEST(EngineFaults, SubscribersGetFaultsUntilTheirSubscriptionEnds) {
  std::vector<CEngineFault> faults;
  {
    CEngineFaultSubscription subscription([&faults](const CEngineFault& f) { faults.push_back(f); });
    std::thread([] { ReportEngineFault(EEngineFault::FFTPlan, "FFT 1> Cannot make an FFT plan of 4096 points"); })
        .join();
  }
  ReportEngineFault(EEngineFault::AudioDevice, "not seen");
  ASSERT_EQ(faults.size(), 1u);
  EXPECT_EQ(faults[0].eKind, EEngineFault::FFTPlan);
  EXPECT_EQ(faults[0].strText, "FFT 1> Cannot make an FFT plan of 4096 points");
}

}  // namespace
