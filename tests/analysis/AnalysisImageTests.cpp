#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "analysis/AnalysisImage.h"
#include "analysis/AnalysisOptions.h"
#include "analysis/ColumnReducer.h"

namespace {

// N bins of 1 kHz over a recording centred on 10 MHz.
CAnalysisOptions Options(std::uint32_t nFFT, std::uint32_t nBandwidth, std::uint32_t nCentre) {
  CAnalysisOptions o;
  o.m_nAnalysisFFTSize = nFFT;
  o.m_nRecordingBandwidth = nFFT * 1000;
  o.m_nRecordingCenterFreq = 10000000;
  o.m_nAnalysisBandwidth = nBandwidth;
  o.m_nAnalysisCenterFreq = nCentre;
  o.m_tAnalysisStartUTC = 36000;  // 10:00:00 UTC
  o.m_tAnalysisEndUTC = 36000 + 3600;
  o.m_nAnalysisDisplayRows = 5000;
  return o;
}

// A row record: 6 header floats, then the levels.
std::vector<float> Record(const std::vector<float>& levels) {
  std::vector<float> r(CAnalysisImage::kRowHeaderFloats, 0.0f);
  r.insert(r.end(), levels.begin(), levels.end());
  return r;
}

void Add(CAnalysisImage& image, const std::vector<float>& levels) {
  const std::vector<float> r = Record(levels);
  image.AddRow(r.data(), levels.size());
}

}  // namespace

// Catches a band that reads outside the row record when it is wider than the recording
// or lies partly beyond it, and a wrong first bin (the picture would be shifted).
TEST(AnalysisImage, SelectsTheBinsOfTheAnalysedBand) {
  auto bins = CAnalysisImage::SelectBins(Options(1024, 100000, 10050000));
  EXPECT_EQ(bins.nFirst, 512u);
  EXPECT_EQ(bins.nCount, 100u);
  bins = CAnalysisImage::SelectBins(Options(1024, 2048000, 10000000));
  EXPECT_EQ(bins.nFirst, 0u);
  EXPECT_EQ(bins.nCount, 1024u);
  bins = CAnalysisImage::SelectBins(Options(1024, 400000, 10400000));
  EXPECT_EQ(bins.nFirst, 712u);
  EXPECT_EQ(bins.nCount, 312u);
  bins = CAnalysisImage::SelectBins(Options(1024, 100000, 20000000));
  EXPECT_EQ(bins.nCount, 0u);
}

// Catches run boundaries that skip or double-count bins: a single strong bin anywhere in
// the band must show in exactly one column, however the band divides, and that column is
// the one whose source bins (the current-values dialog's bin range) hold it.
TEST(ColumnReducer, EveryBinLandsInExactlyOneColumn) {
  CColumnReducer reducer;
  for (const auto& [nBins, nWidth] : {std::pair{10, 3}, {1000, 7}, {4096, 1000}, {5000, 4999}, {64, 64}}) {
    std::vector<float> src(static_cast<std::size_t>(nBins), -150.0f);
    std::vector<float> out(static_cast<std::size_t>(nWidth));
    for (int spike = 0; spike < nBins; spike += std::max(1, nBins / 97)) {
      src[static_cast<std::size_t>(spike)] = -3.0f;
      reducer.Reduce(src.data(), nBins, out.data(), nWidth);
      EXPECT_EQ(std::count(out.begin(), out.end(), -3.0f), 1) << nBins << "/" << nWidth << " bin " << spike;
      EXPECT_EQ(std::count(out.begin(), out.end(), -150.0f), nWidth - 1);
      const int nColumn = static_cast<int>(std::find(out.begin(), out.end(), -3.0f) - out.begin());
      int nFirst = 0, nEnd = 0;
      CColumnReducer::SourceOf(nBins, nWidth, nColumn, nFirst, nEnd);
      EXPECT_TRUE(spike >= nFirst && spike < nEnd) << nBins << "/" << nWidth << " bin " << spike;
      src[static_cast<std::size_t>(spike)] = -150.0f;
    }
  }
}

