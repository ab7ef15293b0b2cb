#include "analysis/FFTPlan.h"

#include <fftw3.h>

#include <cstring>
#include <mutex>
#include <string>

#include "analysis/AnalysisOptions.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "dsp/FFTWPlan.h"

namespace {

// FFTW keeps its planner state (and wisdom) process-wide, shared with the demodulator
// chains' plans: every call that touches it takes the one FFTWPlannerLock().
// Guarded by that lock: whether the wisdom file was read, and the wisdom last written.
bool g_bWisdomLoaded = false;
std::string g_strSavedWisdom;

void LoadWisdomLocked() {
  if (g_bWisdomLoaded) return;
  g_bWisdomLoaded = true;
  const std::filesystem::path path = CFFTPlan::WisdomPath();
  if (std::filesystem::exists(path)) fftwf_import_wisdom_from_filename(path.c_str());
  if (char* text = fftwf_export_wisdom_to_string()) {
    g_strSavedWisdom = text;
    fftwf_free(text);
  }
}

void SaveWisdomLocked() {
  char* text = fftwf_export_wisdom_to_string();
  if (!text) return;
  // Written only when measuring taught FFTW something new.
  if (g_strSavedWisdom != text) {
    g_strSavedWisdom = text;
    if (!WriteFileAtomically(CFFTPlan::WisdomPath(), text, std::strlen(text)))
      LogF("CFFTPlan> Cannot write %s", CFFTPlan::WisdomPath().c_str());
  }
  fftwf_free(text);
}

}  // namespace

CFFTWFloats::CFFTWFloats(std::size_t nFloats)
    : m_p(static_cast<float*>(fftwf_malloc(nFloats * sizeof(float)))), m_nSize(m_p ? nFloats : 0) {
  if (m_p) std::memset(m_p.get(), 0, nFloats * sizeof(float));
}

void CFFTWFloats::Free::operator()(float* p) const { fftwf_free(p); }

void CFFTWFloats::Reset() {
  m_p.reset();
  m_nSize = 0;
}

CFFTPlan::~CFFTPlan() { Reset(); }

CFFTPlan::CFFTPlan(CFFTPlan&& other) noexcept : m_plan(other.m_plan) { other.m_plan = nullptr; }

CFFTPlan& CFFTPlan::operator=(CFFTPlan&& other) noexcept {
  if (this != &other) {
    Reset();
    m_plan = other.m_plan;
    other.m_plan = nullptr;
  }
  return *this;
}

std::filesystem::path CFFTPlan::WisdomPath() { return DataFolder() / "FFTWWisdom.txt"; }

bool CFFTPlan::Create(std::uint32_t nSize, float* pIn, float* pOut, int nHint) {
  Reset();
  if (nSize == 0 || !pIn || !pOut) return false;
  std::lock_guard lock(FFTWPlannerLock());
  const bool bMeasure = nHint == FFT_HINT_BEST;
  if (bMeasure) {
    LoadWisdomLocked();
    fftwf_set_timelimit(kPlanningTimeLimitSeconds);
  }
  m_plan = fftwf_plan_dft_1d(static_cast<int>(nSize), reinterpret_cast<fftwf_complex*>(pIn),
                             reinterpret_cast<fftwf_complex*>(pOut), FFTW_FORWARD,
                             bMeasure ? FFTW_MEASURE : FFTW_ESTIMATE);
  if (bMeasure) {
    fftwf_set_timelimit(FFTW_NO_TIMELIMIT);
    if (m_plan) SaveWisdomLocked();
  }
  return m_plan != nullptr;
}

void CFFTPlan::Execute() const {
  if (m_plan) fftwf_execute(m_plan);
}

void CFFTPlan::Reset() {
  if (!m_plan) return;
  std::lock_guard lock(FFTWPlannerLock());
  fftwf_destroy_plan(m_plan);
  m_plan = nullptr;
}
