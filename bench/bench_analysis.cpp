// End-to-end analysis throughput and memory, against the machine's own ceiling.
//
//   bench_analysis generate DIR GB          writes a 16-bit IQ recording of GB × 10^9 bytes
//                                           (files of at most 10^9 bytes) and reads it once
//   bench_analysis engine DIR N [PRIORITY]  analyses it as vexlor-cli does: MB/s, peak memory
//   bench_analysis ceiling DIR N            one thread doing only conversion, window, FFT and
//                                           log10 over the same bytes: MB/s
//
// Each measurement runs in a process of its own (bench/run_analysis_bench.sh), so that the
// peak memory figure is that of one run. Figures are printed as "key value" lines.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <fftw3.h>

#include "analysis/AnalysisImage.h"
#include "analysis/AnalysisImageFeed.h"
#include "analysis/AnalysisWindow.h"
#include "analysis/HeadlessAnalysis.h"
#include "analysis/BlockConversion.h"
#include "dsp/SpectrumKernel.h"
#include "core/Log.h"
#include "core/ProcessFigures.h"
#include "core/RegisteredMessages.h"
#include "persist/MySettingsStore.h"
#include "recording/WaveFileWriter.h"

namespace fs = std::filesystem;

namespace {

constexpr std::uint32_t kRate = 2'000'000;
constexpr std::uint64_t kFileBytes = 1'000'000'000;

std::vector<fs::path> RecordingFiles(const fs::path& dir) {
  std::vector<fs::path> files;
  for (int i = 0;; ++i) {
    fs::path p = dir / StrFormat("bench %03d.wav", i);
    if (!fs::exists(p)) break;
    files.push_back(p);
  }
  return files;
}

int Generate(const fs::path& dir, double dGigabytes) {
  fs::create_directories(dir);
  const std::uint64_t nTotal = static_cast<std::uint64_t>(dGigabytes * 1e9) / 4 * 4;
  const CWaveFormat fmt = CWaveFormat::Linear(1, 2, kRate, 16);
  // Noise with a few carriers: the content does not change the work, only the picture.
  std::vector<std::int16_t> chunk(1 << 22);
  std::uint32_t s = 12345;
  std::uint64_t nWritten = 0;
  double dPhase1 = 0, dPhase2 = 0;
  for (int nFile = 0; nWritten < nTotal; ++nFile) {
    CWaveFileWriter writer;
    if (writer.Create(dir / StrFormat("bench %03d.wav", nFile), fmt) != 0) return 1;
    std::uint64_t nInFile = 0;
    while (nInFile < kFileBytes && nWritten < nTotal) {
      for (std::size_t i = 0; i < chunk.size(); i += 2) {
        s ^= s << 13;
        s ^= s >> 17;
        s ^= s << 5;
        dPhase1 += 0.0123;
        dPhase2 += 0.31;
        chunk[i] = static_cast<std::int16_t>(static_cast<int>(s & 0x3FF) - 512 + 3000 * std::cos(dPhase1) + 800 * std::cos(dPhase2));
        chunk[i + 1] = static_cast<std::int16_t>(static_cast<int>((s >> 10) & 0x3FF) - 512 + 3000 * std::sin(dPhase1) + 800 * std::sin(dPhase2));
      }
      const std::uint64_t nBytes = std::min<std::uint64_t>({chunk.size() * 2, kFileBytes - nInFile, nTotal - nWritten});
      if (!writer.Write(chunk.data(), nBytes)) return 1;
      nInFile += nBytes;
      nWritten += nBytes;
    }
    writer.Close();
  }
  // Read it once so that the runs find it in the page cache.
  std::vector<char> buffer(1 << 24);
  for (const auto& f : RecordingFiles(dir)) {
    const int fd = open(f.c_str(), O_RDONLY);
    while (read(fd, buffer.data(), buffer.size()) > 0) {
    }
    close(fd);
  }
  std::printf("generated_bytes %llu\n", static_cast<unsigned long long>(nWritten));
  return 0;
}

CAnalysisOptions BenchOptions(const std::vector<fs::path>& files, std::uint32_t n) {
  CAnalysisOptions o;
  std::uint64_t nTotal = 0;
  for (const auto& f : files) {
    o.m_astrRecordingFilenames.push_back(f.string());
    const auto nSize = static_cast<std::uint32_t>(fs::file_size(f) - 44);
    o.m_anRecordingFileSizes.push_back(nSize);
    nTotal += nSize;
  }
  o.m_nRecordingBandwidth = kRate;
  o.m_nRecordingBitsPerSample = 16;
  o.m_nRecordingCenterFreq = 10'000'000;
  o.m_tRecordingStartUTC = 1'700'000'000;
  o.m_tRecordingEndUTC = o.m_tRecordingStartUTC + static_cast<std::int64_t>(nTotal / (kRate * 4));
  o.m_nAnalysisFFTSize = n;
  o.m_nAnalysisCenterFreq = o.m_nRecordingCenterFreq;
  o.m_nAnalysisBandwidth = kRate;
  o.m_nFFTHint = FFT_HINT_FAST;
  o.UpdateDerivedValues(kRate * 4);
  return o;
}

int Engine(const fs::path& dir, std::uint32_t n, int nPriority) {
  RegisterAllMessages();
  SetLogFilePath(dir / "bench.log");
  const auto files = RecordingFiles(dir);
  if (files.empty()) return 1;
  CMySettingsStore settings(dir / "Settings.xml");
  const CAnalysisOptions options = BenchOptions(files, n);
  CAnalysisImage image;
  // A narrow picture of bounded height, so that the figures are the engine's.
  CAnalysisImageFeed feed(image, 512, 1000);
  CHeadlessAnalysis analysis(settings, 0, nPriority);
  analysis.Run().SetRowConsumer(&feed);
  const auto t0 = std::chrono::steady_clock::now();
  analysis.Run().Start(options);
  analysis.PumpUntilFinished();
  const double dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  std::printf("rows %zu\n", image.Rows().Count());
  std::printf("fft_workers %d\n", analysis.Pool().FFTWorkerCount());
  std::printf("bytes %lld\n", static_cast<long long>(analysis.Run().BytesRead()));
  std::printf("seconds %.3f\n", dSeconds);
  std::printf("mb_per_s %.1f\n", static_cast<double>(analysis.Run().BytesRead()) / dSeconds / 1e6);
  std::printf("peak_memory_mb %.1f\n", static_cast<double>(PeakPrivateMemoryBytes()) / 1e6);
  return 0;
}

int Ceiling(const fs::path& dir, std::uint32_t n) {
  const auto files = RecordingFiles(dir);
  if (files.empty()) return 1;
  const std::vector<float> window = BuildAnalysisWindow(ANALYSIS_WINDOW_DEFAULT, n);
  auto* a = static_cast<float*>(fftwf_malloc(sizeof(float) * 2 * n));
  auto* b = static_cast<float*>(fftwf_malloc(sizeof(float) * 2 * n));
  std::vector<float> levels(n);
  fftwf_plan plan = fftwf_plan_dft_1d(static_cast<int>(n), reinterpret_cast<fftwf_complex*>(b),
                                      reinterpret_cast<fftwf_complex*>(a), FFTW_FORWARD, FFTW_ESTIMATE);
  const float fRef = SpectrumKernel::ReferenceLevel(n);
  const std::size_t nBlockBytes = std::size_t{n} * 4;
  const std::size_t nChunk = std::max<std::size_t>(nBlockBytes, 32u << 20) / nBlockBytes * nBlockBytes;
  std::unique_ptr<std::uint8_t[]> buffer(new std::uint8_t[nChunk]);
  std::uint64_t nBytes = 0;
  float fSink = 0;
  const auto t0 = std::chrono::steady_clock::now();
  std::size_t nCarry = 0;  // bytes of a block begun in the previous file
  for (const auto& f : files) {
    const int fd = open(f.c_str(), O_RDONLY);
    lseek(fd, 44, SEEK_SET);
    for (;;) {
      const ssize_t got = read(fd, buffer.get() + nCarry, nChunk - nCarry);
      if (got <= 0) break;
      nBytes += static_cast<std::uint64_t>(got);
      const std::size_t nHave = nCarry + static_cast<std::size_t>(got);
      std::size_t p = 0;
      for (; p + nBlockBytes <= nHave; p += nBlockBytes) {
        BlockConversion::ConvertBlock(buffer.get() + p, 1, 16, n, 1, a);
        SpectrumKernel::ApplyWindow(a, window.data(), n, b);
        fftwf_execute(plan);
        SpectrumKernel::ComputeLevels(a, n, fRef, levels.data());
        fSink += levels[n / 2];
      }
      nCarry = nHave - p;
      std::memmove(buffer.get(), buffer.get() + p, nCarry);
    }
    close(fd);
  }
  const double dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  fftwf_destroy_plan(plan);
  fftwf_free(a);
  fftwf_free(b);
  std::printf("sink %.1f\n", static_cast<double>(fSink));
  std::printf("seconds %.3f\n", dSeconds);
  std::printf("mb_per_s %.1f\n", static_cast<double>(nBytes) / dSeconds / 1e6);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc >= 4 && !std::strcmp(argv[1], "generate")) return Generate(argv[2], std::atof(argv[3]));
  if (argc >= 4 && !std::strcmp(argv[1], "engine"))
    return Engine(argv[2], static_cast<std::uint32_t>(std::atol(argv[3])),
                  argc >= 5 && !std::strcmp(argv[4], "normal") ? THREAD_PRIORITY_NORMAL : THREAD_PRIORITY_IDLE);
  if (argc >= 4 && !std::strcmp(argv[1], "ceiling"))
    return Ceiling(argv[2], static_cast<std::uint32_t>(std::atol(argv[3])));
  std::fprintf(stderr,
               "usage: bench_analysis generate DIR GB | engine DIR N [idle|normal] | ceiling DIR N\n");
  return 2;
}
