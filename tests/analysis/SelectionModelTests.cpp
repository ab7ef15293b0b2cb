// The New/Edit Project dialog's data: its option lists, the summary table and the
// acceptance check.

#include <gtest/gtest.h>

#include "analysis/SelectionModel.h"

namespace {

std::vector<std::string> Labels(const CSelectionModel::SOptionList& list) {
  std::vector<std::string> labels;
  for (const auto& e : list.aEntries) labels.push_back(e.strLabel);
  return labels;
}

// Two files of 2 MS/s 16-bit IQ, 8,000,000 bytes each (1 s each).
CRecordingDescription Recording(std::uint32_t nCentreHz) {
  CRecordingDescription d;
  d.m_astrFileNames = {"/rec/a 000.wav", "/rec/a 001.wav"};
  d.m_anFileSizes = {8'000'000, 8'000'000};
  d.m_anFileStartTimes = {0, 0};
  d.m_strSource = "Brannock";
  d.m_tStart = 1'748'779'200;  // 2025-06-01 12:00:00
  d.m_tEnd = d.m_tStart + 2;
  d.m_dDuration = 2.0;
  d.m_nSampleRate = d.m_nFmtSampleRate = 2'000'000;
  d.m_nBitsPerSample = 16;
  d.m_nBytesPerSecond = 8'000'000;
  d.m_nCenterFrequency = nCentreHz;
  d.AddToTotal(8'000'000);
  d.AddToTotal(8'000'000);
  d.m_nFiles = 2;
  d.m_bValid = true;
  return d;
}

TEST(SelectionModel, FFTSizesRunFrom4KTo64MWithOneMAsDefault) {
  const auto& list = CSelectionModel::FFTSizes();
  ASSERT_EQ(list.aEntries.size(), 15u);
  EXPECT_EQ(list.aEntries.front().strLabel, "4 K");
  EXPECT_EQ(list.aEntries.front().nValue, 4096);
  EXPECT_EQ(list.aEntries[7].strLabel, "512 K");
  EXPECT_EQ(list.aEntries[8].strLabel, "1 M");  // the first labelled in M
  EXPECT_EQ(list.aEntries.back().strLabel, "64 M");
  EXPECT_EQ(list.aEntries.back().nValue, 67108864);
  EXPECT_EQ(list.Default().nValue, 1048576);
}

TEST(SelectionModel, OverlapZeroReadsNoneAndWindowsKeepTheirStoredNumbers) {
  const auto& overlaps = CSelectionModel::Overlaps();
  ASSERT_EQ(overlaps.aEntries.size(), 100u);
  EXPECT_EQ(overlaps.Default().strLabel, "None");
  EXPECT_EQ(overlaps.aEntries[1].strLabel, "1 %");
  EXPECT_EQ(overlaps.aEntries[99].strLabel, "99 %");

  const auto& windows = CSelectionModel::Windows();
  EXPECT_EQ(Labels(windows), (std::vector<std::string>{"Default", "Bartlett", "Blackman Std", "Blackman Opt",
                                                       "Hamming", "Hann", "None"}));
  EXPECT_EQ(windows.aEntries.back().nValue, 999);
  EXPECT_EQ(windows.Default().nValue, 0);
}

TEST(SelectionModel, BandwidthsAreLabelledInKilohertzWithThousandsSeparated) {
  const auto& list = CSelectionModel::Bandwidths();
  ASSERT_EQ(list.aEntries.size(), 55u);
  EXPECT_EQ(list.aEntries.front().strLabel, "1 Hz");
  EXPECT_EQ(list.aEntries[16].strLabel, "800 Hz");
  EXPECT_EQ(list.aEntries[17].strLabel, "1 kHz");
  EXPECT_EQ(list.aEntries[list.IndexOf(1'000'000)].strLabel, "1,000 kHz");
  EXPECT_EQ(list.aEntries[list.IndexOf(2'500'000)].strLabel, "2,500 kHz");
  EXPECT_EQ(list.aEntries.back().strLabel, "10,000 kHz");
  EXPECT_EQ(list.Default().strLabel, "10 kHz");
  EXPECT_EQ(CSelectionModel::BandwidthLabel(1500), "1500 Hz");
}

TEST(SelectionModel, DisplaySizesStartWithFullAndStepAsListed) {
  const auto& widths = CSelectionModel::DisplayWidths();
  // "Full", 500..2000 by 100 (16), 2500..5000 by 500 (6), 6000..20000 by 1000 (15),
  // 25000..100000 by 5000 (16).
  ASSERT_EQ(widths.aEntries.size(), 54u);
  EXPECT_EQ(widths.aEntries[0].strLabel, "Full");
  EXPECT_EQ(widths.aEntries[0].nValue, CSelectionModel::kFull);
  EXPECT_EQ(widths.aEntries[16].nValue, 2000);
  EXPECT_EQ(widths.aEntries[17].nValue, 2500);
  EXPECT_EQ(widths.aEntries[23].nValue, 6000);
  EXPECT_EQ(widths.aEntries.back().strLabel, "100000");
  EXPECT_EQ(widths.Default().nValue, 5000);

  const auto& heights = CSelectionModel::DisplayHeights();
  ASSERT_EQ(heights.aEntries.size(), 21u);
  EXPECT_EQ(heights.aEntries.back().nValue, 10000);
  EXPECT_EQ(heights.Default().strLabel, "Full");
}

TEST(SelectionModel, SummaryTableHasTheListedRowsTooltipsAndValues) {
  CSelectionModel model;
  model.SetRecording(Recording(7'100'000));
  model.Choices().nFFTSize = 4096;
  model.Choices().nOverlap = 50;
  const auto rows = model.SummaryRows();
  const std::vector<std::pair<std::string, std::string>> expected = {
      {"Files", "Recording: Total files"},
      {"Size", "Recording: Total file size in GB"},
      {"Source", "Recording: Program which made the recording"},
      {"Center Freq", "Recording: Center frequency in Hz"},
      {"Bandwidth", "Recording: Bandwidth in Hz"},
      {"Bits per sample", "Recording: Bits per sample"},
      {"Start (UTC)", "Recording: Start time (UTC)"},
      {"End (UTC)", "Recording: End time (UTC)"},
      {"Duration", "Recording: Duration"},
      {"- - -", ""},
      {"FFT Size", "Analysis: FFT size in bins"},
      {"Overlap", "Analysis: FFT overlap in percent"},
      {"Swap IQ", "Analysis: Swap IQ (invert frequency)"},
      {"Res. Bandwidth", "Analysis: Resolution bandwidth (FFT bins per Hz)"},
      {"Start (UTC)", "Analysis: Start time (UTC)"},
      {"End (UTC)", "Analysis: End time (UTC)"},
      {"Time Range", "Analysis: Time range"},
      {"Start Offset", "Analysis: Time offset from start of recording"},
      {"Data Offset", "Analysis: Data offset from start of recording"},
      {"Data Length", "Analysis: Data length in bytes"},
      {"Display Rows", "Analysis: Rows plotted in display"},
  };
  ASSERT_EQ(rows.size(), expected.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i].strLabel, expected[i].first) << "row " << i;
    EXPECT_EQ(rows[i].strTooltip, expected[i].second) << "row " << i;
  }
  EXPECT_EQ(rows[0].strValue, "2");
  EXPECT_EQ(rows[1].strValue, "0.016 GB");
  EXPECT_EQ(rows[6].strValue, "2025-06-01 12:00:00");
  EXPECT_EQ(rows[8].strValue, "0:00:02");
  EXPECT_EQ(rows[13].strValue, "488.281 Hz");
  EXPECT_EQ(rows[16].strValue, "0:00:02");
  EXPECT_EQ(rows[19].strValue, "16000000");
  // 4,000,000 samples in 2048-sample steps with a 4096-sample frame: 1 + 3,995,904 / 2048.
  EXPECT_EQ(rows[20].strValue, "1952 rows");
}

