// The AGC and the three squelches, measured with tones, noise and level steps.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "SignalMeasure.h"
#include "dsp/DSPAgcEx.h"
#include "dsp/DSPBasicSquelch.h"
#include "dsp/DSPFMSquelch.h"
#include "dsp/DSPOtherSquelch.h"

namespace {

std::vector<double> Sine(int n, double freqHz, double rateHz, double amplitude, int start = 0) {
  std::vector<double> v(n);
  for (int k = 0; k < n; ++k)
    v[k] = amplitude * std::sin(2.0 * std::numbers::pi * freqHz * (start + k) / rateHz);
  return v;
}

double RmsDb(const std::vector<double>& v, int from, int to) {
  double s = 0.0;
  for (int k = from; k < to; ++k) s += v[k] * v[k];
  return 10.0 * std::log10(s / (to - from));
}

// Runs the AGC over a tone whose amplitude changes from a1 to a2 at `stepAt` seconds.
std::vector<double> AgcStep(double rate, double a1, double a2, double stepAt, double total) {
  CDSPAgcEx agc;
  agc.SetRate(rate);
  const int n = static_cast<int>(total * rate);
  const int step = static_cast<int>(stepAt * rate);
  std::vector<double> in = Sine(n, 440.0, rate, a1);
  for (int k = step; k < n; ++k) in[k] *= a2 / a1;
  std::vector<double> out(n);
  for (int k = 0; k < n; k += 1000) agc.Process(std::min(1000, n - k), in.data() + k, out.data() + k);
  return out;
}

}  // namespace

// Catches wrong time constants or units (ms taken as s, rate ignored).
TEST(AgcEx, LengthsAndGainsFollowTheRate) {
  CDSPAgcEx agc;
  agc.SetRate(8000.0);
  EXPECT_EQ(agc.DelayLength(), 120);
  EXPECT_EQ(agc.WindowLength(), 144);
  EXPECT_EQ(agc.HangLength(), 8000);
  EXPECT_NEAR(agc.MaxGain(), 35083.1, 0.1);
  agc.SetRate(250000.0);
  EXPECT_EQ(agc.DelayLength(), 2047);  // 15 ms would be 3750: the line holds 2047
}

// Catches a missing or mis-sized look-ahead delay: an impulse leaves exactly 15 ms later.
TEST(AgcEx, DelaysTheAudioByFifteenMilliseconds) {
  CDSPAgcEx agc;
  agc.SetRate(8000.0);
  std::vector<double> x(400, 0.0), y(400, 0.0);
  x[10] = 1000.0;
  agc.Process(400, x.data(), y.data());
  for (int k = 0; k < 400; ++k) {
    if (k == 130)
      EXPECT_GT(std::fabs(y[k]), 1.0);
    else
      EXPECT_EQ(y[k], 0.0) << k;
  }
}

// Catches a wrong slope or envelope: after a 40 dB rise the output settles within a few dB,
// and the look-ahead keeps the first loud samples from overshooting badly.
TEST(AgcEx, HoldsAFortyDecibelRiseToAFewDecibels) {
  const double rate = 8000.0;
  std::vector<double> out = AgcStep(rate, 100.0, 10000.0, 2.0, 5.0);
  const double quiet = RmsDb(out, static_cast<int>(1.0 * rate), static_cast<int>(2.0 * rate));
  const double loud = RmsDb(out, static_cast<int>(4.0 * rate), static_cast<int>(5.0 * rate));
  EXPECT_NEAR(loud - quiet, 2.4, 1.5);  // 1.2 dB per 20 dB of input
  double peak = 0.0;
  for (int k = static_cast<int>(2.0 * rate); k < static_cast<int>(2.2 * rate); ++k)
    peak = std::max(peak, std::fabs(out[k]));
  EXPECT_LT(20.0 * std::log10(peak / std::sqrt(2.0)), loud + 6.0);
}

// Catches a missing hang or a decay that never comes: after a 40 dB fall the gain is held for
// the hang time (output 40 dB down), then recovers to within a few dB.
TEST(AgcEx, HoldsTheGainForTheHangTimeThenRecoversFromAFortyDecibelFall) {
  const double rate = 8000.0;
  std::vector<double> out = AgcStep(rate, 10000.0, 100.0, 2.0, 7.0);
  const double loud = RmsDb(out, static_cast<int>(1.0 * rate), static_cast<int>(2.0 * rate));
  const double held = RmsDb(out, static_cast<int>(2.2 * rate), static_cast<int>(2.8 * rate));
  const double recovered = RmsDb(out, static_cast<int>(6.0 * rate), static_cast<int>(7.0 * rate));
  EXPECT_NEAR(loud - held, 40.0, 1.0);
  EXPECT_NEAR(loud - recovered, 2.4, 1.5);
}

