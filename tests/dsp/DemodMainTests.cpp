// The demodulator chain end to end on synthesised IQ: each family of modes must give the
// modulating tone at the right frequency at 48 kHz, with the right number of samples, and
// the chain's own rules (mode table, pass-band design, edge cases) must hold.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <functional>
#include <numbers>
#include <vector>

#include "SignalMeasure.h"
#include "dsp/DSPCWPeakFilter.h"
#include "dsp/DSPDemodMain.h"
#include "dsp/DSPRunningMean.h"

namespace {

using Complex = std::complex<float>;
constexpr double kTwoPi = 2.0 * std::numbers::pi;
constexpr int kInputRate = 250000;

// n samples of a complex signal given as a function of time in seconds.
std::vector<Complex> Synthesise(int n, int rate, const std::function<std::complex<double>(double)>& signal) {
  std::vector<Complex> v(n);
  for (int k = 0; k < n; ++k) {
    const std::complex<double> z = signal(static_cast<double>(k) / rate);
    v[k] = Complex(static_cast<float>(z.real()), static_cast<float>(z.imag()));
  }
  return v;
}

std::complex<double> Carrier(double t, double freqHz, double amplitude, double phase = 0.0) {
  return std::polar(amplitude, std::fmod(kTwoPi * freqHz * t, kTwoPi) + phase);
}

// An FM carrier at freqHz with a sine of modHz at deviationHz.
std::function<std::complex<double>(double)> FmSignal(double freqHz, double modHz, double deviationHz,
                                                     double amplitude) {
  return [=](double t) {
    return Carrier(t, freqHz, amplitude, deviationHz / modHz * std::sin(kTwoPi * modHz * t));
  };
}

// Runs the chain over the whole input in blocks and returns all output audio.
std::vector<float> RunChain(CDSPDemodMain& chain, const std::vector<Complex>& iq, int rate, int block = 8192) {
  std::vector<float> out;
  for (std::size_t pos = 0; pos < iq.size(); pos += block) {
    const int n = static_cast<int>(std::min<std::size_t>(block, iq.size() - pos));
    chain.ProcessBlock(iq.data() + pos, n, rate);
    out.insert(out.end(), chain.Output(), chain.Output() + chain.OutputCount());
  }
  return out;
}

// A chain configured as the player configures it.
void Configure(CDSPDemodMain& chain, int mode, int offsetHz, int lowHz, int highHz) {
  chain.SetTuningOffset(offsetHz);
  chain.SetMode(mode);
  chain.SetPassBand(lowHz, highHz, mode, chain.IFRate());
}

struct SMeasure {
  double frequency;
  double snrDb;
  double rms;
};

// Dominant frequency and SNR of the output after `skipSeconds`.
SMeasure Measure(const std::vector<float>& audio, double skipSeconds, double expectHz) {
  const int from = static_cast<int>(skipSeconds * 48000);
  const int n = static_cast<int>(audio.size()) - from;
  if (n < 4800) return {0.0, -100.0, 0.0};
  return {sigtest::DominantFrequency(audio.data() + from, n, 48000.0),
          sigtest::ToneSnrDb(audio.data() + from, n, expectHz, 48000.0), sigtest::Rms(audio.data() + from, n)};
}

// The output count: everything the input stands for, less at most the chain's latency
// (down-converter queue, channel filter FIFO and taps, resampler history, sideband FFT).
void ExpectOutputCount(const std::vector<float>& audio, double seconds, double maxLatencySeconds) {
  const double expected = seconds * 48000.0;
  EXPECT_LE(static_cast<double>(audio.size()), expected + 1.0);
  EXPECT_GE(static_cast<double>(audio.size()), expected - maxLatencySeconds * 48000.0);
}

}  // namespace

