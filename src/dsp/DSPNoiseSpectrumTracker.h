#pragma once
// Noise power spectrum estimate for the spectral noise reducers.
//
// Minimum statistics: the power spectrum is smoothed over time and its minimum over the
// last one to two seconds taken per bin; speech and keyed signals come and go, so the
// minimum is the noise floor. A steady tone never goes away, so the per-bin minima are then
// replaced by their median over a neighbourhood of bins: a narrow line occupies a few bins
// and does not move the median, while the noise floor of real receivers varies only slowly
// with frequency. A bias factor turns the median minimum into the mean noise power.

#include <vector>

class CDSPNoiseSpectrumTracker {
 public:
  // bins: spectrum length; framesPerSecond: how often Update is called.
  CDSPNoiseSpectrumTracker(int bins = 129, double framesPerSecond = 62.5);

  // Takes the power spectrum of the next frame; returns the noise estimate (bins values).
  const float* Update(const float* power);
  const float* Noise() const { return m_aNoise.data(); }

 private:
  int m_nBins;
  int m_nSubWindow;      // frames after which the running minimum restarts
  int m_nFrameCount = 0;
  bool m_bStarted = false;
  std::vector<float> m_aSmoothed;
  std::vector<float> m_aMin;       // minimum since the last restart and of the window before
  std::vector<float> m_aMinNow;    // minimum since the last restart
  std::vector<float> m_aNoise;
  std::vector<float> m_aScratch;
};
