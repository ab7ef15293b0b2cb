#include <gtest/gtest.h>

#include <vector>

#include "analysis/SignalHistory.h"

namespace {

// nRows rows of width 5 with the given level at column 2 (others -150), a second apart
// times nSecondsPerRow.
CImageRows Rows(std::size_t nRows, std::uint32_t nSecondsPerRow, float fLevel) {
  CImageRows rows;
  for (std::size_t r = 0; r < nRows; ++r) {
    std::vector<float> line(5, -150.0f);
    line[2] = fLevel;
    rows.Append(line, static_cast<std::uint32_t>(r) * nSecondsPerRow);
  }
  return rows;
}

}  // namespace

// Catches minute mode switching at the wrong range, or averaging rows in the short mode.
TEST(SignalHistory, OnePointPerRowUpTo1200SecondsThenPerMinute) {
  CSignalHistory history;
  const CImageRows rows = Rows(120, 10, -60.0f);  // 1200 s
  history.Fill(rows, 5, 2, 1000000, 1200);
  EXPECT_FALSE(history.MinuteMode());
  EXPECT_EQ(history.Points().size(), 120u);
  EXPECT_EQ(history.Points()[3].tSeconds, 1000030);

  // One second longer: rows of a minute (six of them) become one point at the whole minute.
  history.Fill(rows, 5, 2, 1000000, 1201);
  ASSERT_TRUE(history.MinuteMode());
  // 1000000 is 40 s into a minute, so the first minute holds only two rows.
  ASSERT_EQ(history.Points().size(), 21u);
  EXPECT_EQ(history.Points()[0].tSeconds, 999960);
  EXPECT_EQ(history.Points()[1].tSeconds, 1000020);
  EXPECT_DOUBLE_EQ(history.Points()[1].dLevel, -60.0);
}

// Catches the neighbour rule reading outside the row at the picture's edges, a column
// beyond the picture not being clamped, and the mean being taken over the wrong rows.
TEST(SignalHistory, LevelIsTheLargestNeighbourAndGroupsAverage) {
  CImageRows rows;
  rows.Append({-90.0f, -80.0f, -100.0f}, 0);
  rows.Append({-70.0f, -95.0f, -99.0f}, 30);
  rows.Append({-60.0f, -99.0f, -50.0f}, 61);
  CSignalHistory history;
  history.Fill(rows, 3, 0, 0, 3600);
  ASSERT_EQ(history.Points().size(), 2u);
  EXPECT_DOUBLE_EQ(history.Points()[0].dLevel, -75.0);  // max(-90, -80), max(-70, -95)
  EXPECT_DOUBLE_EQ(history.Points()[1].dLevel, -60.0);
  history.Fill(rows, 3, 99, 0, 3600);  // the last column, 2
  EXPECT_EQ(history.Column(), 2);
  EXPECT_DOUBLE_EQ(history.Points()[0].dLevel, -87.5);  // max(-80, -100), max(-95, -99)
  EXPECT_DOUBLE_EQ(history.Points()[1].dLevel, -50.0);
}

// Catches empty (zero) rows pulling the line up to 0 dB: a group summing to -1.0 or more
// is dropped, one just below is kept.
TEST(SignalHistory, GroupsSummingToMinusOneOrMoreAreDropped) {
  CImageRows rows;
  rows.Append({0.0f, 0.0f, 0.0f}, 0);
  rows.Append({-1.0f, -1.0f, -1.0f}, 1);
  rows.Append({-1.001f, -2.0f, -1.5f}, 2);
  CSignalHistory history;
  history.Fill(rows, 3, 1, 0, 100);
  ASSERT_EQ(history.Points().size(), 1u);
  EXPECT_EQ(history.Points()[0].tSeconds, 2);
  EXPECT_NEAR(history.Points()[0].dLevel, -1.001, 1e-6);
}

// Catches a scale that ignores the -150..0 limits or the minimum margin for one point.
TEST(SignalHistory, AutomaticAndFixedScale) {
  CSignalHistory history;
  history.Fill(Rows(1, 1, -60.0f), 5, 2, 0, 10);
  auto s = history.Scale(false);
  EXPECT_DOUBLE_EQ(s.dLow, -60.0 - 0.0005);
  EXPECT_DOUBLE_EQ(s.dHigh, -60.0 + 0.0005);
  EXPECT_STREQ(s.pszFormat, "%.2f");
  s = history.Scale(true);
  EXPECT_EQ(s.dLow, -150.0);
  EXPECT_EQ(s.dHigh, 0.0);
  EXPECT_STREQ(s.pszFormat, "%.0f");

  CImageRows rows;
  rows.Append({-149.0f}, 0);
  rows.Append({-2.0f}, 1);
  history.Fill(rows, 1, 0, 0, 10);
  s = history.Scale(false);
  EXPECT_EQ(history.Minimum(), -149.0);
  EXPECT_EQ(history.Maximum(), -2.0);
  EXPECT_EQ(s.dLow, -150.0);   // -149 - 7.35 limited
  EXPECT_EQ(s.dHigh, 0.0);     // -2 + 7.35 limited
}

// Catches local time or a lost sign in the CSV that the GUI copies and vexlor-cli prints.
TEST(SignalHistory, PointsAsCsvInUtc) {
  CSignalHistory history;
  history.Fill(Rows(2, 30, -61.25f), 5, 2, 1700000000, 60);
  EXPECT_EQ(history.CsvText(), "time_utc,level_db\n2023-11-14T22:13:20Z,-61.250\n2023-11-14T22:13:50Z,-61.250\n");
}
