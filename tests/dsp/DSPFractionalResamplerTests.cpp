// The down-converter's fractional resampler: counts, tone frequency, the deliberate S + jS
// weight and the fast variant.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "dsp/DSPFractionalResampler.h"
#include "dsp/DSPGlobalFlags.h"

namespace {

using Complex = std::complex<float>;

// Catches: a wrong output count for a ratio, a tone moved off its frequency, an
// interpolation kernel with the wrong span (level ripple between output instants).
TEST(DSPFractionalResampler, GivesTheRightCountAndKeepsATone)
{
    for (float ratio : {1.0f, 1.302083f, 1.41723f, 2.0f}) {
        CDSPFractionalResampler rs;
        rs.Init(48000);
        rs.SetRatio(ratio);
        const double omega = 2.0 * std::numbers::pi * 0.05;  // cycles per input sample
        std::vector<Complex> y;
        long k0 = 0;
        for (int block : {2048, 1000, 37, 4096, 2048, 513, 2048, 2048}) {
            std::vector<Complex> x(static_cast<std::size_t>(block));
            for (int k = 0; k < block; ++k)
                x[static_cast<std::size_t>(k)] = std::polar(1.0f, static_cast<float>(std::fmod(omega * static_cast<double>(k0 + k), 2.0 * std::numbers::pi)));
            k0 += block;
            std::vector<Complex> out(static_cast<std::size_t>(rs.MaxOutputCount(block)));
            const int got = rs.Process(x.data(), block, out.data());
            ASSERT_LE(got, static_cast<int>(out.size()));
            y.insert(y.end(), out.begin(), out.begin() + got);
        }
        EXPECT_NEAR(static_cast<double>(y.size()), static_cast<double>(k0) / ratio, 1.5) << ratio;
        // Each output turns by omega * ratio; the level is sqrt(2) throughout.
        for (std::size_t j = 40; j < y.size(); ++j) {
            const double step = std::arg(std::complex<double>(y[j]) * std::conj(std::complex<double>(y[j - 1])));
            ASSERT_NEAR(step, omega * ratio, 2e-4) << "ratio " << ratio << " output " << j;
            ASSERT_NEAR(std::abs(y[j]), std::sqrt(2.0), 2e-3) << "ratio " << ratio << " output " << j;
        }
    }
}

// Catches: a "corrected" weight S instead of the deliberate S + jS, and a wrong delay.
TEST(DSPFractionalResampler, TurnsBy45DegreesAndDelaysByHalfTheTaps)
{
    CDSPFractionalResampler rs;
    rs.Init(22050);
    rs.SetRatio(1.0f);
    std::vector<Complex> x(200, Complex(0.0f, 0.0f));
    x[50] = Complex(1.0f, 0.0f);
    std::vector<Complex> y(static_cast<std::size_t>(rs.MaxOutputCount(200)));
    const int got = rs.Process(x.data(), 200, y.data());
    ASSERT_EQ(got, 200);
    // Output j is input j - 14: the impulse comes out at 64 as 1 + j.
    EXPECT_NEAR(y[64].real(), 1.0f, 1e-5f);
    EXPECT_NEAR(y[64].imag(), 1.0f, 1e-5f);
    EXPECT_NEAR(std::abs(y[63]), 0.0f, 1e-5f);
    EXPECT_DOUBLE_EQ(rs.Delay(), 14.0);
}

// Catches: the fast variant used without the flag or at the wrong output rates.
TEST(DSPFractionalResampler, FastVariantOnlyAboveFortyEightKilohertzWithTheFlag)
{
    CDSPFractionalResampler rs;
    rs.Init(250000);
    EXPECT_EQ(rs.TapsPerOutput(), 28);
    g_bDSPFastResampler = true;
    rs.Init(250000);
    EXPECT_EQ(rs.TapsPerOutput(), 16);
    rs.Init(48000);
    EXPECT_EQ(rs.TapsPerOutput(), 28);
    g_bDSPFastResampler = false;

    g_bDSPFastResampler = true;
    rs.Init(250000);
    g_bDSPFastResampler = false;
    rs.SetRatio(1.5f);
    std::vector<Complex> x(3000, Complex(2.0f, 0.0f)), y(static_cast<std::size_t>(rs.MaxOutputCount(3000)));
    const int got = rs.Process(x.data(), 3000, y.data());
    ASSERT_GT(got, 1000);
    EXPECT_NEAR(y[1000].real(), 2.0f, 0.01f);
    EXPECT_NEAR(y[1000].imag(), 2.0f, 0.01f);
}

}  // namespace
