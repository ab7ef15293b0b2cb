#include "dsp/DSPFMSquelch.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "dsp/FIRDesign.h"
#include "dsp/SquelchFade.h"

namespace {

constexpr int kMaxTaps = 75;
constexpr int kMaxBlock = 32768;
constexpr double kHysteresis = 200.0;
constexpr double kAuxCentreHz = 3000.0;
constexpr double kAuxQ = 0.7071067811865476;

}  // namespace

void CDSPFMSquelch::DesignNoiseFilter(double gain, double attenuationDb, double passHz, double stopHz) {
  const double pass = passHz / m_dRate;
  const double stop = stopHz / m_dRate;
  const double fc = (stop + pass) / 2.0;
  const double a = attenuationDb;
  double beta = 0.0;
  // The middle formula deliberately starts at 20.96, not at the usual 21.
  if (a >= 50.0)
    beta = 0.1102 * (a - 8.71);
  else if (a >= 20.96)
    beta = 0.5842 * std::pow(a - 20.96, 0.4) + 0.07886 * (a - 20.96);
  int length = static_cast<int>((a - 8.0) / ((pass - stop) * 14.357078426905355)) + 1;
  length = std::clamp(length, 3, kMaxTaps - 1);
  length |= 1;

  m_aTaps.assign(static_cast<std::size_t>(length), 0.0);
  const double c = (length - 1) / 2.0;
  const double i0Beta = BesselI0(beta);
  for (int n = 0; n < length; ++n) {
    const double m = n - c;
    // A high-pass: the all-pass (a sinc at half the rate) less the low-pass at fc.
    const double h = (SincTap(0.5, m) - SincTap(fc, m)) * gain;
    const double r = m / c;
    m_aTaps[n] = h * BesselI0(beta * std::sqrt(std::max(0.0, 1.0 - r * r))) / i0Beta;
  }
  m_aTapsTwice.resize(2 * m_aTaps.size());
  for (std::size_t k = 0; k < m_aTapsTwice.size(); ++k)
    m_aTapsTwice[k] = static_cast<float>(m_aTaps[k % m_aTaps.size()]);
  m_aDelay.assign(m_aTaps.size(), 0.0f);
  m_nDelayIndex = 0;
}

void CDSPFMSquelch::Setup(bool enabled, int level, double rateHz, bool automatic, bool trigger) {
  m_bEnabled = enabled;
  if (!(rateHz > 0.0)) return;
  if (!m_bSetUp || rateHz != m_dRate) {
    m_dRate = rateHz;
    const double w = 2.0 * std::numbers::pi * kAuxCentreHz / rateHz;
    const double alpha = std::sin(w) / (2.0 * kAuxQ);
    const double cw = std::cos(w);
    m_aux.b0 = m_aux.b2 = (1.0 - cw) / 2.0 / (1.0 + alpha);
    m_aux.b1 = (1.0 - cw) / (1.0 + alpha);
    m_aux.a1 = -2.0 * cw / (1.0 + alpha);
    m_aux.a2 = (1.0 - alpha) / (1.0 + alpha);
    DesignNoiseFilter(1.0, 50.0, 0.8 * m_dReferenceHz, 0.65 * m_dReferenceHz);
  }
  m_bSetUp = true;
  m_dRate = rateHz;
  if (!automatic) {
    m_nLevel = std::clamp(level, 0, 100);
    m_dThreshold = 4000.0 - m_nLevel * 4000.0 / 100.0;
  } else if (trigger) {
    m_dThreshold = std::max(0.0, static_cast<double>(m_fNoise) - kHysteresis);
    m_bMuted = true;
    const int reported = std::clamp(static_cast<int>((4000.0 - m_dThreshold) * 100.0 / 4000.0 + 0.5), 0, 100);
    m_nLevel = reported;
    if (m_levelDestination) m_levelDestination(reported);
  }
  m_fAlpha = static_cast<float>(1.0 - std::exp(-1.0 / (rateHz * 0.05)));
}

void CDSPFMSquelch::Process(float* audio, int n) {
  if (!m_bEnabled || !m_bSetUp || n <= 0 || n > kMaxBlock) return;
  const int length = static_cast<int>(m_aTaps.size());
  if (static_cast<int>(m_aFiltered.size()) < n) m_aFiltered.resize(static_cast<std::size_t>(n));

  for (int k = 0; k < n; ++k) {
    m_aDelay[m_nDelayIndex] = audio[k];
    // Tap j of the line pairs with coefficient (j - index) mod length.
    const float* taps = m_aTapsTwice.data() + (length - m_nDelayIndex);
    float e = 0.0f;
    for (int j = 0; j < length; ++j) e += m_aDelay[j] * taps[j];
    m_aFiltered[k] = e;
    if (--m_nDelayIndex < 0) m_nDelayIndex = length - 1;
  }
  for (int k = 0; k < n; ++k) m_fNoise = m_fAlpha * std::fabs(m_aFiltered[k]) + (1.0f - m_fAlpha) * m_fNoise;

  const bool wasMuted = m_bMuted;
  if (m_dThreshold == 0.0) {
    m_bMuted = true;
  } else if (!m_bMuted && m_fNoise >= m_dThreshold + kHysteresis) {
    m_bMuted = true;
  } else if (m_bMuted && m_fNoise < m_dThreshold - kHysteresis) {
    m_bMuted = false;
  }

  ApplySquelchFade(audio, n, wasMuted, m_bMuted);
}
