#pragma once
// CColumnReducer: one spectrum row of `bins` levels to W pixel columns.
//
// A picture narrower than the band takes the maximum of each run of consecutive bins, so
// a single strong bin (a carrier) is never lost however far the picture is reduced; a
// picture wider than the band interpolates linearly between neighbouring bins.

#include <cstdint>
#include <vector>

class CColumnReducer {
 public:
  // What a run with no bins (or a column with no source) holds.
  static constexpr float kEmptyLevel = -999.9f;

  // Reduces pSource[0 .. nBins) into pOut[0 .. nWidth). The run boundaries are kept and
  // reused while nBins and nWidth stay the same. nBins <= 0 leaves pOut untouched.
  void Reduce(const float* pSource, int nBins, float* pOut, int nWidth);

  // The source values column nColumn of nWidth is made from: [nFirst, nEnd). A run of bins
  // when nBins >= nWidth, else the one or two bins it interpolates between.
  static void SourceOf(int nBins, int nWidth, int nColumn, int& nFirst, int& nEnd);

 private:
  void BuildRuns(int nBins, int nWidth);
  // The end (exclusive) of column j's run of bins, for nBins >= nWidth.
  static std::int32_t RunEnd(int nBins, int nWidth, int j);

  int m_nBins = -1;
  int m_nWidth = -1;
  // The end (exclusive) of pixel j's run, for the last (nBins, nWidth) with nBins >= nWidth.
  std::vector<std::int32_t> m_anRunEnd;
};
