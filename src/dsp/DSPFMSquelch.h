#pragma once
// Noise squelch of the FM modes.
//
// An FM discriminator's output above the voice band is mostly noise when no carrier is
// present and falls away when one is. The stage measures the audio above about 2175 Hz with a
// Kaiser-windowed FIR high-pass, smooths its magnitude over 50 ms and compares it with a
// threshold derived from the user's squelch level (0..100), with a hysteresis of +-200, and
// fades the block in or out when the state changes.

#include <functional>
#include <vector>

class CDSPFMSquelch {
 public:
  CDSPFMSquelch() = default;
  CDSPFMSquelch(const CDSPFMSquelch&) = delete;
  CDSPFMSquelch& operator=(const CDSPFMSquelch&) = delete;
  CDSPFMSquelch(CDSPFMSquelch&&) = default;
  CDSPFMSquelch& operator=(CDSPFMSquelch&&) = default;

  // Called when the mode is applied. level 0..100 (100 = always muted). In automatic mode a
  // trigger sets the threshold just below the present noise and reports the level it stands
  // for to the level destination.
  void Setup(bool enabled, int level, double rateHz, bool automatic, bool trigger);

  // In place, n <= 32768 samples; nothing happens while disabled.
  void Process(float* audio, int n);

  // Receives the squelch level (0..100) that an automatic trigger chose.
  void SetLevelDestination(std::function<void(int)> destination) {
    m_levelDestination = std::move(destination);
  }

  bool IsEnabled() const { return m_bEnabled; }
  bool IsMuted() const { return m_bMuted; }
  double Threshold() const { return m_dThreshold; }
  float NoiseLevel() const { return m_fNoise; }
  const std::vector<double>& Taps() const { return m_aTaps; }

 private:
  void DesignNoiseFilter(double gain, double attenuationDb, double passHz, double stopHz);

  bool m_bEnabled = false;
  bool m_bMuted = false;
  bool m_bSetUp = false;
  double m_dReferenceHz = 3000.0;
  double m_dRate = 0.0;
  double m_dThreshold = 0.0;  // T, on the magnitude scale of the 16-bit-like audio
  float m_fAlpha = 0.0f;
  float m_fNoise = 0.0f;      // N
  int m_nLevel = 0;

  std::vector<double> m_aTaps;      // at most 75
  std::vector<float> m_aTapsTwice;  // the taps twice in a row: the circular line needs no wrap
  std::vector<float> m_aDelay;
  int m_nDelayIndex = 0;
  std::vector<float> m_aFiltered;

  // Auxiliary two-pole low-pass section, initialised with the noise filter for the
  // options display's level meter; the squelch decision does not use it.
  struct SBiquad {
    double b0 = 0, b1 = 0, b2 = 0, a1 = 0, a2 = 0;
  } m_aux;

  std::function<void(int)> m_levelDestination;
};
