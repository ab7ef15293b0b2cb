// The machine's limit for the analysis: the leanest single-threaded loop that does the
// analysis's work on the same bytes, built for this machine (-O2 -march=native, the vector
// log of glibc's libmvec). It is not the engine's design: it shares no code with it.
//
//   analysis_ceiling N FILE...     16-bit IQ WAV files with a 44-byte header
//
// The files are read with pread() in 4 MiB pieces into one reused buffer; the samples of
// each block of N complex samples are converted to float in order and multiplied by the
// Hann window, transformed by an FFTW_MEASURE plan made before the clock starts, and each
// bin's level is 10·log10(max(|X|², 1e-10)); the row is then dropped. Prints "key value"
// lines: mb_per_s = data bytes ÷ seconds of the loop.

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <fftw3.h>

namespace {

constexpr std::size_t kPieceBytes = 4u << 20;
constexpr off_t kHeaderBytes = 44;

// The row's levels; kept in a function the compiler cannot see through, so that the loop
// computing them is not dropped.
[[gnu::noinline]] float Levels(const fftwf_complex* pSpectrum, std::size_t n, float* pLevels) {
#pragma omp simd
  for (std::size_t k = 0; k < n; ++k) {
    const float p = pSpectrum[k][0] * pSpectrum[k][0] + pSpectrum[k][1] * pSpectrum[k][1];
    pLevels[k] = 10.0f * log10f(p > 1e-10f ? p : 1e-10f);
  }
  return pLevels[n / 2];
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: analysis_ceiling N FILE...\n");
    return 2;
  }
  const std::size_t n = std::strtoul(argv[1], nullptr, 10);
  if (n < 2) return 2;
  std::vector<float> window(n);
  for (std::size_t i = 0; i < n; ++i)
    window[i] = static_cast<float>(0.5 - 0.5 * std::cos(2.0 * M_PI * static_cast<double>(i) / static_cast<double>(n)));
  auto* pIn = fftwf_alloc_complex(n);
  auto* pOut = fftwf_alloc_complex(n);
  const auto tPlan = std::chrono::steady_clock::now();
  fftwf_plan plan = fftwf_plan_dft_1d(static_cast<int>(n), pIn, pOut, FFTW_FORWARD, FFTW_MEASURE);
  const double dPlanSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - tPlan).count();
  std::vector<float> levels(n);
  std::vector<std::int16_t> piece(kPieceBytes / 2);

  std::uint64_t nBytes = 0, nRows = 0;
  std::size_t nFill = 0;  // complex samples of the current block converted so far
  float fSink = 0;
  const auto t0 = std::chrono::steady_clock::now();
  for (int f = 2; f < argc; ++f) {
    const int fd = open(argv[f], O_RDONLY);
    if (fd < 0) {
      std::perror(argv[f]);
      return 1;
    }
    for (off_t offset = kHeaderBytes;;) {
      const ssize_t got = pread(fd, piece.data(), kPieceBytes, offset);
      if (got <= 0) break;
      offset += got;
      nBytes += static_cast<std::uint64_t>(got);
      const std::size_t nSamples = static_cast<std::size_t>(got) / 4;
      for (std::size_t s = 0; s < nSamples;) {
        const std::size_t nTake = std::min(n - nFill, nSamples - s);
        const std::int16_t* pSrc = piece.data() + 2 * s;
        for (std::size_t i = 0; i < nTake; ++i) {
          pIn[nFill + i][0] = static_cast<float>(pSrc[2 * i]) * window[nFill + i];
          pIn[nFill + i][1] = static_cast<float>(pSrc[2 * i + 1]) * window[nFill + i];
        }
        nFill += nTake;
        s += nTake;
        if (nFill == n) {
          fftwf_execute(plan);
          fSink += Levels(pOut, n, levels.data());
          ++nRows;
          nFill = 0;
        }
      }
    }
    close(fd);
  }
  const double dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  fftwf_destroy_plan(plan);
  fftwf_free(pIn);
  fftwf_free(pOut);
  std::printf("sink %.1f\n", static_cast<double>(fSink));
  std::printf("plan_seconds %.3f\n", dPlanSeconds);
  std::printf("rows %llu\n", static_cast<unsigned long long>(nRows));
  std::printf("seconds %.3f\n", dSeconds);
  std::printf("mb_per_s %.1f\n", static_cast<double>(nBytes) / dSeconds / 1e6);
  return 0;
}
