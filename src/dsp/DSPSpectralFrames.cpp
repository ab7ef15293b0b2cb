#include "dsp/DSPSpectralFrames.h"

#include <algorithm>
#include <cmath>
#include <numbers>

CDSPSpectralFrames::CDSPSpectralFrames(int frameSize) {
  int n = 16;
  while (n < frameSize && n < 65536) n *= 2;
  m_nFrame = n;
  const int hop = n / 2;
  m_aWindow.Resize(n);
  m_aHistory.Resize(hop);
  m_aTime.Resize(n);
  m_aSpectrum.Resize(n / 2 + 1);
  m_aWork.Resize(n / 2 + 1);
  m_aPower.Resize(n / 2 + 1);
  m_aOverlap.Resize(hop);
  // Periodic Hann, square-rooted: analysis times synthesis window = Hann, whose shifts by
  // half a frame add up to exactly one.
  for (int k = 0; k < n; ++k)
    m_aWindow[k] = static_cast<float>(std::sqrt(0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * k / n)));
  m_forward = CFFTWPlanF::RealToComplex(n, m_aTime.data(), m_aSpectrum.data());
  m_inverse = CFFTWPlanF::ComplexToReal(n, m_aWork.data(), m_aTime.data());
  m_aTime.Zero();
}

void CDSPSpectralFrames::Reset() {
  m_aHistory.Zero();
  m_aOverlap.Zero();
}

void CDSPSpectralFrames::Prime(const float* hop) {
  std::copy(hop, hop + HopSize(), m_aHistory.data());
}

const float* CDSPSpectralFrames::Analyse(const float* hop) {
  const int h = HopSize();
  float* t = m_aTime.data();
  const float* w = m_aWindow.data();
  for (int k = 0; k < h; ++k) t[k] = m_aHistory[k] * w[k];
  for (int k = 0; k < h; ++k) t[h + k] = hop[k] * w[h + k];
  std::copy(hop, hop + h, m_aHistory.data());
  m_forward.Execute();
  for (int k = 0; k < Bins(); ++k) m_aPower[k] = std::norm(m_aSpectrum[k]);
  return m_aPower.data();
}

void CDSPSpectralFrames::Synthesise(const float* gain, float* out) {
  const int h = HopSize();
  const float scale = 1.0f / static_cast<float>(m_nFrame);
  for (int k = 0; k < Bins(); ++k) m_aWork[k] = m_aSpectrum[k] * (gain[k] * scale);
  m_inverse.Execute();
  const float* t = m_aTime.data();
  const float* w = m_aWindow.data();
  for (int k = 0; k < h; ++k) out[k] = m_aOverlap[k] + t[k] * w[k];
  for (int k = 0; k < h; ++k) m_aOverlap[k] = t[h + k] * w[h + k];
}
