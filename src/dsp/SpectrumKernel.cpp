#include "dsp/SpectrumKernel.h"

#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "dsp/KernelTargets.h"

// glibc's vector maths library (libmvec): log10 of 4, 8 or 16 floats at once, for SSE4,
// AVX2 and AVX-512. Each is within a few units in the last place of the exact value, as is
// log10f, which the tails use.
extern "C" __m128 _ZGVbN4v_log10f(__m128 x);
extern "C" __m256 _ZGVdN8v_log10f(__m256 x);
extern "C" __m512 _ZGVeN16v_log10f(__m512 x);

namespace SpectrumKernel {

VEXLOR_KERNEL
void ApplyWindow(const float* pIn, const float* pWindow, std::uint32_t nFFTSize, float* pOut) {
  for (std::size_t n = 0; n < nFFTSize; ++n) {
    pOut[2 * n] = pIn[2 * n] * pWindow[n];
    pOut[2 * n + 1] = pIn[2 * n + 1] * pWindow[n];
  }
}

VEXLOR_KERNEL
void WindowInt16(const std::int16_t* pIn, const float* pWindow, std::size_t nSamples, bool bSwapIQ, float* pOut) {
  // Four loops rather than tests inside one, so that each is a plain vector loop.
  const std::size_t i = bSwapIQ ? 1 : 0;
  const std::size_t q = 1 - i;
  if (pWindow) {
    for (std::size_t n = 0; n < nSamples; ++n) {
      pOut[2 * n] = static_cast<float>(pIn[2 * n + i]) * pWindow[n];
      pOut[2 * n + 1] = static_cast<float>(pIn[2 * n + q]) * pWindow[n];
    }
  } else {
    for (std::size_t n = 0; n < nSamples; ++n) {
      pOut[2 * n] = static_cast<float>(pIn[2 * n + i]);
      pOut[2 * n + 1] = static_cast<float>(pIn[2 * n + q]);
    }
  }
}

float ReferenceLevel(std::uint32_t nFFTSize) {
  return static_cast<float>(20.0 * std::log10(static_cast<double>(nFFTSize) * 32767.0 * 0.5));
}

namespace {

// The level of one bin from its power: 10·log10(max(|X|², floor)) − reference, the same
// as 20·log10(max(|X|, 1e-5)) − reference.
constexpr float kPowerFloor = 1.0e-10f;

float LevelOfBin(const float* pBin, float fReferenceDb) {
  const float p = pBin[0] * pBin[0] + pBin[1] * pBin[1];
  return std::log10(std::max(p, kPowerFloor)) * 10.0f - fReferenceDb;
}

// Levels of nBins consecutive bins starting at pSpectrum (interleaved complex), in vectors
// of 4, 8 or 16 bins; each version is built for its own instruction set and chosen once by
// a processor check.
void LevelsOfRunSse(const float* pSpectrum, std::size_t nBins, float fReferenceDb, float* pLevels) {
  std::size_t k = 0;
  const __m128 floor4 = _mm_set1_ps(kPowerFloor);
  const __m128 ten4 = _mm_set1_ps(10.0f);
  const __m128 ref4 = _mm_set1_ps(fReferenceDb);
  for (; k + 4 <= nBins; k += 4) {
    const __m128 a = _mm_loadu_ps(pSpectrum + 2 * k);      // re0 im0 re1 im1
    const __m128 b = _mm_loadu_ps(pSpectrum + 2 * k + 4);  // re2 im2 re3 im3
    const __m128 re = _mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0));
    const __m128 im = _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1));
    const __m128 power = _mm_add_ps(_mm_mul_ps(re, re), _mm_mul_ps(im, im));
    const __m128 lg = _ZGVbN4v_log10f(_mm_max_ps(power, floor4));
    _mm_storeu_ps(pLevels + k, _mm_sub_ps(_mm_mul_ps(lg, ten4), ref4));
  }
  for (; k < nBins; ++k) pLevels[k] = LevelOfBin(pSpectrum + 2 * k, fReferenceDb);
}

