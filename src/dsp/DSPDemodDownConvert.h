#pragma once
// Down-conversion of the recording's complex samples to a mode's IF rate: shift the wanted
// signal to 0 Hz with the table oscillator, decimate by a power of two in half-band
// stages, low-pass for the output rate, and finish with the fractional resampler (ratio
// between 1.0 and 2.0).
//
// Input is queued and consumed in chunks of 2048 samples when the queue count is an exact
// power of two and 1024 otherwise; what is left (under 2048 samples) waits for the next
// call. The output therefore comes in bursts and includes the fractional resampler's
// deliberate 45-degree turn and sqrt(2) gain.

#include "dsp/AlignedVector.h"
#include "dsp/DSPFIRFilter.h"
#include "dsp/DSPFractionalResampler.h"
#include "dsp/DSPHalfBandCascade.h"
#include "dsp/DSPTableOscillator.h"

#include <complex>

class CDSPDemodDownConvert
{
public:
    static constexpr int kQueueSize = 262144;
    static constexpr int kMixerSize = 2048;
    static constexpr int kDecimatedSize = 4096;
    static constexpr int kDefaultLowPassTaps = 499;
    static constexpr int kReducedLoadLowPassTaps = 99;

    CDSPDemodDownConvert() = default;
    CDSPDemodDownConvert(CDSPDemodDownConvert&&) noexcept = default;
    CDSPDemodDownConvert& operator=(CDSPDemodDownConvert&&) noexcept = default;

    // Converts n samples at inRateHz, with the wanted signal at offsetHz (relative to the
    // centre of the input), to outRateHz. Writes the produced samples to out and returns
    // their count: at most MaxOutputCount(n, inRateHz, outRateHz) (about (queued + n) *
    // outRate / inRate).
    // A change of either rate replans everything. Rates of 0 or below, or n above the
    // queue's room, produce nothing.
    int DownConvert(const std::complex<float>* in, int n, double offsetHz, int inRateHz, int outRateHz,
                    std::complex<float>* out);
    int MaxOutputCount(int n, int inRateHz, int outRateHz) const;
    // The same with the rates of the last call (0 before the first call).
    int MaxOutputCount(int n) const { return MaxOutputCount(n, m_nInRate, m_nOutRate); }

    // Output sample j (counted over all outputs since the last replan) is the input signal
    // at input position j * inRate / outRate - DelayInputSamples(); Delay() is the same
    // delay in output samples.
    double DelayInputSamples() const;
    double Delay() const;

    int QueuedCount() const { return m_nQueued; }
    int Decimation() const { return m_cascade.Decimation(); }
    float ResamplerRatio() const { return m_resampler.Ratio(); }
    int LowPassTaps() const { return m_lowPass.Length(); }
    const CDSPHalfBandCascade& Cascade() const { return m_cascade; }
    const CDSPTableOscillator& Oscillator() const { return m_oscillator; }
    double InputTotal() const { return m_dInputTotal; }
    double OutputTotal() const { return m_dOutputTotal; }

private:
    void Plan();
    int FlushDecimated(std::complex<float>* out);

    int m_nInRate = 0;
    int m_nOutRate = 0;
    bool m_bPlanned = false;
    CAlignedVector<std::complex<float>> m_aQueue;
    int m_nQueued = 0;
    CAlignedVector<std::complex<float>> m_aMixer;
    CAlignedVector<std::complex<float>> m_aDecimated;
    int m_nDecimated = 0;

    CDSPTableOscillator m_oscillator;
    CDSPHalfBandCascade m_cascade;
    CDSPComplexFIRFilter m_lowPass;
    CDSPFractionalResampler m_resampler;

    double m_dInputTotal = 0.0;
    double m_dOutputTotal = 0.0;
    double m_dRatio = 0.0;
    int m_nCalls = 0;
};
