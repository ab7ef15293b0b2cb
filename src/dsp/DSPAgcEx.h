#pragma once
// Automatic gain control of the demodulated audio.
//
// Levels are base-10 logarithms relative to the 16-bit full scale 32767, so the stage expects
// audio on a 16-bit-like scale. The audio is delayed by 15 ms so that the gain reacts to a
// peak before the peak is heard; after a loud passage the gain is held for one second (the
// hang time) before the slow envelope lets it rise again. Above the threshold the output
// changes by only 1.2 dB per 20 dB of input (slope 6 %).

#include <vector>

class CDSPAgcEx {
 public:
  CDSPAgcEx();
  CDSPAgcEx(const CDSPAgcEx&) = delete;
  CDSPAgcEx& operator=(const CDSPAgcEx&) = delete;
  CDSPAgcEx(CDSPAgcEx&&) = default;
  CDSPAgcEx& operator=(CDSPAgcEx&&) = default;

  // Fixes the parameters (enabled, -100 dB, 60 dB, 6 %, 500 ms, 1000 ms) and derives the
  // smoothing factors and lengths for rateHz; a changed rate also resets the state.
  void SetRate(double rateHz);

  // n samples in, n samples out, delayed by DelayLength(); in and out may be the same.
  void Process(int n, const double* in, double* out);

  double Rate() const { return m_dRate; }
  int DelayLength() const { return m_nDelayLength; }
  int WindowLength() const { return m_nWindowLength; }
  int HangLength() const { return m_nHangLength; }
  double MaxGain() const { return m_dGainMax; }
  double FixedGain() const { return m_dGainFixed; }

 private:
  bool m_bEnabled = true;
  int m_nThreshold = 0;     // dB
  int m_nManualGain = 0;    // dB
  double m_dSlope = 0.0;    // percent
  int m_nDecayMs = 0;       // slow envelope attack/decay, ms
  int m_nHangMs = 0;        // ms
  double m_dRate = 100.0;   // Hz

  double m_dGainFixed = 0.0;
  double m_dSlopeFactor = 0.0;
  double m_dThresholdLog = 0.0;
  double m_dGainMax = 0.0;
  double m_dFastAttack = 0.0;
  double m_dFastDecay = 0.0;
  double m_dSlowAttack = 0.0;
  double m_dSlowDecay = 0.0;
  int m_nHangLength = 0;
  int m_nWindowLength = 1;
  int m_nDelayLength = 1;

  double m_dFast = -5.0;
  double m_dSlow = -5.0;
  double m_dPeak = -16.0;
  int m_nHangCount = 0;
  int m_nDelayIndex = 0;
  int m_nWindowIndex = 0;

  std::vector<double> m_aDelay;   // 2048 samples
  std::vector<double> m_aWindow;  // 2048 log levels
  std::vector<double> m_aLevels;  // scratch, grown to block length + 256
};
