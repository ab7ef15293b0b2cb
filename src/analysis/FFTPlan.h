#pragma once
// FFTW single-precision plans and aligned vectors, owned through RAII.
//
// FFTW's planner is not thread-safe, and several FFT workers plan at the start of every
// run, perhaps while a player's demodulator chain plans too: every plan is made and
// destroyed under the process-wide FFTWPlannerLock() that the chains use as well. Plans of the "Best"
// hint are measured (FFTW_MEASURE) within a planning time limit, with wisdom kept in the
// data folder so that the next run (and the next worker) plans from what was learnt.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>

struct fftwf_plan_s;

// A float vector in fftwf_malloc storage (aligned for FFTW's SIMD code), zeroed.
class CFFTWFloats {
 public:
  CFFTWFloats() = default;
  explicit CFFTWFloats(std::size_t nFloats);
  float* Data() const { return m_p.get(); }
  std::size_t Size() const { return m_nSize; }
  explicit operator bool() const { return m_p != nullptr; }
  void Reset();

 private:
  struct Free {
    void operator()(float* p) const;
  };
  std::unique_ptr<float, Free> m_p;
  std::size_t m_nSize = 0;
};

class CFFTPlan {
 public:
  CFFTPlan() = default;
  ~CFFTPlan();
  CFFTPlan(CFFTPlan&& other) noexcept;
  CFFTPlan& operator=(CFFTPlan&& other) noexcept;
  CFFTPlan(const CFFTPlan&) = delete;
  CFFTPlan& operator=(const CFFTPlan&) = delete;

  // A forward, unscaled complex FFT of nSize points from pIn to pOut (interleaved complex,
  // out of place): X[k] = Σ x[n]·e^(−2πi·kn/N). nHint: 2 "Best" measures, anything else
  // estimates. The arrays' contents are overwritten while measuring.
  bool Create(std::uint32_t nSize, float* pIn, float* pOut, int nHint);
  void Execute() const;
  void Reset();
  explicit operator bool() const { return m_plan != nullptr; }

  // The wisdom file in the data folder, and the time limit for measuring one plan.
  static std::filesystem::path WisdomPath();
  static constexpr double kPlanningTimeLimitSeconds = 10.0;

 private:
  fftwf_plan_s* m_plan = nullptr;
};
