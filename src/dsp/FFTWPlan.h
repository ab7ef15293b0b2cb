#pragma once
// The one FFT planning service of the process, for the analysis and the demodulator chain:
// RAII owners of FFTW plans, single (CFFTWPlanF) and double precision (CFFTWPlanD), made
// under one planner lock with the wisdom of the data folder ("FFTWWisdom.txt").
//
// FFTW's planner is not thread-safe, and the analysis FFT workers and the player's chain
// may plan on different threads at once: every plan creation and destruction, wisdom
// import and export, and the planning time limit go through FFTWPlannerLock(). Executing
// a plan needs no lock.
//
// Every plan first imports the wisdom file (once per process), whatever its hint, so even
// an estimated plan takes what earlier runs measured. The hints:
//   FFT_PLAN_ESTIMATE (0)  wisdom when there is some, else FFTW's estimate; never measures.
//   FFT_PLAN_FAST (1)      wisdom, else FFTW's estimate at once, while the same transform is
//                          measured (FFTW_MEASURE, no time limit) on the planner's own
//                          background thread and added to the wisdom: the next plan of it
//                          is a measured one. (Measuring within a short time limit gave
//                          plans no faster than the estimate; a full measurement of a 1 M
//                          point transform takes seconds, which a run should not wait for.)
//   FFT_PLAN_BEST (2)      patient wisdom, else FFTW_PATIENT within kBestTimeLimit.
// Measured plans add to the wisdom file (written atomically). The hint values are those of
// the analysis's FFT hint setting. A plan that awaits its measurement is provisional: its
// holder may plan again once WisdomGeneration() has moved on, and gets the measured plan.
// The measurement holds the planner lock as any plan does, for as long as FFTW measures
// (up to a few seconds for a million points, once per size on a machine): plans made or
// destroyed on other threads meanwhile wait for it.
//
// A plan made without a hint takes the calling thread's default: FFT_PLAN_ESTIMATE, so a
// chain that rebuilds during play never holds up the audio, unless a CFFTPlanningScope on
// that thread says otherwise (planning ahead, offline work).
//
// Plans are made on the caller's buffers (use CAlignedVector storage). A measuring plan
// overwrites its buffers: plan first, fill afterwards. The new-array Execute overloads run
// the plan on other buffers of the same size and alignment.

#include <fftw3.h>

#include <complex>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <utility>

enum EFFTPlanHint : int {
  FFT_PLAN_ESTIMATE = 0,
  FFT_PLAN_FAST = 1,
  FFT_PLAN_BEST = 2,
};

// The one lock for FFTW's planner state in this process (both precisions).
std::mutex& FFTWPlannerLock();

namespace FFTWPlanner {

inline constexpr double kFastTimeLimit = 0.5;   // seconds per plan
inline constexpr double kBestTimeLimit = 10.0;

// The wisdom file in the data folder.
std::filesystem::path WisdomPath();
// Whether any wisdom was found when the file was imported (imports it when not yet done).
bool HasWisdom();
// Forgets the wisdom of the process and reads the file again at the next plan (tests).
void ForgetWisdom();

// The hint of plans made without one, on the calling thread.
int DefaultHint();

// Counts the background measurements finished in this process.
std::uint64_t WisdomGeneration();
// Waits until every background measurement asked for has finished and is in the wisdom
// file. Also run at exit, so that what a short run asked for is measured for the next.
void FinishMeasurements();

// Plans the analysis's transform of nSize points (forward, complex, out of place) with
// nHint (FFT_PLAN_FAST or FFT_PLAN_BEST) and waits for its measurement, adding what is
// measured to the wisdom file.
// False when no plan could be made.
bool PlanAnalysisSize(std::uint32_t nSize, int nHint);

}  // namespace FFTWPlanner

