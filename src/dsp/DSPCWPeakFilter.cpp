#include "dsp/DSPCWPeakFilter.h"

#include <cmath>
#include <numbers>

void CDSPCWPeakFilter::SetParameters(double rateHz, double centreHz, double radius) {
  if (!(rateHz > 0.0) || !(centreHz > 0.0) || centreHz >= rateHz / 2.0 || !(radius > 0.0) ||
      !(radius < 1.0))
    return;
  if (rateHz == m_dRate && centreHz == m_dCentre && radius == m_dRadius) return;
  m_dRate = rateHz;
  m_dCentre = centreHz;
  m_dRadius = radius;
  m_bDirty = true;
}

void CDSPCWPeakFilter::ComputeCoefficients() {
  const double theta = 2.0 * std::numbers::pi * m_dCentre / m_dRate;
  const double rho = m_dRadius;
  m_dA2 = rho * rho;
  const double c = std::cos(theta) * 2.0 * rho / (rho * rho + 1.0);
  m_dA1 = -2.0 * rho * c;
  m_dGain = std::sqrt(rho * rho + 1.0 - 2.0 * rho * c) * (std::numbers::pi - theta) * (1.0 - rho);
  m_bDirty = false;
}

void CDSPCWPeakFilter::Process(float* audio, int n) {
  if (!m_bEnabled || n <= 0) return;
  if (m_bDirty) ComputeCoefficients();
  for (auto& state : m_aState) {
    double y1 = state[0];
    double y2 = state[1];
    for (int k = 0; k < n; ++k) {
      const double y = m_dGain * audio[k] - (m_dA1 * y1 + m_dA2 * y2);
      y2 = y1;
      y1 = y;
      audio[k] = static_cast<float>(y);
    }
    state[0] = y1;
    state[1] = y2;
  }
}
