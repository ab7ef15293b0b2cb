#pragma once
// CBandCutChain: the signal path of a cut. Shifts the wanted band of a recording's complex
// samples to 0 Hz (table oscillator), decimates by a power of two in half-band stages and
// brings the result to the output rate with the polyphase resampler (run on I and Q), so
// that the band comes out flat and free of aliases at a rate just wider than itself.
//
// Quality, for an output rate Fo: flat within 0.1 dB up to 0.4 Fo from the centre, and
// everything that would fold into that band at least 90 dB down. The half-band stages are
// chosen per stage for that (the binomial filter only where its zeros cover the whole
// folding band); the cascade stops at a rate of at least 2 Fo, where the 59-tap half-band
// is flat far beyond the band, and the resampler's 512-tap Kaiser kernel does the rest.
// The resampler's 0.98 gain is undone, so a tone keeps its level.
//
// Timing: the chain swallows its own start-up. Given PrerollSamples() input samples before
// the wanted first sample, output i is the input signal at that first sample plus
// i * inRate / outRate (within TimingErrorSamples(), at most half an input sample).
// Computation only: no I/O, no threads.

#include <complex>
#include <cstdint>
#include <vector>

#include "dsp/AlignedVector.h"
#include "dsp/DSPHalfBandCascade.h"
#include "dsp/DSPPolyphaseResampler.h"
#include "dsp/DSPTableOscillator.h"

class CBandCutChain {
 public:
  // The most phases the resampler keeps exactly; beyond them it rounds the timing.
  static constexpr int kMaxExactPhases = 4096;
  // Fraction of the output band that is kept flat and free of aliases.
  static constexpr double kFlatFraction = 0.8;

  CBandCutChain() = default;
  CBandCutChain(const CBandCutChain&) = delete;
  CBandCutChain& operator=(const CBandCutChain&) = delete;

  // True when outRateHz is at most inRateHz and the resampler reaches it exactly (a
  // rational ratio of at most kMaxExactPhases phases after the half-band stages).
  static bool IsExactRate(std::uint32_t inRateHz, std::uint32_t outRateHz);
  // The smallest exact rate at least 1.25 x bandwidthHz (so that the band is the flat 80 %
  // of the output), capped at the input rate; 0 when bandwidthHz is not positive.
  static std::uint32_t DefaultRate(std::uint32_t inRateHz, double bandwidthHz);

  // Plans the chain; false when the rates are not IsExactRate. offsetHz is the wanted
  // centre relative to the input's centre.
  bool Setup(std::uint32_t inRateHz, std::uint32_t outRateHz, double offsetHz);

  // Converts n input samples (in may be overwritten: it is mixed in place) and writes the
  // outputs to out; returns their count, at most MaxOutputCount(n).
  int Process(std::complex<float>* in, int n, std::complex<float>* out);
  int MaxOutputCount(int n) const;

  std::int64_t PrerollSamples() const { return m_nPreroll; }
  double TimingErrorSamples() const { return m_dTimingError; }
  // Input samples the chain still needs after the last wanted one before its outputs
  // reach that sample.
  std::int64_t PostrollSamples() const { return m_nPostroll; }
  int Decimation() const { return m_cascade.Decimation(); }
  const CDSPHalfBandCascade& Cascade() const { return m_cascade; }
  int ResamplerPhases() const { return m_nPhases; }

 private:
  // The cheapest half-band filter (4, 19 or 59 taps) for a stage at stageRateHz.
  static int StageFilter(double stageRateHz, double outRateHz);

  std::uint32_t m_nInRate = 0;
  std::uint32_t m_nOutRate = 0;
  double m_dOffsetHz = 0.0;
  CDSPTableOscillator m_oscillator;
  CDSPHalfBandCascade m_cascade;
  CDSPPolyphaseResampler m_resamplerI;
  CDSPPolyphaseResampler m_resamplerQ;
  int m_nPhases = 0;

  std::int64_t m_nPreroll = 0;
  std::int64_t m_nPostroll = 0;
  double m_dTimingError = 0.0;
  std::int64_t m_nCascadeSkip = 0;    // cascade outputs still to drop
  std::int64_t m_nResamplerSkip = 0;  // resampler outputs still to drop

  CAlignedVector<std::complex<float>> m_aDecimated;
  CAlignedVector<float> m_aI, m_aQ, m_aOutI, m_aOutQ;
};
