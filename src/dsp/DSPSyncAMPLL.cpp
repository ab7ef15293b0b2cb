#include "dsp/DSPSyncAMPLL.h"

#include <algorithm>
#include <cmath>

void CDSPSyncAMPLL::Reset()
{
    *this = CDSPSyncAMPLL{};
}

void CDSPSyncAMPLL::Process(const std::complex<float>* in, int n, float* out)
{
    float theta = m_fTheta;
    float omega = m_fOmega;
    float mean = m_fMean;
    float level = m_fLevel;
    if (!m_bLevelKnown && n > 0) {
        level = std::abs(in[0]);
        m_bLevelKnown = true;
    }
    for (int k = 0; k < n; ++k) {
        const float i = in[k].real();
        const float q = in[k].imag();
        const float c = std::cos(theta);
        const float s = std::sin(theta);
        const float iTurned = s * q + c * i;
        const float qTurned = c * q - s * i;
        level = 0.999f * level + 0.001f * std::sqrt(i * i + q * q);
        const float error = level > 1e-20f ? qTurned / level : 0.0f;
        omega = std::clamp(omega + kBeta * error, -kOmegaMax, kOmegaMax);
        theta += kAlpha * error + omega;
        // Keep long blocks from losing the phase's precision (the block-end wrap below
        // alone would let it grow by up to 0.71 rad per sample).
        if (std::fabs(theta) > 64.0f)
            theta = std::remainder(theta, 6.2831855f);
        mean = 0.001f * iTurned + 0.999f * mean;
        out[k] = iTurned - mean;
    }
    constexpr float kTwoPi = 6.2831855f;
    while (theta >= kTwoPi)
        theta -= kTwoPi;
    while (theta < 0.0f)
        theta += kTwoPi;
    m_fTheta = theta;
    m_fOmega = omega;
    m_fMean = mean;
    m_fLevel = level;
    m_bLocked = -kOmegaMax < omega && omega < kOmegaMax;
}
