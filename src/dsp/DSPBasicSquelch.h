#pragma once
// Level squelch of the AM, sideband and data modes.
//
// It measures the channel level on the IF samples that were demodulated (not on the audio),
// normalised to the filter width so that the level does not depend on the pass band, smooths
// and holds it, and mutes the audio below the close threshold until it rises to the open
// threshold again.

#include <complex>
#include <vector>

class CDSPBasicSquelch {
 public:
  CDSPBasicSquelch() = default;
  CDSPBasicSquelch(const CDSPBasicSquelch&) = delete;
  CDSPBasicSquelch& operator=(const CDSPBasicSquelch&) = delete;
  CDSPBasicSquelch(CDSPBasicSquelch&&) = default;
  CDSPBasicSquelch& operator=(CDSPBasicSquelch&&) = default;

  // Thresholds in dB on the 16-bit scale of the IF samples (full scale about 90 dB, plus the
  // bandwidth term); openDb should be above closeDb. hangSamples counts IF samples.
  void Setup(bool enabled, float openDb, float closeDb, int hangSamples);

  // Measures the level of the ifCount IF samples and mutes the audioCount audio samples
  // by it: audio[k] follows the state after IF sample k, and audio beyond the IF count (the
  // sideband demodulators release audio in FFT-sized runs) follows the state at the end of
  // the block, so a closed squelch silences the whole block. bandwidthFraction is the
  // channel filter's width as a fraction of the IF rate.
  void Process(float* audio, int audioCount, const std::complex<float>* ifSamples, int ifCount,
               double bandwidthFraction);

  bool IsEnabled() const { return m_bEnabled; }
  bool IsMuted() const { return m_bMuted; }
  float Level() const { return m_fLevel; }
  float HeldLevel() const { return m_fHeld; }

 private:
  bool m_bEnabled = false;
  bool m_bMuted = false;
  float m_fLevel = 0.0f;  // L, dB
  float m_fHeld = 0.0f;   // P, dB
  float m_fOpenDb = 0.0f;
  float m_fCloseDb = 0.0f;
  int m_nHangCount = 0;
  int m_nHangLimit = 0;
  std::vector<float> m_aLevels;
};
