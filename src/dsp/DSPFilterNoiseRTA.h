#pragma once
// Spectral-subtraction noise reduction (method 3 of the noise-reduction stage).
//
// Frames of about 32 ms at half overlap; the noise power spectrum is tracked by minimum
// statistics (as for the Ephraim-Malah method) and subtracted from each frame's power
// spectrum with an over-subtraction that grows as the frame's SNR falls, down to a spectral
// floor of -20 dB; the gains are smoothed over time to keep "musical noise" down.
//
// The stage returns as many samples as it is given: its output runs one hop (half a frame)
// behind the input, and it starts with one hop of silence.

#include <memory>
#include <vector>

#include "dsp/DSPNoiseSpectrumTracker.h"
#include "dsp/DSPSpectralFrames.h"

class CDSPFilterNoiseRTA {
 public:
  explicit CDSPFilterNoiseRTA(double rateHz = 8000.0);
  CDSPFilterNoiseRTA(CDSPFilterNoiseRTA&&) noexcept = default;
  CDSPFilterNoiseRTA& operator=(CDSPFilterNoiseRTA&&) noexcept = default;

  // Chooses the frame size for rateHz and clears the state; an unchanged rate does nothing.
  void Setup(double rateHz);
  double Rate() const { return m_dRate; }
  int FrameSize() const { return m_frames ? m_frames->FrameSize() : 0; }
  // Delay from input to output in samples.
  int Delay() const { return m_frames ? m_frames->HopSize() : 0; }

  // In place; count is unchanged (it is a reference for the noise-reduction interface).
  void Process(float* audio, int& count);

 private:
  double m_dRate = 0.0;
  std::unique_ptr<CDSPSpectralFrames> m_frames;
  std::unique_ptr<CDSPNoiseSpectrumTracker> m_tracker;
  std::vector<float> m_aGain;
  std::vector<float> m_aInput;   // queued input, fewer than a hop after each call
  std::vector<float> m_aOutput;  // produced output not yet returned
  std::vector<float> m_aHop;
};
