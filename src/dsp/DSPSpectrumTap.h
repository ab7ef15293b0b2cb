#pragma once
// A spectrum tap of the demodulator chain: takes the complex IF signal as it passes and makes
// windowed FFT spectra of it for the player's spectrum scope and waterfall, at a chosen
// number of lines per second.
//
// The FFT size is the smallest power of two holding one line's worth of samples
// (rate / lines per second); consecutive FFTs overlap by the rest. Each spectrum is an array
// of N + 10 floats laid out as the player's display spectra: [0] N + 10, [1] 10 (header
// length), [2] N, [3] the sample rate in Hz, [4..9] 0, then N levels in dB relative to a
// full-scale (32767) complex tone, lowest frequency first. The player collects them with
// TakeSpectra() and hands them, with Destination(), to the display side.

#include <complex>
#include <cstdint>
#include <vector>

#include "dsp/AlignedVector.h"
#include "dsp/FFTWPlan.h"

class CDSPSpectrumTap {
 public:
  static constexpr int kHeaderLength = 10;
  static constexpr int kMaxPending = 64;  // older spectra are dropped when nobody collects

  CDSPSpectrumTap() = default;
  CDSPSpectrumTap(CDSPSpectrumTap&&) noexcept = default;
  CDSPSpectrumTap& operator=(CDSPSpectrumTap&&) noexcept = default;

  // Stores the three values; the FFT is set up again when the lines per second changed or
  // the tap was switched on, provided it is enabled and knows its sample rate.
  void Configure(bool enable, int linesPerSecond, std::uint64_t destination);
  // Stores a changed rate and, when enabled with non-zero lines per second, sets up again.
  void SetSampleRate(int rateHz);
  // Derives size and overlap from rate and lines per second and allocates anew.
  void Setup();

  void Process(const std::complex<float>* samples, int n);

  // The spectra made since the last call, oldest first.
  std::vector<std::vector<float>> TakeSpectra();

  bool IsEnabled() const { return m_bEnabled; }
  int LinesPerSecond() const { return m_nLinesPerSecond; }
  std::uint64_t Destination() const { return m_nDestination; }
  int SampleRate() const { return m_nSampleRate; }
  int FFTSize() const { return m_nFFTSize; }
  int OverlapPercent() const { return m_nOverlap; }
  int FFTOrder() const { return m_nOrder; }

 private:
  void MakeSpectrum();

  bool m_bEnabled = false;
  int m_nLinesPerSecond = 0;
  std::uint64_t m_nDestination = 0;
  int m_nSampleRate = 0;
  int m_nFFTSize = 0;
  int m_nOverlap = 0;  // percent
  int m_nOrder = 0;
  int m_nHop = 0;
  int m_nFill = 0;
  float m_fReferenceDb = 0.0f;

  CAlignedVector<std::complex<float>> m_aFrame;
  CAlignedVector<std::complex<float>> m_aWork;
  CAlignedVector<std::complex<float>> m_aSpectrum;
  CAlignedVector<float> m_aWindow;
  CFFTWPlanF m_plan;
  std::vector<std::vector<float>> m_aPending;
};
