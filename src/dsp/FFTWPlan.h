#pragma once
// RAII owners of FFTW plans, single (CFFTWPlanF) and double precision (CFFTWPlanD).
//
// FFTW's planner is not thread-safe and several demodulator chains (and the analysis FFT
// workers) may plan on different threads at once, so every plan creation and destruction
// goes through one process-wide lock, FFTWPlannerLock(). Executing a plan needs no lock.
//
// Plans are made on the caller's buffers (use CAlignedVector storage). With the measuring
// planner the buffers are overwritten while planning: plan first, fill afterwards. The new-
// array Execute overloads run the plan on other buffers of the same size and alignment.

#include <fftw3.h>

#include <complex>
#include <mutex>
#include <utility>

// The one lock for everything that touches FFTW's planner state in this process (plan
// creation and destruction in both precisions, wisdom import and export, the planning time
// limit). Every FFTW user in the process must take this lock, not one of its own: two
// locks would let two threads into the planner at once.
std::mutex& FFTWPlannerLock();

// FFTW_ESTIMATE when the fast-FFT flag is set, otherwise FFTW_MEASURE. The measuring
// planner times candidate algorithms once per size, precision and direction, and FFTW keeps
// what it learnt (its wisdom) for the rest of the process: only the first chain of a process
// pays the measuring (a second or so for the chain's sizes), later chains plan the same sizes
// at once. A cache of plans of our own would save nothing more; what would save the first
// cost is wisdom kept between runs, which is for a caller that may do file I/O.
unsigned FFTWPlannerFlags();

class CFFTWPlanF
{
public:
    CFFTWPlanF() = default;
    ~CFFTWPlanF();
    CFFTWPlanF(const CFFTWPlanF&) = delete;
    CFFTWPlanF& operator=(const CFFTWPlanF&) = delete;
    CFFTWPlanF(CFFTWPlanF&& other) noexcept : m_plan(std::exchange(other.m_plan, nullptr)) {}
    CFFTWPlanF& operator=(CFFTWPlanF&& other) noexcept;

    // Complex-to-complex of size n; sign FFTW_FORWARD or FFTW_BACKWARD; no scaling.
    static CFFTWPlanF Complex(int n, std::complex<float>* in, std::complex<float>* out, int sign,
                              unsigned flags = FFTWPlannerFlags());
    // Half spectrum (n/2 + 1 bins) to n real samples; no scaling.
    static CFFTWPlanF ComplexToReal(int n, std::complex<float>* in, float* out,
                                    unsigned flags = FFTWPlannerFlags());
    // n real samples to the half spectrum (n/2 + 1 bins); no scaling.
    static CFFTWPlanF RealToComplex(int n, float* in, std::complex<float>* out,
                                    unsigned flags = FFTWPlannerFlags());

    explicit operator bool() const { return m_plan != nullptr; }
    void Execute() const { fftwf_execute(m_plan); }
    void Execute(std::complex<float>* in, std::complex<float>* out) const
    {
        fftwf_execute_dft(m_plan, reinterpret_cast<fftwf_complex*>(in), reinterpret_cast<fftwf_complex*>(out));
    }

private:
    explicit CFFTWPlanF(fftwf_plan plan) : m_plan(plan) {}
    void Destroy();
    fftwf_plan m_plan = nullptr;
};

class CFFTWPlanD
{
public:
    CFFTWPlanD() = default;
    ~CFFTWPlanD();
    CFFTWPlanD(const CFFTWPlanD&) = delete;
    CFFTWPlanD& operator=(const CFFTWPlanD&) = delete;
    CFFTWPlanD(CFFTWPlanD&& other) noexcept : m_plan(std::exchange(other.m_plan, nullptr)) {}
    CFFTWPlanD& operator=(CFFTWPlanD&& other) noexcept;

    // Complex-to-complex of size n; sign FFTW_FORWARD or FFTW_BACKWARD; no scaling.
    static CFFTWPlanD Complex(int n, std::complex<double>* in, std::complex<double>* out, int sign,
                              unsigned flags = FFTWPlannerFlags());

    explicit operator bool() const { return m_plan != nullptr; }
    void Execute() const { fftw_execute(m_plan); }
    void Execute(std::complex<double>* in, std::complex<double>* out) const
    {
        fftw_execute_dft(m_plan, reinterpret_cast<fftw_complex*>(in), reinterpret_cast<fftw_complex*>(out));
    }

private:
    explicit CFFTWPlanD(fftw_plan plan) : m_plan(plan) {}
    void Destroy();
    fftw_plan m_plan = nullptr;
};
