#include "dsp/DSPPolyphaseResampler.h"

#include "dsp/DSPKernels.h"
#include "dsp/FIRDesign.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <numbers>

namespace {
// Beyond this many phases the nearest of 4096 evenly spaced phases is used; the timing
// error of at most 1/8192 of an input sample is far below audibility.
constexpr int kMaxPhases = 4096;
// Input pieces per pass, so that one call never overflows the 65,536-sample buffer.
constexpr int kMaxPiece = 16384;
}  // namespace

void CDSPPolyphaseResampler::Init(int inRateHz, int outRateHz, bool bForce, int filterLength, int historyLength)
{
    if (inRateHz <= 0 || outRateHz <= 0 || filterLength < 2 || historyLength < filterLength / 2)
        return;
    if (inRateHz == m_nInRate && outRateHz == m_nOutRate && !bForce)
        return;
    m_nInRate = inRateHz;
    m_nOutRate = outRateHz;
    m_nFilterLength = filterLength;
    m_nHistory = historyLength;
    m_aKernel = {};
    m_nPhases = 0;
    if (m_aBuffer.empty())
        m_aBuffer.Resize(kBufferSize);

    if (inRateHz != outRateHz) {
        // The filter spans filterLength samples of the higher rate; in input samples:
        const double halfSpan = filterLength / 2.0 * inRateHz / std::max(inRateHz, outRateHz);
        // Cut-off at roll-off * the lower Nyquist frequency, in cycles per input sample.
        const double cutoff = kRollOff * 0.5 * std::min(inRateHz, outRateHz) / inRateHz;
        const int divisor = std::gcd(inRateHz, outRateHz);
        m_nPhases = std::min(outRateHz / divisor, kMaxPhases);
        m_nTapsPerPhase = 2 * static_cast<int>(std::ceil(halfSpan));
        m_nRowStride = (m_nTapsPerPhase + 7) / 8 * 8;
        m_aKernel.Resize(static_cast<std::size_t>(m_nPhases) * m_nRowStride);
        const double i0Alpha = BesselI0(kKaiserAlpha);
        for (int p = 0; p < m_nPhases; ++p) {
            float* row = m_aKernel.data() + static_cast<std::size_t>(p) * m_nRowStride;
            const double fraction = static_cast<double>(p) / m_nPhases;
            double sum = 0.0;
            std::vector<double> weights(static_cast<std::size_t>(m_nTapsPerPhase));
            for (int k = 0; k < m_nTapsPerPhase; ++k) {
                // distance from the output instant to input sample floor(t) - K/2 + 1 + k
                const double u = fraction + m_nTapsPerPhase / 2 - 1 - k;
                if (std::fabs(u) >= halfSpan)
                    continue;
                const double r = u / halfSpan;
                const double window = BesselI0(kKaiserAlpha * std::sqrt(1.0 - r * r)) / i0Alpha;
                weights[static_cast<std::size_t>(k)] = SincTap(cutoff, u) * window;
                sum += weights[static_cast<std::size_t>(k)];
            }
            // Every phase gets exactly unity gain at 0 Hz before the norm, so that the
            // phases do not differ in level (which would add a tone at the phase rate).
            for (int k = 0; k < m_nTapsPerPhase; ++k)
                row[k] = static_cast<float>(weights[static_cast<std::size_t>(k)] / sum * kNorm);
        }
    }
    Restart();
}

void CDSPPolyphaseResampler::Restart()
{
    m_aBuffer.Zero();
    m_nFill = m_nHistory;
    m_dPosition = m_nHistory;
}

int CDSPPolyphaseResampler::MaxOutputCount(int n) const
{
    if (IsPassThrough())
        return n;
    if (m_nInRate <= 0)
        return 0;
    return static_cast<int>(static_cast<double>(n) * m_nOutRate / m_nInRate) + 3 + n / kMaxPiece;
}

int CDSPPolyphaseResampler::Process(const float* in, int n, float* out)
{
    if (n <= 0 || !IsReady())
        return 0;
    if (IsPassThrough()) {
        std::memmove(out, in, static_cast<std::size_t>(n) * sizeof(float));
        return n;
    }
    int produced = 0;
    for (int done = 0; done < n;) {
        const int piece = std::min(kMaxPiece, n - done);
        produced += ProcessPiece(in + done, piece, out + produced);
        done += piece;
    }
    return produced;
}

int CDSPPolyphaseResampler::ProcessPiece(const float* in, int n, float* out)
{
    if (m_nFill >= kResetFill)
        Restart();
    std::memcpy(m_aBuffer.data() + m_nFill, in, static_cast<std::size_t>(n) * sizeof(float));
    m_nFill += n;

    const int available = m_nFill - static_cast<int>(m_dPosition) - m_nHistory;
    if (available <= 0)
        return 0;
    const double step = static_cast<double>(m_nInRate) / m_nOutRate;
    const float* buffer = m_aBuffer.data();
    int produced = 0;
    double t = m_dPosition;
    // Each output needs the history length of input after its position.
    const double limit = m_nFill - m_nHistory;
    while (t < limit) {
        int base = static_cast<int>(t);
        int phase = static_cast<int>(std::lround((t - base) * m_nPhases));
        if (phase == m_nPhases) {
            phase = 0;
            ++base;
        }
        const float* x = buffer + base - m_nTapsPerPhase / 2 + 1;
        out[produced++] = DotProduct(x, m_aKernel.data() + static_cast<std::size_t>(phase) * m_nRowStride, m_nRowStride);
        t += step;
    }
    m_dPosition = t;
    if (produced > 0) {
        const int keepFrom = static_cast<int>(m_dPosition) - m_nHistory;
        std::memmove(m_aBuffer.data(), m_aBuffer.data() + keepFrom, static_cast<std::size_t>(m_nFill - keepFrom) * sizeof(float));
        m_nFill -= keepFrom;
        m_dPosition -= keepFrom;
        ++m_nCompactions;
    }
    return produced;
}
