#include "analysis/ColumnReducer.h"

#include <algorithm>

std::int32_t CColumnReducer::RunEnd(int nBins, int nWidth, int j) {
  // The boundaries are single-precision positions rounded half up, as the pictures of
  // earlier versions were made; the last one is held to the band so no bin falls off the end.
  if (j >= nWidth - 1) return nBins;
  const float ratio = static_cast<float>(nBins) / static_cast<float>(nWidth);
  const float position = static_cast<float>(j + 1) * ratio;
  return std::min(static_cast<std::int32_t>(position + 0.5f), nBins);
}

void CColumnReducer::BuildRuns(int nBins, int nWidth) {
  m_nBins = nBins;
  m_nWidth = nWidth;
  m_anRunEnd.resize(static_cast<std::size_t>(nWidth));
  for (int j = 0; j < nWidth; ++j) m_anRunEnd[static_cast<std::size_t>(j)] = RunEnd(nBins, nWidth, j);
}

void CColumnReducer::SourceOf(int nBins, int nWidth, int nColumn, int& nFirst, int& nEnd) {
  nFirst = nEnd = 0;
  if (nBins <= 0 || nWidth <= 0 || nColumn < 0 || nColumn >= nWidth) return;
  if (nBins >= nWidth) {
    // Runs never overlap: a run starts where the one before it ended.
    nFirst = nColumn == 0 ? 0 : RunEnd(nBins, nWidth, nColumn - 1);
    nEnd = std::max(nFirst, RunEnd(nBins, nWidth, nColumn));
    return;
  }
  const double x = static_cast<double>(nColumn) / nWidth * (nBins - 1);
  nFirst = static_cast<int>(x);
  nEnd = std::min(nBins - 1, nFirst + 1) + 1;
}

void CColumnReducer::Reduce(const float* pSource, int nBins, float* pOut, int nWidth) {
  if (nBins <= 0 || nWidth <= 0) return;

  if (nBins >= nWidth) {
    if (nBins != m_nBins || nWidth != m_nWidth) BuildRuns(nBins, nWidth);
    std::int32_t start = 0;
    for (int j = 0; j < nWidth; ++j) {
      const std::int32_t end = m_anRunEnd[static_cast<std::size_t>(j)];
      float peak = kEmptyLevel;
      for (std::int32_t i = start; i < end; ++i) peak = pSource[i] > peak ? pSource[i] : peak;
      pOut[j] = peak;
      start = std::max(start, end);
    }
    return;
  }

  // A band of one bin: the interpolation's two weights would both be 0 and blank the row;
  // the bin's level fills it instead.
  if (nBins == 1) {
    std::fill(pOut, pOut + nWidth, pSource[0]);
    return;
  }
  for (int j = 0; j < nWidth; ++j) {
    const double x = static_cast<double>(j) / nWidth * (nBins - 1);
    const int i0 = static_cast<int>(x);
    const int i1 = std::min(nBins - 1, i0 + 1);
    pOut[j] = static_cast<float>(pSource[i1] * (x - i0) + pSource[i0] * (i1 - x));
  }
}