// Catches a wrong or shifted mode table, and name look-up that is case-sensitive or ignores
// the long names.
TEST(DemodMain, ModeTableNamesRatesAndShapes) {
  EXPECT_STREQ(CDSPDemodMain::ShortName(7), "NFM");
  EXPECT_STREQ(CDSPDemodMain::LongName(7), "FM-Narrow (Voice)");
  EXPECT_STREQ(CDSPDemodMain::ShortName(18), "MODE");
  EXPECT_STREQ(CDSPDemodMain::LongName(-1), "");
  EXPECT_EQ(CDSPDemodMain::ModeFromName("sync. am"), 10);
  EXPECT_EQ(CDSPDemodMain::ModeFromName("bfm"), 9);
  EXPECT_EQ(CDSPDemodMain::ModeFromName("Wide-U"), 17);
  EXPECT_EQ(CDSPDemodMain::ModeFromName("FM"), -1);
  EXPECT_EQ(CDSPDemodMain::IFRateOf(9), 250000);
  EXPECT_EQ(CDSPDemodMain::AudioRateOf(9), 48000);
  EXPECT_EQ(CDSPDemodMain::IFRateOf(3), 8000);
  EXPECT_EQ(CDSPDemodMain::PassBandOf(3), EPassBand::eSymmetric);  // W-USB, deliberately
  EXPECT_EQ(CDSPDemodMain::PassBandOf(12), EPassBand::eLower);
  EXPECT_EQ(CDSPDemodMain::PassBandOf(15), EPassBand::eUpper);

  CDSPDemodMain chain;
  EXPECT_EQ(chain.Mode(), 10);  // construction applies "Sync. AM"
  EXPECT_EQ(chain.IFRate(), 22050);
  chain.SetMode(9);
  EXPECT_EQ(chain.IFRate(), 250000);
  EXPECT_EQ(chain.AudioRate(), 48000);
}

// Catches a pass band redesigned per block or on every call (expensive), and a W-USB channel
// filter that is one-sided.
TEST(DemodMain, PassBandIsDesignedOncePerChange) {
  CDSPDemodMain chain;
  Configure(chain, eDemodUSB, 10000, 300, 2700);
  const int designs = chain.PassBandDesignCount();
  chain.SetPassBand(300, 2700, eDemodUSB, chain.IFRate());
  EXPECT_EQ(chain.PassBandDesignCount(), designs);
  const std::vector<Complex> iq = Synthesise(50000, kInputRate, [](double t) { return Carrier(t, 11000, 1000); });
  RunChain(chain, iq, kInputRate);
  EXPECT_EQ(chain.PassBandDesignCount(), designs);
  chain.SetPassBand(0, 0, eDemodUSB, chain.IFRate());  // ignored
  chain.SetPassBand(300, 2700, eDemodUSB, 0);          // ignored
  EXPECT_EQ(chain.PassBandDesignCount(), designs);
  chain.SetPassBand(300, 2400, eDemodUSB, chain.IFRate());
  EXPECT_EQ(chain.PassBandDesignCount(), designs + 1);
  EXPECT_NEAR(chain.ChannelFilter().BandwidthHz(), 2100.0, 1e-9);

  chain.SetMode(eDemodWUSB);
  chain.SetPassBand(300, 2400, eDemodWUSB, chain.IFRate());
  EXPECT_NEAR(chain.ChannelFilter().BandwidthHz(), 4800.0, 1e-9);  // -H .. +H
}

// Catches a broken AM path: the envelope of a carrier modulated by 1 kHz must come out as
// 1 kHz with a good SNR and the right number of samples.
TEST(DemodMain, AmGivesTheModulatingTone) {
  const double seconds = 2.0;
  const std::vector<Complex> iq = Synthesise(static_cast<int>(seconds * kInputRate), kInputRate, [](double t) {
    return Carrier(t, -30000.0, 2000.0) * (1.0 + 0.5 * std::sin(kTwoPi * 1000.0 * t));
  });
  for (int mode : {eDemodAM, eDemodSAM, eDemodECSS}) {
    CDSPDemodMain chain;
    Configure(chain, mode, -30000, 200, 5000);
    const std::vector<float> audio = RunChain(chain, iq, kInputRate);
    const SMeasure m = Measure(audio, 1.0, 1000.0);
    EXPECT_NEAR(m.frequency, 1000.0, 3.0) << CDSPDemodMain::ShortName(mode);
    EXPECT_GT(m.snrDb, 25.0) << CDSPDemodMain::ShortName(mode);
    EXPECT_GT(m.rms, 1000.0) << CDSPDemodMain::ShortName(mode);
    ExpectOutputCount(audio, seconds, 0.25);
  }
}

