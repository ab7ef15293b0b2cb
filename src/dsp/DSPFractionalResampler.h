#pragma once
// The last step of the down-converter: windowed-sinc interpolation of complex samples by a
// ratio (input rate / output rate) between 1.0 and 2.0.
//
// The interpolation kernel is a sinc spanning K input samples (28, or 16 in the fast
// variant), tabulated at 10,000 entries per input sample under a four-term Blackman-Harris
// window. Its cut-off is the input's Nyquist frequency: the down-converter low-passes the
// signal for the output rate before it gets here.
//
// The weight is deliberately applied as the complex number S + jS: every output is turned
// by 45 degrees and raised by sqrt(2) (3 dB). The demodulators after it do not care about
// the absolute phase, and the chain's levels are calibrated with that gain in.

#include "dsp/AlignedVector.h"

#include <complex>

class CDSPFractionalResampler
{
public:
    static constexpr int kTableStepsPerSample = 10000;

    CDSPFractionalResampler() = default;
    CDSPFractionalResampler(CDSPFractionalResampler&&) noexcept = default;
    CDSPFractionalResampler& operator=(CDSPFractionalResampler&&) noexcept = default;

    // Builds the table for an output rate: the fast variant (16 taps) only when outRateHz is
    // above 48,000 and the fast-resampler flag is set, else 28 taps. Clears the history and
    // the position. Until then Process produces nothing.
    void Init(int outRateHz);
    // Input samples per output sample; values of 0 or below are ignored.
    void SetRatio(float ratio);
    float Ratio() const { return m_fRatio; }

    // Interpolates n input samples; writes the outputs to out and returns their count, at
    // most MaxOutputCount(n).
    int Process(const std::complex<float>* in, int n, std::complex<float>* out);
    int MaxOutputCount(int n) const;

    int TapsPerOutput() const { return m_nTaps; }
    bool IsFastVariant() const { return m_nTaps == 16; }
    // Output sample j is the input signal at input position j * ratio - Delay() (input
    // samples, counted from the first sample given after Init).
    double Delay() const { return m_nTaps / 2.0; }

private:
    void Grow(int n);

    // Rows r = 0 .. 10,000 of the kernel table S, each holding S[r + 10,000 k] for
    // k = 0 .. K-1, every value twice (for the I and Q of a complex sample): an output's
    // K weights are one contiguous row.
    CAlignedVector<float> m_aWeights;
    CAlignedVector<std::complex<float>> m_aHistory;  // K history samples, then the block
    int m_nHistoryCapacity = 0;                       // samples beyond the K history ones
    int m_nTaps = 0;
    float m_fRatio = 1.0f;
    double m_dPosition = 0.0;  // fractional input position t of the next output
};
