// kelmorth's throughput and quality. Writes a 2,000,000 samples/s 16-bit recording (1 GB by
// default; the size in MB is the first argument), reads it once so that it sits in the page
// cache, then prints:
//   - the cached-read speed of the file: raw read() and read + conversion to floats;
//   - input MB/s of cutting a 12 kHz band out of it on one core (target >= 200 MB/s);
//   - the quality of the same signal path measured with tones: pass-band ripple over 80 %
//     of the output band and the weakest rejection of anything that would fold into it.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <numbers>
#include <random>
#include <vector>

#include "cutter/BandCutChain.h"
#include "cutter/RecordingCutter.h"
#include "recording/IQSeriesReader.h"
#include "recording/IQSeriesWriter.h"
#include "recording/WaveFileData.h"

namespace {

constexpr std::uint32_t kRate = 2'000'000;
constexpr std::uint32_t kCentre = 7'000'000;
constexpr double kStationOffset = 312'500.0;

double CpuSeconds() {
  timespec ts{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + ts.tv_nsec * 1e-9;
}

double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

bool WriteRecording(const std::filesystem::path& first, std::uint64_t nBytes) {
  // One second of noise and an AM station, repeated.
  std::vector<std::complex<float>> second(kRate);
  std::mt19937 random(1);
  std::normal_distribution<float> noise(0.0f, 300.0f);
  for (std::uint32_t k = 0; k < kRate; ++k) {
    const double t = static_cast<double>(k) / kRate;
    const double envelope = 3000.0 * (1.0 + 0.5 * std::sin(2.0 * std::numbers::pi * 1000.0 * t));
    const double phase = 2.0 * std::numbers::pi * std::fmod(kStationOffset * t, 1.0);
    second[k] = {static_cast<float>(envelope * std::cos(phase)) + noise(random),
                 static_cast<float>(envelope * std::sin(phase)) + noise(random)};
  }
  CIQSeriesWriter writer;
  CIQSeriesWriter::CSettings settings;
  settings.firstFile = first;
  settings.nSampleRate = kRate;
  settings.nCenterFrequency = kCentre;
  settings.dStartUtc = 1'748'779'200.0;
  if (!writer.Open(settings)) return false;
  for (std::uint64_t done = 0; done < nBytes; done += 4ull * kRate)
    if (!writer.Write(second.data(), std::min<std::uint64_t>(kRate, (nBytes - done) / 4))) return false;
  return writer.Close();
}

double RawReadMBps(const std::vector<std::filesystem::path>& files) {
  std::vector<char> buffer(1 << 20);
  const double t0 = Now();
  std::uint64_t total = 0;
  for (const auto& f : files) {
    const int fd = ::open(f.c_str(), O_RDONLY);
    if (fd < 0) continue;
    for (ssize_t n; (n = ::read(fd, buffer.data(), buffer.size())) > 0;) total += static_cast<std::uint64_t>(n);
    ::close(fd);
  }
  return total / 1e6 / (Now() - t0);
}

double ConvertedReadMBps(const std::filesystem::path& first) {
  CRecordingDescription desc;
  CWaveFileData data;
  if (!data.GetInformation(first, true, desc)) return 0.0;
  CIQSeriesReader reader;
  if (!reader.Open(desc)) return 0.0;
  std::vector<std::complex<float>> block(65536);
  const double t0 = Now();
  std::uint64_t total = 0;
  for (std::int64_t n; (n = reader.Read(block.data(), block.size())) > 0;) total += static_cast<std::uint64_t>(n) * 4;
  return total / 1e6 / (Now() - t0);
}

// Tone through a fresh chain; returns the output's power (dB re the tone) and its level at
// the shifted frequency.
void ToneThrough(std::uint32_t outRate, double offsetHz, double& powerDb, double& levelDb) {
  CBandCutChain chain;
  chain.Setup(kRate, outRate, 0.0);
  const std::size_t n = static_cast<std::size_t>(chain.PrerollSamples()) + kRate / 5;
  std::vector<std::complex<float>> in(n), out(static_cast<std::size_t>(chain.MaxOutputCount(static_cast<int>(n))));
  for (std::size_t k = 0; k < n; ++k) in[k] = std::polar(1.0f, static_cast<float>(2.0 * std::numbers::pi * std::fmod(offsetHz * k / kRate, 1.0)));
  const int produced = chain.Process(in.data(), static_cast<int>(n), out.data());
  double power = 0.0;
  std::complex<double> sum;
  for (int k = 100; k < produced - 600; ++k) {
    power += std::norm(std::complex<double>(out[k]));
    sum += std::complex<double>(out[k]) * std::polar(1.0, -2.0 * std::numbers::pi * offsetHz * k / outRate);
  }
  const int count = produced - 700;
  powerDb = 10.0 * std::log10(power / count + 1e-30);
  levelDb = 20.0 * std::log10(std::abs(sum) / count + 1e-30);
}

}  // namespace

int main(int argc, char** argv) {
  const std::uint64_t nMegabytes = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1024;
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / "vexlor_bench_cutter";
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
  const std::filesystem::path input = folder / "Wide 000.wav";
  std::printf("Writing a %llu MB, 2 MS/s, 16-bit recording ...\n", static_cast<unsigned long long>(nMegabytes));
  if (!WriteRecording(input, nMegabytes * 1'000'000)) {
    std::fprintf(stderr, "bench_cutter: cannot write %s\n", input.c_str());
    return 1;
  }
  std::vector<std::filesystem::path> files;
  for (int n = 0; std::filesystem::exists(CIQSeriesWriter::FilePath(input, n)); ++n)
    files.push_back(CIQSeriesWriter::FilePath(input, n));
  RawReadMBps(files);  // into the page cache
  std::printf("Cached read, raw read()            : %8.0f MB/s\n", RawReadMBps(files));
  std::printf("Cached read + conversion to floats : %8.0f MB/s\n", ConvertedReadMBps(input));

  CRecordingCutter cutter;
  CCutRequest request;
  request.input = input;
  request.dCentreHz = kCentre + kStationOffset;
  request.dBandwidthHz = 12'000;
  request.output = folder / "Station 000.wav";
  if (!cutter.Prepare(request)) {
    std::fprintf(stderr, "bench_cutter: %s\n", cutter.Error().c_str());
    return 1;
  }
  const double t0 = Now(), c0 = CpuSeconds();
  if (!cutter.Run()) {
    std::fprintf(stderr, "bench_cutter: %s\n", cutter.Error().c_str());
    return 1;
  }
  const double wall = Now() - t0, cpu = CpuSeconds() - c0;
  const double mb = nMegabytes;
  std::printf("Cut 12 kHz -> %u Hz (D = %2d)      : %8.0f MB/s of input (%.2f s wall, %.2f s CPU, one thread)"
              "   target >= 200\n",
              cutter.Plan().nOutputRate, cutter.Plan().nDecimation, mb / wall, wall, cpu);

  // Quality of the same path.
  const std::uint32_t outRate = cutter.Plan().nOutputRate;
  double lo = 1e9, hi = -1e9, worstRejection = -1e9, worstAt = 0.0, power = 0.0, level = 0.0;
  for (int i = -20; i <= 20; ++i) {
    ToneThrough(outRate, 0.4 * outRate * i / 20.0, power, level);
    lo = std::min(lo, level);
    hi = std::max(hi, level);
  }
  std::mt19937 random(5);
  std::uniform_real_distribution<double> fold(0.6 * outRate, 0.5 * kRate);
  for (int i = 0; i < 300; ++i) {
    const double f = (i % 2 ? 1.0 : -1.0) * (i < 40 ? 0.6 * outRate + i * 0.01 * outRate : fold(random));
    ToneThrough(outRate, f, power, level);
    if (power > worstRejection) {
      worstRejection = power;
      worstAt = f;
    }
  }
  std::printf("Pass band (80 %% of %u Hz)       : %+.4f .. %+.4f dB (ripple %.4f dB)   target <= 0.1\n", outRate, lo,
              hi, hi - lo);
  std::printf("Worst folding tone (300 tried)     : %.1f dB at %+.0f Hz   target <= -80\n", worstRejection, worstAt);
  std::filesystem::remove_all(folder);
  return 0;
}
