// The channel filter: stop band, pass band, its overlap-save arithmetic against a direct
// convolution, the fixed 2048-sample latency and the pass-through design.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <thread>
#include <vector>

#include "dsp/DSPDemodFilter.h"
#include "dsp/DSPSidebandDemod.h"
#include "dsp/DSPDemodModes.h"

namespace {

using ComplexD = std::complex<double>;

std::vector<ComplexD> Tone(int n, double freqHz, double rateHz)
{
    std::vector<ComplexD> v(static_cast<std::size_t>(n));
    for (int k = 0; k < n; ++k)
        v[static_cast<std::size_t>(k)] = std::polar(1.0, 2.0 * std::numbers::pi * freqHz * k / rateHz);
    return v;
}

// Level in dB of a unit tone at freqHz after the filter, measured in steady state.
double ToneGainDb(double lowHz, double highHz, double rateHz, double freqHz)
{
    CDSPDemodFilter filter;
    filter.Design(lowHz, highHz, 0.0, rateHz);
    std::vector<ComplexD> x = Tone(16384, freqHz, rateHz);
    std::vector<ComplexD> y(x.size());
    for (std::size_t done = 0; done < x.size(); done += CDSPDemodFilter::kChunk)
        EXPECT_EQ(filter.Process(CDSPDemodFilter::kChunk, x.data() + done, y.data() + done), CDSPDemodFilter::kChunk);
    double power = 0.0;
    const std::size_t from = 4096;  // past the FIFO's zeros and the taps' start-up
    for (std::size_t k = from; k < y.size(); ++k)
        power += std::norm(y[k]);
    return 10.0 * std::log10(power / static_cast<double>(y.size() - from) + 1e-300);
}

// Catches: a wrong window or length (stop band), a band placed on the wrong side (shift
// sign), a pass-band gain other than 1.
TEST(DSPDemodFilter, PassesItsBandAndIsAtLeast60dBDownOutsideIt)
{
    // Upper sideband 200 .. 3000 Hz at 8000 Hz
    EXPECT_NEAR(ToneGainDb(200.0, 3000.0, 8000.0, 1500.0), 0.0, 0.05);
    EXPECT_NEAR(ToneGainDb(200.0, 3000.0, 8000.0, 400.0), 0.0, 0.05);
    EXPECT_LT(ToneGainDb(200.0, 3000.0, 8000.0, -1500.0), -60.0);
    EXPECT_LT(ToneGainDb(200.0, 3000.0, 8000.0, 3100.0), -60.0);
    EXPECT_LT(ToneGainDb(200.0, 3000.0, 8000.0, 100.0), -60.0);
    // Lower sideband -3000 .. -200 Hz
    EXPECT_NEAR(ToneGainDb(-3000.0, -200.0, 8000.0, -1500.0), 0.0, 0.05);
    EXPECT_LT(ToneGainDb(-3000.0, -200.0, 8000.0, 1500.0), -60.0);
    // Symmetric AM band at 22,050 Hz
    EXPECT_NEAR(ToneGainDb(-5000.0, 5000.0, 22050.0, -4000.0), 0.0, 0.05);
    EXPECT_LT(ToneGainDb(-5000.0, 5000.0, 22050.0, 5200.0), -60.0);
    EXPECT_LT(ToneGainDb(-5000.0, 5000.0, 22050.0, -9000.0), -60.0);
}

// Catches: overlap-save mistakes (wrong valid range, overlap store, block boundary) and
// chunking bugs, for any split of the input into blocks.
TEST(DSPDemodFilter, OverlapSaveEqualsDirectConvolutionForAnyBlockSplit)
{
    std::mt19937 gen(7);
    std::normal_distribution<double> noise(0.0, 1.0);
    std::vector<ComplexD> x(9000);
    for (ComplexD& v : x)
        v = ComplexD(noise(gen), noise(gen));

    for (unsigned seed : {1u, 2u, 3u}) {
        CDSPDemodFilter filter;
        filter.Design(-700.0, 2500.0, 0.0, 8000.0);
        const ComplexD* h = filter.Taps();
        std::vector<ComplexD> y;
        std::mt19937 splits(seed);
        std::uniform_int_distribution<int> size(1, seed == 3 ? 3000 : 300);
        std::size_t done = 0;
        while (done < x.size()) {
            // the FIFO holds at most 4096, so blocks beyond 2048 may legitimately return 0
            const int n = std::min<int>(std::min(size(splits), 2048), static_cast<int>(x.size() - done));
            std::vector<ComplexD> out(static_cast<std::size_t>(n));
            const int got = filter.Process(n, x.data() + done, out.data());
            ASSERT_EQ(got, n);
            y.insert(y.end(), out.begin(), out.end());
            done += static_cast<std::size_t>(n);
        }
        for (std::size_t j = 0; j < y.size(); ++j) {
            ComplexD ref = 0.0;
            const long signal = static_cast<long>(j) - CDSPDemodFilter::kInitialLatency;
            for (int i = 0; i < CDSPDemodFilter::kTaps && signal - i >= 0; ++i)
                ref += h[i] * x[static_cast<std::size_t>(signal - i)];
            ASSERT_NEAR(std::abs(y[j] - ref), 0.0, 1e-9) << "sample " << j << " seed " << seed;
        }
    }
}

// Catches: a missing or wrong initial latency, and pass-through that still filters or
// delays (the chain relies on an exact -R/2..+R/2 band disabling the filter).
TEST(DSPDemodFilter, StartsWith2048ZerosAndPassesThroughAtExactlyHalfTheRate)
{
    CDSPDemodFilter filter;
    filter.Design(-3000.0, 3000.0, 0.0, 22050.0);
    EXPECT_TRUE(filter.IsEnabled());
    EXPECT_NEAR(filter.BandwidthFraction(), 6000.0 / 22050.0, 1e-12);
    std::vector<std::complex<float>> io(3000, std::complex<float>(1.0f, -1.0f));
    ASSERT_EQ(filter.ProcessInPlace(io.data(), static_cast<int>(io.size())), 3000);
    for (int k = 0; k < CDSPDemodFilter::kInitialLatency; ++k)
        ASSERT_EQ(io[static_cast<std::size_t>(k)], std::complex<float>(0.0f, 0.0f)) << k;

    filter.Design(-11025.0, 11025.0, 0.0, 22050.0);
    EXPECT_FALSE(filter.IsEnabled());
    const std::vector<std::complex<float>> x = {{1.0f, 2.0f}, {-3.0f, 0.5f}, {7.0f, -7.0f}};
    std::vector<std::complex<float>> y = x;
    EXPECT_EQ(filter.ProcessInPlace(y.data(), 3), 3);
    EXPECT_EQ(y, x);

    // A band just inside the edges is a real filter again.
    filter.Design(-11024.0, 11025.0, 0.0, 22050.0);
    EXPECT_TRUE(filter.IsEnabled());
}

// Catches: the shift applied with the wrong sign, band-edge bins computed off the band.
TEST(DSPDemodFilter, ShiftMovesTheBandAndSetsTheEdgeBins)
{
    CDSPDemodFilter filter;
    filter.Design(-1000.0, 1000.0, 2000.0, 8000.0);  // 1000 .. 3000 Hz
    EXPECT_EQ(filter.LowBin(), static_cast<int>(std::floor((1000.0 / 8000.0 + 0.5) * 2048)));
    EXPECT_EQ(filter.HighBin(), static_cast<int>(std::ceil((3000.0 / 8000.0 + 0.5) * 2048)));
    EXPECT_NEAR(ToneGainDb(1000.0, 3000.0, 8000.0, 2000.0), 0.0, 0.05);
    std::vector<ComplexD> x = Tone(8192, 2000.0, 8000.0), y(8192);
    for (std::size_t done = 0; done < x.size(); done += 256)
        filter.Process(256, x.data() + done, y.data() + done);
    double power = 0.0;
    for (std::size_t k = 4096; k < y.size(); ++k)
        power += std::norm(y[k]);
    EXPECT_NEAR(10.0 * std::log10(power / 4096.0), 0.0, 0.05);
}

// Catches: FFT plans made without the planner lock (several players, each with its own
// chain, build their filters on their own threads; the thread sanitizer sees the race).
TEST(DSPDemodFilter, FiltersCanBeBuiltOnSeveralThreadsAtOnce)
{
    std::vector<std::thread> threads;
    std::vector<int> produced(4, 0);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &produced] {
            for (int round = 0; round < 3; ++round) {
                CDSPDemodFilter filter;
                filter.Design(-1000.0 * (t + 1), 1000.0, 0.0, 22050.0);
                CDSPSidebandDemod sideband;
                sideband.Init(eDemodUSB, 8000);
                std::vector<std::complex<float>> x(4096, std::complex<float>(1.0f, 0.0f));
                std::vector<float> audio(256);
                produced[static_cast<std::size_t>(t)] += filter.ProcessInPlace(x.data(), 256) + sideband.Process(x.data(), 4096, audio.data());
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (int count : produced)
        EXPECT_EQ(count, 3 * (256 + 256));
}

}  // namespace
