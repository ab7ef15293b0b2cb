#pragma once
// Normalised LMS predictor on real audio: the adaptive line enhancer of the chain and the
// FIR LMS method of the noise reduction are this one algorithm.
//
// The filter predicts each sample from the M samples that lie D samples and more in the past.
// Periodic components (tones, carriers) are predictable and noise is not, so the prediction
// keeps tones and suppresses noise (output selection 1), while the prediction error removes
// tones and keeps the rest (output selection 0). Computed in 64-bit floats.

#include <vector>

class CDSPFilterNoiseFIRLMS {
 public:
  static constexpr int kMaxTaps = 500;
  static constexpr int kRingLength = 1024;

  CDSPFilterNoiseFIRLMS();
  CDSPFilterNoiseFIRLMS(const CDSPFilterNoiseFIRLMS&) = delete;
  CDSPFilterNoiseFIRLMS& operator=(const CDSPFilterNoiseFIRLMS&) = delete;
  CDSPFilterNoiseFIRLMS(CDSPFilterNoiseFIRLMS&&) = default;
  CDSPFilterNoiseFIRLMS& operator=(CDSPFilterNoiseFIRLMS&&) = default;

  // delay D in samples (0..kRingLength - taps), step mu, leak lambda, taps 1..kMaxTaps.
  // Forces the output selection to 1 and zeroes history and coefficients. Bad values leave
  // the stage as it was.
  void Setup(int delay, double mu, double lambda, int taps);

  // 1: output the prediction (keeps periodic components); 0: input minus prediction.
  void SetOutputSelection(int selection) { m_nOutputSelection = selection ? 1 : 0; }
  int OutputSelection() const { return m_nOutputSelection; }

  // Used by the chain for the line enhancer; the noise reduction runs the stage regardless.
  void SetEnabled(bool enabled) { m_bEnabled = enabled; }
  bool IsEnabled() const { return m_bEnabled; }
  bool IsInitialised() const { return m_bInitialised; }

  // In place.
  void Process(float* audio, int n);

  int Delay() const { return m_nDelay; }
  double Mu() const { return m_dMu; }
  double Lambda() const { return m_dLambda; }
  int Taps() const { return m_nTaps; }

 private:
  bool m_bInitialised = false;
  bool m_bEnabled = false;
  int m_nOutputSelection = 1;
  double m_dMu = 0.01;
  double m_dLambda = 0.0001;
  int m_nDelay = 8;
  int m_nTaps = 199;
  int m_nPosition = 0;
  // The rings are stored twice in a row so that every window of the history is contiguous.
  std::vector<double> m_aHistory;
  std::vector<double> m_aSquares;
  std::vector<double> m_aWeights;
};
