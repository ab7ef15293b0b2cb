#include "dsp/DSPDemodDownConvert.h"

#include "dsp/DSPGlobalFlags.h"

#include <algorithm>
#include <cstring>

namespace {
bool IsPowerOfTwo(int n)
{
    return n > 0 && (n & (n - 1)) == 0;
}
}  // namespace

void CDSPDemodDownConvert::Plan()
{
    const float ratio = static_cast<float>(m_nInRate) / static_cast<float>(m_nOutRate);
    const int decimation = m_cascade.Plan(ratio, m_nInRate);
    m_resampler.SetRatio(ratio / static_cast<float>(decimation));

    // Low-pass for the output rate at the decimated rate; the fractional resampler's
    // kernel cuts off only at the decimated Nyquist frequency.
    const double decimatedRate = static_cast<double>(m_nInRate) / decimation;
    const double cutoff = std::max(0.001, 0.475 * m_nOutRate / decimatedRate);
    const int requested = m_nOutRate > 96000 ? kReducedLoadLowPassTaps : 0;
    int length = g_bDSPReducedLoad.load(std::memory_order_relaxed) ? kReducedLoadLowPassTaps : kDefaultLowPassTaps;
    if (requested > 0 && requested < length)
        length = requested;
    m_lowPass.DesignLowPass(cutoff, length);

    m_resampler.Init(m_nOutRate);
    m_nQueued = 0;
    m_nDecimated = 0;
    m_bPlanned = true;
}

int CDSPDemodDownConvert::MaxOutputCount(int n, int inRateHz, int outRateHz) const
{
    if (inRateHz <= 0 || outRateHz <= 0)
        return 0;
    // Every call empties the decimated buffer, so only the queue and the new samples count.
    const double input = static_cast<double>(m_nQueued) + std::max(n, 0);
    return static_cast<int>(input * outRateHz / inRateHz) + 16;
}

double CDSPDemodDownConvert::DelayInputSamples() const
{
    return m_cascade.Delay() + m_cascade.Decimation() * (m_lowPass.Delay() + m_resampler.Delay());
}

double CDSPDemodDownConvert::Delay() const
{
    if (m_nInRate <= 0)
        return 0.0;
    return DelayInputSamples() * m_nOutRate / m_nInRate;
}

int CDSPDemodDownConvert::FlushDecimated(std::complex<float>* out)
{
    if (m_nDecimated == 0)
        return 0;
    m_lowPass.Process(m_aDecimated.data(), m_nDecimated);
    const int produced = m_resampler.Process(m_aDecimated.data(), m_nDecimated, out);
    m_nDecimated = 0;
    return produced;
}

int CDSPDemodDownConvert::DownConvert(const std::complex<float>* in, int n, double offsetHz, int inRateHz,
                                      int outRateHz, std::complex<float>* out)
{
    if (inRateHz <= 0 || outRateHz <= 0 || n < 0)
        return 0;
    if (inRateHz != m_nInRate || outRateHz != m_nOutRate) {
        m_nInRate = inRateHz;
        m_nOutRate = outRateHz;
        m_bPlanned = false;
        m_dInputTotal = 0.0;
        m_dOutputTotal = 0.0;
        m_dRatio = 0.0;
        m_nCalls = 0;
        m_oscillator.ResetPhase();
        if (m_aQueue.empty()) {
            m_aQueue.Resize(kQueueSize);
            m_aMixer.Resize(kMixerSize);
            m_aDecimated.Resize(kDecimatedSize);
            m_nQueued = 0;
        }
    }
    if (!m_bPlanned)
        Plan();
    if (n > kQueueSize - m_nQueued)
        return 0;

    std::memcpy(static_cast<void*>(m_aQueue.data() + m_nQueued), in, static_cast<std::size_t>(n) * sizeof(*in));
    m_nQueued += n;

    int produced = 0;
    int position = 0;
    while (m_nQueued - position >= kMixerSize) {
        // 2048 only when the queue count is an exact power of two: a deliberate rule that
        // tests the count, so a queue of 3000 goes as 1024 and leaves 1976 for later.
        const int chunk = IsPowerOfTwo(m_nQueued - position) ? kMixerSize : kMixerSize / 2;
        m_oscillator.Mix(m_aQueue.data() + position, m_aMixer.data(), chunk, offsetHz, m_nInRate);
        m_nDecimated += m_cascade.Process(m_aMixer.data(), chunk, m_aDecimated.data() + m_nDecimated);
        if (m_nDecimated >= kDecimatedSize / 2)
            produced += FlushDecimated(out + produced);
        position += chunk;
    }
    produced += FlushDecimated(out + produced);
    m_nQueued -= position;
    if (position > 0 && m_nQueued > 0)
        std::memmove(static_cast<void*>(m_aQueue.data()), m_aQueue.data() + position,
                     static_cast<std::size_t>(m_nQueued) * sizeof(std::complex<float>));

    m_dInputTotal += n;
    m_dOutputTotal += produced;
    if (m_dOutputTotal > 0.0) {
        ++m_nCalls;
        m_dRatio = m_dInputTotal / m_dOutputTotal;
    }
    return produced;
}
