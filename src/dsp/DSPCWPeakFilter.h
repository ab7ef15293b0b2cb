#pragma once
// CW peak filter: two identical cascaded two-pole resonators that narrow the audio around the
// CW pitch. Each stage has its own state; coefficients are computed on the first block after
// any parameter change.

class CDSPCWPeakFilter {
 public:
  CDSPCWPeakFilter() = default;

  // rateHz: audio rate; centreHz: resonance; radius: pole radius (0 < radius < 1).
  void SetParameters(double rateHz, double centreHz, double radius);
  void SetEnabled(bool enabled) { m_bEnabled = enabled; }
  bool IsEnabled() const { return m_bEnabled; }

  double Rate() const { return m_dRate; }
  double Centre() const { return m_dCentre; }
  double Radius() const { return m_dRadius; }

  // In place, both stages one after the other over the whole block.
  void Process(float* audio, int n);

 private:
  void ComputeCoefficients();

  bool m_bEnabled = false;
  bool m_bDirty = true;
  double m_dRate = 8000.0;
  double m_dCentre = 600.0;
  double m_dRadius = 0.94;
  double m_dA1 = 0.0;
  double m_dA2 = 0.0;
  double m_dGain = 0.0;
  double m_aState[2][2] = {{0.0, 0.0}, {0.0, 0.0}};  // y[k-1], y[k-2] per stage
};
