#include "dsp/DSPDemodFilter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

#include "dsp/FIRDesign.h"

CDSPDemodFilter::CDSPDemodFilter()
{
    m_aFIFO.Resize(kFIFOSize);  // the first kInitialLatency entries are the initial zeros
}

void CDSPDemodFilter::Design(double lowHz, double highHz, double shiftHz, double rateHz)
{
    if (!(rateHz > 0.0))
        return;
    if (m_aWindow.empty()) {
        m_aWindow.Resize(kTaps);
        for (int n = 0; n < kTaps; ++n) {
            const double x = 2.0 * std::numbers::pi * n / (kTaps - 1);
            m_aWindow[static_cast<std::size_t>(n)] =
                0.3635819 - 0.4891775 * std::cos(x) + 0.1365995 * std::cos(2.0 * x) - 0.0106411 * std::cos(3.0 * x);
        }
        m_aTaps.Resize(kFFTSize);
        m_aSpectrum.Resize(kFFTSize);
        m_aBlock.Resize(kFFTSize);
        m_aWork.Resize(kFFTSize);
        m_aOverlap.Resize(kTaps - 1);
        m_aChunk.Resize(kChunk);
        // Planned on the work buffer alone, which the measuring planner may overwrite.
        m_forward = CFFTWPlanD::Complex(kFFTSize, m_aWork.data(), m_aWork.data(), FFTW_FORWARD);
        m_inverse = CFFTWPlanD::Complex(kFFTSize, m_aWork.data(), m_aWork.data(), FFTW_BACKWARD);
    }
    const double half = rateHz / 2.0;
    if (lowHz == -half && highHz == half) {
        m_bEnabled = false;
        return;
    }
    if (!m_forward || !m_inverse)
        return;

    m_bEnabled = true;
    const double hi = highHz + shiftHz;
    const double lo = lowHz + shiftHz;
    m_dBandwidthHz = std::fabs(hi - lo);
    m_dBandwidthFraction = m_dBandwidthHz / rateHz;
    const double loClamped = std::clamp(std::min(lo, hi), -half, half);
    const double hiClamped = std::clamp(hi, -half, half);
    const double fl = loClamped / rateHz;
    const double fh = hiClamped / rateHz;
    const double halfWidth = (fh - fl) / 2.0;
    const double centreTerm = (fh + fl) * std::numbers::pi;
    m_nLowBin = static_cast<int>(std::floor((fl + 0.5) * kFFTSize));
    m_nHighBin = static_cast<int>(std::ceil((fh + 0.5) * kFFTSize));

    // A real low-pass of half the band's width, turned to the band's centre.
    m_aTaps.Zero();
    for (int n = 0; n < kTaps; ++n) {
        const int m = n - (kTaps - 1) / 2;
        // The window is 1 at the centre.
        const double amplitude =
            m == 0 ? 2.0 * halfWidth : SincTap(halfWidth, m) * m_aWindow[static_cast<std::size_t>(n)];
        m_aTaps[static_cast<std::size_t>(n)] =
            amplitude * std::complex<double>(std::cos(m * centreTerm), std::sin(m * centreTerm));
    }
    std::memcpy(static_cast<void*>(m_aWork.data()), m_aTaps.data(), kFFTSize * sizeof(std::complex<double>));
    m_forward.Execute();
    // The inverse transform's 1/N goes into the spectrum once.
    for (int k = 0; k < kFFTSize; ++k)
        m_aSpectrum[static_cast<std::size_t>(k)] = m_aWork[static_cast<std::size_t>(k)] / static_cast<double>(kFFTSize);
    m_bDesigned = true;
}

void CDSPDemodFilter::RunBlock()
{
    std::complex<double>* work = m_aWork.data();
    std::memcpy(static_cast<void*>(work), m_aBlock.data(), kFFTSize * sizeof(std::complex<double>));
    m_forward.Execute();
    const std::complex<double>* spectrum = m_aSpectrum.data();
    double* w = reinterpret_cast<double*>(work);
    const double* s = reinterpret_cast<const double*>(spectrum);
    for (int k = 0; k < kFFTSize; ++k) {
        const double ar = w[2 * k], ai = w[2 * k + 1];
        const double br = s[2 * k], bi = s[2 * k + 1];
        w[2 * k] = ar * br - ai * bi;
        w[2 * k + 1] = ar * bi + ai * br;
    }
    m_inverse.Execute();
    // Samples 0 .. M-2 of the circular result are wrapped around; the rest are valid.
    if (m_nFIFOCount + kValidPerBlock <= kFIFOSize) {
        const int write = (m_nFIFORead + m_nFIFOCount) % kFIFOSize;
        const int first = std::min(kValidPerBlock, kFIFOSize - write);
        std::memcpy(static_cast<void*>(m_aFIFO.data() + write), work + (kTaps - 1),
                    static_cast<std::size_t>(first) * sizeof(std::complex<double>));
        std::memcpy(static_cast<void*>(m_aFIFO.data()), work + (kTaps - 1) + first,
                    static_cast<std::size_t>(kValidPerBlock - first) * sizeof(std::complex<double>));
        m_nFIFOCount += kValidPerBlock;
    }
    std::memcpy(static_cast<void*>(m_aBlock.data()), m_aOverlap.data(), (kTaps - 1) * sizeof(std::complex<double>));
    m_nFill = kTaps - 1;
}

int CDSPDemodFilter::Process(int n, const std::complex<double>* in, std::complex<double>* out)
{
    if (n <= 0)
        return 0;
    if (!m_bEnabled || !m_bDesigned) {
        if (in != out)
            std::memmove(static_cast<void*>(out), in, static_cast<std::size_t>(n) * sizeof(*in));
        return n;
    }
    for (int done = 0; done < n;) {
        const int run = std::min(n - done, kFFTSize - m_nFill);
        std::memcpy(static_cast<void*>(m_aBlock.data() + m_nFill), in + done, static_cast<std::size_t>(run) * sizeof(*in));
        // The fill position never drops below N - M + 1 (= M - 1 here), so every input is
        // also the newest of the overlap store.
        std::memcpy(static_cast<void*>(m_aOverlap.data() + (m_nFill - (kFFTSize - kTaps + 1))), in + done,
                    static_cast<std::size_t>(run) * sizeof(*in));
        m_nFill += run;
        done += run;
        if (m_nFill == kFFTSize)
            RunBlock();
    }
    if (m_nFIFOCount < n)
        return 0;
    const int first = std::min(n, kFIFOSize - m_nFIFORead);
    std::memcpy(static_cast<void*>(out), m_aFIFO.data() + m_nFIFORead, static_cast<std::size_t>(first) * sizeof(*out));
    std::memcpy(static_cast<void*>(out + first), m_aFIFO.data(), static_cast<std::size_t>(n - first) * sizeof(*out));
    m_nFIFORead = (m_nFIFORead + n) % kFIFOSize;
    m_nFIFOCount -= n;
    return n;
}

int CDSPDemodFilter::ProcessInPlace(std::complex<float>* io, int n)
{
    if (!m_bEnabled || !m_bDesigned)
        return std::max(n, 0);
    int written = 0;
    std::complex<double>* chunk = m_aChunk.data();
    for (int done = 0; done < n;) {
        const int count = std::min(kChunk, n - done);
        for (int k = 0; k < count; ++k)
            chunk[k] = std::complex<double>(io[done + k]);
        const int got = Process(count, chunk, chunk);
        for (int k = 0; k < got; ++k)
            io[written + k] = std::complex<float>(chunk[k]);
        written += got;
        done += count;
    }
    return written;
}
