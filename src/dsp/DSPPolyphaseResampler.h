#pragma once
// Rational-rate resampler of real audio: the chain converts every mode's audio rate to the
// player's 48,000 samples per second with one, and the broadcast-FM demodulator brings its
// 62,500 Hz discriminator output to 48,000 Hz with another.
//
// The kernel is a Kaiser-windowed sinc (filter length 512 samples at the higher of the two
// rates, roll-off 0.95 of the lower Nyquist frequency, Kaiser alpha 9.0, output gain
// "norm" 0.98), precomputed for every phase of the rational ratio.
//
// Timing: output sample j is the input signal at input position j * inRate / outRate
// (counted from the first sample given after Init; there is no group delay), but it is
// only produced once the 512 input samples after that position have arrived. Equal rates
// copy samples through unchanged.

#include "dsp/AlignedVector.h"

#include <vector>

class CDSPPolyphaseResampler
{
public:
    static constexpr int kBufferSize = 65536;
    static constexpr int kResetFill = 32768;

    CDSPPolyphaseResampler() = default;
    CDSPPolyphaseResampler(CDSPPolyphaseResampler&&) noexcept = default;
    CDSPPolyphaseResampler& operator=(CDSPPolyphaseResampler&&) noexcept = default;

    // Sets the resampler up when a rate differs from the stored one or bForce is set;
    // otherwise does nothing. Rates of 0 or below leave it unchanged. filterLength and
    // historyLength are 512 wherever the chain uses it.
    void Init(int inRateHz, int outRateHz, bool bForce = false, int filterLength = 512, int historyLength = 512);

    // Returns the number of output samples written to out (at most MaxOutputCount(n)).
    int Process(const float* in, int n, float* out);
    int MaxOutputCount(int n) const;

    bool IsReady() const { return m_nPhases > 0 || IsPassThrough(); }
    bool IsPassThrough() const { return m_nInRate > 0 && m_nInRate == m_nOutRate; }
    int InputRate() const { return m_nInRate; }
    int OutputRate() const { return m_nOutRate; }
    int CompactionCount() const { return m_nCompactions; }
    double Delay() const { return 0.0; }

    static constexpr float kNorm = 0.98f;
    static constexpr float kRollOff = 0.95f;
    static constexpr float kKaiserAlpha = 9.0f;

private:
    int ProcessPiece(const float* in, int n, float* out);
    void Restart();

    int m_nInRate = 0;
    int m_nOutRate = 0;
    int m_nFilterLength = 512;
    int m_nHistory = 512;
    CAlignedVector<float> m_aBuffer;  // kBufferSize input samples
    int m_nFill = 0;
    double m_dPosition = 0.0;  // read position t, in input samples of the buffer
    int m_nCompactions = 0;

    // Polyphase kernel: m_nPhases rows of m_nTapsPerPhase weights (padded to a multiple
    // of 8). Row p serves outputs whose position has the fraction p / m_nPhases; weight k
    // applies to input sample floor(t) - m_nTapsPerPhase/2 + 1 + k.
    CAlignedVector<float> m_aKernel;
    int m_nPhases = 0;
    int m_nTapsPerPhase = 0;
    int m_nRowStride = 0;
};
