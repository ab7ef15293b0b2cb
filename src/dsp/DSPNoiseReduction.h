#pragma once
// Noise reduction of the demodulated audio, by one of three methods chosen by the chain:
// 1 the Ephraim-Malah estimator of the EphraimMalah library on 16-bit frames at 8000 Hz,
// 2 the FIR LMS predictor, 3 spectral subtraction (CDSPFilterNoiseRTA).
//
// Method 1 scales each block so that the loudest block of the last 100 stands at 80 % of the
// 16-bit range, halves it into 16-bit samples, queues them and runs the library on every
// complete half frame; the cleaned samples come back halved again and unscaled, so the method
// deliberately returns the audio 12 dB lower than it came in. Its output count is a multiple
// of the half frame; the rest waits in the queue.

#include <vector>

#include "dsp/DSPFilterNoiseFIRLMS.h"
#include "dsp/DSPFilterNoiseRTA.h"

class CDSPNoiseReduction {
 public:
  CDSPNoiseReduction();
  ~CDSPNoiseReduction();
  CDSPNoiseReduction(const CDSPNoiseReduction&) = delete;
  CDSPNoiseReduction& operator=(const CDSPNoiseReduction&) = delete;

  // Method 1. audio must hold capacity samples; count becomes the number of samples
  // produced (at most capacity; a multiple of the library's half frame, possibly 0).
  void ProcessEphraimMalah(float* audio, int& count, int capacity);

  // Method 2: set-up (delay, mu, lambda, taps) and in-place processing.
  void SetupFIRLMS(int delay, double mu, double lambda, int taps);
  void ProcessFIRLMS(float* audio, int count);
  const CDSPFilterNoiseFIRLMS& FIRLMS() const { return m_firLms; }

  // Method 3, in place; count is unchanged.
  void ProcessRTA(float* audio, int& count);
  CDSPFilterNoiseRTA& RTA() { return m_rta; }

  int LibraryFrameSize() const { return m_nFrameSize; }

 private:
  int m_nContext = 0;
  CDSPFilterNoiseFIRLMS m_firLms;
  CDSPFilterNoiseRTA m_rta;
  int m_nLibraryRate = 8000;  // the estimator runs at 8000 Hz whatever the audio rate
  int m_nFrameSize = 0;

  std::vector<short> m_aQueue;   // 65,536 16-bit samples for the library
  int m_nQueued = 0;
  std::vector<short> m_aOutput;  // 65,536 cleaned samples
  std::vector<float> m_aPeaks;   // the last 100 block peaks, newest first
};
