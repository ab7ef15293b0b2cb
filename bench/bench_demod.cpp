// Throughput of the demodulator chain: for every mode, recordings at 250,000 and 2,000,000
// samples per second, with and without the reduced-load flag. The "xRealTime" counter is
// seconds of recording processed per second of CPU time on one core (target: >= 20 at
// 2,000,000 samples per second in every mode). Blocks of 32,768 samples, as the player
// feeds them; the signal is noise plus an AM carrier 10 kHz from the centre.

#include <benchmark/benchmark.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>

#include "dsp/DSPDemodMain.h"
#include "dsp/DSPGlobalFlags.h"
#include "recording/WaveFileWriter.h"

namespace {

constexpr int kBlock = 32768;
constexpr int kOffsetHz = 10000;

// One second of input, cycled.
std::vector<std::complex<float>> MakeInput(int rate) {
  std::vector<std::complex<float>> v(static_cast<std::size_t>(rate));
  std::mt19937 gen(1);
  std::normal_distribution<float> noise(0.0f, 30.0f);
  for (int k = 0; k < rate; ++k) {
    const double t = static_cast<double>(k) / rate;
    const double phase = std::fmod(2.0 * std::numbers::pi * kOffsetHz * t, 2.0 * std::numbers::pi);
    const double envelope = 3000.0 * (1.0 + 0.5 * std::sin(2.0 * std::numbers::pi * 1000.0 * t));
    v[k] = std::complex<float>(static_cast<float>(envelope * std::cos(phase)) + noise(gen),
                               static_cast<float>(envelope * std::sin(phase)) + noise(gen));
  }
  return v;
}

void BM_Demod(benchmark::State& state, int mode, int rate, bool reducedLoad) {
  g_bDSPReducedLoad = reducedLoad;
  const std::vector<std::complex<float>> input = MakeInput(rate);
  CDSPDemodMain chain;
  int low = 0, high = 0;
  CDSPDemodMain::DefaultPassBand(mode, chain.CWPitch(), low, high);
  chain.SetTuningOffset(kOffsetHz);
  chain.SetMode(mode);
  chain.SetPassBand(low, high, mode, chain.IFRate());

  std::size_t pos = 0;
  auto feed = [&]() {
    if (pos + kBlock > input.size()) pos = 0;
    chain.ProcessBlock(input.data() + pos, kBlock, rate);
    pos += kBlock;
    benchmark::DoNotOptimize(chain.OutputCount());
  };
  for (int k = 0; k < rate / kBlock; ++k) feed();  // warm up: tables, first allocations

  for (auto _ : state) feed();
  state.counters["xRealTime"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * kBlock / rate, benchmark::Counter::kIsRate);
  g_bDSPReducedLoad = false;
}

void RegisterAll() {
  for (bool reduced : {false, true}) {
    for (int rate : {250000, 2000000}) {
      for (int mode = 0; mode < eDemodModeCount; ++mode) {
        const std::string name = std::string("demod/") + CDSPDemodMain::ShortName(mode) + "/" +
                                 std::to_string(rate) + (reduced ? "/reduced" : "/normal");
        benchmark::RegisterBenchmark(name.c_str(), BM_Demod, mode, rate, reduced)
            ->Unit(benchmark::kMillisecond)
            ->MinTime(0.5);
      }
    }
  }
}

// Ten seconds at 2,000,000 samples/s of the benchmark's signal as a 16-bit WAV file.
bool WriteRecording(const std::filesystem::path& path) {
  constexpr int kRate = 2'000'000;
  const std::vector<std::complex<float>> second = MakeInput(kRate);
  std::vector<std::int16_t> pcm(2 * second.size());
  for (std::size_t k = 0; k < second.size(); ++k) {
    pcm[2 * k] = static_cast<std::int16_t>(std::lround(second[k].real()));
    pcm[2 * k + 1] = static_cast<std::int16_t>(std::lround(second[k].imag()));
  }
  CWaveFileWriter writer;
  if (writer.Create(path, CWaveFormat::Linear(1, 2, kRate, 16))) return false;
  for (int s = 0; s < 10; ++s)
    if (!writer.Write(pcm.data(), pcm.size() * sizeof(std::int16_t))) return false;
  return writer.Close() == 0;
}

// Seconds of wall time of one whole "vexlor-cli demod" process with the given data folder.
double RunDemodProcess(const std::filesystem::path& recording, const std::filesystem::path& output,
                       const std::filesystem::path& dataFolder) {
  std::fflush(stdout);
  const auto t0 = std::chrono::steady_clock::now();
  const pid_t pid = fork();
  if (pid == 0) {
    setenv("XDG_DATA_HOME", dataFolder.c_str(), 1);
    if (!freopen("/dev/null", "w", stdout)) _exit(127);
    // The unknown recording's centre is 10 MHz: the AM carrier lies 10 kHz above it.
    execl(VEXLOR_CLI_PATH, VEXLOR_CLI_PATH, "demod", recording.c_str(), "--freq", "10010000", "--mode", "AM", "-o",
          output.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  const double dWall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? dWall : -1.0;
}

// "vexlor-cli demod" of 10 s at 2,000,000 samples/s as a whole process: without wisdom,
// then with the wisdom the first run left.
void MeasureWholeProcess() {
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / "vexlor-bench-demod";
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
  if (!WriteRecording(folder / "r.wav")) {
    std::printf("cannot write %s\n", (folder / "r.wav").c_str());
    return;
  }
  std::printf("vexlor-cli demod, 10 s at 2 MS/s, AM, as a whole process:\n");
  for (int run = 0; run < 4; ++run) {
    const double dWall = RunDemodProcess(folder / "r.wav", folder / "out.wav", folder / "data");
    std::printf("  %-16s %6.2f s wall, %5.1fx real time\n", run == 0 ? "without wisdom" : "with wisdom", dWall,
                dWall > 0 ? 10.0 / dWall : 0.0);
  }
  std::filesystem::remove_all(folder);
}

}  // namespace

int main(int argc, char** argv) {
  MeasureWholeProcess();
  RegisterAll();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