// Catches interpolation that is off by one column or uses the wrong neighbour weights: a
// linear ramp of bins must come out as the same ramp sampled at j / W * (bins - 1).
TEST(ColumnReducer, WiderPictureInterpolates) {
  CColumnReducer reducer;
  const std::vector<float> src = {0.0f, 10.0f, 20.0f};
  std::vector<float> out(6);
  reducer.Reduce(src.data(), 3, out.data(), 6);
  for (int j = 0; j < 6; ++j) EXPECT_NEAR(out[static_cast<std::size_t>(j)], 10.0 * j / 6.0 * 2.0, 1e-5) << j;
  int nFirst = 0, nEnd = 0;
  CColumnReducer::SourceOf(3, 6, 4, nFirst, nEnd);  // x = 4/6 * 2 = 1.33: bins 1 and 2
  EXPECT_EQ(nFirst, 1);
  EXPECT_EQ(nEnd, 3);
  const float one = -42.0f;
  reducer.Reduce(&one, 1, out.data(), 6);
  for (float v : out) EXPECT_EQ(v, -42.0f);
}

// Catches rows drawn from the top (time must run upward), rows beyond the height being
// drawn over others or dropped from the kept rows, and the wrong end of the manual scale.
TEST(AnalysisImage, RowsStackUpwardAndExtraRowsAreKept) {
  CAnalysisImage image;
  image.Reset(Options(16, 16000, 10000000), 4, 2);
  image.SetScaleAutomatic(false);
  image.SetManualLevels(-100, 0);  // -100 dB weakest, 0 dB strongest
  Add(image, std::vector<float>(16, -100.0f));
  Add(image, std::vector<float>(16, 0.0f));
  Add(image, std::vector<float>(16, -50.0f));
  const CColourTable& table = image.Colours();
  EXPECT_EQ(image.Pixel(0, 1), table[0]);      // row 0, bottom line
  EXPECT_EQ(image.Pixel(3, 0), table[65535]);  // row 1 above it
  ASSERT_EQ(image.Rows().Count(), 3u);
  EXPECT_EQ(image.Rows().m_aLines[2], std::vector<float>(4, -50.0f));
  EXPECT_EQ(image.Rows().m_anFlags[2], 1u);
  // The magnitudes are used: the same levels given positive draw the same picture.
  const std::vector<std::uint32_t> before(image.Pixels(), image.Pixels() + 8);
  image.SetManualLevels(100, 0);
  EXPECT_TRUE(std::equal(before.begin(), before.end(), image.Pixels()));
}

// Catches a fitted picture that samples rows instead of taking their maximum (a short strong
// signal vanishes), leaves lines undrawn, or draws rows outside their line.
TEST(AnalysisImage, FittedPictureShowsTheMaximumOfTheRowsOfEachLine) {
  CAnalysisImage image;
  image.Reset(Options(16, 16000, 10000000), 4, 2);
  image.SetScaleAutomatic(false);
  image.SetManualLevels(-100, 0);
  // 100 rows at -100 dB, one row at 0 dB in column 2 near the top.
  for (int r = 0; r < 100; ++r) {
    std::vector<float> levels(16, -100.0f);
    if (r == 97) levels[8] = levels[9] = levels[10] = levels[11] = 0.0f;
    Add(image, levels);
  }
  image.FitRowsToHeight(10);
  ASSERT_EQ(image.Height(), 10);
  const CColourTable& table = image.Colours();
  // Row 97 falls on the top line (rows 90..99); every other pixel is the weakest colour.
  for (int y = 0; y < 10; ++y)
    for (int x = 0; x < 4; ++x)
      EXPECT_EQ(image.Pixel(x, y), y == 0 && x == 2 ? table[65535] : table[0]) << x << "," << y;
  EXPECT_DOUBLE_EQ(image.PictureRowOf(97.0), 9.7);
  // The rows are all kept: the fit is a way of drawing them.
  EXPECT_EQ(image.Rows().Count(), 100u);

  // Fewer rows than lines: each row is stretched over its lines, none is left black.
  image.FitRowsToHeight(300);
  for (int y = 0; y < 300; ++y) EXPECT_EQ(image.Pixel(0, y), table[0]) << y;
  EXPECT_EQ(image.Pixel(2, 300 - 1 - 291), table[65535]);  // line 291 shows row 97
}