// Catches sideband selection that is inverted or missing: with one tone above and one below
// the carrier, USB keeps the upper and LSB the lower, each rejecting the other.
TEST(DemodMain, UsbAndLsbSelectTheirSideband) {
  const double seconds = 3.0;
  const double carrier = 20000.0;
  const std::vector<Complex> iq = Synthesise(static_cast<int>(seconds * kInputRate), kInputRate, [=](double t) {
    return Carrier(t, carrier + 1500.0, 1000.0) + Carrier(t, carrier - 700.0, 1000.0);
  });
  for (int mode : {eDemodUSB, eDemodLSB}) {
    CDSPDemodMain chain;
    Configure(chain, mode, static_cast<int>(carrier), 200, 3000);
    const std::vector<float> audio = RunChain(chain, iq, kInputRate);
    const int from = 48000;
    const int n = static_cast<int>(audio.size()) - from;
    ASSERT_GT(n, 24000);
    const double upper = sigtest::ToneAmplitude(audio.data() + from, n, 1500.0, 48000.0);
    const double lower = sigtest::ToneAmplitude(audio.data() + from, n, 700.0, 48000.0);
    const double wanted = mode == eDemodUSB ? upper : lower;
    const double unwanted = mode == eDemodUSB ? lower : upper;
    EXPECT_GT(20.0 * std::log10(wanted / unwanted), 40.0) << CDSPDemodMain::ShortName(mode);
    EXPECT_NEAR(sigtest::DominantFrequency(audio.data() + from, n, 48000.0), mode == eDemodUSB ? 1500.0 : 700.0, 3.0);
    ExpectOutputCount(audio, seconds, 0.9);
  }
}

// Catches a CW offset applied with the wrong sign: a carrier tuned exactly must sound at the
// CW pitch in both CW modes, and the peak filter must keep it.
TEST(DemodMain, CwSoundsAtThePitch) {
  const double seconds = 2.0;
  const std::vector<Complex> iq = Synthesise(static_cast<int>(seconds * kInputRate), kInputRate,
                                             [](double t) { return Carrier(t, 15000.0, 500.0); });
  for (int mode : {eDemodCWU, eDemodCWL}) {
    CDSPDemodMain chain;
    chain.SetCWPitch(700);
    Configure(chain, mode, 15000, 400, 1000);
    chain.SetCWPeakFilter(true);
    const std::vector<float> audio = RunChain(chain, iq, kInputRate);
    const SMeasure m = Measure(audio, 1.0, 700.0);
    EXPECT_NEAR(m.frequency, 700.0, 2.0) << CDSPDemodMain::ShortName(mode);
    EXPECT_GT(m.snrDb, 30.0);
    EXPECT_GT(m.rms, 1000.0);
  }
}

// Catches broken FM paths: narrow, wide and broadcast FM must recover the modulating tone.
TEST(DemodMain, FmModesRecoverTheModulatingTone) {
  struct SCase {
    int mode;
    int inputRate;
    double deviation;
    int high;
  };
  for (const SCase& c : {SCase{eDemodNFM, kInputRate, 3000.0, 6000}, SCase{eDemodWFM, kInputRate, 5000.0, 12000},
                         SCase{eDemodBFM, 1000000, 75000.0, 100000}}) {
    const double seconds = 1.5;
    const std::vector<Complex> iq =
        Synthesise(static_cast<int>(seconds * c.inputRate), c.inputRate, FmSignal(40000.0, 1000.0, c.deviation, 3000.0));
    CDSPDemodMain chain;
    Configure(chain, c.mode, 40000, 0, c.high);
    const std::vector<float> audio = RunChain(chain, iq, c.inputRate, 16384);
    const SMeasure m = Measure(audio, 0.75, 1000.0);
    EXPECT_NEAR(m.frequency, 1000.0, 3.0) << CDSPDemodMain::ShortName(c.mode);
    EXPECT_GT(m.snrDb, 25.0) << CDSPDemodMain::ShortName(c.mode);
    EXPECT_GT(m.rms, 300.0) << CDSPDemodMain::ShortName(c.mode);
    ExpectOutputCount(audio, seconds, 0.25);
  }
}

