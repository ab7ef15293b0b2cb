#include "dsp/FFTWPlan.h"

#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <functional>
#include <set>
#include <thread>
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

// Measures transforms on a thread of its own, one after another, each under the planner
// lock, and adds them to the wisdom file. Made at the first request and never destroyed:
// the exit handler waits for it, and nothing it uses is destroyed before that.
class CMeasuringThread {
 public:
  static CMeasuringThread& Instance() {
    static CMeasuringThread* const pInstance = new CMeasuringThread;
    return *pInstance;
  }

  // Measures a problem once per process; key names it.
  void Queue(const std::string& strKey, std::function<void()> measure) {
    std::lock_guard lock(m_mutex);
    if (!m_keys.insert(strKey).second) return;
    m_jobs.push_back(std::move(measure));
    if (!m_bStarted) {
      m_bStarted = true;
      std::atexit([] { CMeasuringThread::Instance().Finish(); });
      std::thread([this] { Run(); }).detach();
    }
    m_wake.notify_one();
  }

  void Finish() {
    std::unique_lock lock(m_mutex);
    m_idle.wait(lock, [this] { return m_jobs.empty() && !m_bBusy; });
  }

  std::uint64_t Generation() const { return m_nGeneration.load(std::memory_order_acquire); }

  // Every problem may be measured again (the wisdom was forgotten).
  void ForgetMeasured() {
    Finish();
    std::lock_guard lock(m_mutex);
    m_keys.clear();
  }

 private:
  void Run() {
    pthread_setname_np(pthread_self(), "FFT planner");
    // At the process's own priority: it holds the planner lock while it measures, and a
    // lower priority would keep every thread that plans waiting for longer.
    std::unique_lock lock(m_mutex);
    for (;;) {
      m_wake.wait(lock, [this] { return !m_jobs.empty(); });
      std::function<void()> measure = std::move(m_jobs.front());
      m_jobs.pop_front();
      m_bBusy = true;
      lock.unlock();
      {
        std::lock_guard planner(FFTWPlannerLock());
        LoadWisdomLocked();
        measure();
        SaveWisdomLocked();
      }
      m_nGeneration.fetch_add(1, std::memory_order_release);
      lock.lock();
      m_bBusy = false;
      m_idle.notify_all();
    }
  }

  std::mutex m_mutex;
  std::condition_variable m_wake;
  std::condition_variable m_idle;
  std::deque<std::function<void()>> m_jobs;
  std::set<std::string> m_keys;
  bool m_bStarted = false;
  bool m_bBusy = false;
  std::atomic<std::uint64_t> m_nGeneration{0};
};

// Plans under the lock by hint: estimate (with wisdom), or wisdom and else a plan made
// now and a better one measured: for FFT_PLAN_FAST the estimate now and a full measurement
// in the background (when the transform has a measure: it plans the same problem on
// arrays of its own, under the lock), for FFT_PLAN_BEST a patient plan within its time
// limit. planWith(flags) makes one plan. Returns the plan and whether it is provisional.
template <class Plan, class Planner, class SetTimeLimit>
std::pair<Plan, bool> MakePlan(int nHint, Planner planWith, SetTimeLimit setTimeLimit, const std::string& strKey,
                               std::function<void()> measure) {
  std::lock_guard lock(FFTWPlannerLock());
  LoadWisdomLocked();
  if (nHint != FFT_PLAN_FAST && nHint != FFT_PLAN_BEST) return {planWith(FFTW_ESTIMATE), false};
  const unsigned nRigour = nHint == FFT_PLAN_BEST ? FFTW_PATIENT : FFTW_MEASURE;
  if (Plan plan = planWith(nRigour | FFTW_WISDOM_ONLY)) return {plan, false};
  if (nHint == FFT_PLAN_FAST && measure) {
    CMeasuringThread::Instance().Queue(strKey, std::move(measure));
    return {planWith(FFTW_ESTIMATE), true};
  }
  setTimeLimit(nHint == FFT_PLAN_BEST ? FFTWPlanner::kBestTimeLimit : FFTWPlanner::kFastTimeLimit);
  Plan plan = planWith(nRigour);
  setTimeLimit(FFTW_NO_TIMELIMIT);
  if (plan) SaveWisdomLocked();
  return {plan, false};
}

// The measurement of a transform of n complex floats, forward or backward, out of place
// (in place when bInPlace), on fresh aligned arrays as the callers' are.
std::function<void()> MeasureComplexF(int n, int sign, bool bInPlace) {
  return [n, sign, bInPlace] {
    CAlignedVector<float> a(2 * static_cast<std::size_t>(n));
    CAlignedVector<float> b(bInPlace ? 0 : 2 * static_cast<std::size_t>(n));
    auto* pIn = reinterpret_cast<fftwf_complex*>(a.data());
    auto* pOut = bInPlace ? pIn : reinterpret_cast<fftwf_complex*>(b.data());
    if (fftwf_plan plan = fftwf_plan_dft_1d(n, pIn, pOut, sign, FFTW_MEASURE)) fftwf_destroy_plan(plan);
  };
}

}  // namespace

