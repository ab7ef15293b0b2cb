#include "dsp/DSPNoiseBlankerAlt.h"

#include <algorithm>
#include <cmath>

namespace {
constexpr int kRingLength = 32768;
constexpr int kDelayLineLength = 4096;
}  // namespace

CDSPNoiseBlankerAlt::CDSPNoiseBlankerAlt()
    : m_aPowerRing(kRingLength, 0.0), m_aDelay(kDelayLineLength) {
  Setup(50.0, 2.0, 1000.0);
}

void CDSPNoiseBlankerAlt::Setup(double thresholdLevel, double blankTimeUs, double rateHz) {
  if (thresholdLevel == m_dLevel && blankTimeUs == m_dBlankTimeUs && rateHz == m_dRate) return;
  m_dLevel = thresholdLevel;
  m_dBlankTimeUs = blankTimeUs;
  m_dRate = rateHz;

  const double blank = std::trunc(blankTimeUs * 1e-6 * rateHz * 2.0);
  m_nBlankLength = static_cast<int>(std::clamp(blank, 1.0, static_cast<double>(kDelayLineLength)));
  m_nDelayLength = m_nBlankLength / 2;
  m_nAverageLength = static_cast<int>(std::clamp(std::trunc(rateHz * 0.005), 0.0, kRingLength - 1.0));
  m_dFactor = m_nAverageLength * thresholdLevel * 0.005;

  m_nBlankCount = 0;
  m_nPowerIndex = 0;
  m_nDelayIndex = 0;
  m_dSum = 0.0;
  std::fill(m_aPowerRing.begin(), m_aPowerRing.end(), 0.0);
  std::fill(m_aDelay.begin(), m_aDelay.end(), std::complex<float>());
}

void CDSPNoiseBlankerAlt::Process(std::complex<float>* samples, int n) {
  if (!m_bEnabled || n <= 0) return;
  if (static_cast<int>(m_aOutput.size()) < n) {
    m_aOutput.resize(static_cast<std::size_t>(n) + 65536);
    m_aPower.resize(m_aOutput.size());
  }
  for (int k = 0; k < n; ++k) m_aPower[k] = std::norm(samples[k]);

  for (int k = 0; k < n; ++k) {
    const double p = m_aPower[k];
    m_dSum += p - m_aPowerRing[m_nPowerIndex];
    m_aPowerRing[m_nPowerIndex] = p;
    if (++m_nPowerIndex > m_nAverageLength) m_nPowerIndex = 0;

    const std::complex<float> candidate = m_aDelay[m_nDelayIndex];
    m_aDelay[m_nDelayIndex] = samples[k];
    if (++m_nDelayIndex > m_nDelayLength) m_nDelayIndex = 0;

    if (p * m_dFactor > m_dSum) m_nBlankCount = m_nBlankLength;
    if (m_nBlankCount > 0) {
      --m_nBlankCount;
      m_aOutput[k] = std::complex<float>();
    } else {
      m_aOutput[k] = candidate;
    }
  }
  std::copy(m_aOutput.begin(), m_aOutput.begin() + n, samples);
}
