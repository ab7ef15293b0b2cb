#include "dsp/FFTWPlan.h"

#include "dsp/DSPGlobalFlags.h"

// FFTW keeps one planner (and its accumulated timings) per process and precision; the lock
// guards both precisions, as a plan of one may be made while the other is destroyed.
std::mutex& FFTWPlannerLock()
{
    static std::mutex lock;
    return lock;
}

unsigned FFTWPlannerFlags()
{
    return g_bDSPFastFFT.load(std::memory_order_relaxed) ? FFTW_ESTIMATE : FFTW_MEASURE;
}

CFFTWPlanF::~CFFTWPlanF()
{
    Destroy();
}

CFFTWPlanF& CFFTWPlanF::operator=(CFFTWPlanF&& other) noexcept
{
    if (this != &other) {
        Destroy();
        m_plan = std::exchange(other.m_plan, nullptr);
    }
    return *this;
}

void CFFTWPlanF::Destroy()
{
    if (!m_plan)
        return;
    std::lock_guard guard(FFTWPlannerLock());
    fftwf_destroy_plan(m_plan);
    m_plan = nullptr;
}

CFFTWPlanF CFFTWPlanF::Complex(int n, std::complex<float>* in, std::complex<float>* out, int sign, unsigned flags)
{
    std::lock_guard guard(FFTWPlannerLock());
    return CFFTWPlanF(fftwf_plan_dft_1d(n, reinterpret_cast<fftwf_complex*>(in),
                                        reinterpret_cast<fftwf_complex*>(out), sign, flags));
}

CFFTWPlanF CFFTWPlanF::ComplexToReal(int n, std::complex<float>* in, float* out, unsigned flags)
{
    std::lock_guard guard(FFTWPlannerLock());
    return CFFTWPlanF(fftwf_plan_dft_c2r_1d(n, reinterpret_cast<fftwf_complex*>(in), out, flags));
}

CFFTWPlanF CFFTWPlanF::RealToComplex(int n, float* in, std::complex<float>* out, unsigned flags)
{
    std::lock_guard guard(FFTWPlannerLock());
    return CFFTWPlanF(fftwf_plan_dft_r2c_1d(n, in, reinterpret_cast<fftwf_complex*>(out), flags));
}

CFFTWPlanD::~CFFTWPlanD()
{
    Destroy();
}

CFFTWPlanD& CFFTWPlanD::operator=(CFFTWPlanD&& other) noexcept
{
    if (this != &other) {
        Destroy();
        m_plan = std::exchange(other.m_plan, nullptr);
    }
    return *this;
}

void CFFTWPlanD::Destroy()
{
    if (!m_plan)
        return;
    std::lock_guard guard(FFTWPlannerLock());
    fftw_destroy_plan(m_plan);
    m_plan = nullptr;
}

CFFTWPlanD CFFTWPlanD::Complex(int n, std::complex<double>* in, std::complex<double>* out, int sign, unsigned flags)
{
    std::lock_guard guard(FFTWPlannerLock());
    return CFFTWPlanD(fftw_plan_dft_1d(n, reinterpret_cast<fftw_complex*>(in),
                                       reinterpret_cast<fftw_complex*>(out), sign, flags));
}