namespace {

std::vector<std::complex<float>> Carrier(int n, float amplitude) {
  return std::vector<std::complex<float>>(n, std::complex<float>(amplitude, 0.0f));
}

// Feeds blocks of constant-level IF and returns whether the last block's audio was muted.
bool FeedLevel(CDSPBasicSquelch& sq, float amplitude, int samples) {
  std::vector<std::complex<float>> iq = Carrier(samples, amplitude);
  std::vector<float> audio(samples, 1.0f);
  sq.Process(audio.data(), samples, iq.data(), samples, 1.0);
  return audio.back() == 0.0f;
}

}  // namespace

// Catches a squelch without hysteresis or with inverted thresholds: a level between the two
// thresholds keeps whatever state came before.
TEST(BasicSquelch, OpensAndClosesWithHysteresis) {
  CDSPBasicSquelch sq;
  sq.Setup(true, 40.0f, 30.0f, 0);
  const float between = std::pow(10.0f, 35.0f / 20.0f);
  EXPECT_TRUE(FeedLevel(sq, 10.0f, 2000));     // 20 dB
  EXPECT_TRUE(FeedLevel(sq, between, 2000));   // rising into the gap: stays closed
  EXPECT_FALSE(FeedLevel(sq, 10000.0f, 2000)); // 80 dB
  EXPECT_FALSE(FeedLevel(sq, between, 2000));  // falling into the gap: stays open
  EXPECT_TRUE(FeedLevel(sq, 10.0f, 2000));
}

// Catches a level that depends on the filter width: the same noise density passed through a
// narrower filter has less power but must read the same level.
TEST(BasicSquelch, LevelIsNormalisedToTheBandwidth) {
  CDSPBasicSquelch wide, narrow;
  wide.Setup(true, 1000.0f, -1000.0f, 0);
  narrow.Setup(true, 1000.0f, -1000.0f, 0);
  std::vector<float> audio(4000, 0.0f);
  // A carrier of power P read through the full band, and of power P/10 through a tenth of it.
  std::vector<std::complex<float>> full = Carrier(4000, 1000.0f);
  std::vector<std::complex<float>> tenth = Carrier(4000, 1000.0f / std::sqrt(10.0f));
  wide.Process(audio.data(), 4000, full.data(), 4000, 1.0);
  narrow.Process(audio.data(), 4000, tenth.data(), 4000, 0.1);
  EXPECT_NEAR(wide.Level(), 60.0f, 0.1f);
  EXPECT_NEAR(narrow.Level(), wide.Level(), 0.1f);
}

// Catches a hang that is ignored or counted in blocks: the held level keeps the squelch open
// for the hang limit after the signal drops; audio beyond the IF count follows the state at
// the end of the block.
TEST(BasicSquelch, HangKeepsItOpenAndMutesTheAudioBeyondTheIfCount) {
  auto firstMuted = [](int hang) {
    CDSPBasicSquelch sq;
    sq.Setup(true, 40.0f, 30.0f, hang);
    // Still rising when it ends, so the hang counts from the drop.
    FeedLevel(sq, 10000.0f, 300);
    std::vector<std::complex<float>> iq = Carrier(1000, 1.0f);
    std::vector<float> audio(1200, 1.0f);
    sq.Process(audio.data(), 1200, iq.data(), 1000, 1.0);
    EXPECT_EQ(audio[1100], hang < 1000 ? 0.0f : 1.0f);
    for (int k = 0; k < 1000; ++k)
      if (audio[k] == 0.0f) return k;
    return -1;
  };
  const int withoutHang = firstMuted(0);
  const int withHang = firstMuted(500);
  EXPECT_EQ(firstMuted(5000), -1);
  EXPECT_GT(withoutHang, 50);
  EXPECT_LT(withoutHang, 150);
  EXPECT_GE(withHang, 500);
  EXPECT_LT(withHang, 510);
}

namespace {

// Discriminator-like audio at 16 kHz: a 1 kHz tone (a carrier is present) or wide-band noise
// (no carrier), on the 16-bit-like scale of the FM demodulator.
std::vector<float> FmAudio(bool noise, int n, unsigned seed) {
  if (noise) return sigtest::Noise(n, 10000.0, seed);
  std::vector<float> v(n);
  for (int k = 0; k < n; ++k) v[k] = 8000.0f * std::sin(2.0f * std::numbers::pi_v<float> * 1000.0f * k / 16000.0f);
  return v;
}

}  // namespace

// Catches a wrong noise-filter design: it must be an odd-length high-pass that blocks the
// voice band and passes the noise band above 2400 Hz.
TEST(FMSquelch, NoiseFilterIsAKaiserHighPass) {
  CDSPFMSquelch sq;
  sq.Setup(true, 50, 16000.0, false, false);
  const std::vector<double>& h = sq.Taps();
  ASSERT_EQ(h.size(), 75u);
  auto response = [&](double f) {
    std::complex<double> acc;
    for (std::size_t k = 0; k < h.size(); ++k) acc += h[k] * std::polar(1.0, -2.0 * std::numbers::pi * f / 16000.0 * k);
    return 20.0 * std::log10(std::abs(acc) + 1e-12);
  };
  EXPECT_LT(response(0.0), -45.0);
  EXPECT_LT(response(1000.0), -45.0);
  EXPECT_NEAR(response(4000.0), 0.0, 0.5);
  EXPECT_NEAR(response(6000.0), 0.0, 0.5);
}