// Catches a row time that is not rounded from the display rows over the analysed range.
TEST(AnalysisImage, RowTimesSpreadTheRangeOverTheDisplayRows) {
  CAnalysisImage image;
  image.Reset(Options(16, 16000, 10000000), 4, 4);
  for (int r = 0; r < 3; ++r) Add(image, std::vector<float>(16, -80.0f));
  EXPECT_EQ(image.Rows().m_anTimes, (std::vector<std::uint32_t>{0, 1, 1}));  // 0, 0.72, 1.44 s
}

// Catches a flat row dividing by zero, a held peak that does not hold, and contrast that
// moves the base the wrong way.
TEST(ImageScaling, AutomaticRangeAndContrast) {
  CImageScaling scaling;
  const CColourTable table;
  std::vector<std::uint32_t> px(81);
  const std::vector<float> flat(81, -50.0f);
  scaling.ColourRow(flat.data(), 81, table, px.data());
  EXPECT_EQ(scaling.LastRange().nHigh, -40);
  EXPECT_EQ(scaling.LastRange().nLow, -50);
  EXPECT_EQ(px[40], table[0]);

  // The peak of -40 decays to -44 and holds the top of a quieter row.
  const std::vector<float> quiet(81, -70.0f);
  scaling.ColourRow(quiet.data(), 81, table, px.data());
  EXPECT_EQ(scaling.LastRange().nHigh, -44);

  // A ramp -100 .. -20 dB (mean -60). Contrast 100 spreads it from the minimum.
  std::vector<float> ramp(81);
  for (int i = 0; i < 81; ++i) ramp[static_cast<std::size_t>(i)] = -100.0f + i;
  scaling.ResetPeak();
  scaling.SetContrast(100);
  scaling.ColourRow(ramp.data(), 81, table, px.data());
  EXPECT_EQ(px[0], table[0]);
  EXPECT_EQ(px[40], table[32768]);  // 32767.5 rounds away from zero
  EXPECT_EQ(px[80], table[65535]);
  // Contrast 0 lifts the base to -28 dB: everything below is the weakest colour.
  scaling.ResetPeak();
  scaling.SetContrast(0);
  scaling.ColourRow(ramp.data(), 81, table, px.data());
  EXPECT_DOUBLE_EQ(scaling.LastRange().dBase, -28.0);
  EXPECT_EQ(px[70], table[0]);
  EXPECT_EQ(px[76], table[32768]);
}

// Catches integer overflow in the range of automatic scaling. A positive held peak grows by
// 10 % a row, past the integer range after about 200 rows and to infinity after about 900,
// and a damaged project may hold infinities and NaNs: such rows must still be coloured
// from the table (the sanitizer build reports the overflow).
TEST(ImageScaling, HeldPeakBeyondTheIntegerRangeStillColours) {
  CImageScaling scaling;
  const CColourTable table;
  std::vector<std::uint32_t> px(4);
  const std::vector<float> loud(4, 5.0f);
  for (int r = 0; r < 1000; ++r) scaling.ColourRow(loud.data(), 4, table, px.data());
  EXPECT_EQ(scaling.LastRange().nHigh, std::numeric_limits<int>::max());
  EXPECT_EQ(px[0], table[0]);  // far below the held peak: the weakest colour

  const float inf = std::numeric_limits<float>::infinity();
  const std::vector<float> wild = {std::nanf(""), -inf, inf, -80.0f};
  scaling.ResetPeak();
  scaling.ColourRow(wild.data(), 4, table, px.data());
  for (std::uint32_t p : px) EXPECT_EQ(p >> 24, 0xFFu);
}

// Catches truncation instead of rounding, and out-of-table indices from wild values.
TEST(ImageScaling, TableIndexRoundsHalfAwayAndClamps) {
  EXPECT_EQ(CImageScaling::TableIndex(0.5), 1);
  EXPECT_EQ(CImageScaling::TableIndex(2.5), 3);
  EXPECT_EQ(CImageScaling::TableIndex(1.49), 1);
  EXPECT_EQ(CImageScaling::TableIndex(-3.0), 0);
  EXPECT_EQ(CImageScaling::TableIndex(65535.4), 65535);
  EXPECT_EQ(CImageScaling::TableIndex(1e30), 65535);
  EXPECT_EQ(CImageScaling::TableIndex(std::nan("")), 0);
}

