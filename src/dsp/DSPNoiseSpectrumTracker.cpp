#include "dsp/DSPNoiseSpectrumTracker.h"

#include <algorithm>

namespace {

constexpr float kSmoothing = 0.85f;          // of the power spectrum, per frame
constexpr double kWindowSeconds = 0.8;       // a minimum covers 0.8 to 1.6 s
constexpr int kMedianHalfWidth = 8;          // bins either side
// Mean over minimum of white noise smoothed as above, measured over long runs.
constexpr float kBias = 1.9f;

}  // namespace

CDSPNoiseSpectrumTracker::CDSPNoiseSpectrumTracker(int bins, double framesPerSecond)
    : m_nBins(std::max(1, bins)),
      m_nSubWindow(std::max(4, static_cast<int>(framesPerSecond * kWindowSeconds))),
      m_aSmoothed(m_nBins, 0.0f),
      m_aMin(m_nBins, 0.0f),
      m_aMinNow(m_nBins, 0.0f),
      m_aNoise(m_nBins, 0.0f),
      m_aScratch(2 * kMedianHalfWidth + 1, 0.0f) {}

const float* CDSPNoiseSpectrumTracker::Update(const float* power) {
  if (!m_bStarted) {
    std::copy(power, power + m_nBins, m_aSmoothed.begin());
    std::copy(power, power + m_nBins, m_aMin.begin());
    std::copy(power, power + m_nBins, m_aMinNow.begin());
    m_bStarted = true;
  }
  for (int k = 0; k < m_nBins; ++k) {
    const float s = kSmoothing * m_aSmoothed[k] + (1.0f - kSmoothing) * power[k];
    m_aSmoothed[k] = s;
    m_aMin[k] = std::min(m_aMin[k], s);
    m_aMinNow[k] = std::min(m_aMinNow[k], s);
  }
  if (++m_nFrameCount >= m_nSubWindow) {
    // The overall minimum now covers the last sub-window and the one being started.
    m_nFrameCount = 0;
    m_aMin = m_aMinNow;
    m_aMinNow = m_aSmoothed;
  }
  for (int k = 0; k < m_nBins; ++k) {
    const int from = std::max(0, k - kMedianHalfWidth);
    const int to = std::min(m_nBins, k + kMedianHalfWidth + 1);
    const int count = to - from;
    std::copy(m_aMin.begin() + from, m_aMin.begin() + to, m_aScratch.begin());
    std::nth_element(m_aScratch.begin(), m_aScratch.begin() + count / 2, m_aScratch.begin() + count);
    m_aNoise[k] = kBias * m_aScratch[count / 2];
  }
  return m_aNoise.data();
}
