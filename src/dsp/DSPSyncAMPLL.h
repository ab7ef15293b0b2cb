#pragma once
// The carrier PLL of "Sync. AM": a second-order loop (natural frequency 60 Hz, damping 1.0
// at 22,050 Hz) that turns the IF signal so that the carrier lies on the I axis, and
// outputs I minus its running mean (the carrier level).
//
// The phase detector's error Q' is divided by the carrier level, tracked as a slow mean of
// |z|: the loop constants are those of a unit carrier, and the IF carries the recording's
// 16-bit scale, where the undivided loop gain would be thousands of times too high.

#include <complex>

class CDSPSyncAMPLL
{
public:
    static constexpr float kAlpha = 0.034194208681583405f;
    static constexpr float kBeta = 0.00029231098596937954f;
    static constexpr float kOmegaMax = 0.7123793363571167f;  // rad per sample (2500 Hz)

    CDSPSyncAMPLL() = default;
    void Reset();
    void Process(const std::complex<float>* in, int n, float* out);

    bool IsLocked() const { return m_bLocked; }
    float Omega() const { return m_fOmega; }   // rad per sample
    float Phase() const { return m_fTheta; }   // 0 .. 2 pi after each block

private:
    float m_fTheta = 0.0f;
    float m_fOmega = 0.0f;
    float m_fMean = 0.0f;
    float m_fLevel = 0.0f;
    bool m_bLevelKnown = false;
    bool m_bLocked = false;
};
