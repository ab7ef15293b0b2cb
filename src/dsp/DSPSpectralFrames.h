#pragma once
// Short-time spectral analysis and resynthesis of real audio for the spectral noise
// reducers: frames of F samples at a hop of F/2, square-root Hann window on both sides (the
// two windows multiply to a Hann window, which sums to one at half overlap), real FFT.
//
// Each step takes the next F/2 samples, returns the frame's spectrum and power spectrum,
// and, given one gain per bin, writes F/2 output samples that lag the input by F/2.

#include <complex>

#include "dsp/AlignedVector.h"
#include "dsp/FFTWPlan.h"

class CDSPSpectralFrames {
 public:
  // frameSize: a power of two from 16 to 65536; other values are rounded up to one.
  explicit CDSPSpectralFrames(int frameSize = 256);
  CDSPSpectralFrames(CDSPSpectralFrames&&) noexcept = default;
  CDSPSpectralFrames& operator=(CDSPSpectralFrames&&) noexcept = default;

  int FrameSize() const { return m_nFrame; }
  int HopSize() const { return m_nFrame / 2; }
  int Bins() const { return m_nFrame / 2 + 1; }

  // Clears the history and the overlap.
  void Reset();

  // Makes hop samples the history that the next frame starts with.
  void Prime(const float* hop);

  // Analyses the frame of the history and hop new samples; returns |X[k]|^2 for Bins() bins.
  const float* Analyse(const float* hop);
  const std::complex<float>* Spectrum() const { return m_aSpectrum.data(); }

  // Applies gain[k] to the spectrum of the last analysis and writes hop output samples.
  void Synthesise(const float* gain, float* out);

 private:
  int m_nFrame = 0;
  CAlignedVector<float> m_aWindow;
  CAlignedVector<float> m_aHistory;   // hop samples
  CAlignedVector<float> m_aTime;      // frame
  CAlignedVector<std::complex<float>> m_aSpectrum;
  CAlignedVector<std::complex<float>> m_aWork;
  CAlignedVector<float> m_aPower;
  CAlignedVector<float> m_aOverlap;   // hop samples of the previous synthesis
  CFFTWPlanF m_forward;
  CFFTWPlanF m_inverse;
};