// Catches a palette change that does not redraw from the kept rows.
TEST(AnalysisImage, PaletteChangeRedraws) {
  CAnalysisImage image;
  image.Reset(Options(16, 16000, 10000000), 4, 1);
  image.SetScaleAutomatic(false);
  image.SetManualLevels(-100, 0);
  Add(image, std::vector<float>(16, 0.0f));
  image.SetPalette(CPalettes::ePaletteRadarGlow);
  EXPECT_EQ(image.Pixel(0, 0), 0xFF00FF00u);  // Radar Glow's strongest entry is pure green
  image.SetPalette(7);
  EXPECT_EQ(image.Pixel(0, 0), 0xFFFF0080u);
}

// Catches labels at the wrong rows or with a step not taken from the list.
TEST(AnalysisImage, TimeLabelsAtClockMultiplesOfTheStep) {
  EXPECT_EQ(CAnalysisImage::TimeLabelStep(0.2), 1);
  EXPECT_EQ(CAnalysisImage::TimeLabelStep(61.0), 120);
  EXPECT_EQ(CAnalysisImage::TimeLabelStep(1e9), 345600);

  CAnalysisOptions o = Options(16, 16000, 10000000);
  o.m_tAnalysisEndUTC = o.m_tAnalysisStartUTC + 2000;
  o.m_nAnalysisDisplayRows = 200;  // 10 s a row, so the target is 5 * 16 * 10 s: step 900 s
  CAnalysisImage image;
  image.Reset(o, 4, 4);
  for (int r = 0; r < 10; ++r) Add(image, std::vector<float>(16, -80.0f));
  EXPECT_TRUE(image.TimeLabels().empty());
  for (int r = 10; r < 200; ++r) Add(image, std::vector<float>(16, -80.0f));
  const auto labels = image.TimeLabels();
  ASSERT_EQ(labels.size(), 2u);
  EXPECT_EQ(labels[0].nRow, 90u);
  EXPECT_EQ(labels[0].strText, "10:15:00");
  EXPECT_EQ(labels[1].nRow, 180u);
  EXPECT_EQ(labels[1].strText, "10:30:00");
}

// Catches a column/frequency mapping that does not invert, which would make the signal
// history and the command line's --freq read the wrong column.
TEST(AnalysisImage, ColumnFrequencyRoundTrip) {
  for (int nWidth : {50, 100, 400}) {
    const CAnalysisOptions o = Options(1024, 100000, 10050000);
    for (int c = 0; c < nWidth; ++c) {
      EXPECT_EQ(CAnalysisImage::FrequencyColumn(o, nWidth, CAnalysisImage::ColumnFrequency(o, nWidth, c)), c)
          << nWidth;
    }
    EXPECT_EQ(CAnalysisImage::FrequencyColumn(o, nWidth, 9000000.0), -1);
  }
  // Full width: column c is bin 512 + c at 10.0 MHz + c kHz.
  EXPECT_DOUBLE_EQ(CAnalysisImage::ColumnFrequency(Options(1024, 100000, 10050000), 100, 7), 10007000.0);
}

// Catches a loaded project's stated size deciding the picture's memory: one wide row among
// many empty ones, or a stated size far beyond the rows, must not make a huge picture.
TEST(AnalysisImage, FitToRowsBoundsThePictureByItsData) {
  CImageRows rows;
  rows.Append(std::vector<float>(1000, -80.0f), 0);
  for (int r = 0; r < 5000; ++r) rows.Append({}, 0);
  int w = 0, h = 0;
  CAnalysisImage::FitToRows(rows, 2000000000, 2000000000, w, h);
  EXPECT_EQ(w, 1000);
  EXPECT_EQ(h, 1);
  rows.Clear();
  for (int r = 0; r < 30; ++r) rows.Append(std::vector<float>(20, -80.0f), 0);
  CAnalysisImage::FitToRows(rows, 20, 480, w, h);
  EXPECT_EQ(w, 20);
  EXPECT_EQ(h, 30);
  CAnalysisImage::FitToRows(rows, 0, -5, w, h);
  EXPECT_EQ(w, 1);
  EXPECT_EQ(h, 1);
}
