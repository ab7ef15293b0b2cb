#include "dsp/DSPAgcEx.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int kLineLength = 2048;
const double kReferenceLog = std::log10(32767.0);

// The parameters are fixed by design: no caller changes them.
constexpr int kThresholdDb = -100;
constexpr int kManualGainDb = 60;
constexpr double kSlopePercent = 6.0;
constexpr int kDecayMs = 500;
constexpr int kHangMs = 1000;

}  // namespace

CDSPAgcEx::CDSPAgcEx()
    : m_aDelay(kLineLength, 0.0), m_aWindow(kLineLength, -16.0), m_aLevels(65536, 0.0) {}

void CDSPAgcEx::SetRate(double rateHz) {
  if (!(rateHz > 0.0)) return;
  const bool fixed = m_bEnabled && m_nThreshold == kThresholdDb && m_nManualGain == kManualGainDb &&
                     m_dSlope == kSlopePercent && m_nDecayMs == kDecayMs && m_nHangMs == kHangMs;
  if (fixed && rateHz == m_dRate) return;

  if (rateHz != m_dRate) {
    m_dRate = rateHz;
    std::fill(m_aDelay.begin(), m_aDelay.end(), 0.0);
    std::fill(m_aWindow.begin(), m_aWindow.end(), -16.0);
    m_nHangCount = 0;
    m_dPeak = -16.0;
    m_dFast = m_dSlow = -5.0;
    m_nDelayIndex = m_nWindowIndex = 0;
  }
  m_bEnabled = true;
  m_nThreshold = kThresholdDb;
  m_nManualGain = kManualGainDb;
  m_dSlope = kSlopePercent;
  m_nDecayMs = kDecayMs;
  m_nHangMs = kHangMs;

  const double fs = m_dRate;
  m_dGainFixed = std::pow(10.0, (100.0 - m_nManualGain) / -20.0) * 32767.0;
  m_dSlopeFactor = m_dSlope / 100.0;
  m_dThresholdLog = m_nThreshold / 20.0;
  m_dGainMax = std::pow(10.0, (m_dSlopeFactor - 1.0) * m_dThresholdLog) * 0.7;
  m_dFastAttack = 1.0 - std::exp(-1.0 / (fs * 0.002));
  m_dFastDecay = 1.0 - std::exp(-1.0 / (fs * 0.005));
  const double h = m_nDecayMs * fs * 0.001;
  m_dSlowAttack = 1.0 - std::exp(-1.0 / (0.3 * h));
  m_dSlowDecay = 1.0 - std::exp(-1.0 / h);
  m_nHangLength = static_cast<int>(m_nHangMs * fs * 0.001);
  m_nWindowLength = std::clamp(static_cast<int>(fs * 0.018), 1, kLineLength);
  m_nDelayLength = std::clamp(static_cast<int>(fs * 0.015), 1, kLineLength - 1);
  m_nDelayIndex %= m_nDelayLength;
  m_nWindowIndex %= m_nWindowLength;
}

void CDSPAgcEx::Process(int n, const double* in, double* out) {
  if (n <= 0) return;
  if (!m_bEnabled) {
    for (int k = 0; k < n; ++k) out[k] = in[k] * m_dGainFixed;
    return;
  }
  if (static_cast<int>(m_aLevels.size()) < n) m_aLevels.resize(static_cast<std::size_t>(n) + 256);
  double* levels = m_aLevels.data();
  for (int k = 0; k < n; ++k) levels[k] = std::log10(std::fabs(in[k]) + 0.00032767);

  for (int k = 0; k < n; ++k) {
    const double x = in[k];
    const double delayed = m_aDelay[m_nDelayIndex];
    m_aDelay[m_nDelayIndex] = x;
    if (++m_nDelayIndex >= m_nDelayLength) m_nDelayIndex = 0;

    const double v = levels[k] - kReferenceLog;
    const double leaving = m_aWindow[m_nWindowIndex];
    m_aWindow[m_nWindowIndex] = v;
    if (++m_nWindowIndex >= m_nWindowLength) m_nWindowIndex = 0;

    if (v > m_dPeak) {
      m_dPeak = v;
    } else if (leaving == m_dPeak) {
      m_dPeak = *std::max_element(m_aWindow.begin(), m_aWindow.begin() + m_nWindowLength);
    }

    const double c = m_dPeak > m_dFast ? m_dFastAttack : m_dFastDecay;
    m_dFast = (1.0 - c) * m_dFast + c * m_dPeak;

    if (m_dPeak > m_dSlow) {
      m_nHangCount = 0;
      m_dSlow = (1.0 - m_dSlowAttack) * m_dSlow + m_dSlowAttack * m_dPeak;
    } else if (m_nHangCount < m_nHangLength) {
      ++m_nHangCount;
    } else {
      m_dSlow = (1.0 - m_dSlowDecay) * m_dSlow + m_dSlowDecay * m_dPeak;
    }

    const double e = std::max(m_dFast, m_dSlow);
    const double g = e > m_dThresholdLog ? std::pow(10.0, (m_dSlopeFactor - 1.0) * e) * 0.7 : m_dGainMax;
    out[k] = delayed * g;
  }
}
