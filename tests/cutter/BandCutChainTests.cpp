// The cut's signal path in DSP terms: tones through the chain at several rate pairs, checked
// for frequency, level and what leaks in from outside the band; the timing of a pulse; and
// independence from how the input is split into blocks.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <vector>

#include "cutter/BandCutChain.h"

namespace {

using Samples = std::vector<std::complex<float>>;
constexpr double kFullScale = 32767.0;

struct CRates {
  std::uint32_t nIn;
  std::uint32_t nOut;
};

// A complex tone at offsetHz (relative to the input centre) of the given amplitude.
Samples Tone(std::uint32_t rate, double offsetHz, std::size_t n, double amplitude = kFullScale) {
  Samples s(n);
  for (std::size_t k = 0; k < n; ++k) {
    const double phase = 2.0 * std::numbers::pi * std::fmod(offsetHz * static_cast<double>(k) / rate, 1.0);
    s[k] = std::complex<float>(static_cast<float>(amplitude * std::cos(phase)), static_cast<float>(amplitude * std::sin(phase)));
  }
  return s;
}

// Runs input through a chain whose pre-roll is taken from the input itself: output 0 lies
// at input sample PrerollSamples().
Samples RunChain(CBandCutChain& chain, Samples input, int block = 65536) {
  Samples out;
  Samples buffer(static_cast<std::size_t>(chain.MaxOutputCount(block)));
  for (std::size_t done = 0; done < input.size();) {
    const int n = static_cast<int>(std::min<std::size_t>(static_cast<std::size_t>(block), input.size() - done));
    const int produced = chain.Process(input.data() + done, n, buffer.data());
    out.insert(out.end(), buffer.begin(), buffer.begin() + produced);
    done += static_cast<std::size_t>(n);
  }
  return out;
}

// Level in dB of the component at frequencyHz in out (rate Hz), over samples [from, to).
double LevelDb(const Samples& out, std::uint32_t rate, double frequencyHz, std::size_t from, std::size_t to) {
  std::complex<double> sum;
  for (std::size_t k = from; k < to; ++k)
    sum += std::complex<double>(out[k]) * std::polar(1.0, -2.0 * std::numbers::pi * frequencyHz * static_cast<double>(k) / rate);
  return 20.0 * std::log10(std::abs(sum) / static_cast<double>(to - from) / kFullScale);
}

// Total power of out over [from, to) in dB relative to a full-scale tone.
double PowerDb(const Samples& out, std::size_t from, std::size_t to) {
  double sum = 0.0;
  for (std::size_t k = from; k < to; ++k) sum += std::norm(std::complex<double>(out[k]));
  return 10.0 * std::log10(sum / static_cast<double>(to - from) / (kFullScale * kFullScale) + 1e-30);
}

const CRates kRatePairs[] = {{2'000'000, 15'000}, {250'000, 15'000}, {250'000, 96'000}, {192'000, 48'000}};

}  // namespace

TEST(BandCutChain, DefaultRateIsTheSmallestExactRateAboveTheBand) {
  EXPECT_EQ(CBandCutChain::DefaultRate(2'000'000, 12'000), 15'000u);
  EXPECT_EQ(CBandCutChain::DefaultRate(250'000, 12'000), 15'000u);
  EXPECT_EQ(CBandCutChain::DefaultRate(250'000, 240'000), 250'000u);  // capped at the input rate
  // A rate the resampler would only approximate is never chosen.
  for (std::uint32_t bw : {7'001u, 12'345u, 33'333u}) {
    const std::uint32_t rate = CBandCutChain::DefaultRate(2'048'000, bw);
    EXPECT_GE(rate, bw * 1.25);
    EXPECT_TRUE(CBandCutChain::IsExactRate(2'048'000, rate));
  }
  EXPECT_FALSE(CBandCutChain::IsExactRate(2'000'000, 15'001));
  EXPECT_FALSE(CBandCutChain::IsExactRate(48'000, 96'000));
}

// Catches a filter that bends the band, a lost gain correction, or a wrong shift.
TEST(BandCutChain, TonesInsideTheBandKeepTheirLevelAndComeOutShifted) {
  for (const CRates& r : kRatePairs) {
    const double centre = 0.17 * r.nIn;  // the band's centre, relative to the recording's
    CBandCutChain chain;
    ASSERT_TRUE(chain.Setup(r.nIn, r.nOut, centre));
    double lo = 1e9, hi = -1e9;
    for (const double x : {-0.4, -0.3, -0.17, 0.0, 0.05, 0.21, 0.33, 0.4}) {
      const double shifted = x * r.nOut;
      const std::size_t n = static_cast<std::size_t>(chain.PrerollSamples()) + static_cast<std::size_t>(0.2 * r.nIn);
      CBandCutChain run;
      ASSERT_TRUE(run.Setup(r.nIn, r.nOut, centre));
      const Samples out = RunChain(run, Tone(r.nIn, centre + shifted, n));
      ASSERT_GT(out.size(), 1000u);
      const double level = LevelDb(out, r.nOut, shifted, 100, out.size() - 600);
      lo = std::min(lo, level);
      hi = std::max(hi, level);
      // Nothing but the tone: the rest of the output is far below it.
      EXPECT_NEAR(PowerDb(out, 100, out.size() - 600), level, 0.01) << r.nIn << " -> " << r.nOut << " at " << x;
    }
    EXPECT_NEAR(lo, 0.0, 0.1) << r.nIn << " -> " << r.nOut;
    EXPECT_NEAR(hi, 0.0, 0.1) << r.nIn << " -> " << r.nOut;
    EXPECT_LE(hi - lo, 0.1) << r.nIn << " -> " << r.nOut;
  }
}

// Catches an early half-band stage too weak for its folding band, or a resampler kernel
// that lets the neighbours of the band fold into it.
TEST(BandCutChain, EverythingThatWouldFoldIntoTheBandIsAtLeast80dBDown) {
  std::mt19937 random(7);
  for (const CRates& r : kRatePairs) {
    CBandCutChain probe;
    ASSERT_TRUE(probe.Setup(r.nIn, r.nOut, 0.0));
    std::vector<double> offsets = {0.6 * r.nOut, -0.6 * r.nOut, 0.75 * r.nOut, -1.0 * r.nOut, 1.4 * r.nOut,
                                   0.49 * r.nIn, -0.49 * r.nIn};
    // Tones that land exactly on the band after each half-band stage's folding.
    for (int d = 2; d <= probe.Decimation(); d *= 2)
      for (const double x : {-0.3, 0.0, 0.3}) offsets.push_back(static_cast<double>(r.nIn) / d + x * r.nOut);
    std::uniform_real_distribution<double> any(0.6 * r.nOut, 0.5 * r.nIn);
    for (int i = 0; i < 6; ++i) offsets.push_back((i % 2 ? -1.0 : 1.0) * any(random));
    for (const double offset : offsets) {
      if (std::fabs(offset) < 0.6 * r.nOut || std::fabs(offset) >= 0.5 * r.nIn) continue;
      CBandCutChain chain;
      ASSERT_TRUE(chain.Setup(r.nIn, r.nOut, 0.0));
      const std::size_t n = static_cast<std::size_t>(chain.PrerollSamples()) + static_cast<std::size_t>(0.2 * r.nIn);
      const Samples out = RunChain(chain, Tone(r.nIn, offset, n));
      EXPECT_LE(PowerDb(out, 100, out.size() - 600), -80.0) << r.nIn << " -> " << r.nOut << ", tone at " << offset;
    }
  }
}

// Catches a wrong pre-roll or delay bookkeeping: output i must be the input at the first
// wanted sample + i * inRate / outRate.
TEST(BandCutChain, OutputStartsAtTheFirstWantedSample) {
  for (const CRates& r : kRatePairs) {
    CBandCutChain chain;
    ASSERT_TRUE(chain.Setup(r.nIn, r.nOut, 0.0));
    const std::size_t preroll = static_cast<std::size_t>(chain.PrerollSamples());
    const double ratio = static_cast<double>(r.nIn) / r.nOut;
    // A Gaussian pulse well inside the band, centred 200.3 output samples after the start.
    const double centreIn = 200.3 * ratio;
    const double sigma = 6.0 * ratio;
    Samples input(preroll + static_cast<std::size_t>(600 * ratio + chain.PostrollSamples()));
    for (std::size_t k = 0; k < input.size(); ++k) {
      const double t = static_cast<double>(k) - static_cast<double>(preroll) - centreIn;
      input[k] = static_cast<float>(kFullScale * std::exp(-0.5 * t * t / (sigma * sigma)));
    }
    const Samples out = RunChain(chain, input);
    ASSERT_GT(out.size(), 400u);
    double sum = 0.0, weighted = 0.0;
    for (std::size_t i = 0; i < 400; ++i) {
      const double p = std::norm(std::complex<double>(out[i]));
      sum += p;
      weighted += p * static_cast<double>(i);
    }
    // Within one input sample (in output samples: 1 / ratio).
    EXPECT_NEAR(weighted / sum, 200.3, 1.0 / ratio) << r.nIn << " -> " << r.nOut;
  }
}

// Catches state lost or repeated between calls (odd samples left in a half-band stage, the
// resampler's history, the oscillator's phase).
TEST(BandCutChain, TheSplitIntoBlocksChangesNothing) {
  const CRates r{250'000, 15'000};
  std::mt19937 random(3);
  std::normal_distribution<float> noise(0.0f, 3000.0f);
  Samples input(400'000);
  for (auto& s : input) s = {noise(random), noise(random)};
  CBandCutChain whole;
  ASSERT_TRUE(whole.Setup(r.nIn, r.nOut, 12'345.0));
  const Samples reference = RunChain(whole, input, 1 << 20);
  CBandCutChain pieces;
  ASSERT_TRUE(pieces.Setup(r.nIn, r.nOut, 12'345.0));
  Samples out;
  Samples buffer(static_cast<std::size_t>(pieces.MaxOutputCount(5000)));
  std::uniform_int_distribution<int> size(1, 5000);
  for (std::size_t done = 0; done < input.size();) {
    const int n = static_cast<int>(std::min<std::size_t>(static_cast<std::size_t>(size(random)), input.size() - done));
    Samples copy(input.begin() + static_cast<std::ptrdiff_t>(done), input.begin() + static_cast<std::ptrdiff_t>(done) + n);
    const int produced = pieces.Process(copy.data(), n, buffer.data());
    out.insert(out.end(), buffer.begin(), buffer.begin() + produced);
    done += static_cast<std::size_t>(n);
  }
  ASSERT_EQ(out.size(), reference.size());
  double worst = 0.0;
  for (std::size_t i = 0; i < out.size(); ++i) worst = std::max(worst, static_cast<double>(std::abs(out[i] - reference[i])));
  EXPECT_LT(worst, 0.05);
}
