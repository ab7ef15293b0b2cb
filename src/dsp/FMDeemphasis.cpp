#include "dsp/FMDeemphasis.h"

#include <cmath>

void CFMDeemphasis::Init(double tauMicroseconds, double rateHz)
{
    if (!(tauMicroseconds > 0.0) || !(rateHz > 0.0))
        return;
    // The working factor is computed with 32-bit operands, the stored copy in 64-bit.
    const float tauSecondsF = static_cast<float>(tauMicroseconds) / 1000000.0f;
    m_fAlpha = 1.0f - std::exp(-1.0f / (tauSecondsF * static_cast<float>(rateHz)));
    m_dAlpha = 1.0 - std::exp(-1.0 / (tauMicroseconds / 1000000.0 * rateHz));
    m_fState = 0.0f;
    m_bEnabled = true;
}

void CFMDeemphasis::Process(float* io, int n)
{
    if (!m_bEnabled)
        return;
    const float a = m_fAlpha;
    const float b = 1.0f - a;
    float y = m_fState;
    for (int k = 0; k < n; ++k) {
        y = b * y + a * io[k];
        io[k] = 2.0f * y;
    }
    m_fState = y;
}
