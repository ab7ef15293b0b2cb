#pragma once
// Impulse noise blanker on the complex IF samples.
//
// Each sample's power is compared with the running sum of the last A + 1 powers (A = 5 ms of
// samples); a sample standing far above the average starts a blank of B samples (twice the
// blank time). The signal passes through a delay line of B/2 + 1 samples so that the blank
// is centred on the impulse rather than starting at it.

#include <complex>
#include <vector>

class CDSPNoiseBlankerAlt {
 public:
  CDSPNoiseBlankerAlt();
  CDSPNoiseBlankerAlt(const CDSPNoiseBlankerAlt&) = delete;
  CDSPNoiseBlankerAlt& operator=(const CDSPNoiseBlankerAlt&) = delete;
  CDSPNoiseBlankerAlt(CDSPNoiseBlankerAlt&&) = default;
  CDSPNoiseBlankerAlt& operator=(CDSPNoiseBlankerAlt&&) = default;

  // thresholdLevel: larger values blank only stronger impulses (a sample blanks when its power
  // exceeds about 200 / thresholdLevel times the mean power). Returns at once when all three
  // values are unchanged; otherwise clears the state.
  void Setup(double thresholdLevel, double blankTimeUs, double rateHz);

  void SetEnabled(bool enabled) { m_bEnabled = enabled; }
  bool IsEnabled() const { return m_bEnabled; }

  // In place; passes the block unchanged while disabled.
  void Process(std::complex<float>* samples, int n);

  int BlankLength() const { return m_nBlankLength; }
  int DelayLength() const { return m_nDelayLength; }
  int AveragingLength() const { return m_nAverageLength; }

 private:
  bool m_bEnabled = false;
  double m_dLevel = -1.0;
  double m_dBlankTimeUs = -1.0;
  double m_dRate = -1.0;

  int m_nBlankLength = 1;    // B
  int m_nDelayLength = 0;    // D: the line holds D + 1 samples
  int m_nAverageLength = 0;  // A: the ring holds A + 1 powers
  double m_dFactor = 0.0;    // K

  int m_nBlankCount = 0;
  int m_nPowerIndex = 0;
  int m_nDelayIndex = 0;
  double m_dSum = 0.0;
  std::vector<double> m_aPowerRing;             // 32768
  std::vector<std::complex<float>> m_aDelay;    // 4096
  std::vector<float> m_aPower;
  std::vector<std::complex<float>> m_aOutput;   // grows to block size + 65536
};
