#include "dsp/DSPFilterNoiseFIRLMS.h"

#include <algorithm>

CDSPFilterNoiseFIRLMS::CDSPFilterNoiseFIRLMS()
    : m_aHistory(2 * kRingLength, 0.0), m_aSquares(2 * kRingLength, 0.0), m_aWeights(kMaxTaps, 0.0) {}

void CDSPFilterNoiseFIRLMS::Setup(int delay, double mu, double lambda, int taps) {
  if (taps < 1 || taps > kMaxTaps || delay < 0 || delay + taps > kRingLength || !(mu > 0.0) ||
      !(lambda >= 0.0))
    return;
  m_nDelay = delay;
  m_dMu = mu;
  m_dLambda = lambda;
  m_nTaps = taps;
  m_nOutputSelection = 1;
  m_nPosition = 0;
  std::fill(m_aHistory.begin(), m_aHistory.end(), 0.0);
  std::fill(m_aSquares.begin(), m_aSquares.end(), 0.0);
  std::fill(m_aWeights.begin(), m_aWeights.end(), 0.0);
  m_bInitialised = true;
}

void CDSPFilterNoiseFIRLMS::Process(float* audio, int n) {
  const int taps = m_nTaps;
  const double leak = 1.0 - m_dLambda * m_dMu;
  double* w = m_aWeights.data();
  for (int k = 0; k < n; ++k) {
    const double x = audio[k];
    const int p = m_nPosition;
    m_aHistory[p] = m_aHistory[p + kRingLength] = x;
    m_aSquares[p] = m_aSquares[p + kRingLength] = x * x;

    // h[(p + D + k) mod 1024] for k = 0..M-1 is one contiguous run of the doubled ring.
    const double* h = m_aHistory.data() + p + m_nDelay;
    const double* h2 = m_aSquares.data() + p + m_nDelay;
    double y = 0.0;
    double energy = 0.0;
    for (int j = 0; j < taps; ++j) {
      y += w[j] * h[j];
      energy += h2[j];
    }
    audio[k] = static_cast<float>(m_nOutputSelection ? y : x - y);

    const double step = (x - y) * (m_dMu / (energy + 1e-10));
    for (int j = 0; j < taps; ++j) w[j] = step * h[j] + leak * w[j];

    m_nPosition = (p + kRingLength - 1) & (kRingLength - 1);
  }
}
