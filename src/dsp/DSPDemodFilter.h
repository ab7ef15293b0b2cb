#pragma once
// The channel filter: a 1025-tap complex FIR (windowed sinc under the four-term Blackman-
// Nuttall window, shifted to the pass band) run as 2048-point overlap-save fast
// convolution in 64-bit floats.
//
// Latency: the output FIFO starts with 2048 zero samples, so the first 2048 outputs are
// zeros and the FIFO never underruns in steady state; for the signal the taps' own group
// delay of 512 samples comes on top (output j is the input around sample j - 2560).
// Before the first design, and after a design for exactly -R/2 .. +R/2, the filter is
// disabled and copies its input straight to the output, without that delay.

#include "dsp/AlignedVector.h"
#include "dsp/FFTWPlan.h"

#include <complex>

class CDSPDemodFilter
{
public:
    static constexpr int kFFTOrder = 11;
    static constexpr int kFFTSize = 2048;
    static constexpr int kTaps = 1025;
    static constexpr int kValidPerBlock = kFFTSize - kTaps + 1;  // 1024
    static constexpr int kFIFOSize = 4096;
    static constexpr int kInitialLatency = 2048;
    static constexpr int kChunk = 256;  // the chain's chunk size for Process

    CDSPDemodFilter();
    CDSPDemodFilter(CDSPDemodFilter&&) noexcept = default;
    CDSPDemodFilter& operator=(CDSPDemodFilter&&) noexcept = default;

    // Pass band lowHz .. highHz shifted by shiftHz, at rateHz. Exactly -R/2 .. +R/2 (with no
    // shift) disables the filter. A rate of 0 or below leaves the design as it was.
    void Design(double lowHz, double highHz, double shiftHz, double rateHz);

    // Filters n samples: when the FIFO holds n samples (always, in steady state) writes n
    // to out and returns n; otherwise returns 0 and writes nothing. A disabled filter copies
    // in to out. out may equal in.
    int Process(int n, const std::complex<double>* in, std::complex<double>* out);

    // The chain's way of calling it: in place on 32-bit samples, in chunks of at most 256
    // converted to 64-bit and back. Returns the number of samples written to the front of
    // io (n in steady state).
    int ProcessInPlace(std::complex<float>* io, int n);

    bool IsEnabled() const { return m_bEnabled; }
    bool IsDesigned() const { return m_bDesigned; }
    double BandwidthHz() const { return m_dBandwidthHz; }
    double BandwidthFraction() const { return m_dBandwidthFraction; }  // |high - low| / rate
    int LowBin() const { return m_nLowBin; }
    int HighBin() const { return m_nHighBin; }
    int FIFOCount() const { return m_nFIFOCount; }
    // Signal delay of the enabled filter in samples: the FIFO's 2048 plus the taps' 512.
    double Delay() const { return m_bEnabled ? kInitialLatency + (kTaps - 1) / 2.0 : 0.0; }
    const std::complex<double>* Taps() const { return m_aTaps.data(); }

private:
    void RunBlock();

    bool m_bEnabled = false;
    bool m_bDesigned = false;
    double m_dBandwidthHz = 0.0;
    double m_dBandwidthFraction = 0.0;
    int m_nLowBin = 0;
    int m_nHighBin = 0;

    CAlignedVector<double> m_aWindow;
    CAlignedVector<std::complex<double>> m_aTaps;      // kFFTSize, taps kTaps.. zero
    CAlignedVector<std::complex<double>> m_aSpectrum;  // of the taps, scaled by 1/N
    CAlignedVector<std::complex<double>> m_aBlock;     // input block
    CAlignedVector<std::complex<double>> m_aWork;      // transform work buffer
    CAlignedVector<std::complex<double>> m_aOverlap;   // the last kTaps - 1 inputs
    CAlignedVector<std::complex<double>> m_aFIFO;
    CAlignedVector<std::complex<double>> m_aChunk;     // ProcessInPlace conversion buffer
    int m_nFill = kTaps - 1;
    int m_nFIFORead = 0;  // the FIFO is a ring: read position and count
    int m_nFIFOCount = kInitialLatency;
    CFFTWPlanD m_forward;
    CFFTWPlanD m_inverse;
};
