// The noise blanker, the Ephraim-Malah library and the three noise-reduction methods,
// measured on noisy tones and impulses.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "SignalMeasure.h"
#include "dsp/DSPFilterNoiseFIRLMS.h"
#include "dsp/DSPFilterNoiseRTA.h"
#include "dsp/DSPNoiseBlankerAlt.h"
#include "dsp/DSPNoiseReduction.h"
#include "dsp/EphraimMalah.h"

namespace {

constexpr double kRate = 8000.0;

// A 1 kHz tone of the given amplitude in white noise.
std::vector<float> NoisyTone(int n, double amplitude, double noiseRms, unsigned seed, double freqHz = 1000.0) {
  std::vector<float> x = sigtest::Noise(n, noiseRms, seed);
  for (int k = 0; k < n; ++k)
    x[k] += static_cast<float>(amplitude * std::sin(2.0 * std::numbers::pi * freqHz * k / kRate));
  return x;
}

}  // namespace

// Catches a blanker that misses impulses, blanks the wrong samples (the delay line must
// centre the blank on the impulse) or disturbs a clean signal.
TEST(NoiseBlanker, BlanksImpulsesAndPassesTheRest) {
  const double rate = 48000.0;
  CDSPNoiseBlankerAlt nb;
  nb.SetEnabled(true);
  nb.Setup(10.0, 100.0, rate);  // blank 9 samples, delay line of 5
  ASSERT_EQ(nb.BlankLength(), 9);
  ASSERT_EQ(nb.DelayLength(), 4);
  const int n = 4800;
  std::vector<std::complex<float>> x = sigtest::ComplexTone(n, 1000.0, rate, 1000.0);
  const std::vector<std::complex<float>> clean = x;
  const std::vector<int> impulses = {1000, 2500, 4000};
  for (int at : impulses) x[at] = std::complex<float>(30000.0f, -30000.0f);
  nb.Process(x.data(), n);

  const int delay = nb.DelayLength() + 1;
  for (int at : impulses) {
    // The blank runs from the impulse's arrival for B samples; the impulse itself leaves the
    // delay line in the middle of it.
    EXPECT_NE(x[at - 1], std::complex<float>()) << at;
    for (int k = at; k < at + nb.BlankLength(); ++k) EXPECT_EQ(x[k], std::complex<float>()) << at;
    EXPECT_NE(x[at + nb.BlankLength()], std::complex<float>()) << at;
    EXPECT_LT(delay, nb.BlankLength());
  }
  int blanked = 0;
  double worst = 0.0;
  for (int k = 500; k < n; ++k) {
    if (x[k] == std::complex<float>()) {
      ++blanked;
      continue;
    }
    worst = std::max(worst, static_cast<double>(std::abs(x[k] - clean[k - delay])));
  }
  EXPECT_EQ(blanked, 3 * nb.BlankLength());
  EXPECT_LT(worst, 1e-3);
}

// Catches a blanker that changes samples while disabled.
TEST(NoiseBlanker, DisabledPassesUnchanged) {
  CDSPNoiseBlankerAlt nb;
  std::vector<std::complex<float>> x = sigtest::ComplexTone(100, 50.0, 1000.0, 10.0);
  x[50] = 1e6f;
  const std::vector<std::complex<float>> before = x;
  nb.Process(x.data(), 100);
  EXPECT_EQ(x, before);
}

// Catches a library that does not honour its frame contract: priming produces nothing, every
// Run returns exactly half a frame, and bad contexts are harmless.
TEST(EphraimMalahLibrary, HonoursTheCallContract) {
  const int ctx = EphraimMalahGetContext();
  ASSERT_GT(ctx, 0);
  EXPECT_EQ(EphraimMalahGetFrameSize(ctx), 0);  // not yet initialised
  ASSERT_EQ(EphraimMalahInit(ctx, 8000), 1);
  const int frame = EphraimMalahGetFrameSize(ctx);
  EXPECT_EQ(frame, 256);
  EXPECT_EQ(EphraimMalahDelaySet(ctx), 0);
  std::vector<short> in(frame / 2, 1000), out(frame / 2, 7);
  EphraimMalahSetDelayLine(ctx, in.data(), frame / 2);
  EXPECT_NE(EphraimMalahDelaySet(ctx), 0);
  EphraimMalahRun(ctx, in.data(), frame / 2, out.data());
  EphraimMalahRun(ctx, in.data(), 7, out.data());  // wrong count: silence
  EXPECT_TRUE(std::all_of(out.begin(), out.begin() + 7, [](short s) { return s == 0; }));
  EphraimMalahReleaseContext(ctx);
  EXPECT_EQ(EphraimMalahGetFrameSize(ctx), 0);
  EphraimMalahRun(ctx, in.data(), frame / 2, out.data());
  EXPECT_EQ(EphraimMalahInit(12345678, 8000), 0);
}

