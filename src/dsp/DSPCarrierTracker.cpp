#include "dsp/DSPCarrierTracker.h"

#include "dsp/DSPKernels.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {
constexpr int kWideTaps = 255;
constexpr double kWideCutoff = 0.025;
constexpr int kNarrowTaps = 499;
constexpr double kNarrowCutoff = 0.00125;
}  // namespace

void CDSPCarrierTracker::Reset()
{
    if (!m_bDesigned) {
        m_wide.DesignLowPass(kWideCutoff, kWideTaps);
        m_narrow.DesignLowPass(kNarrowCutoff, kNarrowTaps);
        m_bDesigned = true;
    }
    m_bLocked = false;
    m_lockMean.Reset();
    m_phaseMean.Reset();
    m_fLockMean = 0.0f;
    m_dA = 0.0;
    m_dB = 0.0;
    m_dWeight = 1.0;
    m_fEstimate = 0.0f;
    m_fOffsetHz = 0.0f;
    m_fDisplayPhase = 0.0f;
}

void CDSPCarrierTracker::Track(const std::complex<float>* in, int n)
{
    if (!m_bDesigned)
        Reset();
    for (int done = 0; done < n;) {
        const int run = std::min(n - done, kBlock - m_nFill);
        std::copy(in + done, in + done + run, m_aInput.begin() + m_nFill);
        m_nFill += run;
        done += run;
        if (m_nFill == kBlock) {
            RunBlock();
            m_nFill = 0;
        }
    }
}

void CDSPCarrierTracker::RunBlock()
{
    // Locked, the narrow filter keeps noise and modulation out of the estimate; unlocked,
    // the wide one lets a carrier up to about 550 Hz away be seen at all.
    CDSPComplexFIRFilter& filter = m_bLocked ? m_narrow : m_wide;
    filter.Process(m_aInput.data(), m_aFiltered.data() + 1, kBlock);

    std::array<float, kBlock + 1> re;
    std::array<float, kBlock + 1> im;
    for (int k = 0; k <= kBlock; ++k) {
        re[static_cast<std::size_t>(k)] = m_aFiltered[static_cast<std::size_t>(k)].real();
        im[static_cast<std::size_t>(k)] = m_aFiltered[static_cast<std::size_t>(k)].imag();
    }
    Atan2Block(im.data(), re.data(), m_aPhase.data(), kBlock + 1);

    constexpr double kHalfPi = std::numbers::pi / 2.0;
    const double correction = 0.0;  // the correction input of the a-path is unused here
    double a = m_dA;
    double b = m_dB;
    double weight = m_dWeight;
    float estimate = m_fEstimate;
    double phaseSum = 0.0;
    for (int k = 0; k < kBlock; ++k) {
        // The step is clamped, not unwrapped: a wrap through +-pi counts as -+pi/2 once per
        // carrier cycle, which slows the pull for large offsets but never reverses it.
        const double d = std::clamp(static_cast<double>(m_aPhase[static_cast<std::size_t>(k + 1)]) -
                                        m_aPhase[static_cast<std::size_t>(k)],
                                    -kHalfPi, kHalfPi);
        a = (19.0 * a + correction) / 20.0;
        b = (399.0 * b + d) / 400.0;
        const double v = 5.0 * (15.0 * b + a / 1000.0);
        weight = std::fabs(v) >= 0.001 ? 1.0 : 99.0;
        estimate = static_cast<float>((estimate * weight + v) / (weight + 1.0));
        phaseSum += m_aPhase[static_cast<std::size_t>(k)];
    }
    m_dA = a;
    m_dB = b;
    m_dWeight = weight;
    m_fEstimate = estimate;

    m_bLocked = std::fabs(estimate) < kLockLimit;
    m_fLockMean = static_cast<float>(m_lockMean.Add(m_bLocked ? 1.0 : 0.0));
    const float meanPhase = static_cast<float>(m_phaseMean.Add(static_cast<float>(phaseSum * 0.001953125)));
    m_aFiltered[0] = m_aFiltered[kBlock];
    m_fOffsetHz += estimate;
    m_fDisplayPhase = (9.0f * m_fDisplayPhase + meanPhase) / 10.0f;
}
