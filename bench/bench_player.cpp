// Player thread CPU: the share of one core that the "Demod" thread uses while it plays in
// real time through the null audio device (reading, conversion, display FFT, demodulation,
// audio out), for the demonstration recording (250 000 samples/s) and for a 2 000 000
// samples/s recording in AM, USB and broadcast FM. The target is below 10 % of one core for
// every mode at 2 000 000 samples/s.
//
// usage: bench_player [SECONDS]   (measuring time per case, default 5)

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "core/Log.h"
#include "core/MessageQueue.h"
#include "core/RegisteredMessages.h"
#include "dsp/DSPDemodMain.h"
#include "player/DemodBackgroundThread.h"
#include "player/NullAudioBackend.h"
#include "player/PlayerControl.h"
#include "recording/DemoRecording.h"
#include "recording/WaveFileData.h"
#include "recording/WaveFileWriter.h"

namespace {

using namespace std::chrono_literals;

// A 16-bit IQ recording at 2 000 000 samples/s: an AM carrier at -300 kHz (1 kHz, 30 %),
// a broadcast-FM carrier at +400 kHz (1 kHz tone, 75 kHz deviation) and noise.
bool WriteFastRecording(const std::filesystem::path& path, double dSeconds) {
  constexpr std::uint32_t kRate = 2'000'000;
  const CWaveFormat fmt = CWaveFormat::Linear(1, 2, kRate, 16);
  CWaveFileWriter writer;
  if (writer.Create(path, fmt)) return false;
  std::mt19937 rng(7);
  std::normal_distribution<float> noise(0.0f, 30.0f);
  const auto nTotal = static_cast<std::uint64_t>(dSeconds * kRate);
  std::vector<std::int16_t> anBlock;
  double dFmPhase = 0.0;
  for (std::uint64_t n0 = 0; n0 < nTotal; n0 += 100000) {
    anBlock.clear();
    for (std::uint64_t n = n0; n < std::min(nTotal, n0 + 100000); ++n) {
      const double t = static_cast<double>(n) / kRate;
      const double dAm = 3000.0 * (1.0 + 0.3 * std::sin(2 * M_PI * 1000.0 * t));
      dFmPhase += 2 * M_PI * (400e3 + 75e3 * std::sin(2 * M_PI * 1000.0 * t)) / kRate;
      const double dAmPhase = -2 * M_PI * 300e3 * t;
      const double i = dAm * std::cos(dAmPhase) + 3000.0 * std::cos(dFmPhase) + noise(rng);
      const double q = dAm * std::sin(dAmPhase) + 3000.0 * std::sin(dFmPhase) + noise(rng);
      anBlock.push_back(static_cast<std::int16_t>(std::lround(i)));
      anBlock.push_back(static_cast<std::int16_t>(std::lround(q)));
    }
    if (!writer.Write(anBlock.data(), anBlock.size() * 2)) return false;
  }
  return writer.Close() == 0;
}

struct CResult {
  bool bPlayed = false;  // false: play never started (the figures are then 0)
  double dCpuPercent = 0.0;
  double dPlayedPercent = 0.0;  // audio consumed against clock time: 100 = no underrun
};

CResult Measure(const CRecordingDescription& desc, double dFreqHz, const char* pszMode, double dSeconds) {
  auto pNull = std::make_shared<CNullAudioBackend>();
  CMessageQueue mainFrame;
  CMessageQueue view;
  CDemodBackgroundThread thread(pNull);
  CResult result;
  if (!StartPlayerThread(thread, &mainFrame, false)) return result;
  CPlayerOptions options;
  options.m_nOutputID = 0;
  options.m_strOutputName = "Null";
  options.m_strMode = pszMode;
  CDSPDemodMain::DefaultPassBand(PlayerModeNumber(pszMode), 500, options.m_nFilterLow, options.m_nFilterHigh);
  thread.SendTuningOffset(static_cast<int>(dFreqHz - desc.m_nCenterFrequency));
  std::string strMessage;
  if (!StartPlay(thread, desc, 1.0, false, options, &view, 0, {}, strMessage)) return result;

  const auto drain = [&] {
    view.PumpPending([](CMessage&) {});
    mainFrame.PumpPending([](CMessage&) {});
  };
  // Set-up (chain design, FFT plans) and the first second of play are left out.
  for (const auto tGiveUp = std::chrono::steady_clock::now() + 30s; thread.BlocksProcessed() == 0;) {
    if (std::chrono::steady_clock::now() > tGiveUp) return result;
    drain();
    std::this_thread::sleep_for(10ms);
  }
  for (auto tWarm = std::chrono::steady_clock::now() + 1s; std::chrono::steady_clock::now() < tWarm;) {
    drain();
    std::this_thread::sleep_for(10ms);
  }
  const double dCpu0 = thread.CpuSeconds();
  const std::uint64_t nConsumed0 = pNull->SamplesConsumed();
  const std::uint64_t nClock0 = pNull->ClockSamples();
  const auto t0 = std::chrono::steady_clock::now();
  for (auto tEnd = t0 + std::chrono::duration<double>(dSeconds); std::chrono::steady_clock::now() < tEnd;) {
    drain();
    std::this_thread::sleep_for(10ms);
  }
  const double dWall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  result.bPlayed = true;
  result.dCpuPercent = (thread.CpuSeconds() - dCpu0) / dWall * 100.0;
  result.dPlayedPercent = 100.0 * static_cast<double>(pNull->SamplesConsumed() - nConsumed0) /
                          static_cast<double>(std::max<std::uint64_t>(1, pNull->ClockSamples() - nClock0));
  thread.SendStop();
  thread.StopThread();
  drain();
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  const double dSeconds = argc > 1 ? std::atof(argv[1]) : 5.0;
  RegisterAllMessages();
  SetLogFilePath({});
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / "vexlor-bench-player";
  std::filesystem::create_directories(folder);

  std::vector<std::filesystem::path> written;
  std::string strError;
  CRecordingDescription demo;
  CWaveFileData data;
  if (!WriteDemoRecording(folder / "demo", written, strError) ||
      !data.GetInformation(written.front(), true, demo)) {
    std::fprintf(stderr, "bench_player: demonstration recording: %s\n", strError.c_str());
    return 1;
  }
  const std::filesystem::path fastPath = folder / "fast.wav";
  CRecordingDescription fast;
  if (!WriteFastRecording(fastPath, dSeconds + 4.0) || !data.GetInformation(fastPath, true, fast)) {
    std::fprintf(stderr, "bench_player: cannot write %s\n", fastPath.c_str());
    return 1;
  }

  struct CCase {
    const char* pszName;
    const CRecordingDescription* pDesc;
    double dFreqHz;
    const char* pszMode;
  };
  const double dFastCentre = fast.m_nCenterFrequency;
  const CCase aCases[] = {
      {"demo 250 kS/s, AM station", &demo, kDemoCenterFreqHz - 60'000.0, "AM"},
      {"demo 250 kS/s, USB tones", &demo, kDemoCenterFreqHz - 20'000.0, "USB"},
      {"demo 250 kS/s, NFM station", &demo, kDemoCenterFreqHz + 40'000.0, "NFM"},
      {"2 MS/s, AM", &fast, dFastCentre - 300'000.0, "AM"},
      {"2 MS/s, USB", &fast, dFastCentre - 300'000.0, "USB"},
      {"2 MS/s, broadcast FM", &fast, dFastCentre + 400'000.0, "BFM"},
  };
  std::printf("Player thread CPU while playing in real time (null device, %.0f s each)\n", dSeconds);
  std::printf("%-32s %12s %14s\n", "case", "% of a core", "played/clock");
  for (const CCase& c : aCases) {
    const CResult r = Measure(*c.pDesc, c.dFreqHz, c.pszMode, dSeconds);
    if (!r.bPlayed) {
      std::printf("%-32s did not play\n", c.pszName);
      continue;
    }
    std::printf("%-32s %11.1f%% %13.1f%%\n", c.pszName, r.dCpuPercent, r.dPlayedPercent);
    std::fflush(stdout);
  }
  std::filesystem::remove_all(folder);
  return 0;
}
