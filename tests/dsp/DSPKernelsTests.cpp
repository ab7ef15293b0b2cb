// The vectorised inner loops against plain scalar references, over many sizes so that the
// vector bodies, their remainders and the AVX2 clones are all exercised.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <vector>

#include "dsp/DSPKernels.h"
#include "dsp/FIRDesign.h"

namespace {

std::vector<float> RandomFloats(int n, unsigned seed)
{
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<float> v(static_cast<std::size_t>(n));
    for (float& x : v)
        x = dist(gen);
    return v;
}

// Catches: a wrong stride, an off-by-one in the blocked loop or its remainder.
TEST(DSPKernels, FIRCorrelateMatchesTheScalarSumForEverySizeAndStride)
{
    for (int stride : {1, 2}) {
        for (int taps : {1, 3, 19, 30, 64}) {
            for (int n : {0, 1, 7, 15, 16, 17, 33, 100, 257}) {
                const std::vector<float> h = RandomFloats(taps, 1);
                const std::vector<float> x = RandomFloats(n + taps * stride, 2);
                std::vector<float> y(static_cast<std::size_t>(n) + 1, 99.0f);
                FIRCorrelate(x.data(), h.data(), taps, stride, y.data(), n);
                for (int i = 0; i < n; ++i) {
                    double ref = 0.0;
                    for (int j = 0; j < taps; ++j)
                        ref += static_cast<double>(h[static_cast<std::size_t>(j)]) * x[static_cast<std::size_t>(i + j * stride)];
                    ASSERT_NEAR(y[static_cast<std::size_t>(i)], ref, 1e-4) << "stride " << stride << " taps " << taps << " n " << n;
                }
                EXPECT_EQ(y[static_cast<std::size_t>(n)], 99.0f) << "wrote past the end";
            }
        }
    }
}

// Catches: lost remainders and even/odd sums mixed up in the dot products.
TEST(DSPKernels, DotProductsMatchTheScalarSums)
{
    for (int n : {2, 8, 16, 18, 56, 200, 513}) {
        const std::vector<float> a = RandomFloats(n, 3);
        const std::vector<float> b = RandomFloats(n, 4);
        double ref = 0.0, refEven = 0.0, refOdd = 0.0;
        for (int k = 0; k < n; ++k) {
            const double p = static_cast<double>(a[static_cast<std::size_t>(k)]) * b[static_cast<std::size_t>(k)];
            ref += p;
            (k % 2 == 0 ? refEven : refOdd) += p;
        }
        EXPECT_NEAR(DotProduct(a.data(), b.data(), n), ref, 1e-4) << n;
        if (n % 2 == 0) {
            float even = 0.0f, odd = 0.0f;
            DotProductPairs(a.data(), b.data(), n, even, odd);
            EXPECT_NEAR(even, refEven, 1e-4) << n;
            EXPECT_NEAR(odd, refOdd, 1e-4) << n;
        }
    }
}

// Catches: an octant restored wrongly (sign of x or y, |y| > |x|), 0/0 giving NaN, and an
// approximation too coarse for the FM discriminators.
TEST(DSPKernels, Atan2BlockIsWithinHalfAMicroradianInEveryOctant)
{
    std::vector<float> y, x;
    for (int k = 0; k < 3600; ++k) {
        const double angle = -std::numbers::pi + 2.0 * std::numbers::pi * (k + 0.37) / 3600.0;
        const double radius = 0.001 + (k % 7) * 300.0;
        y.push_back(static_cast<float>(radius * std::sin(angle)));
        x.push_back(static_cast<float>(radius * std::cos(angle)));
    }
    for (float v : {0.0f, 1.0f, -1.0f}) {
        y.push_back(v);
        x.push_back(v);
        y.push_back(0.0f);
        x.push_back(v);
    }
    std::vector<float> out(y.size());
    Atan2Block(y.data(), x.data(), out.data(), static_cast<int>(y.size()));
    for (std::size_t k = 0; k < y.size(); ++k) {
        const double ref = std::atan2(static_cast<double>(y[k]), static_cast<double>(x[k]));
        ASSERT_NEAR(out[k], ref, 5e-7) << "y " << y[k] << " x " << x[k];
    }
}

// Catches: design helpers with the wrong gain or band (the chain's audio filters and the
// low-passes of the down-converter and the carrier tracker all come from them).
TEST(FIRDesign, DesignsHaveUnityGainInTheirBandAndRejectTheStopBand)
{
    auto gain = [](const std::vector<double>& taps, double f) {
        std::complex<double> sum = 0.0;
        for (std::size_t n = 0; n < taps.size(); ++n)
            sum += taps[n] * std::polar(1.0, -2.0 * std::numbers::pi * f * static_cast<double>(n));
        return std::abs(sum);
    };
    const std::vector<double> low = DesignLowPassFIR(0.1, 199);
    EXPECT_NEAR(gain(low, 0.0), 1.0, 1e-9);
    EXPECT_NEAR(gain(low, 0.05), 1.0, 1e-3);
    EXPECT_LT(gain(low, 0.15), 1e-3);

    const std::vector<double> high = DesignHighPassFIR(0.1, 199);
    EXPECT_NEAR(gain(high, 0.5), 1.0, 1e-9);
    EXPECT_NEAR(gain(high, 0.3), 1.0, 1e-3);
    EXPECT_LT(gain(high, 0.0), 1e-3);

    const std::vector<double> band = DesignBandPassFIR(0.1, 0.2, 199);
    EXPECT_NEAR(gain(band, 0.15), 1.0, 1e-9);
    EXPECT_LT(gain(band, 0.03), 1e-3);
    EXPECT_LT(gain(band, 0.3), 1e-3);

    EXPECT_NEAR(BesselI0(0.0), 1.0, 1e-12);
    EXPECT_NEAR(BesselI0(9.0), 1093.588354511374, 1e-5);
}

}  // namespace
