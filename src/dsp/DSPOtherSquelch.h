#pragma once
// Audio level squelch: mutes the demodulated audio while its level stays below a threshold.
//
// The chain sets it up with the squelch settings and the IF rate whenever a mode is applied,
// so that it is ready with the user's settings, but its block order has no step that runs it:
// the basic squelch (AM, sideband and data modes) and the FM squelch do the chain's muting,
// and a second level squelch behind them would close on its own, differently scaled
// threshold. Process serves a caller that wants a squelch on audio alone.
//
// It follows the audio's mean-square level over 20 ms, opens at the threshold that the
// squelch level (0..100) stands for and closes 6 dB below it after a hang time of 200 ms,
// fading the block in or out when the state changes so that no click is heard.

class CDSPOtherSquelch {
 public:
  CDSPOtherSquelch() = default;

  // level 0..100: the open threshold is (level - 100) dB relative to the 16-bit full scale,
  // so 0 never mutes a non-silent signal and 100 needs full scale.
  void Setup(bool enabled, int level, double rateHz);

  // In place; nothing happens while disabled.
  void Process(float* audio, int n);

  bool IsEnabled() const { return m_bEnabled; }
  bool IsMuted() const { return m_bMuted; }
  double OpenThresholdDb() const { return m_dOpenDb; }
  double LevelDb() const;

 private:
  bool m_bEnabled = false;
  bool m_bMuted = false;
  double m_dRate = 0.0;
  double m_dOpenDb = -100.0;   // dB relative to 32767
  double m_dCloseDb = -106.0;
  double m_dAlpha = 1.0;
  double m_dMeanSquare = 0.0;
  int m_nHangLength = 0;
  int m_nHangCount = 0;
};
