// The FFT planning service: wisdom read by every plan, written atomically by measuring
// plans, hints and the per-thread default.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "dsp/AlignedVector.h"
#include "dsp/FFTWPlan.h"

namespace {

std::string ReadText(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

// A plan of the tone k of n points must put all its energy into bin k.
bool TransformsATone(CFFTWPlanF& plan, CAlignedVector<std::complex<float>>& in,
                     CAlignedVector<std::complex<float>>& out, int k) {
  const std::size_t n = in.size();
  for (std::size_t i = 0; i < n; ++i) in[i] = std::polar(1.0f, static_cast<float>(2.0 * M_PI * k * i / n));
  plan.Execute();
  return std::abs(out[static_cast<std::size_t>(k)] - std::complex<float>(static_cast<float>(n), 0.0f)) < 1e-2f * n &&
         std::abs(out[static_cast<std::size_t>(k + 1)]) < 1e-2f * n;
}

}  // namespace

// Catches measured plans that leave no wisdom, wisdom of one precision only, a wisdom file
// not read again by later plans, and garbage in the file breaking planning.
TEST(FFTPlanner, MeasuredPlansKeepWisdomForBothPrecisionsAndEveryPlanReadsIt) {
  const auto path = FFTWPlanner::WisdomPath();
  std::filesystem::remove(path);
  FFTWPlanner::ForgetWisdom();
  EXPECT_FALSE(FFTWPlanner::HasWisdom());

  // Without wisdom a fast plan is the estimate, usable at once, while the same transform is
  // measured in the background; once that is done, the next plan is the measured one.
  CAlignedVector<std::complex<float>> in(512), out(512);
  const std::uint64_t nGeneration = FFTWPlanner::WisdomGeneration();
  CFFTWPlanF fast = CFFTWPlanF::Complex(512, in.data(), out.data(), FFTW_FORWARD, FFT_PLAN_FAST);
  ASSERT_TRUE(fast);
  EXPECT_TRUE(fast.IsProvisional());
  EXPECT_TRUE(TransformsATone(fast, in, out, 5));
  FFTWPlanner::FinishMeasurements();
  EXPECT_GT(FFTWPlanner::WisdomGeneration(), nGeneration);
  CFFTWPlanF measured = CFFTWPlanF::Complex(512, in.data(), out.data(), FFTW_FORWARD, FFT_PLAN_FAST);
  ASSERT_TRUE(measured);
  EXPECT_FALSE(measured.IsProvisional());
  EXPECT_TRUE(TransformsATone(measured, in, out, 9));
  CAlignedVector<std::complex<double>> work(256);
  const CFFTWPlanD dbl = CFFTWPlanD::Complex(256, work.data(), work.data(), FFTW_BACKWARD, FFT_PLAN_FAST);
  ASSERT_TRUE(dbl);
  const std::string strText = ReadText(path);
  EXPECT_NE(strText.find("fftwf_wisdom"), std::string::npos);
  EXPECT_NE(strText.find("fftw_wisdom"), std::string::npos);
  for (const auto& entry : std::filesystem::directory_iterator(path.parent_path()))
    EXPECT_NE(entry.path().filename().string().rfind(".FFTWWisdom.txt.", 0), 0u) << "a temp file left behind";

  FFTWPlanner::ForgetWisdom();
  EXPECT_TRUE(FFTWPlanner::HasWisdom()) << "the next plan reads the file again";
  // An estimated plan with that wisdom is a working plan.
  CFFTWPlanF estimated = CFFTWPlanF::Complex(512, in.data(), out.data(), FFTW_FORWARD, FFT_PLAN_ESTIMATE);
  ASSERT_TRUE(estimated);
  EXPECT_TRUE(TransformsATone(estimated, in, out, 7));

  std::ofstream(path, std::ios::binary) << "not wisdom";
  FFTWPlanner::ForgetWisdom();
  EXPECT_FALSE(FFTWPlanner::HasWisdom());
  CFFTWPlanF afterGarbage = CFFTWPlanF::Complex(512, in.data(), out.data(), FFTW_FORWARD, FFT_PLAN_ESTIMATE);
  ASSERT_TRUE(afterGarbage);
  EXPECT_TRUE(TransformsATone(afterGarbage, in, out, 3));
  std::filesystem::remove(path);
  FFTWPlanner::ForgetWisdom();
}

// Catches a scope that leaks its hint to other threads or outlives itself.
TEST(FFTPlanner, APlanningScopeSetsTheDefaultOfItsThreadOnly) {
  EXPECT_EQ(FFTWPlanner::DefaultHint(), FFT_PLAN_ESTIMATE);
  {
    const CFFTPlanningScope scope(FFT_PLAN_BEST);
    EXPECT_EQ(FFTWPlanner::DefaultHint(), FFT_PLAN_BEST);
    int nOther = -1;
    std::thread([&] { nOther = FFTWPlanner::DefaultHint(); }).join();
    EXPECT_EQ(nOther, FFT_PLAN_ESTIMATE);
  }
  EXPECT_EQ(FFTWPlanner::DefaultHint(), FFT_PLAN_ESTIMATE);
}
