// The audio resampler: output counts, tone frequency and level kept, alias and image
// rejection, timing, pass-through at equal rates and the start-up rule.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "SignalMeasure.h"
#include "dsp/DSPPolyphaseResampler.h"

namespace {

std::vector<float> RealTone(int n, double freqHz, double rateHz, double amplitude)
{
    std::vector<float> v(static_cast<std::size_t>(n));
    for (int k = 0; k < n; ++k)
        v[static_cast<std::size_t>(k)] = static_cast<float>(amplitude * std::sin(2.0 * std::numbers::pi * freqHz * k / rateHz));
    return v;
}

std::vector<float> Resample(CDSPPolyphaseResampler& rs, const std::vector<float>& x, int blockSize)
{
    std::vector<float> y, out;
    for (std::size_t done = 0; done < x.size(); done += static_cast<std::size_t>(blockSize)) {
        const int n = static_cast<int>(std::min<std::size_t>(static_cast<std::size_t>(blockSize), x.size() - done));
        out.resize(static_cast<std::size_t>(rs.MaxOutputCount(n)));
        const int got = rs.Process(x.data() + done, n, out.data());
        EXPECT_LE(got, static_cast<int>(out.size()));
        y.insert(y.end(), out.begin(), out.begin() + got);
    }
    return y;
}

// Catches: a wrong step (count or pitch), phases with unequal gain (spurs), a kernel
// cut-off that lets images or aliases through, a norm other than 0.98.
TEST(DSPPolyphaseResampler, KeepsAToneAndGivesTheRightCountForEveryChainRate)
{
    struct SCase
    {
        int inRate;
        double toneHz;
        int block;
    };
    for (const SCase& c : {SCase{8000, 1000.0, 256}, SCase{16000, 3000.0, 333}, SCase{22050, 1000.0, 1000},
                           SCase{22050, 9000.0, 4410}, SCase{62500, 15000.0, 2500}, SCase{11025, 700.0, 97}}) {
        CDSPPolyphaseResampler rs;
        rs.Init(c.inRate, 48000);
        const int n = c.inRate * 2;
        const std::vector<float> y = Resample(rs, RealTone(n, c.toneHz, c.inRate, 1000.0), c.block);
        // All but the last 512 inputs (which wait for their look-ahead) are converted.
        const double expected = (n - 512.0) * 48000.0 / c.inRate;
        EXPECT_NEAR(static_cast<double>(y.size()), expected, 48000.0 / c.inRate + 2.0) << c.inRate;

        const int from = 4800;
        const int count = static_cast<int>(y.size()) - from;
        EXPECT_NEAR(sigtest::DominantFrequency(y.data() + from, count, 48000.0), c.toneHz, 1.0) << c.inRate;
        EXPECT_GT(sigtest::ToneSnrDb(y.data() + from, count, c.toneHz, 48000.0), 70.0) << c.inRate;
        EXPECT_NEAR(sigtest::ToneAmplitude(y.data() + from, count, c.toneHz, 48000.0), 980.0, 3.0) << c.inRate;
    }
}

// Catches: a timing offset (the output must be the input at j * in/out, no group delay).
TEST(DSPPolyphaseResampler, OutputSampleJIsTheInputAtJTimesTheRateRatio)
{
    CDSPPolyphaseResampler rs;
    rs.Init(22050, 48000);
    const double toneHz = 440.0;
    const std::vector<float> y = Resample(rs, RealTone(22050, toneHz, 22050.0, 1.0), 512);
    double worst = 0.0;
    for (std::size_t j = 2000; j < y.size(); ++j) {
        const double t = static_cast<double>(j) / 48000.0;
        worst = std::max(worst, std::fabs(y[j] - 0.98 * std::sin(2.0 * std::numbers::pi * toneHz * t)));
    }
    EXPECT_LT(worst, 1e-3);
}

// Catches: equal rates not passing through bit-exactly, output before the look-ahead is
// buffered, and Init re-running when nothing changed (it would lose the buffer).
TEST(DSPPolyphaseResampler, PassThroughStartUpAndInitRules)
{
    CDSPPolyphaseResampler same;
    same.Init(48000, 48000);
    std::vector<float> x = {1.5f, -2.0f, 3.25f};
    std::vector<float> y(3);
    EXPECT_EQ(same.Process(x.data(), 3, y.data()), 3);
    EXPECT_EQ(y, x);

    CDSPPolyphaseResampler none;
    EXPECT_EQ(none.Process(x.data(), 3, y.data()), 0) << "no filter before Init";

    CDSPPolyphaseResampler rs;
    rs.Init(8000, 48000);
    std::vector<float> in(512, 1.0f), out(static_cast<std::size_t>(rs.MaxOutputCount(600)));
    EXPECT_EQ(rs.Process(in.data(), 512, out.data()), 0) << "512 beyond t are not more than 512";
    EXPECT_GT(rs.Process(in.data(), 1, out.data()), 0);
    const int compactions = rs.CompactionCount();
    rs.Init(8000, 48000);  // same rates: no restart
    EXPECT_GT(rs.Process(in.data(), 1, out.data()), 0);
    EXPECT_EQ(rs.CompactionCount(), compactions + 1);
    rs.Init(8000, 48000, true);
    EXPECT_EQ(rs.Process(in.data(), 1, out.data()), 0) << "a forced Init restarts the buffer";
}

}  // namespace
