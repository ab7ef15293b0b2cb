#include "analysis/AnalysisImage.h"

#include <algorithm>
#include <cmath>

#include "analysis/AnalysisOptions.h"
#include "analysis/ProjectFile.h"
#include "core/Log.h"
#include "core/SystemTime.h"

namespace {

constexpr std::int64_t kLabelSteps[] = {1,    2,    5,     10,    15,    20,    30,     60,
                                        120,  300,  600,   900,   1200,  1800,  3600,   7200,
                                        10800, 14400, 21600, 43200, 86400, 172800, 259200, 345600};

constexpr std::uint32_t kBackground = 0xFF000000u;

// Lowest frequency of the recording's band: level element j of a row is at
// low + j * (recording bandwidth / N).
double RecordingLowHz(const CAnalysisOptions& options) {
  return options.m_nRecordingCenterFreq - options.m_nRecordingBandwidth * 0.5;
}

double BinWidthHz(const CAnalysisOptions& options) {
  return options.m_nAnalysisFFTSize ? double(options.m_nRecordingBandwidth) / options.m_nAnalysisFFTSize : 0.0;
}

std::string ClockText(std::int64_t tSeconds, bool bLocal) {
  if (!bLocal) return FormatUtcSeconds(tSeconds, "%H:%M:%S");
  const SYSTEMTIME local = UtcSystemTimeToLocal(SecondsToSystemTime(tSeconds));
  return StrFormat("%02u:%02u:%02u", unsigned(local.wHour), unsigned(local.wMinute), unsigned(local.wSecond));
}

}  // namespace

CAnalysisImage::SBinRange CAnalysisImage::SelectBins(const CAnalysisOptions& options) {
  SBinRange range;
  const double dN = options.m_nAnalysisFFTSize;
  const double dRecBw = options.m_nRecordingBandwidth;
  if (dN <= 0.0 || dRecBw <= 0.0) return range;
  const double dCount = std::trunc(double(options.m_nAnalysisBandwidth) * dN / dRecBw);
  const double dFirst =
      std::trunc((options.m_nAnalysisCenterFreq - options.m_nAnalysisBandwidth * 0.5 - RecordingLowHz(options)) *
                 dN / dRecBw);
  // A band starting below the recording is cut at its lowest bin; one starting above the
  // recording leaves no bins at all.
  const double dStart = std::max(dFirst, 0.0);
  const double dCountLimited = std::min(dCount, dN - dStart);
  if (dStart >= dN || dCountLimited <= 0.0) return range;
  range.nFirst = static_cast<std::uint32_t>(dStart);
  range.nCount = static_cast<std::uint32_t>(dCountLimited);
  return range;
}

double CAnalysisImage::ColumnFrequency(const CAnalysisOptions& options, int nWidth, int nColumn) {
  const SBinRange bins = SelectBins(options);
  if (nWidth <= 0 || bins.nCount == 0) return 0.0;
  double dBin;
  if (bins.nCount >= static_cast<std::uint32_t>(nWidth)) {
    // The centre of the column's run of bins.
    dBin = (nColumn + 0.5) * bins.nCount / nWidth - 0.5;
  } else {
    dBin = static_cast<double>(nColumn) / nWidth * (bins.nCount - 1);
  }
  return RecordingLowHz(options) + (bins.nFirst + dBin) * BinWidthHz(options);
}

int CAnalysisImage::FrequencyColumn(const CAnalysisOptions& options, int nWidth, double dFrequencyHz) {
  const SBinRange bins = SelectBins(options);
  const double dBinWidth = BinWidthHz(options);
  if (nWidth <= 0 || bins.nCount == 0 || dBinWidth <= 0.0) return -1;
  const double dBin = (dFrequencyHz - RecordingLowHz(options)) / dBinWidth - bins.nFirst;
  double dColumn;
  if (bins.nCount >= static_cast<std::uint32_t>(nWidth)) {
    dColumn = std::floor((dBin + 0.5) * nWidth / bins.nCount);
  } else {
    dColumn = bins.nCount > 1 ? std::floor(dBin * nWidth / (bins.nCount - 1) + 0.5) : 0.0;
  }
  if (!(dColumn >= 0.0 && dColumn < nWidth)) return -1;
  return static_cast<int>(dColumn);
}

std::int64_t CAnalysisImage::TimeLabelStep(double dTargetSeconds) {
  for (std::int64_t step : kLabelSteps) {
    if (static_cast<double>(step) >= dTargetSeconds) return step;
  }
  return kLabelSteps[std::size(kLabelSteps) - 1];
}

