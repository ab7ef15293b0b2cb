// The view-side play sequences: display FFT sizing, mode names, click frequency and the
// time-to-file walk.

#include <gtest/gtest.h>

#include "persist/MySettingsStore.h"
#include "player/PlayerControl.h"
#include "support/TestEnvironment.h"

namespace {

// Catches the overlap rounded the spectrum taps' way, or a size short of one line.
TEST(PlayerControl, DisplayFFTHoldsOneLineAndRoundsTheOverlapDown) {
  const CDisplayFFTSetup a = DisplayFFTForRate(48000, 0);
  EXPECT_EQ(a.m_nLinesPerSecond, 20);
  EXPECT_EQ(a.m_nSize, 4096u);   // 2400 samples a line
  EXPECT_EQ(a.m_nOverlap, 42);   // 100 - 240000 / 4096 = 100 - 58
  const CDisplayFFTSetup b = DisplayFFTForRate(2'000'000, 10);
  EXPECT_EQ(b.m_nSize, 262144u);  // 200000 a line
  EXPECT_EQ(b.m_nOverlap, 24);    // 100 - 20000000 / 262144 = 100 - 76
  EXPECT_EQ(DisplayFFTForRate(40, 20).m_nSize, 2u);
}

// Catches names matched in any case (only "cw" is), and a wrong fallback.
TEST(PlayerControl, ModeTextGivesTheModeNumber) {
  EXPECT_EQ(PlayerModeNumber("AM"), 6);
  EXPECT_EQ(PlayerModeNumber("FM-Broadcast"), 9);
  EXPECT_EQ(PlayerModeNumber("BFM"), 9);
  EXPECT_EQ(PlayerModeNumber("am"), 1);
  EXPECT_EQ(PlayerModeNumber("cw"), 5);
  EXPECT_EQ(PlayerModeNumber("CW"), 5);
  EXPECT_EQ(PlayerModeNumber("nonsense"), 1);
}

// Catches a CW shift in the wrong direction, a snap applied to CW, and a snap that
// truncates instead of rounding to the nearest step.
TEST(PlayerControl, ClickFrequencyShiftsCWAndSnapsTheRest) {
  CPictureClick click;
  click.m_dCentreHz = 7'100'000;
  click.m_dSpanHz = 200'000;
  click.m_nWidth = 1000;
  click.m_nX = 713;  // 7 142 600 Hz
  CPlayerOptions options;
  options.m_nFilterLow = 300;
  options.m_nFilterHigh = 700;
  options.m_strMode = "AM";
  EXPECT_DOUBLE_EQ(ClickFrequency(click, options), 7'142'600.0);
  options.m_bFreqSnapEnable = true;
  options.m_strFreqSnap = "5k";
  EXPECT_DOUBLE_EQ(ClickFrequency(click, options), 7'145'000.0);
  options.m_strFreqSnap = "9000";
  EXPECT_DOUBLE_EQ(ClickFrequency(click, options), 7'146'000.0);
  options.m_strMode = "CW-L";
  EXPECT_DOUBLE_EQ(ClickFrequency(click, options), 7'143'100.0);
  options.m_strMode = "CW-U";
  EXPECT_DOUBLE_EQ(ClickFrequency(click, options), 7'142'100.0);
}

// Catches an offset that is not a whole sample frame, or a walk that does not carry into
// the next file.
TEST(PlayerControl, TimeFallsIntoTheRightFileAndOffset) {
  CRecordingDescription desc;
  desc.m_astrFileNames = {"a.wav", "b.wav", "c.wav"};
  desc.m_anFileSizes = {400000, 400000, 400000};  // 16-bit: 100000 samples = 1 s each
  desc.m_nFiles = 3;
  desc.m_nSampleRate = desc.m_nFmtSampleRate = 100000;
  desc.m_nBitsPerSample = 16;
  CSeriesPosition p = SeriesPositionAt(desc, 0.5);
  EXPECT_EQ(p.m_strFile, "a.wav");
  EXPECT_EQ(p.m_nOffset, 200000u);
  p = SeriesPositionAt(desc, 1.2500001);
  EXPECT_EQ(p.m_strFile, "b.wav");
  EXPECT_EQ(p.m_nOffset, 100000u);
  p = SeriesPositionAt(desc, 0.333333);
  EXPECT_EQ(p.m_nOffset % 4, 0u);
  p = SeriesPositionAt(desc, 99.0);
  EXPECT_EQ(p.m_strFile, "c.wav");
  EXPECT_EQ(p.m_nOffset, 400000u);
  // And back: a position report gives the recording time it plays.
  EXPECT_DOUBLE_EQ(SeriesSecondsAt(desc, 1, 100000), 1.25);
  EXPECT_DOUBLE_EQ(SeriesSecondsAt(desc, 0, 200002), 0.5);

  CPictureClick click;
  click.m_nHeight = 100;
  click.m_tTop = 3.0;
  click.m_tBottom = 1.0;
  click.m_nY = 25;
  EXPECT_DOUBLE_EQ(ClickTime(click), 2.5);
}

// The band drawn over the displays is the one the channel filter passes.
TEST(PlayerControl, PassBandLiesOnTheModesSide) {
  double dLow = 0.0, dHigh = 0.0;
  PassBandFrequencies(0, 300, 2700, 7'000'000.0, dLow, dHigh);  // LSB
  EXPECT_DOUBLE_EQ(dLow, 6'997'300.0);
  EXPECT_DOUBLE_EQ(dHigh, 6'999'700.0);
  PassBandFrequencies(1, 2700, 300, 7'000'000.0, dLow, dHigh);  // USB, edges either way round
  EXPECT_DOUBLE_EQ(dLow, 7'000'300.0);
  EXPECT_DOUBLE_EQ(dHigh, 7'002'700.0);
  PassBandFrequencies(6, 0, 5000, 7'000'000.0, dLow, dHigh);  // AM
  EXPECT_DOUBLE_EQ(dLow, 6'995'000.0);
  EXPECT_DOUBLE_EQ(dHigh, 7'005'000.0);
}

TEST(PlayerControl, FilterEdgesAreReadInEitherOrder) {
  CTempFolder folder;
  CMySettingsStore store(folder / "Settings.xml");
  store.Write("DemodPlayerFilterLow", 2800);
  store.Write("DemodPlayerFilterHigh", 100);
  store.Write("DemodPlayerMode", "ECSS-U");
  const CPlayerOptions options = ReadPlayerOptions(store);
  EXPECT_EQ(options.m_nFilterLow, 100);
  EXPECT_EQ(options.m_nFilterHigh, 2800);
  EXPECT_EQ(options.m_strMode, "ECSS-U");
}

}  // namespace