// Catches an estimator that does not suppress noise or eats the tone: the SNR of a tone in
// white noise must rise clearly, and the tone must keep its level (the method returns the
// audio 12 dB lower by design, so compare against a quarter of the input).
TEST(NoiseReduction, EphraimMalahRaisesTheSnrOfANoisyTone) {
  CDSPNoiseReduction nr;
  const int half = nr.LibraryFrameSize() / 2;
  ASSERT_EQ(half, 128);
  const int n = 8 * 8000;
  const std::vector<float> input = NoisyTone(n, 2000.0, 1000.0, 5);
  std::vector<float> output;
  std::vector<float> block(65536);
  for (int pos = 0; pos < n; pos += 1000) {
    int count = std::min(1000, n - pos);
    std::copy(input.begin() + pos, input.begin() + pos + count, block.begin());
    nr.ProcessEphraimMalah(block.data(), count, static_cast<int>(block.size()));
    EXPECT_EQ(count % half, 0);
    output.insert(output.end(), block.begin(), block.begin() + count);
  }
  // The first half frame only primes the delay line; the rest waits in the queue.
  EXPECT_EQ(output.size(), static_cast<std::size_t>((n - half) / half * half));

  const int from = 4 * 8000, len = 3 * 8000;
  const double snrIn = sigtest::ToneSnrDb(input.data() + from, len, 1000.0, kRate);
  const double snrOut = sigtest::ToneSnrDb(output.data() + from, len, 1000.0, kRate);
  EXPECT_GT(snrOut, snrIn + 10.0) << snrIn << " -> " << snrOut;
  const double toneOut = sigtest::ToneAmplitude(output.data() + from, len, 1000.0, kRate);
  EXPECT_NEAR(20.0 * std::log10(toneOut / 2000.0), -12.0, 2.0);
}

// Catches a wrong scale choice: a silent history must use scale 1.0, not divide by zero.
TEST(NoiseReduction, SilenceGivesSilence) {
  CDSPNoiseReduction nr;
  std::vector<float> block(65536, 0.0f);
  int count = 1024;
  nr.ProcessEphraimMalah(block.data(), count, 65536);
  EXPECT_EQ(count, 1024 - 128);
  for (int k = 0; k < count; ++k) ASSERT_EQ(block[k], 0.0f);
}

// Catches an LMS predictor that does not converge or has its output selection inverted:
// predicting a noisy tone keeps the tone and loses noise; the error output removes the tone.
TEST(FilterNoiseFIRLMS, PredictionKeepsTonesErrorRemovesThem) {
  const int n = 4 * 8000;
  const std::vector<float> input = NoisyTone(n, 2000.0, 1000.0, 7);
  CDSPFilterNoiseFIRLMS lms;
  lms.Setup(8, 0.01, 0.0001, 199);
  std::vector<float> predicted = input;
  for (int pos = 0; pos < n; pos += 1024) lms.Process(predicted.data() + pos, std::min(1024, n - pos));

  const int from = 2 * 8000, len = 2 * 8000;
  const double snrIn = sigtest::ToneSnrDb(input.data() + from, len, 1000.0, kRate);
  const double snrOut = sigtest::ToneSnrDb(predicted.data() + from, len, 1000.0, kRate);
  EXPECT_GT(snrOut, snrIn + 6.0) << snrIn << " -> " << snrOut;

  CDSPFilterNoiseFIRLMS notch;
  notch.Setup(8, 0.01, 0.0001, 199);
  notch.SetOutputSelection(0);
  std::vector<float> error(n);
  for (int k = 0; k < n; ++k)
    error[k] = static_cast<float>(2000.0 * std::sin(2.0 * std::numbers::pi * 1000.0 * k / kRate));
  notch.Process(error.data(), n);
  EXPECT_LT(sigtest::Rms(error, from, from + len), 2000.0 / std::sqrt(2.0) / 10.0);
}

// Catches a spectral subtraction that changes the sample count, loses the tone or leaves the
// noise as it was.
TEST(FilterNoiseRTA, ReducesNoiseAndKeepsTheCount) {
  CDSPFilterNoiseRTA rta(kRate);
  const int n = 8 * 8000;
  const std::vector<float> input = NoisyTone(n, 2000.0, 1000.0, 9);
  std::vector<float> output = input;
  for (int pos = 0; pos < n; pos += 700) {
    int count = std::min(700, n - pos);
    rta.Process(output.data() + pos, count);
    ASSERT_EQ(count, std::min(700, n - pos));
  }
  const int from = 4 * 8000, len = 3 * 8000;
  const double snrIn = sigtest::ToneSnrDb(input.data() + from, len, 1000.0, kRate);
  const double snrOut = sigtest::ToneSnrDb(output.data() + from, len, 1000.0, kRate);
  EXPECT_GT(snrOut, snrIn + 8.0) << snrIn << " -> " << snrOut;
  // The output lags by the stage's delay and keeps the tone's level.
  const double tone = sigtest::ToneAmplitude(output.data() + from, len, 1000.0, kRate);
  EXPECT_NEAR(20.0 * std::log10(tone / 2000.0), 0.0, 1.5);
}
