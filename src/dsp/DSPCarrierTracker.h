#pragma once
// The carrier tracker of the ECSS modes: measures how far the carrier sits from 0 Hz in
// blocks of 512 IF samples (mean phase step after a low-pass) and accumulates a frequency
// correction in Hz that the chain adds to the tuning offset, so that the carrier is pulled
// to 0 Hz. Once the estimate falls below 0.08 it is locked and measures through a much
// narrower low-pass (27.6 Hz at 22,050 Hz instead of 551 Hz).

#include "dsp/AlignedVector.h"
#include "dsp/DSPFIRFilter.h"
#include "dsp/DSPRunningMean.h"

#include <array>
#include <complex>

class CDSPCarrierTracker
{
public:
    static constexpr int kBlock = 512;
    static constexpr float kLockLimit = 0.08f;

    CDSPCarrierTracker() = default;
    CDSPCarrierTracker(CDSPCarrierTracker&&) noexcept = default;
    CDSPCarrierTracker& operator=(CDSPCarrierTracker&&) noexcept = default;

    // Designs the two low-passes on first use, then resets the tracker.
    void Reset();
    // Consumes IF samples; each complete block of 512 updates the estimate.
    void Track(const std::complex<float>* in, int n);
    // Clears the displayed phase (a mode or tuning change).
    void ClearDisplay() { m_fDisplayPhase = 0.0f; }

    float CarrierOffset() const { return m_fOffsetHz; }  // Hz, accumulated
    bool IsLocked() const { return m_bLocked; }
    float Estimate() const { return m_fEstimate; }
    float LockQuality() const { return m_fLockMean; }  // mean of the last 5 lock flags
    float PhaseDegrees() const { return m_fDisplayPhase * 360.0f / 6.2831854820251465f; }
    bool UsesNarrowFilter() const { return m_bLocked; }

private:
    void RunBlock();

    bool m_bDesigned = false;
    CDSPComplexFIRFilter m_wide;
    CDSPComplexFIRFilter m_narrow;
    std::array<std::complex<float>, kBlock> m_aInput{};
    int m_nFill = 0;
    std::array<std::complex<float>, kBlock + 1> m_aFiltered{};
    std::array<float, kBlock + 1> m_aPhase{};
    bool m_bLocked = false;
    CDSPRunningMean m_lockMean{5};
    CDSPRunningMean m_phaseMean{20};
    float m_fLockMean = 0.0f;
    double m_dA = 0.0;
    double m_dB = 0.0;
    double m_dWeight = 1.0;
    float m_fEstimate = 0.0f;
    float m_fOffsetHz = 0.0f;
    float m_fDisplayPhase = 0.0f;
};
