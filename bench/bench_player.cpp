// Player thread CPU: the share of one core that the "Demod" thread uses while it plays in
// real time through the null audio device (reading, conversion, display FFT, demodulation,
// audio out), for the demonstration recording (250 000 samples/s) and for a 2 000 000
// samples/s recording in AM, USB and broadcast FM. The target is below 10 % of one core for
// every mode at 2 000 000 samples/s.
//
// Then the start of play and mode changes, through the player session as front ends drive
// it: launch-to-first-audio of a fresh process (this program run again) without wisdom and
// with the wisdom the first run left, and the longest stretch of silence the null device
// saw across five mode changes during play of the 2 000 000 samples/s recording.
//
// usage: bench_player [SECONDS]   (measuring time per case, default 5)

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
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
#include "player/PlayerSession.h"
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

std::int64_t MonotonicNs() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// The child run: plays the recording in a fresh process and prints the milliseconds from
// the parent's launch (tLaunchNs, steady clock) to the first sample the device took.
int RunFirstAudioChild(const char* pszRecording, std::int64_t tLaunchNs) {
  SetLogFilePath({});
  CRecordingDescription desc;
  CWaveFileData data;
  if (!data.GetInformation(pszRecording, true, desc)) return 1;
  auto pNull = std::make_shared<CNullAudioBackend>();
  CPlayerSession session(pNull);
  session.SetLogFunction([](const std::string&) {});
  CPlayerOptions options;
  options.m_nOutputID = 0;
  options.m_strOutputName = "Null";
  options.m_strMode = "AM";
  session.SetOptions(options);
  session.SetTuningOffset(-300'000);
  std::string strMessage;
  if (!session.Start() || !session.Play(desc, 0.0, false, strMessage)) return 1;
  while (pNull->SamplesConsumed() == 0) std::this_thread::sleep_for(std::chrono::microseconds(200));
  std::printf("%.1f\n", static_cast<double>(MonotonicNs() - tLaunchNs) / 1e6);
  session.Shutdown();
  return 0;
}

// Runs this program as a child with the given data folder; the milliseconds it printed.
double LaunchToFirstAudio(const char* pszSelf, const std::filesystem::path& recording,
                          const std::filesystem::path& dataFolder) {
  int fds[2];
  if (pipe(fds) != 0) return -1.0;
  const std::string strLaunch = std::to_string(MonotonicNs());
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(fds[1], STDOUT_FILENO);
    close(fds[0]);
    setenv("XDG_DATA_HOME", dataFolder.c_str(), 1);
    execl(pszSelf, pszSelf, "--first-audio", recording.c_str(), strLaunch.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  close(fds[1]);
  char buffer[64] = {};
  const ssize_t n = read(fds[0], buffer, sizeof buffer - 1);
  close(fds[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  return n > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0 ? std::atof(buffer) : -1.0;
}

// Plays the recording and changes the mode five times, a second apart: the longest silence
// (clock time without audio) in the second after a change, in milliseconds.
double LongestModeChangeGap(const CRecordingDescription& desc, double dFreqHz) {
  auto pNull = std::make_shared<CNullAudioBackend>();
  CPlayerSession session(pNull);
  session.SetLogFunction([](const std::string&) {});
  CPlayerOptions options;
  options.m_nOutputID = 0;
  options.m_strOutputName = "Null";
  options.m_strMode = "AM";
  session.SetOptions(options);
  session.SetTuningOffset(static_cast<int>(dFreqHz - desc.m_nCenterFrequency));
  std::string strMessage;
  if (!session.Start(true) || !session.Play(desc, 0.0, false, strMessage)) return -1.0;
  const auto silence = [&] { return static_cast<double>(pNull->ClockSamples() - pNull->SamplesConsumed()); };
  std::this_thread::sleep_for(1s);
  double dLongest = 0.0;
  for (const char* pszMode : {"USB", "LSB", "BFM", "NFM", "AM"}) {
    const int nMode = PlayerModeNumber(pszMode);
    int nLow = 0, nHigh = 0;
    CDSPDemodMain::DefaultPassBand(nMode, 500, nLow, nHigh);
    const double dBefore = silence();
    session.SetMode(nMode);
    session.SetPassBand(nLow, nHigh);
    std::this_thread::sleep_for(1s);
    dLongest = std::max(dLongest, silence() - dBefore);
  }
  session.Shutdown();
  return dLongest / CNullAudioBackend::kSampleRate * 1000.0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "--first-audio") == 0)
    return RunFirstAudioChild(argv[2], std::atoll(argv[3]));
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

  const std::filesystem::path dataFolder = folder / "data";
  std::filesystem::remove_all(dataFolder);
  std::printf("\nLaunch to first audio, a fresh process playing the 2 MS/s recording in AM\n");
  std::printf("  without wisdom: %8.1f ms\n", LaunchToFirstAudio(argv[0], fastPath, dataFolder));
  for (int i = 0; i < 3; ++i)
    std::printf("  with wisdom:    %8.1f ms\n", LaunchToFirstAudio(argv[0], fastPath, dataFolder));
  std::printf("Longest silence across five mode changes during play: %.1f ms\n",
              LongestModeChangeGap(fast, dFastCentre - 300'000.0));
  std::filesystem::remove_all(folder);
  return 0;
}
