#include "dsp/DSPFIRFilter.h"

#include "dsp/DSPKernels.h"

#include <algorithm>
#include <cstring>

template <int Stride>
void CDSPFIRFilterT<Stride>::SetTaps(const std::vector<double>& taps)
{
    m_aTapsNatural = taps;
    m_nTaps = static_cast<int>(taps.size());
    if (m_nTaps == 0) {
        m_aTapsReversed = {};
        m_aWork = {};
        return;
    }
    m_aTapsReversed.Resize(taps.size());
    for (int j = 0; j < m_nTaps; ++j)
        m_aTapsReversed[static_cast<std::size_t>(j)] = static_cast<float>(taps[static_cast<std::size_t>(m_nTaps - 1 - j)]);
    m_aWork.Resize(static_cast<std::size_t>((m_nTaps - 1 + kChunk) * Stride));
}

template <int Stride>
void CDSPFIRFilterT<Stride>::ResetState()
{
    m_aWork.Zero();
}

template <int Stride>
void CDSPFIRFilterT<Stride>::Process(Sample* io, int count)
{
    Process(io, io, count);
}

template <int Stride>
void CDSPFIRFilterT<Stride>::Process(const Sample* in, Sample* out, int count)
{
    if (count <= 0)
        return;
    if (m_nTaps == 0) {
        if (in != out)
            std::memmove(static_cast<void*>(out), in, static_cast<std::size_t>(count) * sizeof(Sample));
        return;
    }
    const int history = (m_nTaps - 1) * Stride;  // floats
    float* work = m_aWork.data();
    for (int done = 0; done < count;) {
        const int chunk = std::min(kChunk, count - done);
        const float* src = reinterpret_cast<const float*>(in + done);
        float* dst = reinterpret_cast<float*>(out + done);
        std::memcpy(work + history, src, static_cast<std::size_t>(chunk * Stride) * sizeof(float));
        FIRCorrelate(work, m_aTapsReversed.data(), m_nTaps, Stride, dst, chunk * Stride);
        std::memmove(work, work + chunk * Stride, static_cast<std::size_t>(history) * sizeof(float));
        done += chunk;
    }
}

// Clang (14, with the sanitizers of the fuzz build) instantiates the filters below without
// emitting their buffers' destructor; instantiating the buffer type here emits it.
template class CAlignedVector<float>;
template class CDSPFIRFilterT<1>;
template class CDSPFIRFilterT<2>;
