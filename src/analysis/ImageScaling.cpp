#include "analysis/ImageScaling.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace {

// A level truncated toward zero to an integer. Levels far outside the integer range do
// occur: the held peak grows by 10 % a row once it is positive (a loud recording), and a
// damaged project may hold infinities or NaNs. They saturate (NaN gives 0) instead of
// overflowing; every level a real spectrum holds converts exactly as a plain cast.
int TruncateLevel(float fLevel) {
  if (std::isnan(fLevel)) return 0;
  if (fLevel >= 2147483647.0f) return std::numeric_limits<int>::max();
  if (fLevel <= -2147483648.0f) return std::numeric_limits<int>::min();
  return static_cast<int>(fLevel);
}

}  // namespace

int CImageScaling::TableIndex(double dScaled) {
  if (!(dScaled > 0.0)) return 0;
  if (dScaled >= 65535.0) return 65535;
  return static_cast<int>(std::lround(dScaled));
}

void CImageScaling::ColourRow(const float* pLevels, int nCount, const CColourTable& table,
                              std::uint32_t* pPixels) {
  if (nCount <= 0) return;
  SRange range;

  if (m_bAutomatic) {
    float fMin = pLevels[0];
    float fMax = pLevels[0];
    double dSum = 0.0;
    for (int i = 0; i < nCount; ++i) {
      fMin = pLevels[i] < fMin ? pLevels[i] : fMin;
      fMax = pLevels[i] > fMax ? pLevels[i] : fMax;
      dSum += pLevels[i];
    }
    range.dMean = dSum / nCount;
    // A flat row still gets a 10 dB span so that it shows as the weakest colour rather
    // than dividing by zero.
    if (fMax < fMin + 10.0f) fMax = std::min(fMin + 10.0f, 65535.0f);
    // The held peak is multiplied by 1.1 a row: for the usual negative levels it sinks, so
    // one loud row does not darken the rows after it for long. A positive peak grows
    // instead and darkens the picture ever more; that is how pictures have always been made.
    m_fPeak *= 1.1f;
    if (fMax > m_fPeak) {
      m_fPeak = fMax;
    } else {
      fMax = m_fPeak;
    }
    range.nHigh = TruncateLevel(fMax);
    range.nLow = TruncateLevel(fMin);
  } else {
    range.nHigh = std::abs(m_nManualFirst);
    range.nLow = std::abs(m_nManualSecond);
    range.dMean = (range.nHigh + range.nLow) / 2;
  }

  // In double: saturated ends would overflow an integer difference.
  const double dSpan = double(range.nHigh) - double(range.nLow);
  range.dScale = range.nHigh > range.nLow ? 65535.0 / dSpan : 1.0;
  range.dBase = range.nLow;

  if (m_bAutomatic) {
    // Contrast 0..100 moves the bottom of the colour range from near the top (only the
    // strongest signals coloured) down to the row's minimum.
    const double f = 100.0 - (m_nContrast * 0.9 + 10.0);
    const double dMid = f < 50.0 ? range.nLow + (range.dMean - range.nLow) * f / 50.0
                                 : range.nHigh - (range.nHigh - range.dMean) * (100.0 - f) / 50.0;
    // A middle at or above the top (a row whose mean sits on its truncated maximum) has
    // no span left to spread; such a row keeps the plain range.
    if (range.dScale > 0.01 && range.nHigh - dMid > 0.0) {
      range.dScale = 65535.0 / (range.nHigh - dMid);
      range.dBase = dMid;
    }
    for (int i = 0; i < nCount; ++i) {
      pPixels[i] = table[TableIndex((pLevels[i] - range.dBase) * range.dScale)];
    }
  } else {
    // Equal manual levels would divide by zero; they are taken as a 1 dB span.
    const double dFactor = -65535.0 / (dSpan != 0.0 ? dSpan : 1.0);
    for (int i = 0; i < nCount; ++i) {
      pPixels[i] = table[65535 - TableIndex((pLevels[i] + range.nLow) * dFactor)];
    }
  }
  m_range = range;
}
