// The ticks of the picture's scales: round values, placed where the value lies on the
// scale, labelled with the decimals the step needs, never closer than asked.

#include <gtest/gtest.h>

#include <cmath>

#include "analysis/ImageScaling.h"
#include "analysis/ScaleTicks.h"

TEST(ScaleTicks, StepsAreOneTwoOrFiveTimesAPowerOfTen) {
  EXPECT_DOUBLE_EQ(RoundStep(0.7), 1.0);
  EXPECT_DOUBLE_EQ(RoundStep(1.0), 1.0);
  EXPECT_DOUBLE_EQ(RoundStep(1.01), 2.0);
  EXPECT_DOUBLE_EQ(RoundStep(3.0), 5.0);
  EXPECT_DOUBLE_EQ(RoundStep(6.0), 10.0);
  EXPECT_DOUBLE_EQ(RoundStep(0.1), 0.1);  // not lost to rounding as 0.2
  EXPECT_DOUBLE_EQ(RoundStep(17'000.0), 20'000.0);
  EXPECT_DOUBLE_EQ(RoundStep(0.0), 1.0);
  EXPECT_DOUBLE_EQ(RoundStep(std::nan("")), 1.0);
}

TEST(ScaleTicks, FrequencyTicksSitAtRoundFrequenciesWhereTheyLieOnTheScale) {
  // The demonstration recording's band over 1600 pixels, ticks at least 110 pixels apart.
  const double dLow = 6'975'000.0, dHigh = 7'225'000.0, dLength = 1600.0;
  const auto aTicks = FrequencyTicks(dLow, dHigh, dLength, 110.0);
  ASSERT_EQ(aTicks.size(), 13u);  // every 20 kHz from 6.98 to 7.22 MHz
  EXPECT_EQ(aTicks.front().strLabel, "6.98 MHz");
  EXPECT_EQ(aTicks[1].strLabel, "7.00 MHz");
  EXPECT_EQ(aTicks.back().strLabel, "7.22 MHz");
  for (std::size_t i = 0; i < aTicks.size(); ++i) {
    EXPECT_NEAR(aTicks[i].dPosition, (aTicks[i].dValue - dLow) / (dHigh - dLow) * dLength, 1e-6);
    EXPECT_NEAR(std::fmod(aTicks[i].dValue, 20'000.0), 0.0, 1e-6);
    if (i > 0) {
      EXPECT_GE(aTicks[i].dPosition - aTicks[i - 1].dPosition, 110.0);
    }
  }
  // A narrow band in kHz and Hz units.
  EXPECT_EQ(FrequencyTicks(14'000.0, 16'000.0, 400.0, 100.0).front().strLabel, "14.0 kHz");
  EXPECT_EQ(FrequencyTicks(100.0, 900.0, 400.0, 100.0).front().strLabel, "200 Hz");
  // Nothing to mark on an empty or reversed scale.
  EXPECT_TRUE(FrequencyTicks(7e6, 7e6, 100.0, 10.0).empty());
  EXPECT_TRUE(FrequencyTicks(7e6, 6e6, 100.0, 10.0).empty());
  EXPECT_TRUE(FrequencyTicks(6e6, 7e6, 0.0, 10.0).empty());
}

TEST(ScaleTicks, ColourBarSpansTheLevelsOfTheLastScaling) {
  CImageScaling scaling;
  scaling.SetAutomatic(false);
  scaling.SetManualLevels(160, -60);  // magnitudes are what counts
  const SColourBarRange manual = ColourBarRange(scaling);
  EXPECT_DOUBLE_EQ(manual.dLowDb, -160.0);
  EXPECT_DOUBLE_EQ(manual.dHighDb, -60.0);
  const auto aTicks = LevelTicks(manual.dLowDb, manual.dHighDb, 400.0, 30.0);
  ASSERT_FALSE(aTicks.empty());
  EXPECT_EQ(aTicks.front().strLabel, "-160 dB");
  EXPECT_EQ(aTicks.back().strLabel, "-60 dB");

  // Automatic: from the base of the last row's colours to its top.
  CColourTable table;
  std::vector<float> afLevels(100);
  for (std::size_t i = 0; i < afLevels.size(); ++i) afLevels[i] = -100.0f + static_cast<float>(i % 40);
  std::vector<std::uint32_t> anPixels(afLevels.size());
  CImageScaling automatic;
  automatic.ColourRow(afLevels.data(), static_cast<int>(afLevels.size()), table, anPixels.data());
  const SColourBarRange range = ColourBarRange(automatic);
  EXPECT_DOUBLE_EQ(range.dLowDb, automatic.LastRange().dBase);
  EXPECT_DOUBLE_EQ(range.dHighDb, automatic.LastRange().nHigh);
  EXPECT_LT(range.dLowDb, range.dHighDb);
}
