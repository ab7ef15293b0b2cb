// The down-converter and its half-band cascade: the cascade against one long filter and a
// decimation, the rate plans, tones moved to the right frequency with the deliberate
// sqrt(2) / 45-degree weight, rejection outside the output band, the chunk rule and the
// stated delay.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <vector>

#include "dsp/DSPDemodDownConvert.h"
#include "dsp/DSPGlobalFlags.h"
#include "dsp/DSPHalfBandCascade.h"

namespace {

using Complex = std::complex<float>;
constexpr double kTwoPi = 2.0 * std::numbers::pi;

std::vector<Complex> Tone(int n, double freqHz, double rateHz, double amplitude, long start = 0)
{
    std::vector<Complex> v(static_cast<std::size_t>(n));
    for (int k = 0; k < n; ++k) {
        const double phase = std::fmod(kTwoPi * freqHz * static_cast<double>(start + k) / rateHz, kTwoPi);
        v[static_cast<std::size_t>(k)] = Complex(static_cast<float>(amplitude * std::cos(phase)),
                                                 static_cast<float>(amplitude * std::sin(phase)));
    }
    return v;
}

// Feeds x in blocks of blockSize and collects everything produced.
std::vector<Complex> Convert(CDSPDemodDownConvert& dc, const std::vector<Complex>& x, int blockSize, double offsetHz,
                             int inRate, int outRate)
{
    std::vector<Complex> y;
    std::vector<Complex> out;
    for (std::size_t done = 0; done < x.size(); done += static_cast<std::size_t>(blockSize)) {
        const int n = static_cast<int>(std::min<std::size_t>(static_cast<std::size_t>(blockSize), x.size() - done));
        out.resize(static_cast<std::size_t>(dc.MaxOutputCount(n, inRate, outRate)));
        const int got = dc.DownConvert(x.data() + done, n, offsetHz, inRate, outRate, out.data());
        EXPECT_LE(got, static_cast<int>(out.size()));
        y.insert(y.end(), out.begin(), out.begin() + got);
    }
    return y;
}

// Mean frequency (Hz) and mean magnitude of a complex tone, from the given sample on.
struct SToneFit
{
    double freqHz;
    double amplitude;
};
SToneFit FitTone(const std::vector<Complex>& y, std::size_t from, double rateHz)
{
    std::complex<double> turn = 0.0;
    double magnitude = 0.0;
    for (std::size_t k = from + 1; k < y.size(); ++k) {
        turn += std::complex<double>(y[k]) * std::conj(std::complex<double>(y[k - 1]));
        magnitude += std::abs(y[k]);
    }
    return {std::arg(turn) * rateHz / kTwoPi, magnitude / static_cast<double>(y.size() - from - 1)};
}

// Reference for the cascade: all stages folded into one long filter g (stage s upsampled
// by 2^s), applied by direct convolution, then every D-th sample from the phase the stages
// pick (the half-bands keep even outputs, the binomial filter the odd ones).
std::vector<std::complex<double>> CascadeReference(const CDSPHalfBandCascade& cascade, const std::vector<Complex>& x)
{
    std::vector<double> g = {1.0};
    int phase = 0;
    for (int s = 0; s < cascade.StageCount(); ++s) {
        std::vector<double> taps;
        if (cascade.IsSimpleStage(s)) {
            taps = {0.125, 0.375, 0.375, 0.125};
            phase += 1 << s;
        } else if (cascade.StageTaps(s) == 59) {
            taps.assign(CDSPHalfBandCascade::Prototype59().begin(), CDSPHalfBandCascade::Prototype59().end());
        } else {
            taps.assign(CDSPHalfBandCascade::Prototype19().begin(), CDSPHalfBandCascade::Prototype19().end());
        }
        const std::size_t up = std::size_t{1} << s;
        std::vector<double> next(g.size() + (taps.size() - 1) * up, 0.0);
        for (std::size_t i = 0; i < g.size(); ++i)
            for (std::size_t j = 0; j < taps.size(); ++j)
                next[i + j * up] += g[i] * taps[j];
        g = std::move(next);
    }
    const int d = cascade.Decimation();
    std::vector<std::complex<double>> y;
    for (long n = phase; n < static_cast<long>(x.size()); n += d) {
        std::complex<double> sum = 0.0;
        for (std::size_t i = 0; i < g.size() && n - static_cast<long>(i) >= 0; ++i)
            sum += g[i] * std::complex<double>(x[static_cast<std::size_t>(n - static_cast<long>(i))]);
        y.push_back(sum);
    }
    return y;
}

// Catches: wrong taps or centre, a stage keeping the wrong phase, state lost between
// calls, and odd-sized calls dropping or duplicating a sample.
TEST(DSPHalfBandCascade, EqualsOneLongFilterAndDecimationForAnySplit)
{
    std::mt19937 gen(11);
    std::normal_distribution<float> noise(0.0f, 1.0f);
    std::vector<Complex> x(6000);
    for (Complex& v : x)
        v = Complex(noise(gen), noise(gen));

    struct SCase
    {
        float ratio;
        int inRate;
        bool bReduced;
    };
    for (const SCase& c : {SCase{2000000.0f / 22050.0f, 2000000, false}, SCase{250000.0f / 48000.0f, 250000, false},
                           SCase{2000000.0f / 8000.0f, 2000000, false}, SCase{1000000.0f / 22050.0f, 1000000, true},
                           SCase{192000.0f / 8000.0f, 192000, false}}) {
        g_bDSPReducedLoad = c.bReduced;
        CDSPHalfBandCascade cascade;
        cascade.Plan(c.ratio, c.inRate);
        g_bDSPReducedLoad = false;
        const std::vector<std::complex<double>> ref = CascadeReference(cascade, x);

        std::mt19937 splits(5);
        std::uniform_int_distribution<int> size(1, 700);
        std::vector<Complex> y(x.size());
        int produced = 0;
        for (std::size_t done = 0; done < x.size();) {
            const int n = std::min<int>(size(splits), static_cast<int>(x.size() - done));
            produced += cascade.Process(x.data() + done, n, y.data() + produced);
            done += static_cast<std::size_t>(n);
        }
        ASSERT_GE(produced + 1, static_cast<int>(ref.size()) - 1) << "ratio " << c.ratio;
        const int compare = std::min<int>(produced, static_cast<int>(ref.size()));
        for (int m = 0; m < compare; ++m)
            ASSERT_NEAR(std::abs(std::complex<double>(y[static_cast<std::size_t>(m)]) - ref[static_cast<std::size_t>(m)]), 0.0,
                        2e-5)
                << "ratio " << c.ratio << " output " << m;
    }
}

// Catches: a wrong decimation rule, prototype choice or binomial-stage rule.
TEST(DSPHalfBandCascade, PlansTheStatedStages)
{
    CDSPHalfBandCascade cascade;
    EXPECT_EQ(cascade.Plan(2000000.0f / 48000.0f, 2000000), 32);
    ASSERT_EQ(cascade.StageCount(), 5);
    // 2 MHz, 1 MHz, 500 kHz: binomial; 250 kHz and 125 kHz: 59-tap
    EXPECT_TRUE(cascade.IsSimpleStage(0));
    EXPECT_TRUE(cascade.IsSimpleStage(1));
    EXPECT_TRUE(cascade.IsSimpleStage(2));
    EXPECT_EQ(cascade.StageTaps(3), 59);
    EXPECT_EQ(cascade.StageTaps(4), 59);

    EXPECT_EQ(cascade.Plan(96000.0f / 48000.0f, 96000), 1);
    EXPECT_EQ(cascade.StageCount(), 0);
    EXPECT_EQ(cascade.Plan(1.0f, 48000), 1);
    EXPECT_EQ(cascade.StageCount(), 0);

    // 192 kHz to 8 kHz: D = 16; visited 3, 2, 1 get 59 taps, stage 0 is binomial
    EXPECT_EQ(cascade.Plan(24.0f, 192000), 16);
    EXPECT_TRUE(cascade.IsSimpleStage(0));
    EXPECT_EQ(cascade.StageTaps(1), 59);

    g_bDSPReducedLoad = true;
    EXPECT_EQ(cascade.Plan(2000000.0f / 250000.0f, 2000000), 4);
    g_bDSPReducedLoad = false;
    EXPECT_EQ(cascade.StageTaps(0), 19);
    EXPECT_EQ(cascade.StageTaps(1), 19);
}

// Catches: a wrong mixing sign or rate, lost samples between calls (frequency error), and
// a weight other than the deliberate S + jS (level sqrt(2), 45 degrees).
TEST(DSPDemodDownConvert, MovesTheWantedSignalToZeroHzAtTheOutputRate)
{
    struct SCase
    {
        int inRate, outRate, block;
        double offsetHz;
    };
    for (const SCase& c : {SCase{2000000, 22050, 16384, 312500.0}, SCase{250000, 48000, 5000, -40000.0},
                           SCase{96000, 48000, 4096, 1000.0}, SCase{2000000, 250000, 32768, -600000.0},
                           SCase{22050, 22050, 3000, 0.0}}) {
        const double deltaHz = 700.0;  // the tone sits this far above the offset
        const int n = c.inRate / 2;    // half a second
        CDSPDemodDownConvert dc;
        const std::vector<Complex> y =
            Convert(dc, Tone(n, c.offsetHz + deltaHz, c.inRate, 1000.0), c.block, c.offsetHz, c.inRate, c.outRate);
        const double expected = static_cast<double>(n) * c.outRate / c.inRate;
        EXPECT_NEAR(static_cast<double>(y.size()), expected, 2048.0 * c.outRate / c.inRate + 4) << c.inRate;
        const SToneFit fit = FitTone(y, y.size() / 4, c.outRate);
        EXPECT_NEAR(fit.freqHz, deltaHz, 0.5) << c.inRate << " -> " << c.outRate;
        EXPECT_NEAR(fit.amplitude, 1000.0 * std::sqrt(2.0), 15.0) << c.inRate << " -> " << c.outRate;
    }

    // Equal rates: no stage, ratio 1.0; a constant comes out turned by 45 degrees.
    CDSPDemodDownConvert dc;
    const std::vector<Complex> y = Convert(dc, std::vector<Complex>(8192, Complex(100.0f, 0.0f)), 8192, 0.0, 48000, 48000);
    EXPECT_EQ(dc.Decimation(), 1);
    EXPECT_FLOAT_EQ(dc.ResamplerRatio(), 1.0f);
    ASSERT_GT(y.size(), 4000u);
    EXPECT_NEAR(y[4000].real(), 100.0f, 0.5f);
    EXPECT_NEAR(y[4000].imag(), 100.0f, 0.5f);
}

// Catches: aliases from the half-band stages or a post-decimation low-pass at the wrong
// cut-off letting a strong neighbour into the IF band.
TEST(DSPDemodDownConvert, RejectsAStrongNeighbourOutsideTheOutputBandBy60dB)
{
    const int inRate = 2000000;
    const int outRate = 22050;
    const int n = 1 << 20;
    for (double neighbourHz : {13000.0, 25000.0, 31250.0 - 700.0, 62500.0 + 300.0, 500000.0 - 1000.0}) {
        CDSPDemodDownConvert dc;
        const std::vector<Complex> y = Convert(dc, Tone(n, 100000.0 + neighbourHz, inRate, 1000.0), 32768, 100000.0,
                                               inRate, outRate);
        ASSERT_GT(y.size(), 10000u);
        double power = 0.0;
        for (std::size_t k = y.size() / 4; k < y.size(); ++k)
            power += std::norm(y[k]);
        const double levelDb = 10.0 * std::log10(power / static_cast<double>(y.size() - y.size() / 4) / (2.0e6) + 1e-30);
        EXPECT_LT(levelDb, -60.0) << "neighbour at +" << neighbourHz << " Hz";
    }
}

// Catches: a chunk rule that looks at the chunk instead of the queue count.
TEST(DSPDemodDownConvert, AQueueOf3000IsProcessedAsOne1024Chunk)
{
    CDSPDemodDownConvert dc;
    std::vector<Complex> x(3000, Complex(1.0f, 0.0f));
    std::vector<Complex> out(static_cast<std::size_t>(dc.MaxOutputCount(3000, 2000000, 48000)) + 4096);
    dc.DownConvert(x.data(), 3000, 0.0, 2000000, 48000, out.data());
    EXPECT_EQ(dc.QueuedCount(), 1976);
    // 1976 + 72 = 2048 queued is a power of two: one chunk of 2048 empties the queue
    dc.DownConvert(x.data(), 72, 0.0, 2000000, 48000, out.data());
    EXPECT_EQ(dc.QueuedCount(), 0);
    // A rate change replans and starts a fresh queue.
    dc.DownConvert(x.data(), 100, 0.0, 1000000, 48000, out.data());
    EXPECT_EQ(dc.QueuedCount(), 100);
}

// Catches: a stated delay that does not match the signal (cursor-to-audio alignment).
TEST(DSPDemodDownConvert, DelayMatchesAPulseThroughTheChain)
{
    struct SCase
    {
        int inRate, outRate;
    };
    for (const SCase& c : {SCase{2000000, 22050}, SCase{250000, 48000}, SCase{96000, 48000}, SCase{48000, 48000}}) {
        const double q = static_cast<double>(c.inRate) / c.outRate;
        const double centre = 200000.0 + 0.3 * q;
        const double width = 8.0 * q;  // a Gaussian pulse well inside the output band
        std::vector<Complex> x(400000);
        for (std::size_t k = 0; k < x.size(); ++k) {
            const double u = (static_cast<double>(k) - centre) / width;
            x[k] = Complex(static_cast<float>(std::exp(-0.5 * u * u)), 0.0f);
        }
        CDSPDemodDownConvert dc;
        const std::vector<Complex> y = Convert(dc, x, 10000, 0.0, c.inRate, c.outRate);
        std::size_t peak = 0;
        for (std::size_t j = 1; j < y.size(); ++j)
            if (std::abs(y[j]) > std::abs(y[peak]))
                peak = j;
        ASSERT_GT(peak, 0u);
        ASSERT_LT(peak + 1, y.size());
        const double a = std::abs(y[peak - 1]), b = std::abs(y[peak]), cc = std::abs(y[peak + 1]);
        const double fine = static_cast<double>(peak) + 0.5 * (a - cc) / (a - 2.0 * b + cc);
        EXPECT_NEAR(fine * q - dc.DelayInputSamples(), centre, 0.1 * q) << c.inRate << " -> " << c.outRate;
    }
}

// Catches: the oscillator's table period (phase jumps at the wrap) and its reset rule.
TEST(DSPTableOscillator, KeepsPhaseAcrossTableWrapsAndResetsAtZeroOffset)
{
    CDSPTableOscillator osc;
    const int rate = 2000000;
    const double offset = 123456.7;
    std::vector<Complex> x(2500000, Complex(1.0f, 0.0f));
    std::vector<Complex> y(x.size());
    for (std::size_t done = 0; done < x.size(); done += 1024)
        osc.Mix(x.data() + done, y.data() + done, static_cast<int>(std::min<std::size_t>(1024, x.size() - done)), offset, rate);
    ASSERT_GT(osc.Period(), 2048);
    ASSERT_LT(osc.Period(), 1000000);
    const double omega = kTwoPi * offset / rate;
    double worst = 0.0;
    for (std::size_t k = 1; k < y.size(); ++k) {
        const double step = std::arg(std::complex<double>(y[k]) * std::conj(std::complex<double>(y[k - 1])));
        worst = std::max(worst, std::fabs(step + omega));
    }
    EXPECT_LT(worst, 1e-3);  // no jump anywhere, including every wrap of the table

    osc.Mix(x.data(), y.data(), 10, 0.0, rate);
    EXPECT_EQ(y[0], Complex(1.0f, 0.0f));
    osc.Mix(x.data(), y.data(), 10, 5000.0, rate);
    EXPECT_EQ(y[0], Complex(1.0f, 0.0f)) << "after offset 0 the next offset starts at phase 0";
}

}  // namespace