// Makes plans without a hint on this thread use nHint while it lives.
class CFFTPlanningScope {
 public:
  explicit CFFTPlanningScope(int nHint);
  ~CFFTPlanningScope();
  CFFTPlanningScope(const CFFTPlanningScope&) = delete;
  CFFTPlanningScope& operator=(const CFFTPlanningScope&) = delete;

 private:
  int m_nPrevious;
};

class CFFTWPlanF {
 public:
  CFFTWPlanF() = default;
  ~CFFTWPlanF();
  CFFTWPlanF(const CFFTWPlanF&) = delete;
  CFFTWPlanF& operator=(const CFFTWPlanF&) = delete;
  CFFTWPlanF(CFFTWPlanF&& other) noexcept
      : m_plan(std::exchange(other.m_plan, nullptr)), m_bProvisional(std::exchange(other.m_bProvisional, false)) {}
  CFFTWPlanF& operator=(CFFTWPlanF&& other) noexcept;

  // Complex-to-complex of size n; sign FFTW_FORWARD or FFTW_BACKWARD; no scaling.
  static CFFTWPlanF Complex(int n, std::complex<float>* in, std::complex<float>* out, int sign,
                            int nHint = FFTWPlanner::DefaultHint());
  // The same on interleaved floats (I, Q, ...).
  static CFFTWPlanF Complex(int n, float* in, float* out, int sign, int nHint = FFTWPlanner::DefaultHint());
  // Half spectrum (n/2 + 1 bins) to n real samples; no scaling.
  static CFFTWPlanF ComplexToReal(int n, std::complex<float>* in, float* out, int nHint = FFTWPlanner::DefaultHint());
  // n real samples to the half spectrum (n/2 + 1 bins); no scaling.
  static CFFTWPlanF RealToComplex(int n, float* in, std::complex<float>* out, int nHint = FFTWPlanner::DefaultHint());

  explicit operator bool() const { return m_plan != nullptr; }
  // Made by the estimate while its measurement runs in the background.
  bool IsProvisional() const { return m_bProvisional; }
  void Execute() const { fftwf_execute(m_plan); }
  void Execute(std::complex<float>* in, std::complex<float>* out) const {
    fftwf_execute_dft(m_plan, reinterpret_cast<fftwf_complex*>(in), reinterpret_cast<fftwf_complex*>(out));
  }
  void Reset();

 private:
  explicit CFFTWPlanF(std::pair<fftwf_plan, bool> plan) : m_plan(plan.first), m_bProvisional(plan.second) {}
  fftwf_plan m_plan = nullptr;
  bool m_bProvisional = false;
};

class CFFTWPlanD {
 public:
  CFFTWPlanD() = default;
  ~CFFTWPlanD();
  CFFTWPlanD(const CFFTWPlanD&) = delete;
  CFFTWPlanD& operator=(const CFFTWPlanD&) = delete;
  CFFTWPlanD(CFFTWPlanD&& other) noexcept
      : m_plan(std::exchange(other.m_plan, nullptr)), m_bProvisional(std::exchange(other.m_bProvisional, false)) {}
  CFFTWPlanD& operator=(CFFTWPlanD&& other) noexcept;

  // Complex-to-complex of size n; sign FFTW_FORWARD or FFTW_BACKWARD; no scaling.
  static CFFTWPlanD Complex(int n, std::complex<double>* in, std::complex<double>* out, int sign,
                            int nHint = FFTWPlanner::DefaultHint());

  explicit operator bool() const { return m_plan != nullptr; }
  bool IsProvisional() const { return m_bProvisional; }
  void Execute() const { fftw_execute(m_plan); }
  void Execute(std::complex<double>* in, std::complex<double>* out) const {
    fftw_execute_dft(m_plan, reinterpret_cast<fftw_complex*>(in), reinterpret_cast<fftw_complex*>(out));
  }
  void Reset();

 private:
  explicit CFFTWPlanD(std::pair<fftw_plan, bool> plan) : m_plan(plan.first), m_bProvisional(plan.second) {}
  fftw_plan m_plan = nullptr;
  bool m_bProvisional = false;
};
