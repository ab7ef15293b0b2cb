#pragma once
// FIR filter with real taps over real samples (CDSPRealFIRFilter) or interleaved complex
// samples (CDSPComplexFIRFilter), filtering blocks in place and keeping its delay line
// across blocks. One class serves every windowed-sinc filter of the chain.
//
// A filter without taps passes samples unchanged. Designing again replaces the taps and
// zeroes the delay line.

#include "dsp/AlignedVector.h"
#include "dsp/FIRDesign.h"

#include <complex>
#include <vector>

template <int Stride>
class CDSPFIRFilterT
{
    static_assert(Stride == 1 || Stride == 2);

public:
    using Sample = std::conditional_t<Stride == 1, float, std::complex<float>>;

    CDSPFIRFilterT() = default;
    CDSPFIRFilterT(CDSPFIRFilterT&&) noexcept = default;
    CDSPFIRFilterT& operator=(CDSPFIRFilterT&&) noexcept = default;

    // Taps in their natural order (h[0] applies to the newest sample); an empty list
    // removes the filter.
    void SetTaps(const std::vector<double>& taps);
    void DesignLowPass(double cutoff, int length) { SetTaps(DesignLowPassFIR(cutoff, length)); }
    void DesignHighPass(double cutoff, int length) { SetTaps(DesignHighPassFIR(cutoff, length)); }
    void DesignBandPass(double lowCutoff, double highCutoff, int length)
    {
        SetTaps(DesignBandPassFIR(lowCutoff, highCutoff, length));
    }
    void ResetState();  // zeroes the delay line

    void Process(Sample* io, int count);                   // in place
    void Process(const Sample* in, Sample* out, int count);  // out may equal in

    int Length() const { return m_nTaps; }
    // Group delay in samples ((length - 1) / 2 for these symmetric designs).
    double Delay() const { return m_nTaps > 0 ? (m_nTaps - 1) / 2.0 : 0.0; }
    const std::vector<double>& Taps() const { return m_aTapsNatural; }

private:
    static constexpr int kChunk = 2048;  // samples filtered per pass over the taps

    std::vector<double> m_aTapsNatural;
    CAlignedVector<float> m_aTapsReversed;
    CAlignedVector<float> m_aWork;  // (taps - 1) history samples, then up to kChunk new ones
    int m_nTaps = 0;
};

using CDSPRealFIRFilter = CDSPFIRFilterT<1>;
using CDSPComplexFIRFilter = CDSPFIRFilterT<2>;
