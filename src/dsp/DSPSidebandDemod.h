#pragma once
// Sideband selection for "LSB", "USB", "CW-L" and "CW-U" by a sliding 4096-point FFT with
// a hop of 256 samples: the spectrum of the newest 4096 IF samples is taken, the wanted
// sideband kept in the positive half (the lower one mirrored there for LSB and CW-L),
// limited to 50 .. 3950 Hz, and turned back into 4096 real samples, of which the 256 at
// indices 3836 .. 4091 are the output (the last four are deliberately not used).
//
// Timing: the first output comes after 4096 samples; output sample j is IF sample j + 3836
// (Delay() is negative: the first 3836 IF samples never appear). A tone of amplitude A in
// the kept sideband comes out as a real tone of amplitude 2A.

#include "dsp/AlignedVector.h"
#include "dsp/FFTWPlan.h"

#include <complex>

class CDSPSidebandDemod
{
public:
    static constexpr int kFFTSize = 4096;
    static constexpr int kHop = 256;
    static constexpr int kFirstOutput = 3836;

    CDSPSidebandDemod();
    CDSPSidebandDemod(CDSPSidebandDemod&&) noexcept = default;
    CDSPSidebandDemod& operator=(CDSPSidebandDemod&&) noexcept = default;

    // Prepares for a mode (lower sideband for LSB and CW-L) at ifRateHz. Plans the FFTs on
    // the first call; keeps the samples already buffered.
    void Init(int mode, int ifRateHz);
    // Returns the output count (a multiple of 256, at most MaxOutputCount(n)).
    int Process(const std::complex<float>* in, int n, float* out);
    int MaxOutputCount(int n) const { return ((m_nFill + n) / kHop) * kHop; }
    int Buffered() const { return m_nFill; }
    double Delay() const { return -kFirstOutput; }

private:
    void Transform(float* out);

    bool m_bLower = false;
    int m_nRateHz = 0;
    int m_nFill = 0;
    CAlignedVector<std::complex<float>> m_aBuffer;   // kFFTSize newest samples
    CAlignedVector<std::complex<float>> m_aSpectrum; // kFFTSize bins
    CAlignedVector<float> m_aReal;                   // kFFTSize real samples
    CAlignedVector<float> m_aBandPass;               // kFFTSize/2 + 1 gains, scaled by 1/N
    CFFTWPlanF m_forward;
    CFFTWPlanF m_inverse;
};
