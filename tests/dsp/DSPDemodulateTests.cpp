// The demodulators fed with synthesised IF signals: each mode must give the modulating
// tone at the right frequency, level and SNR, select the right sideband, keep its stated
// timing, and the PLL and carrier tracker must lock where they should and only there.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <numbers>
#include <random>
#include <vector>

#include "SignalMeasure.h"
#include "dsp/DSPDemodulate.h"
#include "dsp/FMDeemphasis.h"

namespace {

using Complex = std::complex<float>;
constexpr double kTwoPi = 2.0 * std::numbers::pi;

std::vector<Complex> Synthesise(int n, double rateHz, const std::function<std::complex<double>(double)>& signal,
                                long start = 0)
{
    std::vector<Complex> v(static_cast<std::size_t>(n));
    for (int k = 0; k < n; ++k) {
        const std::complex<double> z = signal(static_cast<double>(start + k) / rateHz);
        v[static_cast<std::size_t>(k)] = Complex(static_cast<float>(z.real()), static_cast<float>(z.imag()));
    }
    return v;
}

// FM: carrier at carrierHz, modulated by a tone (deviation in Hz).
std::function<std::complex<double>(double)> FMSignal(double carrierHz, double toneHz, double deviationHz, double amplitude)
{
    return [=](double t) {
        const double phase = kTwoPi * carrierHz * t + deviationHz / toneHz * std::sin(kTwoPi * toneHz * t);
        return std::polar(amplitude, std::fmod(phase, kTwoPi));
    };
}

std::vector<float> Demodulate(CDSPDemodulate& demod, int mode, const std::vector<Complex>& x, int blockSize)
{
    std::vector<float> y, out;
    for (std::size_t done = 0; done < x.size(); done += static_cast<std::size_t>(blockSize)) {
        const int n = static_cast<int>(std::min<std::size_t>(static_cast<std::size_t>(blockSize), x.size() - done));
        out.resize(static_cast<std::size_t>(demod.MaxOutputCount(mode, n)) + 1);
        const int got = demod.Demodulate(mode, x.data() + done, n, 0.0f, 0.0f, out.data());
        EXPECT_LE(got, demod.MaxOutputCount(mode, n));
        y.insert(y.end(), out.begin(), out.begin() + got);
    }
    return y;
}

double Amplitude(const std::vector<float>& y, double toneHz, double rateHz, std::size_t from)
{
    return sigtest::ToneAmplitude(y.data() + from, static_cast<int>(y.size() - from), toneHz, rateHz);
}

// Catches: a missing DC blocker, envelope computed from I alone, a wrong AM gain.
TEST(DSPDemodulate, AMCarrierWithAOneKilohertzToneGivesOneKilohertz)
{
    CDSPDemodulate demod;
    demod.SetUp(eDemodAM, 22050);
    const std::vector<Complex> x = Synthesise(22050, 22050.0, [](double t) {
        return std::polar(1000.0 * (1.0 + 0.5 * std::sin(kTwoPi * 1000.0 * t)), 0.7 + kTwoPi * 30.0 * t);
    });
    const std::vector<float> y = Demodulate(demod, eDemodAM, x, 1000);
    ASSERT_EQ(y.size(), x.size());
    const std::size_t from = 4410;
    EXPECT_NEAR(sigtest::DominantFrequency(y.data() + from, static_cast<int>(y.size() - from), 22050.0), 1000.0, 2.0);
    EXPECT_GT(sigtest::ToneSnrDb(y.data() + from, static_cast<int>(y.size() - from), 1000.0, 22050.0), 40.0);
    // DC blocker 0.5 (1 - z^-1) / (1 - 0.995 z^-1): a gain of about 0.5 at 1 kHz
    EXPECT_NEAR(Amplitude(y, 1000.0, 22050.0, from), 250.0, 5.0);
    double mean = 0.0;
    for (std::size_t k = from; k < y.size(); ++k)
        mean += y[k];
    EXPECT_NEAR(mean / static_cast<double>(y.size() - from), 0.0, 5.0) << "the carrier's DC must be blocked";
}

// Catches: sidebands swapped, the mirror for LSB missing, a leak of the other sideband.
TEST(DSPDemodulate, USBKeepsAToneAboveTheCarrierAndLSBRejectsIt)
{
    struct SCase
    {
        int mode;
        double toneHz;  // IF frequency of the test tone
        bool bKept;
    };
    for (const SCase& c : {SCase{eDemodUSB, 1200.0, true}, SCase{eDemodUSB, -1200.0, false},
                           SCase{eDemodLSB, -1200.0, true}, SCase{eDemodLSB, 1200.0, false},
                           SCase{eDemodCWU, 500.0, true}, SCase{eDemodCWL, -500.0, true},
                           SCase{eDemodCWL, 500.0, false}}) {
        CDSPDemodulate demod;
        demod.SetUp(c.mode, 8000);
        const std::vector<Complex> x =
            Synthesise(32000, 8000.0, [&](double t) { return std::polar(100.0, kTwoPi * c.toneHz * t); });
        const std::vector<float> y = Demodulate(demod, c.mode, x, 700);
        ASSERT_EQ(y.size() % 256, 0u);
        ASSERT_GT(y.size(), 20000u);
        const double level = Amplitude(y, std::fabs(c.toneHz), 8000.0, 0);
        if (c.bKept) {
            EXPECT_NEAR(level, 200.0, 4.0) << "mode " << c.mode;  // a tone of amplitude A gives 2A
            EXPECT_GT(sigtest::ToneSnrDb(y.data(), static_cast<int>(y.size()), std::fabs(c.toneHz), 8000.0), 35.0)
                << "mode " << c.mode;
        } else {
            EXPECT_LT(level, 200.0 * 0.01) << "mode " << c.mode << " lets the other sideband through";
        }
    }
}

// Catches: wrong output indices of the sliding FFT (timing), and a short block producing
// audio or losing its samples.
TEST(DSPDemodulate, SidebandOutputJIsIFSample3836PlusJ)
{
    CDSPDemodulate demod;
    demod.SetUp(eDemodUSB, 8000);
    const double f = 1000.0, phase0 = 0.4;
    const std::vector<Complex> x =
        Synthesise(12000, 8000.0, [&](double t) { return std::polar(1.0, phase0 + kTwoPi * f * t); });
    std::vector<float> out(static_cast<std::size_t>(demod.MaxOutputCount(eDemodUSB, 12000)) + 256);
    EXPECT_EQ(demod.Demodulate(eDemodUSB, x.data(), 4000, 0.0f, 0.0f, out.data()), 0) << "not yet 4096 samples";
    const int got = demod.Demodulate(eDemodUSB, x.data() + 4000, 8000, 0.0f, 0.0f, out.data());
    ASSERT_EQ(got, (12000 - 4096) / 256 * 256 + 256);
    EXPECT_DOUBLE_EQ(demod.Delay(eDemodUSB), -3836.0);
    for (int j = 0; j < got; ++j) {
        const double expected = 2.0 * std::cos(phase0 + kTwoPi * f * (j + 3836) / 8000.0);
        ASSERT_NEAR(out[static_cast<std::size_t>(j)], expected, 0.05) << j;
    }
}

// Catches: a mode that should be silent producing audio, DSB without its factor two, the
// data modes taking Q instead of I.
TEST(DSPDemodulate, WUSBIsSilentAndTheLinearModesTakeI)
{
    CDSPDemodulate demod;
    const std::vector<Complex> x = {{1.0f, 5.0f}, {-2.0f, 7.0f}, {3.0f, -1.0f}};
    std::vector<float> out(8, 42.0f);
    demod.SetUp(eDemodWUSB, 8000);
    EXPECT_EQ(demod.Demodulate(eDemodWUSB, x.data(), 3, 0.0f, 0.0f, out.data()), 0);
    EXPECT_EQ(out[0], 42.0f);
    demod.SetUp(eDemodDSB, 8000);
    ASSERT_EQ(demod.Demodulate(eDemodDSB, x.data(), 3, 0.0f, 0.0f, out.data()), 3);
    EXPECT_EQ(out[1], -4.0f);
    demod.SetUp(eDemodDataU, 48000);
    ASSERT_EQ(demod.Demodulate(eDemodDataU, x.data(), 3, 0.0f, 0.0f, out.data()), 3);
    EXPECT_EQ(out[2], 3.0f);
    EXPECT_EQ(demod.Demodulate(eDemodUSB, x.data(), 0, 0.0f, 0.0f, out.data()), 0);
}

// Catches: a discriminator with the wrong sign or scale, and a lost previous sample.
TEST(DSPDemodulate, WideFMGivesTheFrequencyOffsetTimesTheGain)
{
    CDSPDemodulate demod;
    demod.SetUp(eDemodWFM, 48000);
    const std::vector<Complex> x = Synthesise(4800, 48000.0, [](double t) { return std::polar(300.0, -kTwoPi * 2000.0 * t); });
    const std::vector<float> y = Demodulate(demod, eDemodWFM, x, 333);
    const double expected = -kTwoPi * 2000.0 / 48000.0 * CDSPDemodulate::kWFMGain;
    for (std::size_t k = 1; k < y.size(); ++k)
        ASSERT_NEAR(y[k], expected, 0.02) << k;
}

// Catches: missing de-emphasis, high-pass or low-pass in NFM, and a wrong NFM gain.
TEST(DSPDemodulate, NarrowFMRecoversTheToneWithDeemphasis)
{
    auto run = [](double toneHz) {
        CDSPDemodulate demod;
        demod.SetUp(eDemodNFM, 16000);
        const std::vector<Complex> x = Synthesise(32000, 16000.0, FMSignal(300.0, toneHz, 2500.0, 1000.0));
        return Demodulate(demod, eDemodNFM, x, 1000);
    };
    const std::vector<float> y1 = run(1000.0);
    const std::size_t from = 4000;
    EXPECT_NEAR(sigtest::DominantFrequency(y1.data() + from, static_cast<int>(y1.size() - from), 16000.0), 1000.0, 2.0);
    EXPECT_GT(sigtest::ToneSnrDb(y1.data() + from, static_cast<int>(y1.size() - from), 1000.0, 16000.0), 35.0);
    // Discriminator peak 2 pi 2500/16000 rad, de-emphasis 2 / |1 + j f/300 Hz| at 1 kHz.
    const double expected = kTwoPi * 2500.0 / 16000.0 * CDSPDemodulate::kNFMGain * 2.0 / std::hypot(1.0, 1000.0 / 300.3);
    EXPECT_NEAR(Amplitude(y1, 1000.0, 16000.0, from), expected, expected * 0.06);
    const std::vector<float> y3 = run(3000.0);
    const double drop = 20.0 * std::log10(Amplitude(y3, 3000.0, 16000.0, from) / Amplitude(y1, 1000.0, 16000.0, from));
    EXPECT_NEAR(drop, -9.0, 1.5) << "530 us de-emphasis: about -9 dB from 1 to 3 kHz";
    // A 6 kHz tone is outside the 4 kHz low-pass.
    const std::vector<float> y6 = run(6000.0);
    EXPECT_LT(Amplitude(y6, 6000.0, 16000.0, from), Amplitude(y1, 1000.0, 16000.0, from) * 0.01);
}

// Catches: a broken decimation or resampling path, missing de-emphasis, and carry-over
// bugs (odd block sizes must give the same audio as one long block).
TEST(DSPDemodulate, BroadcastFMRecoversTheToneAndCarriesOddBlocks)
{
    auto run = [](double toneHz, const std::vector<int>& blocks) {
        CDSPDemodulate demod;
        demod.SetUp(eDemodBFM, 250000);
        const std::vector<Complex> x = Synthesise(250000, 250000.0, FMSignal(-20000.0, toneHz, 75000.0, 2000.0));
        std::vector<float> y, out;
        std::size_t done = 0;
        for (std::size_t b = 0; done < x.size(); ++b) {
            const int n = static_cast<int>(std::min<std::size_t>(static_cast<std::size_t>(blocks[b % blocks.size()]), x.size() - done));
            out.resize(static_cast<std::size_t>(demod.MaxOutputCount(eDemodBFM, n)));
            const int got = demod.Demodulate(eDemodBFM, x.data() + done, n, 0.0f, 0.0f, out.data());
            EXPECT_LE(got, static_cast<int>(out.size()));
            y.insert(y.end(), out.begin(), out.begin() + got);
            done += static_cast<std::size_t>(n);
        }
        return y;
    };
    const std::vector<float> y1 = run(1000.0, {8192});
    EXPECT_NEAR(static_cast<double>(y1.size()), (250000.0 / 4.0 - 512.0) * 48000.0 / 62500.0, 3.0);
    const std::size_t from = 4800;
    EXPECT_NEAR(sigtest::DominantFrequency(y1.data() + from, static_cast<int>(y1.size() - from), 48000.0), 1000.0, 2.0);
    EXPECT_GT(sigtest::ToneSnrDb(y1.data() + from, static_cast<int>(y1.size() - from), 1000.0, 48000.0), 35.0);
    // 75 kHz deviation: 2 pi 75000/250000 rad * 8000 * 0.98 (resampler) * 2 / |1 + j f/3183 Hz|
    const double expected = kTwoPi * 0.3 * 8000.0 * 0.98 * 2.0 / std::hypot(1.0, 1000.0 / 3183.1);
    EXPECT_NEAR(Amplitude(y1, 1000.0, 48000.0, from), expected, expected * 0.05);

    const std::vector<float> y5 = run(5000.0, {8192});
    const double drop = 20.0 * std::log10(Amplitude(y5, 5000.0, 48000.0, from) / Amplitude(y1, 1000.0, 48000.0, from));
    EXPECT_NEAR(drop, -5.0, 1.0) << "50 us de-emphasis: about -5 dB from 1 to 5 kHz";

    const std::vector<float> odd = run(1000.0, {4093, 7, 1, 2, 10001, 3});
    ASSERT_EQ(odd.size(), y1.size());
    for (std::size_t k = 0; k < odd.size(); ++k)
        ASSERT_NEAR(odd[k], y1[k], 0.05) << k;
}

// Catches: PLL constants or sign errors (no lock, or lock outside the pull-in range), a lock
// flag that does not follow the limits, and loop gain depending on the input level.
TEST(DSPDemodulate, SyncAMLocksWithinThePullInRangeAndTheFlagFollows)
{
    for (double amplitude : {1.0, 8000.0}) {
        for (double offsetHz : {0.0, 300.0, -1500.0, 2300.0, -2300.0, 3000.0}) {
            CDSPDemodulate demod;
            demod.SetUp(eDemodSAM, 22050);
            const std::vector<Complex> x = Synthesise(22050 * 4, 22050.0, [&](double t) {
                return std::polar(amplitude, 1.0 + kTwoPi * offsetHz * t);
            });
            // Blocks of 1999 end at every phase of a beat note.
            std::vector<float> out(1999);
            int unlockedBlocks = 0;
            for (std::size_t done = 0; done + 1999 <= x.size(); done += 1999) {
                demod.Demodulate(eDemodSAM, x.data() + done, 1999, 0.0f, 0.0f, out.data());
                const float omega = demod.SyncAMPLL().Omega();
                ASSERT_LE(std::fabs(omega), CDSPSyncAMPLL::kOmegaMax);
                ASSERT_EQ(demod.SyncAMPLL().IsLocked(), std::fabs(omega) < CDSPSyncAMPLL::kOmegaMax);
                if (done >= x.size() / 2 && !demod.SyncAMPLL().IsLocked())
                    ++unlockedBlocks;
            }
            if (std::fabs(offsetHz) < 2500.0) {
                EXPECT_EQ(unlockedBlocks, 0) << "offset " << offsetHz << " amplitude " << amplitude;
                EXPECT_NEAR(demod.SyncAMPLL().Omega(), kTwoPi * offsetHz / 22050.0, 1e-4) << offsetHz;
            } else {
                // Beyond the pull-in range the frequency runs into its limit and stays there
                // (the beat note only lifts it off for a fraction of each beat).
                EXPECT_GT(unlockedBlocks, 0) << offsetHz;
                EXPECT_GT(std::fabs(demod.SyncAMPLL().Omega()), 0.7f) << offsetHz;
            }
        }
    }
}

// Catches: the synchronous detector not recovering the modulation (wrong turn direction,
// missing carrier removal or high-pass).
TEST(DSPDemodulate, SyncAMRecoversTheModulatingTone)
{
    CDSPDemodulate demod;
    demod.SetUp(eDemodSAM, 22050);
    const std::vector<Complex> x = Synthesise(22050 * 2, 22050.0, [](double t) {
        return std::polar(3000.0 * (1.0 + 0.3 * std::sin(kTwoPi * 700.0 * t)), 1.0 + kTwoPi * 120.0 * t);
    });
    const std::vector<float> y = Demodulate(demod, eDemodSAM, x, 2205);
    EXPECT_TRUE(demod.SyncAMPLL().IsLocked());
    const std::size_t from = y.size() / 2;
    const int count = static_cast<int>(y.size() - from);
    EXPECT_NEAR(sigtest::DominantFrequency(y.data() + from, count, 22050.0), 700.0, 2.0);
    EXPECT_GT(sigtest::ToneSnrDb(y.data() + from, count, 700.0, 22050.0), 40.0);
    EXPECT_NEAR(Amplitude(y, 700.0, 22050.0, from), 900.0, 30.0);
}

// Catches: a tracker that pulls the wrong way, never locks, or never switches filters.
TEST(DSPDemodulate, ECSSTrackerLocksOnTheCarrierAndSwitchesFilters)
{
    CDSPDemodulate demod;
    demod.SetUp(eDemodECSSU, 22050);
    const double carrierHz = 60.0;
    double phase = 0.3;
    bool bSawUnlocked = false;
    // The chain adds the tracker's offset to its tuning, so the IF carrier sits at
    // carrierHz - CarrierOffset().
    for (int block = 0; block < 22050 * 8 / 512; ++block) {
        std::vector<Complex> x(512);
        const double step = kTwoPi * (carrierHz - demod.CarrierOffset()) / 22050.0;
        for (Complex& v : x) {
            v = std::polar(5000.0f, static_cast<float>(phase));
            phase = std::fmod(phase + step, kTwoPi);
        }
        demod.TrackCarrier(x.data(), 512);
        bSawUnlocked = bSawUnlocked || !demod.CarrierTracker().IsLocked();
    }
    EXPECT_TRUE(bSawUnlocked);
    EXPECT_TRUE(demod.CarrierTracker().IsLocked());
    EXPECT_TRUE(demod.CarrierTracker().UsesNarrowFilter());
    EXPECT_NEAR(demod.CarrierOffset(), carrierHz, 4.0);

    // The carrier jumps 100 Hz away: the estimate rises above 0.08 and the wide filter
    // returns.
    for (int block = 0; block < 10; ++block) {
        std::vector<Complex> x(512);
        const double step = kTwoPi * 100.0 / 22050.0;
        for (Complex& v : x) {
            v = std::polar(5000.0f, static_cast<float>(phase));
            phase = std::fmod(phase + step, kTwoPi);
        }
        demod.TrackCarrier(x.data(), 512);
    }
    EXPECT_FALSE(demod.CarrierTracker().IsLocked());
    EXPECT_FALSE(demod.CarrierTracker().UsesNarrowFilter());

    demod.SetUp(eDemodECSS, 22050);
    EXPECT_EQ(demod.CarrierOffset(), 0.0f) << "every set-up into an ECSS mode resets the tracker";
}

// Catches: de-emphasis without its deliberate gain of two, or a wrong time constant.
TEST(FMDeemphasis, HasGainTwoAtDCAndIsThreeDecibelsDownAtItsCorner)
{
    CFMDeemphasis deemphasis;
    deemphasis.Init(50.0, 48000.0);
    EXPECT_NEAR(deemphasis.AlphaD(), 1.0 - std::exp(-1.0 / (50e-6 * 48000.0)), 1e-15);
    std::vector<float> dc(2000, 1.0f);
    deemphasis.Process(dc.data(), 2000);
    EXPECT_NEAR(dc.back(), 2.0f, 1e-4f);

    CFMDeemphasis corner;
    corner.Init(530.0, 16000.0);
    const double cornerHz = 1.0 / (kTwoPi * 530e-6);
    std::vector<float> tone(16000);
    for (int k = 0; k < 16000; ++k)
        tone[static_cast<std::size_t>(k)] = static_cast<float>(std::sin(kTwoPi * cornerHz * k / 16000.0));
    corner.Process(tone.data(), 16000);
    EXPECT_NEAR(20.0 * std::log10(sigtest::ToneAmplitude(tone.data() + 8000, 8000, cornerHz, 16000.0) / 2.0), -3.0, 0.3);
}

}  // namespace