void CAnalysisImage::FitToRows(const CImageRows& rows, int nStatedWidth, int nStatedHeight, int& nWidth,
                               int& nHeight) {
  std::size_t nWidest = 1;
  std::uint64_t nValues = 0;
  for (const std::vector<float>& line : rows.m_aLines) {
    nWidest = std::max(nWidest, line.size());
    nValues += line.size();
  }
  const std::size_t nRows = std::max<std::size_t>(rows.Count(), 1);
  nWidth = static_cast<int>(std::clamp<std::size_t>(static_cast<std::size_t>(std::max(nStatedWidth, 1)), 1, nWidest));
  nHeight = static_cast<int>(std::clamp<std::size_t>(static_cast<std::size_t>(std::max(nStatedHeight, 1)), 1, nRows));
  // One wide row among many empty ones must not make a picture of wide x many pixels.
  if (static_cast<std::uint64_t>(nWidth) * static_cast<std::uint64_t>(nHeight) > std::max<std::uint64_t>(nValues, 1)) {
    nHeight = static_cast<int>(std::max<std::uint64_t>(nValues / static_cast<std::uint64_t>(nWidth), 1));
  }
}

namespace {

// Per kept row besides its levels: the line's vector and heap block, width, time and flag.
constexpr std::uint64_t kRowOverheadBytes = sizeof(std::vector<float>) + 16 + 3 * sizeof(std::uint32_t);

std::uint64_t RowBytes(int nWidth) {
  return static_cast<std::uint64_t>(std::max(nWidth, 1)) * sizeof(float) + kRowOverheadBytes;
}

// Besides the rows: the picture's pixels and, for a project, the writer's block of row texts.
std::uint64_t FixedBytes(int nWidth, int nHeight, bool bWithProject) {
  const std::uint64_t nPixels = static_cast<std::uint64_t>(std::max(nWidth, 1)) *
                                static_cast<std::uint64_t>(std::max(nHeight, 1)) * sizeof(std::uint32_t);
  return nPixels + (bWithProject ? CProjectFile::WriterMemoryBytes(nWidth) : 0);
}

std::string GigabytesText(std::uint64_t nBytes) { return StrFormat("%.2f GB", static_cast<double>(nBytes) / 1e9); }

}  // namespace

std::uint64_t CAnalysisImage::RunMemoryBytes(std::int64_t nRows, int nWidth, int nHeight, bool bWithProject) {
  const std::uint64_t nFixed = FixedBytes(nWidth, nHeight, bWithProject);
  const std::uint64_t nRowCount = static_cast<std::uint64_t>(std::max<std::int64_t>(nRows, 0));
  const std::uint64_t nPerRow = RowBytes(nWidth);
  if (nRowCount != 0 && nPerRow > (UINT64_MAX - nFixed) / nRowCount) return UINT64_MAX;
  return nFixed + nRowCount * nPerRow;
}

bool CAnalysisImage::CheckRunMemory(const CAnalysisOptions& options, int nWidth, int nHeight, bool bWithProject,
                                    std::uint64_t nAvailableBytes, std::string& strMessage) {
  const std::int64_t nRows = std::max(options.m_nAnalysisDisplayRows, 0);
  const std::uint64_t nNeeded = RunMemoryBytes(nRows, nWidth, nHeight, bWithProject);
  if (nNeeded <= nAvailableBytes) {
    strMessage.clear();
    return true;
  }
  const std::uint64_t nFixed = FixedBytes(nWidth, nHeight, bWithProject);
  strMessage = StrFormat("The analysis needs about %s of memory (%lld rows of %d columns%s, a picture of %d x %d), "
                         "but %s is available.",
                         GigabytesText(nNeeded).c_str(), static_cast<long long>(nRows), std::max(nWidth, 1),
                         bWithProject ? " and their project" : "", std::max(nWidth, 1), std::max(nHeight, 1),
                         GigabytesText(nAvailableBytes).c_str());
  if (nFixed >= nAvailableBytes) {
    strMessage += " The picture alone does not fit: choose a smaller width or height.";
    return false;
  }
  const std::uint64_t nRowsFit = (nAvailableBytes - nFixed) / RowBytes(nWidth);
  const double dFraction = nRows > 0 ? static_cast<double>(nRowsFit) / static_cast<double>(nRows) : 0.0;
  const double dSeconds = dFraction * static_cast<double>(options.m_tAnalysisEndUTC - options.m_tAnalysisStartUTC);
  // Tenths of a second where less than a minute fits: "at most 0 seconds" helps nobody.
  strMessage += StrFormat(" At %d columns %llu rows fit: analyse at most %.*f seconds of the recording, or choose "
                          "an FFT size or overlap that makes at least %.0f times fewer rows",
                          std::max(nWidth, 1), static_cast<unsigned long long>(nRowsFit), dSeconds < 60.0 ? 1 : 0,
                          dSeconds < 60.0 ? std::floor(dSeconds * 10.0) / 10.0 : std::floor(dSeconds),
                          std::ceil(1.0 / std::max(dFraction, 1e-9)));
  // The widest picture that keeps every row (the memory grows with the width).
  int nLow = 0, nHigh = std::max(nWidth, 1);
  while (nLow < nHigh) {
    const int nMid = nLow + (nHigh - nLow + 1) / 2;
    if (RunMemoryBytes(nRows, nMid, nHeight, bWithProject) <= nAvailableBytes) nLow = nMid;
    else nHigh = nMid - 1;
  }
  if (nLow >= 1) strMessage += StrFormat(", or a picture at most %d columns wide", nLow);
  strMessage += ".";
  return false;
}

