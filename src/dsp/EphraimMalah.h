#pragma once
// Ephraim-Malah noise reduction: a small C-style library of seven calls.
//
// The estimator is the minimum mean-square error short-time spectral amplitude estimator
// (Ephraim and Malah, 1984) with the decision-directed estimate of the a-priori SNR, applied
// to overlapping frames of 16-bit audio. Frames of 32 ms (256 samples at 8000 Hz) advance by
// half a frame; the noise spectrum is tracked by minimum statistics.
//
// Use: get a context, Init it with the sample rate, prime the delay line once with the first
// half frame, then Run one half frame at a time; each Run returns the half frame before the
// one it was given (the output lags by half a frame). Release the context when done.
// Calls with an unknown context do nothing (or return 0). Contexts may be used on different
// threads, each context by one thread at a time.

extern "C" {

// A new context handle (positive), or 0 when none could be made.
int EphraimMalahGetContext(void);

// Prepares the estimator for sampleRate (Hz) and clears its state; returns 1, or 0 for an
// unknown context or a rate of 0 or below.
int EphraimMalahInit(int context, int sampleRate);

void EphraimMalahReleaseContext(int context);

// Frame size in samples (a power of two); 0 for an unknown or uninitialised context.
int EphraimMalahGetFrameSize(int context);

// Non-zero once the delay line has been primed.
int EphraimMalahDelaySet(int context);

// Primes the delay line with count (= frame size / 2) samples.
void EphraimMalahSetDelayLine(int context, const short* samples, int count);

// Processes count (= frame size / 2) samples and writes as many cleaned samples to out
// (rounded, saturated to 16 bits). Any other count writes count zero samples.
void EphraimMalahRun(int context, const short* in, int count, short* out);

}
