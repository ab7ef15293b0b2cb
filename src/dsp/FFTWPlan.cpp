#include "dsp/FFTWPlan.h"

#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "core/Log.h"
#include "core/Paths.h"
#include "dsp/AlignedVector.h"

namespace {

// Guarded by FFTWPlannerLock(): whether the file was imported, whether it held wisdom, and
// the text last written (both precisions, single first).
bool g_bWisdomLoaded = false;
bool g_bHasWisdom = false;
std::string g_strSavedWisdom;

thread_local int t_nDefaultHint = FFT_PLAN_ESTIMATE;

// Both precisions' wisdom as one text: FFTW keeps them apart.
std::string ExportWisdomLocked() {
  std::string strText;
  if (char* p = fftwf_export_wisdom_to_string()) {
    strText = p;
    fftwf_free(p);
  }
  if (char* p = fftw_export_wisdom_to_string()) {
    strText += p;
    fftw_free(p);
  }
  return strText;
}

void LoadWisdomLocked() {
  if (g_bWisdomLoaded) return;
  g_bWisdomLoaded = true;
  std::ifstream file(FFTWPlanner::WisdomPath(), std::ios::binary);
  if (file) {
    std::ostringstream text;
    text << file.rdbuf();
    const std::string strText = text.str();
    // The double-precision part starts at its own header.
    const std::size_t nDouble = strText.find("(fftw-", 1);
    const std::string strSingle = strText.substr(0, nDouble);
    bool bOk = !strSingle.empty() && fftwf_import_wisdom_from_string(strSingle.c_str());
    if (nDouble != std::string::npos) bOk = fftw_import_wisdom_from_string(strText.c_str() + nDouble) && bOk;
    if (!bOk && !strText.empty()) LogF("FFT planner> %s holds no wisdom FFTW can read", FFTWPlanner::WisdomPath().c_str());
    g_bHasWisdom = bOk;
  }
  g_strSavedWisdom = ExportWisdomLocked();
}

void SaveWisdomLocked() {
  const std::string strText = ExportWisdomLocked();
  // Written only when measuring taught FFTW something new.
  if (strText == g_strSavedWisdom) return;
  g_strSavedWisdom = strText;
  g_bHasWisdom = true;
  if (!WriteFileAtomically(FFTWPlanner::WisdomPath(), strText.data(), strText.size()))
    LogF("FFT planner> Cannot write %s", FFTWPlanner::WisdomPath().c_str());
}

// Plans under the lock by hint: estimate (with wisdom), or wisdom and else a measured plan
// within the hint's time limit. planWith(flags) makes one plan.
template <class Plan, class Planner, class SetTimeLimit>
Plan MakePlan(int nHint, Planner planWith, SetTimeLimit setTimeLimit) {
  std::lock_guard lock(FFTWPlannerLock());
  LoadWisdomLocked();
  if (nHint != FFT_PLAN_FAST && nHint != FFT_PLAN_BEST) return planWith(FFTW_ESTIMATE);
  const unsigned nRigour = nHint == FFT_PLAN_BEST ? FFTW_PATIENT : FFTW_MEASURE;
  if (Plan plan = planWith(nRigour | FFTW_WISDOM_ONLY)) return plan;
  setTimeLimit(nHint == FFT_PLAN_BEST ? FFTWPlanner::kBestTimeLimit : FFTWPlanner::kFastTimeLimit);
  Plan plan = planWith(nRigour);
  setTimeLimit(FFTW_NO_TIMELIMIT);
  if (plan) SaveWisdomLocked();
  return plan;
}

}  // namespace

std::mutex& FFTWPlannerLock() {
  static std::mutex lock;
  return lock;
}