// Catches the edge cases of the block operation: an offset of exactly half the rate, an input
// rate of 0, and the deliberately silent "W-USB" give nothing; a recording below the IF rate
// is up-sampled and still demodulates.
TEST(DemodMain, EdgeCasesOfTheBlockOperation) {
  const std::vector<Complex> iq = Synthesise(20000, 8000, [](double t) { return Carrier(t, 1000.0, 1000.0); });
  CDSPDemodMain chain;
  Configure(chain, eDemodUSB, 4000, 200, 3000);
  chain.ProcessBlock(iq.data(), 8000, 8000);
  EXPECT_EQ(chain.OutputCount(), 0);
  EXPECT_EQ(chain.MeanInputCount(), 0);  // nothing was fed, not even the means
  chain.SetTuningOffset(0);
  chain.ProcessBlock(iq.data(), 8000, 0);
  EXPECT_EQ(chain.InputRate(), 8000);    // a rate of 0 leaves everything as it was

  CDSPDemodMain silent;
  Configure(silent, eDemodWUSB, 0, 200, 3000);
  int total = 0;
  for (int b = 0; b < 10; ++b) {
    silent.ProcessBlock(iq.data(), 2000, 8000);
    total += silent.OutputCount();
  }
  EXPECT_EQ(total, 0);

  // 11,025 Hz in "AM": up-sampled by ceil(22050 / 11025) = 2 before down-conversion.
  const int rate = 11025;
  const std::vector<Complex> am = Synthesise(3 * rate, rate, [](double t) {
    return Carrier(t, 2000.0, 2000.0) * (1.0 + 0.5 * std::sin(kTwoPi * 800.0 * t));
  });
  CDSPDemodMain up;
  Configure(up, eDemodAM, 2000, 200, 4000);
  const std::vector<float> audio = RunChain(up, am, rate, 4096);
  const SMeasure m = Measure(audio, 1.5, 800.0);
  EXPECT_NEAR(m.frequency, 800.0, 3.0);
  EXPECT_GT(m.snrDb, 20.0);
}

// Catches audio lost to the fixed working buffers: a recording far below 48 kHz makes more
// audio than they hold from a 32,768-sample block (an 8000 Hz USB block turns into six times
// as many output samples), so blocks of MaxBlockSamples must reach the output whole.
TEST(DemodMain, BlocksOfMaxBlockSamplesLoseNoAudio) {
  struct SCase {
    int mode;
    int rate;
  };
  for (const SCase& c : {SCase{eDemodUSB, 8000}, SCase{eDemodAM, 11025}, SCase{eDemodAM, 22050},
                         SCase{eDemodBFM, 250000}}) {
    CDSPDemodMain chain;
    Configure(chain, c.mode, 1000, 200, 3000);
    const int block = chain.MaxBlockSamples(c.rate);
    ASSERT_GT(block, 2048) << c.rate;
    ASSERT_LE(block, 32768);
    const double seconds = 3.0;
    const std::vector<Complex> iq = Synthesise(static_cast<int>(seconds * c.rate), c.rate, [](double t) {
      return Carrier(t, 1000.0, 2000.0) * (1.0 + 0.5 * std::sin(kTwoPi * 400.0 * t));
    });
    ExpectOutputCount(RunChain(chain, iq, c.rate, block), seconds, 0.9);
  }
  CDSPDemodMain usb;
  Configure(usb, eDemodUSB, 1000, 200, 3000);
  EXPECT_LT(usb.MaxBlockSamples(8000), 32768 / 6);
}

