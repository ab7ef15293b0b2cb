#pragma once
// The demodulators: filtered complex IF samples in, real audio out, one algorithm per mode
// (numbers in DSPDemodModes.h). Outputs are in the 16-bit-like scale that the AGC expects.
//
//   mode                       output count per call       audio rate
//   LSB, USB, CW-L, CW-U       multiples of 256 (sliding   IF rate; output j = IF j + 3836
//                              FFT; see CDSPSidebandDemod)
//   DSB (2 I)                  n                           IF rate
//   W-USB                      0: deliberately silent
//   AM (envelope, DC blocker)  n                           IF rate
//   NFM, WFM (discriminator)   n                           IF rate
//   BFM                        after decimation by 4 and   48,000 Hz
//                              resampling
//   Sync. AM and ECSS (PLL),   n                           IF rate
//   ECSS-L/U, Data-*, Wide-* (I)
//
// It also holds the ECSS carrier tracker whose accumulated offset the chain adds to its
// tuning offset. Output buffers must hold MaxOutputCount(mode, n) samples.

#include "dsp/DSPCarrierTracker.h"
#include "dsp/DSPDemodModes.h"
#include "dsp/DSPFIRFilter.h"
#include "dsp/DSPPolyphaseResampler.h"
#include "dsp/DSPSidebandDemod.h"
#include "dsp/DSPSyncAMPLL.h"
#include "dsp/DemodAudioFilters.h"
#include "dsp/FMDeemphasis.h"

#include <complex>
#include <vector>

class CDSPDemodulate
{
public:
    // 32767/pi and 1.5 * 32767/pi as 32-bit floats.
    static constexpr float kNFMGain = 10430.3779296875f;
    static constexpr float kWFMGain = 15645.5673828125f;
    static constexpr float kBFMGain = 8000.0f;

    CDSPDemodulate();
    CDSPDemodulate(CDSPDemodulate&&) noexcept = default;
    CDSPDemodulate& operator=(CDSPDemodulate&&) noexcept = default;

    // Prepares mode at ifRateHz (see the class comment); an ECSS mode resets the tracker.
    void SetUp(int mode, int ifRateHz);

    // Demodulates n IF samples; returns the number of audio samples written to out.
    // tune1/tune2 are the chain's two tuning parameters (0 from the chain); a change of
    // them, like a change of mode, drops the broadcast-FM carry-over.
    int Demodulate(int mode, const std::complex<float>* in, int n, float tune1, float tune2, float* out);
    int MaxOutputCount(int mode, int n) const;

    // ECSS carrier tracker: the chain calls it with the IF samples before the channel filter.
    void TrackCarrier(const std::complex<float>* in, int n) { m_tracker.Track(in, n); }
    float CarrierOffset() const { return m_tracker.CarrierOffset(); }  // Hz
    const CDSPCarrierTracker& CarrierTracker() const { return m_tracker; }
    const CDSPSyncAMPLL& SyncAMPLL() const { return m_pll; }

    // Signal delay of the mode in audio samples at its output rate (negative for the
    // sideband modes, whose output starts 3836 IF samples in).
    double Delay(int mode) const;
    int IFRate() const { return m_nIFRate; }

private:
    int DemodulateBFM(const std::complex<float>* in, int n, float* out);
    void Discriminate(const std::complex<float>* in, int n, float* out);
    void EnsureScratch(int n);

    int m_nMode = -1;
    int m_nIFRate = 0;
    float m_fTune1 = 0.0f;
    float m_fTune2 = 0.0f;

    CFMDeemphasis m_deemphasisNFM;
    CFMDeemphasis m_deemphasisBFM;
    CDemodHighPassFilter m_fmHighPass;
    CDemodLowPassFilter m_fmLowPass;
    CDemodLowPassFilter m_bfmLowPass;
    CDemodLowPassFilter m_spareLowPass;
    CDemodHighPassFilter m_amHighPass;

    CDSPSyncAMPLL m_pll;
    CDSPSyncAMPLL m_ecssPll;  // holds the carrier's phase in "ECSS"; restarted with the mode
    CDSPSidebandDemod m_sideband;
    CDSPCarrierTracker m_tracker;

    // Discriminator: the previous IF sample (kept across blocks and modes).
    std::complex<float> m_prevSample{0.0f, 0.0f};
    // "FM-Broadcast": discriminator outputs carried to the next block (0-3), the two
    // decimate-by-2 low-passes and the resampler from IF/4 to 48,000 Hz.
    float m_aCarry[3] = {0.0f, 0.0f, 0.0f};
    int m_nCarry = 0;
    CDSPRealFIRFilter m_bfmDecimate1;
    CDSPRealFIRFilter m_bfmDecimate2;
    CDSPPolyphaseResampler m_bfmResampler;
    // Constants of the wide discriminators, kept with the state; no step reads them.
    float m_aFMConstants[6] = {};

    float m_fDCState = 0.0f;  // AM DC blocker

    CAlignedVector<float> m_aScratchA;  // grown to block length + 65,536
    CAlignedVector<float> m_aScratchB;
    CAlignedVector<float> m_aScratchC;
    CAlignedVector<float> m_aScratchD;
};