namespace FFTWPlanner {

std::filesystem::path WisdomPath() { return DataFolder() / "FFTWWisdom.txt"; }

bool HasWisdom() {
  std::lock_guard lock(FFTWPlannerLock());
  LoadWisdomLocked();
  return g_bHasWisdom;
}

void ForgetWisdom() {
  std::lock_guard lock(FFTWPlannerLock());
  fftwf_forget_wisdom();
  fftw_forget_wisdom();
  g_bWisdomLoaded = false;
  g_bHasWisdom = false;
  g_strSavedWisdom.clear();
}

int DefaultHint() { return t_nDefaultHint; }

bool PlanAnalysisSize(std::uint32_t nSize, int nHint) {
  CAlignedVector<float> aIn(2 * std::size_t{nSize});
  CAlignedVector<float> aOut(2 * std::size_t{nSize});
  if (nSize == 0 || aIn.empty() || aOut.empty()) return false;
  return static_cast<bool>(CFFTWPlanF::Complex(static_cast<int>(nSize), aIn.data(), aOut.data(), FFTW_FORWARD, nHint));
}

}  // namespace FFTWPlanner

CFFTPlanningScope::CFFTPlanningScope(int nHint) : m_nPrevious(t_nDefaultHint) { t_nDefaultHint = nHint; }
CFFTPlanningScope::~CFFTPlanningScope() { t_nDefaultHint = m_nPrevious; }

// ---- Single precision -----------------------------------------------------------------

CFFTWPlanF::~CFFTWPlanF() { Reset(); }

CFFTWPlanF& CFFTWPlanF::operator=(CFFTWPlanF&& other) noexcept {
  if (this != &other) {
    Reset();
    m_plan = std::exchange(other.m_plan, nullptr);
  }
  return *this;
}

void CFFTWPlanF::Reset() {
  if (!m_plan) return;
  std::lock_guard guard(FFTWPlannerLock());
  fftwf_destroy_plan(m_plan);
  m_plan = nullptr;
}

CFFTWPlanF CFFTWPlanF::Complex(int n, std::complex<float>* in, std::complex<float>* out, int sign, int nHint) {
  return Complex(n, reinterpret_cast<float*>(in), reinterpret_cast<float*>(out), sign, nHint);
}

CFFTWPlanF CFFTWPlanF::Complex(int n, float* in, float* out, int sign, int nHint) {
  return CFFTWPlanF(MakePlan<fftwf_plan>(
      nHint,
      [&](unsigned flags) {
        return fftwf_plan_dft_1d(n, reinterpret_cast<fftwf_complex*>(in), reinterpret_cast<fftwf_complex*>(out), sign,
                                 flags);
      },
      fftwf_set_timelimit));
}

CFFTWPlanF CFFTWPlanF::ComplexToReal(int n, std::complex<float>* in, float* out, int nHint) {
  return CFFTWPlanF(MakePlan<fftwf_plan>(
      nHint,
      [&](unsigned flags) { return fftwf_plan_dft_c2r_1d(n, reinterpret_cast<fftwf_complex*>(in), out, flags); },
      fftwf_set_timelimit));
}

CFFTWPlanF CFFTWPlanF::RealToComplex(int n, float* in, std::complex<float>* out, int nHint) {
  return CFFTWPlanF(MakePlan<fftwf_plan>(
      nHint,
      [&](unsigned flags) { return fftwf_plan_dft_r2c_1d(n, in, reinterpret_cast<fftwf_complex*>(out), flags); },
      fftwf_set_timelimit));
}

// ---- Double precision -----------------------------------------------------------------

CFFTWPlanD::~CFFTWPlanD() { Reset(); }

CFFTWPlanD& CFFTWPlanD::operator=(CFFTWPlanD&& other) noexcept {
  if (this != &other) {
    Reset();
    m_plan = std::exchange(other.m_plan, nullptr);
  }
  return *this;
}

void CFFTWPlanD::Reset() {
  if (!m_plan) return;
  std::lock_guard guard(FFTWPlannerLock());
  fftw_destroy_plan(m_plan);
  m_plan = nullptr;
}

CFFTWPlanD CFFTWPlanD::Complex(int n, std::complex<double>* in, std::complex<double>* out, int sign, int nHint) {
  return CFFTWPlanD(MakePlan<fftw_plan>(
      nHint,
      [&](unsigned flags) {
        return fftw_plan_dft_1d(n, reinterpret_cast<fftw_complex*>(in), reinterpret_cast<fftw_complex*>(out), sign,
                                flags);
      },
      fftw_set_timelimit));
}
