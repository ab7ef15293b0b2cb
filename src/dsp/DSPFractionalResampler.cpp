#include "dsp/DSPFractionalResampler.h"

#include "dsp/DSPGlobalFlags.h"
#include "dsp/DSPKernels.h"
#include "dsp/FIRDesign.h"

#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

namespace {
constexpr int kStandardTableLength = 280001;
constexpr int kFastTableLength = 160001;
constexpr int kInitialCapacity = 65536;
}  // namespace

void CDSPFractionalResampler::Init(int outRateHz)
{
    const bool bFast = outRateHz > 48000 && g_bDSPFastResampler.load(std::memory_order_relaxed);
    const int tableLength = bFast ? kFastTableLength : kStandardTableLength;
    m_nTaps = bFast ? 16 : 28;

    // S[i] = window(i) * sin(x)/x, x = (i - T/2) * pi / 10000: a sinc with its zeros one
    // input sample apart, spanning K samples under a four-term Blackman-Harris window.
    std::vector<float> table(static_cast<std::size_t>(tableLength));
    const int half = tableLength / 2;
    const double span = tableLength - 1;
    for (int i = 0; i < tableLength; ++i) {
        const int m = i - half;
        if (m == 0) {
            table[static_cast<std::size_t>(i)] = 1.0f;
            continue;
        }
        const double phase = 2.0 * std::numbers::pi * i / span;
        const double window = 0.35875 - 0.48829 * std::cos(phase) + 0.14128 * std::cos(2.0 * phase) -
                              0.01168 * std::cos(3.0 * phase);
        // sin(x)/x with x = m pi / steps: the sinc whose zeros lie one input sample apart.
        table[static_cast<std::size_t>(i)] =
            static_cast<float>(window * kTableStepsPerSample * SincTap(0.5 / kTableStepsPerSample, m));
    }

    // For an output at position t the table index of tap k is trunc((base + k - t) * 10000)
    // with base = floor(t) + 1, i.e. r + 10000 k with r = trunc((base - t) * 10000) in
    // 1 .. 10000: store each r's K weights as one row, each weight twice.
    const int rowLength = 2 * m_nTaps;
    m_aWeights.Resize(static_cast<std::size_t>((kTableStepsPerSample + 1) * rowLength));
    for (int r = 0; r <= kTableStepsPerSample; ++r) {
        float* row = m_aWeights.data() + static_cast<std::size_t>(r) * rowLength;
        for (int k = 0; k < m_nTaps; ++k) {
            const int index = r + k * kTableStepsPerSample;
            const float w = index < tableLength ? table[static_cast<std::size_t>(index)] : 0.0f;
            row[2 * k] = w;
            row[2 * k + 1] = w;
        }
    }

    m_nHistoryCapacity = 0;
    Grow(kInitialCapacity);
    m_dPosition = 0.0;
}

void CDSPFractionalResampler::Grow(int n)
{
    if (n <= m_nHistoryCapacity)
        return;
    CAlignedVector<std::complex<float>> bigger(static_cast<std::size_t>(m_nTaps + n));
    if (!m_aHistory.empty())
        std::memcpy(static_cast<void*>(bigger.data()), m_aHistory.data(),
                    static_cast<std::size_t>(m_nTaps) * sizeof(std::complex<float>));
    m_aHistory = std::move(bigger);
    m_nHistoryCapacity = n;
}

void CDSPFractionalResampler::SetRatio(float ratio)
{
    if (ratio > 0.0f)
        m_fRatio = ratio;
}

int CDSPFractionalResampler::MaxOutputCount(int n) const
{
    return static_cast<int>(n / m_fRatio) + 2;
}

int CDSPFractionalResampler::Process(const std::complex<float>* in, int n, std::complex<float>* out)
{
    if (m_nTaps == 0 || n <= 0)
        return 0;
    Grow(n);
    std::complex<float>* history = m_aHistory.data();
    std::memcpy(static_cast<void*>(history + m_nTaps), in, static_cast<std::size_t>(n) * sizeof(std::complex<float>));

    const int rowLength = 2 * m_nTaps;
    const double step = m_fRatio;
    int produced = 0;
    double t = m_dPosition;
    while (static_cast<int>(std::floor(t)) < n) {
        const int base = static_cast<int>(std::floor(t)) + 1;
        const int r = static_cast<int>((base - t) * kTableStepsPerSample);
        float even = 0.0f;
        float odd = 0.0f;
        DotProductPairs(reinterpret_cast<const float*>(history + base),
                        m_aWeights.data() + static_cast<std::size_t>(r) * rowLength, rowLength, even, odd);
        // sum x * (S + jS) = (sum x S) * (1 + j)
        out[produced++] = std::complex<float>(even - odd, even + odd);
        t += step;
    }
    m_dPosition = t - n;
    std::memmove(static_cast<void*>(history), history + n, static_cast<std::size_t>(m_nTaps) * sizeof(std::complex<float>));
    return produced;
}
