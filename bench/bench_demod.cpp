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

#include "dsp/DSPDemodMain.h"
#include "dsp/DSPGlobalFlags.h"

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

}  // namespace

int main(int argc, char** argv) {
  RegisterAll();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
