#include "dsp/SpectrumKernel.h"

#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <cstring>


// glibc's vector maths library (libmvec): log10 of four floats at once. The scalar tail
// uses log10f; both are within a few units in the last place of the exact value.
extern "C" __m128 _ZGVbN4v_log10f(__m128 x);

namespace SpectrumKernel {

void ApplyWindow(const float* pIn, const float* pWindow, std::uint32_t nFFTSize, float* pOut) {
  for (std::size_t n = 0; n < nFFTSize; ++n) {
    pOut[2 * n] = pIn[2 * n] * pWindow[n];
    pOut[2 * n + 1] = pIn[2 * n + 1] * pWindow[n];
  }
}

float ReferenceLevel(std::uint32_t nFFTSize) {
  return static_cast<float>(20.0 * std::log10(static_cast<double>(nFFTSize) * 32767.0 * 0.5));
}

namespace {

// Levels of nBins consecutive bins starting at pSpectrum (interleaved complex).
void LevelsOfRun(const float* pSpectrum, std::size_t nBins, float fReferenceDb, float* pLevels) {
  constexpr float kFloor = 1.0e-5f;
  std::size_t k = 0;
  const __m128 floor4 = _mm_set1_ps(kFloor);
  const __m128 twenty4 = _mm_set1_ps(20.0f);
  const __m128 ref4 = _mm_set1_ps(fReferenceDb);
  for (; k + 4 <= nBins; k += 4) {
    const __m128 a = _mm_loadu_ps(pSpectrum + 2 * k);      // re0 im0 re1 im1
    const __m128 b = _mm_loadu_ps(pSpectrum + 2 * k + 4);  // re2 im2 re3 im3
    const __m128 re = _mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0));
    const __m128 im = _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1));
    const __m128 mag = _mm_sqrt_ps(_mm_add_ps(_mm_mul_ps(re, re), _mm_mul_ps(im, im)));
    const __m128 lg = _ZGVbN4v_log10f(_mm_max_ps(mag, floor4));
    _mm_storeu_ps(pLevels + k, _mm_sub_ps(_mm_mul_ps(lg, twenty4), ref4));
  }
  for (; k < nBins; ++k) {
    const float re = pSpectrum[2 * k];
    const float im = pSpectrum[2 * k + 1];
    const float mag = std::sqrt(re * re + im * im);
    pLevels[k] = std::log10(std::max(mag, kFloor)) * 20.0f - fReferenceDb;
  }
}

}  // namespace

void ComputeLevels(const float* pSpectrum, std::uint32_t nFFTSize, float fReferenceDb, float* pLevels) {
  const std::size_t h = nFFTSize / 2;
  // Positive frequencies (bins 0 .. h−1) go to the upper half, negative ones (h .. N−1)
  // to the lower half.
  LevelsOfRun(pSpectrum, h, fReferenceDb, pLevels + h);
  LevelsOfRun(pSpectrum + 2 * h, nFFTSize - h, fReferenceDb, pLevels);
}

}  // namespace SpectrumKernel
