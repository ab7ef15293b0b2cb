#include "dsp/DSPRunningMean.h"

#include <algorithm>

CDSPRunningMean::CDSPRunningMean(int entries)
    : m_aValues(static_cast<std::size_t>(std::max(1, entries)), 0.0) {}

double CDSPRunningMean::Add(double value) {
  const int n = static_cast<int>(m_aValues.size());
  if (!m_bStarted) {
    std::fill(m_aValues.begin(), m_aValues.end(), value);
    m_dSum = value * n;
    m_nIndex = 0;
    m_bStarted = true;
    m_dMean = value;
    return value;
  }
  m_dSum += value - m_aValues[m_nIndex];
  m_aValues[m_nIndex] = value;
  if (++m_nIndex >= n) m_nIndex = 0;
  m_dMean = m_dSum / n;
  return m_dMean;
}
