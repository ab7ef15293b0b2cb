#include "dsp/DSPTableOscillator.h"

#include "dsp/DSPGlobalFlags.h"
#include "dsp/DSPKernels.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {
constexpr int kStandardTableLength = 1000000;
constexpr int kReducedTableLength = 100000;
// The period is searched from here on, so that a table is never shorter than one chunk.
constexpr int kMinPeriod = 2048;
constexpr double kTwoPi = 2.0 * std::numbers::pi;
}  // namespace

void CDSPTableOscillator::BuildTable(double offsetHz, double omega)
{
    m_dOffsetHz = offsetHz;
    m_nFilled = 0;
    m_nTableLength = g_bDSPReducedLoad.load(std::memory_order_relaxed) ? kReducedTableLength : kStandardTableLength;
    if (m_nTableLength != m_nAllocatedLength) {
        m_aPhases.Resize(static_cast<std::size_t>(m_nTableLength));
        m_aPhasesF.Resize(static_cast<std::size_t>(m_nTableLength));
        m_aTable.Resize(static_cast<std::size_t>(m_nTableLength));
        m_nAllocatedLength = m_nTableLength;
    }

    // The running phase carries over only while it runs against the direction of the step
    // (its normal state); otherwise every later phase would lie on the other side of zero
    // and none would come back close to the start.
    double start = m_dRunningPhase;
    if (offsetHz == 0.0 || (m_dRunningPhase > 0.0 && omega > 0.0) || (m_dRunningPhase < 0.0 && omega < 0.0))
        start = 0.0;

    // fmod(x, 2 pi) as x - trunc(x / 2 pi) * 2 pi: the same value to within 1e-9 rad over
    // the table, and a loop that vectorises (the table is rebuilt on every offset change,
    // which the ECSS carrier tracker makes often).
    double* phases = m_aPhases.data();
    for (int k = 0; k < m_nTableLength; ++k) {
        const double x = start - k * omega;
        phases[k] = x - std::trunc(x / kTwoPi) * kTwoPi;
    }

    int period = std::min(kMinPeriod, m_nTableLength - 1);
    double best = std::fabs(phases[period] - start);
    for (int k = period + 1; k < m_nTableLength; ++k) {
        const double distance = std::fabs(phases[k] - start);
        if (distance < best) {
            best = distance;
            period = k;
        }
    }
    m_nPeriod = period;
    const int used = std::min(period + 1, m_nTableLength);
    for (int k = 0; k < used; ++k)
        m_aPhasesF[static_cast<std::size_t>(k)] = static_cast<float>(phases[k]);
    m_nPosition = 0;
}

void CDSPTableOscillator::Mix(const std::complex<float>* in, std::complex<float>* out, int n, double offsetHz,
                              int inRateHz)
{
    if (n <= 0 || inRateHz <= 0)
        return;
    const double omega = kTwoPi * offsetHz / inRateHz;
    if (!m_bHaveOffset || offsetHz != m_dOffsetHz || inRateHz != m_nRateHz) {
        m_bHaveOffset = true;
        m_nRateHz = inRateHz;
        BuildTable(offsetHz, omega);
    }

    const double blockStart = m_aPhases[static_cast<std::size_t>(m_nPosition)];
    std::complex<float>* table = m_aTable.data();
    const float* phasesF = m_aPhasesF.data();
    for (int done = 0; done < n;) {
        const int run = std::min(n - done, m_nPeriod - m_nPosition);
        const int needed = m_nPosition + run;
        for (; m_nFilled < needed; ++m_nFilled) {
            const float theta = phasesF[m_nFilled];
            table[m_nFilled] = std::complex<float>(std::cos(theta), std::sin(theta));
        }
        ComplexMultiply(reinterpret_cast<const float*>(in + done), reinterpret_cast<const float*>(table + m_nPosition),
                        reinterpret_cast<float*>(out + done), run);
        done += run;
        m_nPosition += run;
        if (m_nPosition >= m_nPeriod)
            m_nPosition = 0;
    }
    m_dRunningPhase = std::fmod(blockStart - n * omega, kTwoPi);
}
