#pragma once
// Measurements of synthesised test signals: RMS, tone level by Goertzel, the dominant
// frequency and a tone's SNR by FFT.

#include <complex>
#include <cstdint>
#include <vector>

namespace sigtest {

double Rms(const float* x, int n);
double Rms(const std::vector<float>& x, int from, int to);

// Amplitude of the component at freqHz (a sine of amplitude A gives A).
double ToneAmplitude(const float* x, int n, double freqHz, double rateHz);

// Frequency of the strongest FFT bin (Hann window, parabolic interpolation), DC excluded.
double DominantFrequency(const float* x, int n, double rateHz);

// Power within +-widthHz of freqHz against the power elsewhere (DC excluded), in dB.
double ToneSnrDb(const float* x, int n, double freqHz, double rateHz, double widthHz = 30.0);

// Complex tone: amplitude * exp(j 2 pi f t), t = k / rate, starting at sample `start`.
std::vector<std::complex<float>> ComplexTone(int n, double freqHz, double rateHz, double amplitude,
                                             std::int64_t start = 0);

// Gaussian white noise of the given RMS (per component for complex), fixed seed.
std::vector<float> Noise(int n, double rms, unsigned seed);

}  // namespace sigtest