// Catches a squelch that is not wired in: noise alone stays muted at a level above it, a
// strong carrier opens it.
TEST(DemodMain, BasicSquelchMutesNoiseAndOpensOnASignal) {
  const int n = kInputRate;
  std::vector<float> ni = sigtest::Noise(n, 30.0, 1), nq = sigtest::Noise(n, 30.0, 2);
  std::vector<Complex> noise(n);
  for (int k = 0; k < n; ++k) noise[k] = Complex(ni[k], nq[k]);
  CDSPDemodMain chain;
  Configure(chain, eDemodAM, 10000, 200, 5000);
  chain.SetSquelch(true, 50);
  std::vector<float> quiet = RunChain(chain, noise, kInputRate);
  EXPECT_TRUE(chain.BasicSquelch().IsMuted());
  EXPECT_EQ(sigtest::Rms(quiet, static_cast<int>(quiet.size()) / 2, static_cast<int>(quiet.size())), 0.0);

  std::vector<Complex> loud = noise;
  for (int k = 0; k < n; ++k) loud[k] += Complex(Carrier(static_cast<double>(k) / kInputRate, 10000.0, 3000.0));
  RunChain(chain, loud, kInputRate);
  EXPECT_FALSE(chain.BasicSquelch().IsMuted());
}

// Catches a wrong FFT set-up of the spectrum taps, a tap that sees the wrong signal (tap 1
// must see the filtered one) and a spectrum whose bins are not in frequency order.
TEST(DemodMain, SpectrumTapsSeeTheIfBeforeAndAfterTheFilter) {
  CDSPDemodMain chain;
  Configure(chain, eDemodAM, 0, 200, 3000);
  chain.ConfigureSpectrumTap(0, true, 20, 0x1234);
  chain.ConfigureSpectrumTap(1, true, 20, 0x5678);
  const CDSPSpectrumTap& tap = chain.SpectrumTap(0);
  EXPECT_EQ(tap.SampleRate(), 22050);
  EXPECT_EQ(tap.FFTSize(), 2048);        // 22050 / 20 = 1102 -> 2048
  EXPECT_EQ(tap.OverlapPercent(), 46);   // (2048 - 1102) * 100 / 2048
  EXPECT_EQ(tap.FFTOrder(), 11);
  EXPECT_EQ(tap.Destination(), 0x1234u);

  // A carrier inside the pass band at +1 kHz and one outside at +6 kHz.
  const std::vector<Complex> iq = Synthesise(kInputRate, kInputRate, [](double t) {
    return Carrier(t, 1000.0, 3000.0) + Carrier(t, 6000.0, 3000.0);
  });
  RunChain(chain, iq, kInputRate);
  const auto before = chain.SpectrumTap(0).TakeSpectra();
  const auto after = chain.SpectrumTap(1).TakeSpectra();
  ASSERT_GE(before.size(), 10u);
  ASSERT_GE(after.size(), 5u);
  const std::vector<float>& a = before.back();
  const std::vector<float>& b = after.back();
  ASSERT_EQ(a.size(), 2048u + 10u);
  EXPECT_EQ(a[0], 2058.0f);
  EXPECT_EQ(a[3], 22050.0f);
  auto level = [](const std::vector<float>& s, double hz) {
    const int bin = 10 + 1024 + static_cast<int>(std::lround(hz * 2048 / 22050.0));
    return *std::max_element(s.begin() + bin - 2, s.begin() + bin + 3);
  };
  EXPECT_GT(level(a, 1000.0), level(a, -1000.0) + 40.0);  // negative frequencies first
  EXPECT_NEAR(level(a, 6000.0), level(a, 1000.0), 3.0);
  EXPECT_LT(level(b, 6000.0), level(b, 1000.0) - 50.0);
}

// Catches a running mean that starts from zero instead of the first value.
TEST(DemodMain, RunningMeanStartsAtTheFirstValue) {
  CDSPRunningMean mean(20);
  EXPECT_EQ(mean.Add(100.0), 100.0);
  EXPECT_NEAR(mean.Add(120.0), 101.0, 1e-12);
  for (int k = 0; k < 19; ++k) mean.Add(120.0);
  EXPECT_NEAR(mean.Mean(), 120.0, 1e-12);
}