CAnalysisImage::CAnalysisImage() = default;

void CAnalysisImage::Reset(const CAnalysisOptions& options, int nWidth, int nHeight) {
  m_rows.Clear();
  m_bins = SelectBins(options);
  m_tStartUTC = options.m_tAnalysisStartUTC;
  m_tEndUTC = options.m_tAnalysisEndUTC;
  m_nDisplayRows = options.m_nAnalysisDisplayRows;
  m_bTimeFormatLocal = options.m_bTimeFormatLocal != 0;
  m_nWidth = std::max(nWidth, 1);
  m_nHeight = std::max(nHeight, 1);
  m_nFitHeight = 0;
  Redraw();
  LogF("Drawing area: %d x %d pixels", m_nWidth, m_nHeight);
}

void CAnalysisImage::AddRow(const float* pRecord, std::size_t nLevels) {
  const std::size_t nRow = m_rows.Count();
  std::vector<float> line(static_cast<std::size_t>(m_nWidth), 0.0f);
  // Bins the record does not have (a record shorter than the options' FFT size) are left out.
  const std::size_t nFirst = std::min<std::size_t>(m_bins.nFirst, nLevels);
  const std::size_t nBins = std::min<std::size_t>(m_bins.nCount, nLevels - nFirst);
  m_reducer.Reduce(pRecord + kRowHeaderFloats + nFirst, static_cast<int>(nBins), line.data(), m_nWidth);

  const double dTime =
      m_nDisplayRows > 0 ? double(m_tEndUTC - m_tStartUTC) * double(nRow) / m_nDisplayRows + 0.5 : 0.0;
  const double dClamped = std::clamp(std::trunc(dTime), 0.0, 4294967295.0);
  m_rows.Append(std::move(line), static_cast<std::uint32_t>(dClamped));
}

void CAnalysisImage::FitRowsToHeight(int nHeight) {
  m_nFitHeight = std::max(nHeight, 1);
  m_nHeight = m_nFitHeight;
  Redraw();
}

double CAnalysisImage::PictureRowOf(double dRow) const {
  const std::size_t nRows = m_rows.Count();
  if (m_nFitHeight == 0 || nRows == 0) return dRow;
  return dRow * m_nHeight / static_cast<double>(nRows);
}

void CAnalysisImage::DrawFittedLine(int nLine, std::vector<float>& afLevels) const {
  const int nRows = static_cast<int>(std::min<std::size_t>(m_rows.Count(), INT32_MAX));
  int nFirst = 0, nEnd = 0;
  if (nRows >= m_nHeight) {
    CColumnReducer::SourceOf(nRows, m_nHeight, nLine, nFirst, nEnd);
  } else if (nRows > 0) {
    // Fewer rows than lines: the row under the line (as PictureRowOf places it), not a blend.
    nFirst = static_cast<int>(static_cast<std::int64_t>(nLine) * nRows / m_nHeight);
    nEnd = nFirst + 1;
  }
  if (nEnd <= nFirst) return;
  afLevels.assign(static_cast<std::size_t>(m_nWidth), CColumnReducer::kEmptyLevel);
  for (int r = nFirst; r < nEnd; ++r) {
    const std::vector<float>& line = m_rows.m_aLines[static_cast<std::size_t>(r)];
    const std::size_t nCount = std::min(line.size(), afLevels.size());
    for (std::size_t c = 0; c < nCount; ++c) afLevels[c] = std::max(afLevels[c], line[c]);
  }
  std::uint32_t* pOut = m_anPixels.data() + (static_cast<std::size_t>(m_nHeight) - 1 - nLine) * m_nWidth;
  m_scaling.ColourRow(afLevels.data(), m_nWidth, m_colours, pOut);
}

