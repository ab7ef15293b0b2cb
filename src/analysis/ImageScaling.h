#pragma once
// CImageScaling: levels of one picture row to colours.
//
// Automatic scaling (`CVexlorView::m_bScaleAutomatic`, the default) spans each row from
// its minimum to a peak held from row to row, and moves the bottom of the colour range up
// toward the row's mean by the contrast setting, so the noise floor stays dark and signals
// stand out. Manual scaling maps two fixed levels, given as magnitudes of dB values, to
// the ends of the colour table.

#include <cstdint>

#include "analysis/ColourTable.h"

class CImageScaling {
 public:
  // The held peak before the first row: below any level a row can hold, so the first row
  // sets it.
  static constexpr float kInitialPeak = -999.9f;
  static constexpr int kDefaultContrast = 50;
  static constexpr int kDefaultManualFirst = 160;
  static constexpr int kDefaultManualSecond = 60;

  // What the last coloured row used (for the legend, and for tests).
  struct SRange {
    int nLow = 0;
    int nHigh = 0;
    double dMean = 0.0;
    double dBase = 0.0;
    double dScale = 1.0;
  };

  void SetAutomatic(bool bAutomatic) { m_bAutomatic = bAutomatic; }
  bool Automatic() const { return m_bAutomatic; }
  void SetContrast(int nContrast) { m_nContrast = nContrast; }
  int Contrast() const { return m_nContrast; }
  // The two levels of the manual-scale pane; only their magnitudes are used: -|second|
  // gets the strongest colour and -|first| the weakest.
  void SetManualLevels(int nFirst, int nSecond) {
    m_nManualFirst = nFirst;
    m_nManualSecond = nSecond;
  }
  int ManualFirst() const { return m_nManualFirst; }
  int ManualSecond() const { return m_nManualSecond; }

  // Starts the held peak again (a new run, or a redraw from the first row).
  void ResetPeak() { m_fPeak = kInitialPeak; }
  float Peak() const { return m_fPeak; }

  // Colours nCount levels into pPixels through table; under automatic scaling the held
  // peak moves on by this row.
  void ColourRow(const float* pLevels, int nCount, const CColourTable& table, std::uint32_t* pPixels);

  // The colour-table index of a scaled value: rounded half away from zero into 0..65535
  // (NaN gives 0).
  static int TableIndex(double dScaled);

  const SRange& LastRange() const { return m_range; }

 private:
  bool m_bAutomatic = true;
  int m_nContrast = kDefaultContrast;
  int m_nManualFirst = kDefaultManualFirst;
  int m_nManualSecond = kDefaultManualSecond;
  float m_fPeak = kInitialPeak;
  SRange m_range;
};