// Catches a peak resonator centred on the wrong frequency: the pitch passes, 1 kHz away is
// strongly attenuated.
TEST(DemodMain, CwPeakFilterPassesThePitchOnly) {
  auto gainAt = [](double hz) {
    CDSPCWPeakFilter peak;
    peak.SetParameters(8000.0, 600.0, 0.94);
    peak.SetEnabled(true);
    std::vector<float> x(8000);
    for (int k = 0; k < 8000; ++k) x[k] = static_cast<float>(std::sin(kTwoPi * hz * k / 8000.0));
    peak.Process(x.data(), 8000);
    return sigtest::ToneAmplitude(x.data() + 4000, 4000, hz, 8000.0);
  };
  EXPECT_GT(20.0 * std::log10(gainAt(600.0) / gainAt(1600.0)), 25.0);
}

namespace {

// Complex white noise of the given RMS per component.
std::vector<Complex> ComplexNoise(int n, double rms, unsigned seed) {
  const std::vector<float> i = sigtest::Noise(n, rms, seed), q = sigtest::Noise(n, rms, seed + 1);
  std::vector<Complex> v(n);
  for (int k = 0; k < n; ++k) v[k] = Complex(i[k], q[k]);
  return v;
}

double PeakAbs(const std::vector<float>& v, int from, int to) {
  double peak = 0.0;
  for (int k = std::max(0, from); k < std::min<int>(to, static_cast<int>(v.size())); ++k)
    peak = std::max(peak, static_cast<double>(std::fabs(v[k])));
  return peak;
}

}  // namespace

// Catches the FM squelch measuring its noise band at the IF rate while it runs on the audio:
// at 250 kHz its 2 kHz high-pass lands near 400 Hz of audio, so a strong broadcast station
// (whose programme lies there) is muted and a dead channel's noise is heard. At every level
// up to 50 a station must pass; from 40 noise alone must be muted.
TEST(DemodMain, BroadcastFmSquelchPassesAStationAndMutesNoise) {
  const double seconds = 1.0;
  const int n = static_cast<int>(seconds * kInputRate);
  std::vector<Complex> station = Synthesise(n, kInputRate, FmSignal(40000.0, 1000.0, 75000.0, 3000.0));
  // A strong station (40 dB above the noise of the channel) and the noise alone.
  const std::vector<Complex> noise = ComplexNoise(n, 30.0, 7);
  for (int k = 0; k < n; ++k) station[k] += noise[k];
  for (const int level : {0, 25, 40, 50}) {
    CDSPDemodMain onStation;
    Configure(onStation, eDemodBFM, 40000, 0, 100000);
    onStation.SetSquelch(true, level);
    const std::vector<float> heard = RunChain(onStation, station, kInputRate, 16384);
    EXPECT_FALSE(onStation.FMSquelch().IsMuted()) << level << " noise " << onStation.FMSquelch().NoiseLevel();
    EXPECT_GT(sigtest::Rms(heard, static_cast<int>(heard.size()) / 2, static_cast<int>(heard.size())), 300.0) << level;

    if (level < 40) continue;  // the lowest levels are meant to let weak stations through noise
    CDSPDemodMain onNoise;
    Configure(onNoise, eDemodBFM, 40000, 0, 100000);
    onNoise.SetSquelch(true, level);
    const std::vector<float> hiss = RunChain(onNoise, noise, kInputRate, 16384);
    EXPECT_TRUE(onNoise.FMSquelch().IsMuted()) << level << " noise " << onNoise.FMSquelch().NoiseLevel();
    EXPECT_EQ(PeakAbs(hiss, static_cast<int>(hiss.size()) / 2, static_cast<int>(hiss.size())), 0.0) << level;
  }
}

