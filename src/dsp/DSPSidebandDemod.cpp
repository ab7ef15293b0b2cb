#include "dsp/DSPSidebandDemod.h"

#include "dsp/DSPDemodModes.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace {
constexpr double kBandLowHz = 50.0;
constexpr double kBandHighHz = 3950.0;
// Width of the raised-cosine flanks of the 50 .. 3950 Hz band-pass: a hard edge in the
// spectrum of an unwindowed block would ring through the whole block.
constexpr double kFlankHz = 40.0;
}  // namespace

CDSPSidebandDemod::CDSPSidebandDemod() = default;

void CDSPSidebandDemod::Init(int mode, int ifRateHz)
{
    m_bLower = mode == eDemodLSB || mode == eDemodCWL;
    if (m_aBuffer.empty()) {
        m_aBuffer.Resize(kFFTSize);
        m_aSpectrum.Resize(kFFTSize);
        m_aReal.Resize(kFFTSize);
        m_aBandPass.Resize(kFFTSize / 2 + 1);
        m_forward = CFFTWPlanF::Complex(kFFTSize, m_aSpectrum.data(), m_aSpectrum.data(), FFTW_FORWARD);
        m_inverse = CFFTWPlanF::ComplexToReal(kFFTSize, m_aSpectrum.data(), m_aReal.data());
    }
    if (ifRateHz <= 0 || ifRateHz == m_nRateHz)
        return;
    m_nRateHz = ifRateHz;
    for (int k = 0; k <= kFFTSize / 2; ++k) {
        const double f = static_cast<double>(k) * ifRateHz / kFFTSize;
        double gain = 0.0;
        if (f >= kBandLowHz && f <= kBandHighHz) {
            gain = 1.0;
            const double fromEdge = std::min(f - kBandLowHz, kBandHighHz - f);
            if (fromEdge < kFlankHz)
                gain = 0.5 - 0.5 * std::cos(std::numbers::pi * fromEdge / kFlankHz);
        }
        m_aBandPass[static_cast<std::size_t>(k)] = static_cast<float>(gain / kFFTSize);
    }
}

void CDSPSidebandDemod::Transform(float* out)
{
    std::complex<float>* x = m_aSpectrum.data();
    std::memcpy(static_cast<void*>(x), m_aBuffer.data(), kFFTSize * sizeof(std::complex<float>));
    m_forward.Execute();
    if (m_bLower)
        for (int k = 1; k < kFFTSize / 2; ++k)
            x[k] = std::conj(x[kFFTSize - k]);
    const float* gain = m_aBandPass.data();
    for (int k = 0; k <= kFFTSize / 2; ++k)
        x[k] *= gain[k];
    m_inverse.Execute();
    // The last four samples of the block are deliberately left out.
    std::memcpy(out, m_aReal.data() + kFirstOutput, kHop * sizeof(float));
}

int CDSPSidebandDemod::Process(const std::complex<float>* in, int n, float* out)
{
    if (n <= 0 || m_aBuffer.empty() || !m_forward || !m_inverse)
        return 0;
    int produced = 0;
    for (int done = 0; done < n;) {
        const int run = std::min(n - done, kFFTSize - m_nFill);
        std::memcpy(static_cast<void*>(m_aBuffer.data() + m_nFill), in + done,
                    static_cast<std::size_t>(run) * sizeof(std::complex<float>));
        m_nFill += run;
        done += run;
        if (m_nFill == kFFTSize) {
            Transform(out + produced);
            produced += kHop;
            std::memmove(static_cast<void*>(m_aBuffer.data()), m_aBuffer.data() + kHop,
                         (kFFTSize - kHop) * sizeof(std::complex<float>));
            m_nFill = kFFTSize - kHop;
        }
    }
    return produced;
}
