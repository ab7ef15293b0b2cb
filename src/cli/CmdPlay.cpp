// vexlor-cli play: plays one channel of a recording in real time through the sound card (or
// the null device), driving the same player thread and play sequence as the GUI view. The
// playing time and file position are shown on one status line; Ctrl-C stops cleanly, with
// the device closed and a recording completed.

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <strings.h>
#include <thread>

#include "cli/CliOptions.h"
#include "cli/Commands.h"
#include "cli/Interrupt.h"
#include "core/Log.h"
#include "core/SystemTime.h"
#include "dsp/DSPDemodMain.h"
#include "player/PlayerSession.h"

namespace {

using namespace std::chrono_literals;

// A time given as UTC text or as seconds from the recording's start.
bool ParseTime(const CCliOptions& options, const std::string& strName, const std::string& strText,
               const CRecordingDescription& desc, double& dSeconds) {
  return options.ParseRecordingTime(strName, strText, desc.m_tStart, dSeconds);
}

std::string FormatPlayingTime(std::int64_t nSeconds) {
  const char* pszSign = nSeconds < 0 ? "-" : "";
  nSeconds = std::llabs(nSeconds);
  return StrFormat("%s%02lld:%02lld:%02lld", pszSign, static_cast<long long>(nSeconds / 3600),
                   static_cast<long long>(nSeconds / 60 % 60), static_cast<long long>(nSeconds % 60));
}

}  // namespace