void CAnalysisImage::DropLevels(std::size_t nRow) {
  if (nRow >= m_rows.Count()) return;
  std::vector<float>().swap(m_rows.m_aLines[nRow]);
  m_rows.m_anWidths[nRow] = 0;
}

void CAnalysisImage::SetRows(CImageRows rows) {
  m_rows = std::move(rows);
  Redraw();
}

CImageRows CAnalysisImage::TakeRows() {
  CImageRows rows = std::move(m_rows);
  m_rows.Clear();
  return rows;
}

void CAnalysisImage::SetColouring(int nPalette, bool bAutomatic, int nContrast, int nManualFirst,
                                  int nManualSecond) {
  m_colours.Build(nPalette);
  m_scaling.SetAutomatic(bAutomatic);
  m_scaling.SetContrast(nContrast);
  m_scaling.SetManualLevels(nManualFirst, nManualSecond);
  Redraw();
}

void CAnalysisImage::SetPalette(int nPalette) {
  m_colours.Build(nPalette);
  Redraw();
}

void CAnalysisImage::SetScaleAutomatic(bool bAutomatic) {
  m_scaling.SetAutomatic(bAutomatic);
  Redraw();
}

void CAnalysisImage::SetContrast(int nContrast) {
  m_scaling.SetContrast(nContrast);
  Redraw();
}

void CAnalysisImage::SetManualLevels(int nFirst, int nSecond) {
  m_scaling.SetManualLevels(nFirst, nSecond);
  Redraw();
}

void CAnalysisImage::Redraw() {
  // The pixels are made and drawn when they are next looked at.
  m_anPixels.clear();
  m_anPixels.shrink_to_fit();
  m_nRowsDrawn = 0;
  m_scaling.ResetPeak();
}

void CAnalysisImage::DrawPending() const {
  const std::size_t nPixels = static_cast<std::size_t>(m_nWidth) * static_cast<std::size_t>(m_nHeight);
  if (m_nFitHeight > 0) {
    // Every line may take rows added since: a fitted picture is drawn whole.
    if (m_anPixels.size() == nPixels && m_nRowsDrawn == m_rows.Count()) return;
    m_anPixels.assign(nPixels, kBackground);
    m_scaling.ResetPeak();
    std::vector<float> afLevels;
    for (int nLine = 0; nLine < m_nHeight; ++nLine) DrawFittedLine(nLine, afLevels);
    m_nRowsDrawn = m_rows.Count();
    return;
  }
  if (m_anPixels.size() != nPixels) m_anPixels.assign(nPixels, kBackground);
  const std::size_t nDrawn = std::min(m_rows.Count(), static_cast<std::size_t>(m_nHeight));
  for (; m_nRowsDrawn < nDrawn; ++m_nRowsDrawn) DrawRow(m_nRowsDrawn);
}

void CAnalysisImage::DrawRow(std::size_t nRow) const {
  const std::vector<float>& line = m_rows.m_aLines[nRow];
  const int nCount = static_cast<int>(std::min(line.size(), static_cast<std::size_t>(m_nWidth)));
  std::uint32_t* pOut = m_anPixels.data() + (static_cast<std::size_t>(m_nHeight) - 1 - nRow) * m_nWidth;
  m_scaling.ColourRow(line.data(), nCount, m_colours, pOut);
}

std::vector<CAnalysisImage::STimeLabel> CAnalysisImage::TimeLabels() const {
  std::vector<STimeLabel> labels;
  const std::size_t nRows = m_rows.Count();
  if (nRows < 11) return labels;
  const std::size_t nLast = nRows - 1;
  // Labels are spaced by picture lines, which hold several rows in a fitted picture.
  const double dRowsPerLine = m_nFitHeight > 0 ? std::max(double(nRows) / m_nHeight, 1.0) : 1.0;
  const double dSecondsPerRow = double(m_rows.m_anTimes[nLast]) / double(nLast);
  const std::int64_t nStep = TimeLabelStep(5.0 * kLabelSpacingRows * dSecondsPerRow * dRowsPerLine);
  // Multiples of the step are counted on the clock (UTC seconds), so labels read as round times.
  auto slot = [&](std::size_t r) { return (m_tStartUTC + std::int64_t{m_rows.m_anTimes[r]}) / nStep; };
  for (std::size_t r = 1; r < nRows; ++r) {
    const std::int64_t s = slot(r);
    if (s == slot(r - 1)) continue;
    const std::int64_t t = s * nStep;
    labels.push_back({r, t, ClockText(t, m_bTimeFormatLocal)});
  }
  return labels;
}