// Catches a squelch that does not react to noise, lacks hysteresis or clicks: noise closes it
// (with a fade-out block), a clean tone opens it (with a fade-in block).
TEST(FMSquelch, ClosesOnNoiseOpensOnToneWithFades) {
  CDSPFMSquelch sq;
  sq.Setup(true, 30, 16000.0, false, false);  // T = 2800
  std::vector<float> tone = FmAudio(false, 1024, 0);
  sq.Process(tone.data(), 1024);
  EXPECT_FALSE(sq.IsMuted());

  bool sawFadeOut = false;
  for (int b = 0; b < 40 && !sq.IsMuted(); ++b) {
    std::vector<float> noise = FmAudio(true, 1024, 10 + b);
    const std::vector<float> before = noise;
    sq.Process(noise.data(), 1024);
    if (sq.IsMuted()) {
      sawFadeOut = true;
      EXPECT_EQ(noise[0], before[0]);
      EXPECT_FLOAT_EQ(noise[512], before[512] * 0.5f);
    }
  }
  ASSERT_TRUE(sawFadeOut);
  EXPECT_GE(sq.NoiseLevel(), sq.Threshold() + 200.0);

  std::vector<float> more = FmAudio(true, 1024, 99);
  sq.Process(more.data(), 1024);
  EXPECT_EQ(sigtest::Rms(more.data(), 1024), 0.0);

  bool sawFadeIn = false;
  for (int b = 0; b < 80 && sq.IsMuted(); ++b) {
    std::vector<float> t = FmAudio(false, 1024, 0);
    const std::vector<float> before = t;
    sq.Process(t.data(), 1024);
    if (!sq.IsMuted()) {
      sawFadeIn = true;
      EXPECT_EQ(t[0], 0.0f);
      EXPECT_FLOAT_EQ(t[512], before[512] * 0.5f);
    }
  }
  ASSERT_TRUE(sawFadeIn);
  EXPECT_LT(sq.NoiseLevel(), sq.Threshold() - 200.0);
}

// Catches an automatic trigger that does not set the threshold below the present noise or
// reports a level outside 0..100; and level 100 must mute regardless of the signal.
TEST(FMSquelch, AutomaticTriggerAndFullLevel) {
  CDSPFMSquelch sq;
  int reported = -1;
  sq.SetLevelDestination([&](int level) { reported = level; });
  sq.Setup(true, 0, 16000.0, false, false);
  for (int b = 0; b < 20; ++b) {
    std::vector<float> noise = FmAudio(true, 1024, 200 + b);
    sq.Process(noise.data(), 1024);
  }
  const float noise = sq.NoiseLevel();
  sq.Setup(true, 0, 16000.0, true, true);
  EXPECT_DOUBLE_EQ(sq.Threshold(), std::max(0.0, noise - 200.0));
  EXPECT_TRUE(sq.IsMuted());
  EXPECT_EQ(reported, std::clamp(static_cast<int>((4000.0 - sq.Threshold()) * 100.0 / 4000.0 + 0.5), 0, 100));

  sq.Setup(true, 100, 16000.0, false, false);
  std::vector<float> tone = FmAudio(false, 1024, 0);
  sq.Process(tone.data(), 1024);
  EXPECT_TRUE(sq.IsMuted());
}

// Catches a level squelch that never closes, closes without hang or cannot reopen.
TEST(OtherSquelch, MutesQuietAudioAfterTheHangAndReopens) {
  CDSPOtherSquelch sq;
  sq.Setup(true, 60, 8000.0);  // opens at -40 dBFS, closes at -46 dBFS
  std::vector<float> loud(800, 3000.0f);  // about -20 dBFS
  sq.Process(loud.data(), 800);
  EXPECT_FALSE(sq.IsMuted());
  std::vector<float> quiet(800, 30.0f);  // -60 dBFS
  sq.Process(quiet.data(), 800);  // 100 ms: still within the 200 ms hang
  EXPECT_FALSE(sq.IsMuted());
  for (int b = 0; b < 3; ++b) {
    quiet.assign(800, 30.0f);
    sq.Process(quiet.data(), 800);
  }
  EXPECT_TRUE(sq.IsMuted());
  quiet.assign(800, 30.0f);
  sq.Process(quiet.data(), 800);
  EXPECT_EQ(quiet[400], 0.0f);
  loud.assign(800, 3000.0f);
  sq.Process(loud.data(), 800);
  EXPECT_FALSE(sq.IsMuted());
  EXPECT_EQ(loud[0], 0.0f);  // faded in
}