#if defined(__x86_64__) && !defined(__clang__)
__attribute__((target("avx2,fma"))) void LevelsOfRunAvx2(const float* pSpectrum, std::size_t nBins,
                                                         float fReferenceDb, float* pLevels) {
  std::size_t k = 0;
  const __m256 floor8 = _mm256_set1_ps(kPowerFloor);
  const __m256 ten8 = _mm256_set1_ps(10.0f);
  const __m256 ref8 = _mm256_set1_ps(fReferenceDb);
  for (; k + 8 <= nBins; k += 8) {
    const __m256 a = _mm256_loadu_ps(pSpectrum + 2 * k);      // bins k .. k+3
    const __m256 b = _mm256_loadu_ps(pSpectrum + 2 * k + 8);  // bins k+4 .. k+7
    // Within each 128-bit lane the shuffle gathers the real (imaginary) parts; the lanes
    // then hold bins k..k+1, k+4..k+5 | k+2..k+3, k+6..k+7, put back in order below.
    const __m256 re = _mm256_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0));
    const __m256 im = _mm256_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1));
    const __m256 power = _mm256_add_ps(_mm256_mul_ps(re, re), _mm256_mul_ps(im, im));
    const __m256 lg = _ZGVdN8v_log10f(_mm256_max_ps(power, floor8));
    const __m256 level = _mm256_sub_ps(_mm256_mul_ps(lg, ten8), ref8);
    _mm256_storeu_ps(pLevels + k, _mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(level), 0xD8)));
  }
  for (; k < nBins; ++k) pLevels[k] = LevelOfBin(pSpectrum + 2 * k, fReferenceDb);
}

__attribute__((target("avx512f"))) void LevelsOfRunAvx512(const float* pSpectrum, std::size_t nBins,
                                                          float fReferenceDb, float* pLevels) {
  std::size_t k = 0;
  const __m512 floor16 = _mm512_set1_ps(kPowerFloor);
  const __m512 ten16 = _mm512_set1_ps(10.0f);
  const __m512 ref16 = _mm512_set1_ps(fReferenceDb);
  // Indices of the real parts of 16 bins in the two loaded vectors (a: 0..15, b: 16..31).
  const __m512i reIndex = _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
  const __m512i imIndex = _mm512_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
  for (; k + 16 <= nBins; k += 16) {
    const __m512 a = _mm512_loadu_ps(pSpectrum + 2 * k);
    const __m512 b = _mm512_loadu_ps(pSpectrum + 2 * k + 16);
    const __m512 re = _mm512_permutex2var_ps(a, reIndex, b);
    const __m512 im = _mm512_permutex2var_ps(a, imIndex, b);
    const __m512 power = _mm512_add_ps(_mm512_mul_ps(re, re), _mm512_mul_ps(im, im));
    // The masked form: the plain one reads an undefined vector that GCC 12 warns about.
    const __m512 lg = _ZGVeN16v_log10f(_mm512_maskz_max_ps(0xFFFF, power, floor16));
    _mm512_storeu_ps(pLevels + k, _mm512_sub_ps(_mm512_mul_ps(lg, ten16), ref16));
  }
  for (; k < nBins; ++k) pLevels[k] = LevelOfBin(pSpectrum + 2 * k, fReferenceDb);
}
#endif

using LevelsOfRunFunction = void (*)(const float*, std::size_t, float, float*);

LevelsOfRunFunction ChooseLevelsOfRun() {
#if defined(__x86_64__) && !defined(__clang__)
  if (__builtin_cpu_supports("avx512f")) return LevelsOfRunAvx512;
  if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) return LevelsOfRunAvx2;
#endif
  return LevelsOfRunSse;
}

const LevelsOfRunFunction LevelsOfRun = ChooseLevelsOfRun();

}  // namespace

void ComputeLevels(const float* pSpectrum, std::uint32_t nFFTSize, float fReferenceDb, float* pLevels) {
  const std::size_t h = nFFTSize / 2;
  // Positive frequencies (bins 0 .. h−1) go to the upper half, negative ones (h .. N−1)
  // to the lower half.
  LevelsOfRun(pSpectrum, h, fReferenceDb, pLevels + h);
  LevelsOfRun(pSpectrum + 2 * h, nFFTSize - h, fReferenceDb, pLevels);
}

}  // namespace SpectrumKernel