int RunPlay(const CliArgs& args) {
  CCliOptions options("play",
                      {"freq", "mode", "start", "seconds", "filter", "volume", "device", "repeat", "record",
                       "centre-freq", "start-time"},
                      {});
  if (!options.Parse(args)) {
    PrintCommandUsage("play", stderr);
    return kExitUsage;
  }
  if (options.Positional().size() != 1 || !options.Has("freq") || !options.Has("mode")) {
    options.Error("needs FILE, --freq and --mode");
    PrintCommandUsage("play", stderr);
    return kExitUsage;
  }
  const std::string strInput = options.Positional()[0];

  int nMode = -1;
  double dFreqHz = 0.0;
  if (!options.GetMode("mode", nMode) || !options.GetFrequency("freq", dFreqHz)) return kExitUsage;
  std::int64_t nVolume = 100;
  if (!options.GetInt64("volume", nVolume)) return kExitUsage;
  if (nVolume < 0 || nVolume > 100) {
    options.Error("--volume must be between 0 and 100");
    return kExitUsage;
  }
  int nLow = 0, nHigh = 0;
  CDSPDemodMain::DefaultPassBand(nMode, 500, nLow, nHigh);
  if (!options.GetPassBand("filter", nLow, nHigh)) return kExitUsage;

  // The device: a number of the playback list, or the null clock.
  EAudioBackendChoice eBackend = EAudioBackendChoice::Auto;
  std::uint32_t nDeviceID = WAVE_MAPPER;
  if (auto d = options.Value("device")) {
    if (strcasecmp(d->c_str(), "null") == 0) {
      eBackend = EAudioBackendChoice::Null;
      nDeviceID = 0;
    } else {
      std::int64_t nID = 0;
      if (!options.GetInt64("device", nID) || nID < 0 || nID > 0xFFFFFFFEll) {
        options.Error("--device must be a Wave ID (see \"vexlor-cli devices\") or null");
        return kExitUsage;
      }
      nDeviceID = static_cast<std::uint32_t>(nID);
    }
  }

  int eRecordFormat = -1;
  std::filesystem::path recordPath;
  if (auto r = options.Value("record")) {
    recordPath = *r;
    std::string strExt = recordPath.extension().string();
    if (strcasecmp(strExt.c_str(), ".wav") == 0) {
      eRecordFormat = AUDIO_RECORD_WAV;
    } else if (strcasecmp(strExt.c_str(), ".mp3") == 0) {
      eRecordFormat = AUDIO_RECORD_MP3;
    } else {
      options.Error("--record: \"" + *r + "\" must end in .wav or .mp3");
      return kExitUsage;
    }
  }

  CRecordingDescription desc;
  if (!options.OpenRecording(strInput, desc)) return kExitFailed;
  if (!options.ApplyRecordingFacts(desc)) return kExitUsage;
  if (eRecordFormat >= 0 && !options.CheckOutput(recordPath.string(), desc)) return kExitFailed;
  const double dDuration = PlayDurationSeconds(desc);
  double dStart = 0.0;
  if (auto s = options.Value("start"); s && !ParseTime(options, "start", *s, desc, dStart)) return kExitUsage;
  if (std::string strError; !CheckPlayRequest(desc, dFreqHz, dStart, strError)) {
    options.Error(strInput + ": " + strError);
    return kExitUsage;
  }
  const double dOffsetHz = dFreqHz - static_cast<double>(desc.m_nCenterFrequency);
  double dSeconds = 0.0;  // 0: to the end
  if (options.Has("seconds")) {
    if (!options.GetDouble("seconds", dSeconds)) return kExitUsage;
    if (!(dSeconds > 0.0)) {
      options.Error("--seconds must be above 0");
      return kExitUsage;
    }
  }
  bool bRepeat = false;
  double dRepeatStart = 0.0, dRepeatEnd = 0.0;
  if (auto r = options.Value("repeat")) {
    if (!options.GetTimeRange("repeat", desc.m_tStart, dRepeatStart, dRepeatEnd)) return kExitUsage;
    if (dRepeatStart < 0.0 || dRepeatStart >= dDuration) {
      options.Error("--repeat: \"" + *r + "\" is not START,END within the recording");
      return kExitUsage;
    }
    bRepeat = true;
    // Play starts where the repeat range does, unless told otherwise.
    if (!options.Has("start")) dStart = dRepeatStart;
  }

  CPlayerSession session(CreateAudioBackend(eBackend));
  CAudioBackend& backend = *session.Thread().AudioOutput().Backend();
  std::string strDeviceName = "Default output";
  for (const CPlaybackDevice& device : SortedPlaybackDevices(backend))
    if (device.m_nDeviceID == nDeviceID) strDeviceName = device.m_strName;
  if (eBackend == EAudioBackendChoice::Auto && std::strcmp(backend.Name(), "Null") == 0)
    std::fprintf(stderr, "vexlor-cli play: no sound card found, playing on the silent null device\n");

  // Error and recording lines also reach the terminal.
  session.SetLogFunction([](const std::string& strLine) {
    LogLine(strLine);
    if (strLine.rfind("Error", 0) == 0 || strLine.rfind("Recording", 0) == 0)
      std::fprintf(stderr, "\r%-78s\n", strLine.c_str());
  });
  if (!session.Start(bRepeat)) {
    std::fprintf(stderr, "vexlor-cli play: the player thread could not be started\n");
    return kExitFailed;
  }
  session.SetTuningOffset(static_cast<int>(dOffsetHz));
  if (bRepeat) session.SetRepeatRange(desc, dRepeatStart, dRepeatEnd);
  if (eRecordFormat >= 0) {
    const std::filesystem::path folder =
        recordPath.has_parent_path() ? recordPath.parent_path() : std::filesystem::path(".");
    session.StartRecording(eRecordFormat, folder.string(), recordPath.filename().string(),
                           {{0, StrFormat("%.0f Hz %s", dFreqHz, CDSPDemodMain::ShortName(nMode))},
                            {1, "Vexlor"},
                            {5, std::filesystem::path(strInput).filename().string()}});
  }

  CPlayerOptions playerOptions;
  playerOptions.m_nOutputID = nDeviceID;
  playerOptions.m_strOutputName = strDeviceName;
  playerOptions.m_strMode = CDSPDemodMain::ShortName(nMode);
  playerOptions.m_nFilterLow = nLow;
  playerOptions.m_nFilterHigh = nHigh;
  playerOptions.m_nAudioLevel = static_cast<int>(nVolume);
  session.SetOptions(playerOptions);
  std::string strMessage;
  if (!session.Play(desc, dStart, false, strMessage)) {
    std::fprintf(stderr, "vexlor-cli play: %s: %s\n", strInput.c_str(), strMessage.c_str());
    return kExitFailed;
  }

  CatchInterrupt();
  const bool bTerminal = isatty(STDERR_FILENO) == 1;
  bool bRecordingFailed = false;

  int nExit = 0;
  bool bStarted = false;
  CPlayerState state;
  // --seconds counts from the first block played.
  auto tPlayStart = std::chrono::steady_clock::now();
  auto tLastStatus = tPlayStart - 1s;
  const auto fileName = [&](const CPlayerState& s) {
    return s.m_nFileIndex < desc.m_astrFileNames.size()
               ? std::filesystem::path(desc.m_astrFileNames[s.m_nFileIndex]).filename().string()
               : std::string();
  };
  const auto noteRecordingFailure = [&](const CPlayerState& s) {
    if (!s.m_bRecordingFailed) return;
    nExit = kExitFailed;
    bRecordingFailed = true;
  };
  while (!Interrupted()) {
    std::this_thread::sleep_for(20ms);
    state = session.State();
    if (state.m_bFileOpenFailed) {
      std::fprintf(stderr, "\rvexlor-cli play: cannot open the recording's file (see %s)\n", LogFilePath().c_str());
      nExit = kExitFailed;
      break;
    }
    noteRecordingFailure(state);
    if (state.m_bEnded) break;
    const auto tNow = std::chrono::steady_clock::now();
    if (!bStarted && state.m_nBlocks > 0) {
      bStarted = true;
      tPlayStart = tNow;
      if (state.m_bDeviceFailed) {
        std::fprintf(stderr, "\rvexlor-cli play: the audio device %s could not be opened\n", strDeviceName.c_str());
        nExit = kExitFailed;
        break;
      }
    }
    if (dSeconds > 0.0 && bStarted && std::chrono::duration<double>(tNow - tPlayStart).count() >= dSeconds) break;
    if (bTerminal && tNow - tLastStatus >= 250ms) {
      tLastStatus = tNow;
      if (!bStarted)
        std::fprintf(stderr, "\r  Starting ...");
      else
        std::fprintf(stderr, "\r  Playing %s  %s + %u bytes  %s      ", FormatPlayingTime(state.m_nPlayingSeconds).c_str(),
                     fileName(state).c_str(), state.m_nPosition,
                     state.m_eRecording == RECORDING_STARTED ? "[recording]" : "");
      std::fflush(stderr);
    }
  }
  // What the device still holds plays out (about 0.1 s) unless interrupted.
  if (state.m_bEnded && nExit == 0) {
    const auto tDrain = std::chrono::steady_clock::now() + 2s;
    while (!Interrupted() && session.Thread().QueuedAudioBuffers() > 1 && std::chrono::steady_clock::now() < tDrain)
      std::this_thread::sleep_for(10ms);
  }
  ReleaseInterrupt();
  session.Shutdown();
  state = session.State();
  noteRecordingFailure(state);
  std::fprintf(stderr, "%s  Played %s  %s + %u bytes%s%-20s\n", bTerminal ? "\r" : "",
               FormatPlayingTime(state.m_nPlayingSeconds).c_str(), fileName(state).c_str(), state.m_nPosition,
               Interrupted() ? " (interrupted)" : "", "");
  if (eRecordFormat >= 0) {
    if (bRecordingFailed)
      std::fprintf(stderr, "  Recording to %s failed (see %s)\n", recordPath.c_str(), LogFilePath().c_str());
    else
      std::fprintf(stderr, "  Recorded to %s\n", recordPath.c_str());
  }
  if (nExit == 0 && Interrupted()) nExit = kExitInterrupted;
  return nExit;
}