std::mutex& FFTWPlannerLock() {
  // Never destroyed: the measuring thread may hold it while the process exits.
  static std::mutex* const pLock = new std::mutex;
  return *pLock;
}

namespace FFTWPlanner {

std::filesystem::path WisdomPath() { return DataFolder() / "FFTWWisdom.txt"; }

bool HasWisdom() {
  std::lock_guard lock(FFTWPlannerLock());
  LoadWisdomLocked();
  return g_bHasWisdom;
}

void ForgetWisdom() {
  CMeasuringThread::Instance().ForgetMeasured();
  std::lock_guard lock(FFTWPlannerLock());
  fftwf_forget_wisdom();
  fftw_forget_wisdom();
  g_bWisdomLoaded = false;
  g_bHasWisdom = false;
  g_strSavedWisdom.clear();
}

int DefaultHint() { return t_nDefaultHint; }

std::uint64_t WisdomGeneration() { return CMeasuringThread::Instance().Generation(); }

void FinishMeasurements() { CMeasuringThread::Instance().Finish(); }

bool PlanAnalysisSize(std::uint32_t nSize, int nHint) {
  CAlignedVector<float> aIn(2 * std::size_t{nSize});
  CAlignedVector<float> aOut(2 * std::size_t{nSize});
  if (nSize == 0 || aIn.empty() || aOut.empty()) return false;
  const bool bPlanned =
      static_cast<bool>(CFFTWPlanF::Complex(static_cast<int>(nSize), aIn.data(), aOut.data(), FFTW_FORWARD, nHint));
  FinishMeasurements();
  return bPlanned;
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
    m_bProvisional = std::exchange(other.m_bProvisional, false);
  }
  return *this;
}

void CFFTWPlanF::Reset() {
  if (!m_plan) return;
  std::lock_guard guard(FFTWPlannerLock());
  fftwf_destroy_plan(m_plan);
  m_plan = nullptr;
  m_bProvisional = false;
}

CFFTWPlanF CFFTWPlanF::Complex(int n, std::complex<float>* in, std::complex<float>* out, int sign, int nHint) {
  return Complex(n, reinterpret_cast<float*>(in), reinterpret_cast<float*>(out), sign, nHint);
}

CFFTWPlanF CFFTWPlanF::Complex(int n, float* in, float* out, int sign, int nHint) {
  const bool bInPlace = in == out;
  return CFFTWPlanF(MakePlan<fftwf_plan>(
      nHint,
      [&](unsigned flags) {
        return fftwf_plan_dft_1d(n, reinterpret_cast<fftwf_complex*>(in), reinterpret_cast<fftwf_complex*>(out), sign,
                                 flags);
      },
      fftwf_set_timelimit, StrFormat("c2c f %d %d %d", n, sign, bInPlace ? 1 : 0), MeasureComplexF(n, sign, bInPlace)));
}

CFFTWPlanF CFFTWPlanF::ComplexToReal(int n, std::complex<float>* in, float* out, int nHint) {
  return CFFTWPlanF(MakePlan<fftwf_plan>(
      nHint,
      [&](unsigned flags) { return fftwf_plan_dft_c2r_1d(n, reinterpret_cast<fftwf_complex*>(in), out, flags); },
      fftwf_set_timelimit, std::string(), nullptr));
}

CFFTWPlanF CFFTWPlanF::RealToComplex(int n, float* in, std::complex<float>* out, int nHint) {
  return CFFTWPlanF(MakePlan<fftwf_plan>(
      nHint,
      [&](unsigned flags) { return fftwf_plan_dft_r2c_1d(n, in, reinterpret_cast<fftwf_complex*>(out), flags); },
      fftwf_set_timelimit, std::string(), nullptr));
}

// ---- Double precision -----------------------------------------------------------------

CFFTWPlanD::~CFFTWPlanD() { Reset(); }

CFFTWPlanD& CFFTWPlanD::operator=(CFFTWPlanD&& other) noexcept {
  if (this != &other) {
    Reset();
    m_plan = std::exchange(other.m_plan, nullptr);
    m_bProvisional = std::exchange(other.m_bProvisional, false);
  }
  return *this;
}

void CFFTWPlanD::Reset() {
  if (!m_plan) return;
  std::lock_guard guard(FFTWPlannerLock());
  fftw_destroy_plan(m_plan);
  m_plan = nullptr;
  m_bProvisional = false;
}

CFFTWPlanD CFFTWPlanD::Complex(int n, std::complex<double>* in, std::complex<double>* out, int sign, int nHint) {
  return CFFTWPlanD(MakePlan<fftw_plan>(
      nHint,
      [&](unsigned flags) {
        return fftw_plan_dft_1d(n, reinterpret_cast<fftw_complex*>(in), reinterpret_cast<fftw_complex*>(out), sign,
                                flags);
      },
      fftw_set_timelimit, std::string(), nullptr));
}
