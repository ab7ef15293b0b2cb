#pragma once
// CAnalysisImage: the waterfall picture of one analysis.
//
// Rows of levels arrive from the run controller one at a time, in row order. Each is cut
// to the FFT bins of the analysed band, reduced to the picture's W pixel columns and kept
// (CImageRows), so the spectrum row itself is never held: memory grows with W per row,
// not with the FFT size. Kept rows are drawn into a plain 32-bit ARGB buffer
// (0xAARRGGBB per pixel, rows `Stride()` bytes apart) that the GUI and the command-line
// tool wrap in an image without copying. Time runs upward: row 0 is the bottom line.
// Rows beyond the picture's height are kept (and saved) but not drawn, unless the picture
// is fitted to a height (FitRowsToHeight): then every row is drawn, each pixel line showing
// the maximum of the rows that fall on it, so a strong short signal is never lost however
// far the rows are reduced (the rows' counterpart of CColumnReducer). Rows are drawn when
// the picture is next looked at (Pixels, Scaling), so that a run whose picture nobody
// looks at until its end (a project written by the command-line tool) never draws.
//
// Palette, scaling and contrast changes redraw the picture from the kept rows.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "analysis/ColourTable.h"
#include "analysis/ColumnReducer.h"
#include "analysis/ImageRows.h"
#include "analysis/ImageScaling.h"

class CAnalysisOptions;

class CAnalysisImage {
 public:
  // Header floats in front of the levels of a row record.
  static constexpr std::size_t kRowHeaderFloats = 6;

  // The FFT bins of the analysed band within a row's N levels.
  struct SBinRange {
    std::uint32_t nFirst = 0;  // level index of the first bin (after the header)
    std::uint32_t nCount = 0;  // bins in the band (0 when the band misses the recording)
  };
  static SBinRange SelectBins(const CAnalysisOptions& options);

  // The frequency in Hz at the centre of pixel column nColumn of a picture nWidth wide, and
  // the column of a frequency (-1 when it lies outside the picture).
  static double ColumnFrequency(const CAnalysisOptions& options, int nWidth, int nColumn);
  static int FrequencyColumn(const CAnalysisOptions& options, int nWidth, double dFrequencyHz);

  struct STimeLabel {
    std::size_t nRow = 0;
    std::int64_t tSeconds = 0;  // UTC seconds since 1970 of the label
    std::string strText;        // "%H:%M:%S" in UTC or local time
  };
  // Seconds between labels, chosen from a fixed list as the first not below the target.
  static std::int64_t TimeLabelStep(double dTargetSeconds);

  // The picture size for showing loaded rows: the stated size of the project, kept within
  // the widest row and the number of rows (at least 1 x 1), so a damaged project cannot
  // ask for a picture larger than its data.
  static void FitToRows(const CImageRows& rows, int nStatedWidth, int nStatedHeight, int& nWidth, int& nHeight);

  // The memory a run needs, known from the options before it starts: the picture's pixels
  // and one line of nWidth levels for every FFT row of the analysed range (the picture keeps
  // every row so that it can be redrawn and saved), plus, when a project is to be written,
  // the project writer's block of row texts. Bytes.
  static std::uint64_t RunMemoryBytes(std::int64_t nRows, int nWidth, int nHeight, bool bWithProject);
  // False when a run of these options at nWidth x nHeight would need more than
  // nAvailableBytes; strMessage then says what it needs, what is available and what would
  // fit (a shorter range, a larger FFT or overlap step, a narrower picture). Checked before
  // a run rather than kept on disk: every consumer of the rows (redraw, project, signal
  // history) reads them at random, and a run that cannot fit is better refused in a
  // second than slowed down by paging for an hour.
  static bool CheckRunMemory(const CAnalysisOptions& options, int nWidth, int nHeight, bool bWithProject,
                             std::uint64_t nAvailableBytes, std::string& strMessage);

  // The label spacing in rows: about the height of one label's text.
  static constexpr int kLabelSpacingRows = 16;

  CAnalysisImage();

  // Before a run, or before showing a loaded project: frees all rows, keeps the options'
  // band and timing, sets the picture size (pixels; at least 1 x 1) and starts the held
  // peak again. The picture is cleared to black.
  void Reset(const CAnalysisOptions& options, int nWidth, int nHeight);

  // Adds row record pRecord (kRowHeaderFloats header floats, then nLevels levels in dB)
  // as the next row, and draws it.
  void AddRow(const float* pRecord, std::size_t nLevels);

  // Draws all kept rows into nHeight pixel lines (at least 1): line p shows the maximum,
  // column by column, of the run of rows CColumnReducer::SourceOf assigns to it (one row
  // stretched over several lines when there are fewer rows than lines). Rows added later
  // are drawn too. Reset() ends the fit.
  void FitRowsToHeight(int nHeight);
  int FitHeight() const { return m_nFitHeight; }
  // The picture line (from the bottom, fractional) at which row dRow is drawn.
  double PictureRowOf(double dRow) const;

  // Frees the levels of kept row nRow (they are kept elsewhere); the row stays counted,
  // with its time and flag, and draws as background.
  void DropLevels(std::size_t nRow);
  // Replaces the kept rows (a loaded project) and redraws.
  void SetRows(CImageRows rows);
  const CImageRows& Rows() const { return m_rows; }
  // Hands the rows over (to a project store), leaving the picture empty of rows.
  CImageRows TakeRows();

  // Colouring: each setter redraws the picture from the kept rows; SetColouring sets them
  // all with a single redraw.
  void SetColouring(int nPalette, bool bAutomatic, int nContrast, int nManualFirst, int nManualSecond);
  void SetPalette(int nPalette);
  void SetScaleAutomatic(bool bAutomatic);
  void SetContrast(int nContrast);
  void SetManualLevels(int nFirst, int nSecond);
  void Redraw();

  int Palette() const { return m_colours.Palette(); }
  const CColourTable& Colours() const { return m_colours; }
  // The scaling as it stands after drawing every row so far (its automatic range follows
  // the rows drawn).
  const CImageScaling& Scaling() const {
    DrawPending();
    return m_scaling;
  }

  // The ARGB32 picture.
  int Width() const { return m_nWidth; }
  int Height() const { return m_nHeight; }
  int Stride() const { return m_nWidth * static_cast<int>(sizeof(std::uint32_t)); }
  const std::uint32_t* Pixels() const {
    DrawPending();
    return m_anPixels.data();
  }
  std::uint32_t Pixel(int x, int y) const { return Pixels()[static_cast<std::size_t>(y) * m_nWidth + x]; }

  // Time labels over the kept rows, once there are at least 11: a label at each row whose
  // time crosses a multiple of the label step. Times are local when the options said so.
  std::vector<STimeLabel> TimeLabels() const;

 private:
  // Brings the pixels up to date with the kept rows.
  void DrawPending() const;
  void DrawRow(std::size_t nRow) const;
  void DrawFittedLine(int nLine, std::vector<float>& afLevels) const;

  // From the options, fixed at Reset.
  SBinRange m_bins;
  std::int64_t m_tStartUTC = 0;
  std::int64_t m_tEndUTC = 0;
  int m_nDisplayRows = 0;
  bool m_bTimeFormatLocal = false;

  int m_nWidth = 1;
  int m_nHeight = 1;
  int m_nFitHeight = 0;  // 0: one row per line
  // Drawn on demand: see DrawPending.
  mutable std::vector<std::uint32_t> m_anPixels;
  mutable std::size_t m_nRowsDrawn = 0;

  CImageRows m_rows;
  CColumnReducer m_reducer;
  mutable CImageScaling m_scaling;
  CColourTable m_colours;
};
