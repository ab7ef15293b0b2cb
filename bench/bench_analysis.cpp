// The analysis engine inside one process: throughput and memory of a run.
//
//   bench_analysis generate DIR GB [FILE_GB]  writes a 16-bit IQ recording of GB × 10^9 bytes
//                                           (files of at most FILE_GB × 10^9 bytes, default 1;
//                                           one WAV file holds less than 4.295 × 10^9) and
//                                           reads it once
//   bench_analysis engine DIR N [PRIORITY]  analyses it as vexlor-cli does: MB/s, peak memory
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

#include "analysis/AnalysisImage.h"
#include "analysis/AnalysisImageFeed.h"
#include "analysis/HeadlessAnalysis.h"
#include "core/Log.h"
#include "core/ProcessFigures.h"
#include "core/RegisteredMessages.h"
#include "persist/MySettingsStore.h"
#include "recording/WaveFileWriter.h"

namespace fs = std::filesystem;

namespace {

constexpr std::uint32_t kRate = 2'000'000;

std::vector<fs::path> RecordingFiles(const fs::path& dir) {
  std::vector<fs::path> files;
  for (int i = 0;; ++i) {
    fs::path p = dir / StrFormat("bench %03d.wav", i);
    if (!fs::exists(p)) break;
    files.push_back(p);
  }
  return files;
}

int Generate(const fs::path& dir, double dGigabytes, double dFileGigabytes) {
  const std::uint64_t nFileBytes = static_cast<std::uint64_t>(dFileGigabytes * 1e9) / 4 * 4;
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
    while (nInFile < nFileBytes && nWritten < nTotal) {
      for (std::size_t i = 0; i < chunk.size(); i += 2) {
        s ^= s << 13;
        s ^= s >> 17;
        s ^= s << 5;
        dPhase1 += 0.0123;
        dPhase2 += 0.31;
        chunk[i] = static_cast<std::int16_t>(static_cast<int>(s & 0x3FF) - 512 + 3000 * std::cos(dPhase1) + 800 * std::cos(dPhase2));
        chunk[i + 1] = static_cast<std::int16_t>(static_cast<int>((s >> 10) & 0x3FF) - 512 + 3000 * std::sin(dPhase1) + 800 * std::sin(dPhase2));
      }
      const std::uint64_t nBytes = std::min<std::uint64_t>({chunk.size() * 2, nFileBytes - nInFile, nTotal - nWritten});
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

}  // namespace

int main(int argc, char** argv) {
  if (argc >= 4 && !std::strcmp(argv[1], "generate"))
    return Generate(argv[2], std::atof(argv[3]), argc >= 5 ? std::atof(argv[4]) : 1.0);
  if (argc >= 4 && !std::strcmp(argv[1], "engine"))
    return Engine(argv[2], static_cast<std::uint32_t>(std::atol(argv[3])),
                  argc >= 5 && !std::strcmp(argv[4], "normal") ? THREAD_PRIORITY_NORMAL : THREAD_PRIORITY_IDLE);
  std::fprintf(stderr,
               "usage: bench_analysis generate DIR GB [FILE_GB] | engine DIR N [idle|normal]\n");
  return 2;
}
