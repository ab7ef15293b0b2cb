// The recording the analysis benchmark runs on (bench/run_analysis_bench.sh): 16-bit IQ noise
// with a few carriers, written once and read once so that it is in the page cache.
//
//   bench_analysis generate DIR GB [FILE_GB]  writes a recording of GB × 10^9 bytes in files
//                                           of at most FILE_GB × 10^9 bytes (default 1; one
//                                           WAV file holds less than 4.295 × 10^9)

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

#include "core/Log.h"
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

}  // namespace

int main(int argc, char** argv) {
  if (argc >= 4 && !std::strcmp(argv[1], "generate"))
    return Generate(argv[2], std::atof(argv[3]), argc >= 5 ? std::atof(argv[4]) : 1.0);
  std::fprintf(stderr, "usage: bench_analysis generate DIR GB [FILE_GB]\n");
  return 2;
}
