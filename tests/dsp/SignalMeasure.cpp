#include "SignalMeasure.h"

#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

namespace sigtest {

double Rms(const float* x, int n) {
  if (n <= 0) return 0.0;
  double s = 0.0;
  for (int k = 0; k < n; ++k) s += static_cast<double>(x[k]) * x[k];
  return std::sqrt(s / n);
}

double Rms(const std::vector<float>& x, int from, int to) {
  from = std::clamp(from, 0, static_cast<int>(x.size()));
  to = std::clamp(to, from, static_cast<int>(x.size()));
  return Rms(x.data() + from, to - from);
}

double ToneAmplitude(const float* x, int n, double freqHz, double rateHz) {
  const double w = 2.0 * std::numbers::pi * freqHz / rateHz;
  std::complex<double> acc;
  for (int k = 0; k < n; ++k) acc += static_cast<double>(x[k]) * std::polar(1.0, -w * k);
  return 2.0 * std::abs(acc) / n;
}

namespace {

std::vector<double> PowerSpectrum(const float* x, int n) {
  std::vector<double> in(n);
  for (int k = 0; k < n; ++k)
    in[k] = x[k] * (0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * k / n));
  std::vector<fftw_complex> out(n / 2 + 1);
  fftw_plan plan = fftw_plan_dft_r2c_1d(n, in.data(), out.data(), FFTW_ESTIMATE);
  fftw_execute(plan);
  fftw_destroy_plan(plan);
  std::vector<double> p(n / 2 + 1);
  for (int k = 0; k <= n / 2; ++k) p[k] = out[k][0] * out[k][0] + out[k][1] * out[k][1];
  return p;
}

}  // namespace

double DominantFrequency(const float* x, int n, double rateHz) {
  if (n < 16) return 0.0;
  const std::vector<double> p = PowerSpectrum(x, n);
  int best = 2;
  for (int k = 2; k < static_cast<int>(p.size()) - 1; ++k)
    if (p[k] > p[best]) best = k;
  double shift = 0.0;
  if (best > 0 && best + 1 < static_cast<int>(p.size())) {
    const double a = std::log(p[best - 1] + 1e-30), b = std::log(p[best] + 1e-30),
                 c = std::log(p[best + 1] + 1e-30);
    const double d = a - 2.0 * b + c;
    if (d != 0.0) shift = 0.5 * (a - c) / d;
  }
  return (best + shift) * rateHz / n;
}

double ToneSnrDb(const float* x, int n, double freqHz, double rateHz, double widthHz) {
  const std::vector<double> p = PowerSpectrum(x, n);
  double tone = 0.0, rest = 0.0;
  for (int k = 3; k < static_cast<int>(p.size()); ++k) {
    const double f = k * rateHz / n;
    if (std::fabs(f - freqHz) <= widthHz)
      tone += p[k];
    else
      rest += p[k];
  }
  return 10.0 * std::log10((tone + 1e-30) / (rest + 1e-30));
}

std::vector<std::complex<float>> ComplexTone(int n, double freqHz, double rateHz, double amplitude,
                                             std::int64_t start) {
  std::vector<std::complex<float>> z(n);
  const double w = 2.0 * std::numbers::pi * freqHz / rateHz;
  for (int k = 0; k < n; ++k) {
    const double ph = std::fmod(w * static_cast<double>(start + k), 2.0 * std::numbers::pi);
    z[k] = std::complex<float>(static_cast<float>(amplitude * std::cos(ph)),
                               static_cast<float>(amplitude * std::sin(ph)));
  }
  return z;
}

std::vector<float> Noise(int n, double rms, unsigned seed) {
  std::mt19937 gen(seed);
  std::normal_distribution<float> dist(0.0f, static_cast<float>(rms));
  std::vector<float> v(n);
  for (float& x : v) x = dist(gen);
  return v;
}

}  // namespace sigtest