// Catches a closed basic squelch that mutes only as many audio samples as there were IF
// samples: the sideband modes' audio comes in FFT-sized runs that do not line up with the IF
// count, and the rest used to pass as bursts of noise.
TEST(DemodMain, ClosedBasicSquelchLeavesOnlySilence) {
  const std::vector<Complex> noise = ComplexNoise(kInputRate, 30.0, 3);
  for (const int mode : {eDemodUSB, eDemodLSB, eDemodCWU, eDemodAM, eDemodDataU}) {
    CDSPDemodMain chain;
    int low = 0, high = 0;
    CDSPDemodMain::DefaultPassBand(mode, 500, low, high);
    Configure(chain, mode, 10000, low, high);
    chain.SetSquelch(true, 80);
    int total = 0;
    for (std::size_t pos = 0; pos < noise.size(); pos += 5000) {
      chain.ProcessBlock(noise.data() + pos, static_cast<int>(std::min<std::size_t>(5000, noise.size() - pos)), kInputRate);
      const std::vector<float> out(chain.Output(), chain.Output() + chain.OutputCount());
      total += chain.OutputCount();
      ASSERT_EQ(PeakAbs(out, 0, chain.OutputCount()), 0.0) << CDSPDemodMain::ShortName(mode) << " at " << pos;
    }
    EXPECT_GT(total, 12000) << CDSPDemodMain::ShortName(mode);
  }
}

// Catches an ECSS demodulator that follows the carrier's frequency but not its phase: with
// both sidebands the audio is I, which fades as the carrier turns away from the I axis. A
// carrier 0.3 Hz off must give a steady tone over 20 s, as synchronous AM does.
TEST(DemodMain, EcssHoldsTheCarrierPhase) {
  const int rate = 48000;
  const double seconds = 20.0;
  const int n = static_cast<int>(seconds * rate);
  const std::vector<Complex> am = Synthesise(n, rate, [](double t) {
    return Carrier(t, 5000.3, 3000.0, 1.0) * (1.0 + 0.5 * std::sin(kTwoPi * 700.0 * t));
  });
  for (const int mode : {eDemodECSS, eDemodSAM, eDemodECSSU}) {
    CDSPDemodMain chain;
    Configure(chain, mode, 5000, 200, 5000);
    const std::vector<float> audio = RunChain(chain, am, rate);
    const int second = 48000;
    std::vector<double> levels;
    for (int s = 2; s + 1 < static_cast<int>(audio.size()) / second; ++s)
      levels.push_back(sigtest::ToneAmplitude(audio.data() + s * second, second, 700.0, 48000.0));
    ASSERT_GT(levels.size(), 15u);
    const auto [lo, hi] = std::minmax_element(levels.begin(), levels.end());
    EXPECT_LT(20.0 * std::log10(*hi / *lo), 2.0) << CDSPDemodMain::ShortName(mode) << " " << *lo << " .. " << *hi;
  }
}

// Catches the start-up click of the FM modes: the channel filter starts from an empty history,
// so the first IF samples rise from zero and the discriminator turns them into full-scale
// spikes. The first audio must stay within the level of what follows.
TEST(DemodMain, FmModesStartWithoutAClick) {
  for (const int rate : {48000, 96000, 250000, 1000000}) {
    for (const int mode : {eDemodWFM, eDemodNFM, eDemodBFM}) {
      if (mode == eDemodBFM && rate < 250000) continue;
      const double deviation = mode == eDemodBFM ? 75000.0 : mode == eDemodWFM ? 5000.0 : 3000.0;
      const std::vector<Complex> iq = Synthesise(rate / 2, rate, FmSignal(10000.0, 1000.0, deviation, 3000.0));
      CDSPDemodMain chain;
      int low = 0, high = 0;
      CDSPDemodMain::DefaultPassBand(mode, 500, low, high);
      Configure(chain, mode, 10000, low, high);
      const std::vector<float> audio = RunChain(chain, iq, rate, 4096);
      ASSERT_GT(audio.size(), 12000u);
      const double steady = PeakAbs(audio, 9600, static_cast<int>(audio.size()));
      const double start = PeakAbs(audio, 0, 4800);
      EXPECT_LE(start, 1.2 * steady) << CDSPDemodMain::ShortName(mode) << " at " << rate << ": " << start << " vs " << steady;
    }
  }
}