TEST(SelectionModel, ARangeChoiceMovesTheAnalysisRowsAndTheOptions) {
  CSelectionModel model;
  model.SetRecording(Recording(7'100'000));
  model.Choices().bWholeRange = false;
  model.Choices().tStartUTC = 1'748'779'201;
  model.Choices().tEndUTC = 1'748'779'202;
  const CAnalysisOptions options = model.Options();
  EXPECT_EQ(options.m_nAnalysisDataOffset, 8'000'000);
  EXPECT_EQ(options.m_nAnalysisDataLength, 8'000'000);
  EXPECT_EQ(options.m_nAnalysisCenterFreq, 7'100'000u);
  EXPECT_EQ(options.m_nAnalysisDisplayHeight, CSelectionModel::kFull);
  const auto rows = model.SummaryRows();
  EXPECT_EQ(rows[17].strValue, "0:00:01");
  EXPECT_EQ(rows[18].strValue, "8000000");
}

TEST(SelectionModel, ACentreBelowHalfTheBandwidthIsRefusedWithTheInvalidRecordingBox) {
  // 2,000,000 Hz sample rate: 999,999 Hz holds negative frequencies, 1,000,000 Hz does not.
  std::string strTitle, strMessage;
  CSelectionModel model;
  model.SetRecording(Recording(999'999));
  model.Choices().nFFTSize = 4096;
  EXPECT_FALSE(model.Accept(strTitle, strMessage));
  EXPECT_EQ(strTitle, "Invalid Recording");
  EXPECT_EQ(strMessage,
            "The centre frequency is less than (<) half the bandwidth (the recording contains data for negative "
            "frequencies).\n\nThis file cannot be played correctly.");

  model.SetRecording(Recording(1'000'000));
  model.Choices().nFFTSize = 4096;
  EXPECT_TRUE(model.Accept(strTitle, strMessage)) << strMessage;
  EXPECT_TRUE(strMessage.empty());
}

TEST(SelectionModel, EditProjectStartsFromTheOptionsChoices) {
  CSelectionModel first;
  first.SetRecording(Recording(7'100'000));
  first.Choices().nFFTSize = 65536;
  first.Choices().eWindow = ANALYSIS_WINDOW_HAMMING;
  first.Choices().nDisplayWidth = 1200;
  first.Choices().bSwapIQ = true;
  CSelectionModel edit;
  edit.SetFromOptions(Recording(7'100'000), first.Options());
  EXPECT_EQ(edit.Choices().nFFTSize, 65536u);
  EXPECT_EQ(edit.Choices().eWindow, static_cast<std::uint32_t>(ANALYSIS_WINDOW_HAMMING));
  EXPECT_EQ(edit.Choices().nDisplayWidth, 1200);
  EXPECT_TRUE(edit.Choices().bSwapIQ);
  EXPECT_EQ(edit.SummaryRows()[12].strValue, "Yes");
}

TEST(SelectionModel, ANewProjectTakesTheEarlierAnalysisChoicesButNotItsBandOrRange) {
  CSelectionModel earlier;
  earlier.SetRecording(Recording(7'100'000));
  earlier.Choices().nFFTSize = 8192;
  earlier.Choices().nOverlap = 50;
  earlier.Choices().eWindow = ANALYSIS_WINDOW_HANN;
  earlier.Choices().nDisplayHeight = 1500;
  earlier.Choices().nBandwidth = 20000;
  CAnalysisOptions options = earlier.Options();
  options.m_nAnalysisDisplayWidth = 1234;  // not in the list: the default stays
  CSelectionModel fresh;
  fresh.SetRecording(Recording(3'000'000));
  fresh.TakeAnalysisChoices(options);
  EXPECT_EQ(fresh.Choices().nFFTSize, 8192u);
  EXPECT_EQ(fresh.Choices().nOverlap, 50u);
  EXPECT_EQ(fresh.Choices().eWindow, static_cast<std::uint32_t>(ANALYSIS_WINDOW_HANN));
  EXPECT_EQ(fresh.Choices().nDisplayHeight, 1500);
  EXPECT_EQ(fresh.Choices().nDisplayWidth, CSelectionModel::DisplayWidths().Default().nValue);
  EXPECT_EQ(fresh.Choices().nBandwidth, 10000u);
  EXPECT_EQ(fresh.Choices().nCenterFreq, 3'000'000u);
}

}  // namespace
