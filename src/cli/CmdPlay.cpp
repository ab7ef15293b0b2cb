// vexlor-cli play: plays one channel of a recording in real time through the sound card (or
// the null device), driving the same player thread and play sequence as the GUI view. The
// playing time and file position are shown on one status line; Ctrl-C stops cleanly, with
// the device closed and a recording completed.

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
#include "core/Log.h"
#include "core/SystemTime.h"
#include "dsp/DSPDemodMain.h"
#include "player/PlayerSession.h"

namespace {

using namespace std::chrono_literals;

std::atomic<bool> g_bInterrupted{false};

void OnInterrupt(int) { g_bInterrupted = true; }

void PrintUsage() {
  std::fprintf(stderr,
               "usage: vexlor-cli play FILE --freq HZ --mode NAME [--start TIME] [--seconds S]\n"
               "                        [--filter LO,HI] [--volume 0..100] [--device ID|null]\n"
               "                        [--repeat START,END] [--record OUT.wav|OUT.mp3]\n"
               "  --start    \"YYYY-MM-DD HH:MM:SS\" (UTC) or seconds from the start of the recording\n"
               "  --seconds  how long to play (default: to the end of the recording)\n"
               "  --filter   pass-band edges in Hz (default: suited to the mode)\n"
               "  --volume   output level in percent (default 100)\n"
               "  --device   a Wave ID of \"vexlor-cli devices\", or null for the silent 48 kHz clock\n"
               "             (default: the system's default output; the null device without a sound card)\n"
               "  --repeat   play START..END (seconds from the start of the recording) over and over\n"
               "  --record   also record the played audio to a WAV or MP3 file\n");
}

bool ParsePair(const std::string& strText, std::string& strFirst, std::string& strSecond) {
  const auto nComma = strText.find(',');
  if (nComma == std::string::npos) return false;
  strFirst = strText.substr(0, nComma);
  strSecond = strText.substr(nComma + 1);
  return !strFirst.empty() && !strSecond.empty();
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
                      {"freq", "mode", "start", "seconds", "filter", "volume", "device", "repeat", "record"}, {});
  if (!options.Parse(args)) {
    PrintUsage();
    return 2;
  }
  if (options.Positional().size() != 1 || !options.Has("freq") || !options.Has("mode")) {
    options.Error("needs FILE, --freq and --mode");
    PrintUsage();
    return 2;
  }
  const std::string strInput = options.Positional()[0];

  int nMode = -1;
  if (!options.GetMode("mode", nMode)) return 1;
  double dFreqHz = 0.0;
  if (!options.GetDouble("freq", dFreqHz)) return 1;
  std::int64_t nVolume = 100;
  if (!options.GetInt64("volume", nVolume)) return 1;
  if (nVolume < 0 || nVolume > 100) {
    options.Error("--volume must be between 0 and 100");
    return 1;
  }
  int nLow = 0, nHigh = 0;
  CDSPDemodMain::DefaultPassBand(nMode, 500, nLow, nHigh);
  if (!options.GetPassBand("filter", nLow, nHigh)) return 1;

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
        return 1;
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
      return 1;
    }
  }

  CRecordingDescription desc;
  if (!options.OpenRecording(strInput, desc)) return 1;
  const double dDuration = PlayDurationSeconds(desc);
  double dStart = 0.0;
  if (auto s = options.Value("start"); s && !options.ParseRecordingTime("start", *s, desc.m_tStart, dStart)) return 1;
  if (std::string strError; !CheckPlayRequest(desc, dFreqHz, dStart, strError)) {
    options.Error(strInput + ": " + strError);
    return 1;
  }
  const double dOffsetHz = dFreqHz - static_cast<double>(desc.m_nCenterFrequency);
  double dSeconds = 0.0;  // 0: to the end
  if (options.Has("seconds")) {
    if (!options.GetDouble("seconds", dSeconds)) return 1;
    if (!(dSeconds > 0.0)) {
      options.Error("--seconds must be above 0");
      return 1;
    }
  }
  bool bRepeat = false;
  double dRepeatStart = 0.0, dRepeatEnd = 0.0;
  if (auto r = options.Value("repeat")) {
    std::string a, b;
    if (!ParsePair(*r, a, b) || !options.ParseRecordingTime("repeat", a, desc.m_tStart, dRepeatStart) ||
        !options.ParseRecordingTime("repeat", b, desc.m_tStart, dRepeatEnd) || dRepeatStart < 0.0 || dRepeatEnd <= dRepeatStart ||
        dRepeatStart >= dDuration) {
      options.Error("--repeat: \"" + *r + "\" is not START,END within the recording");
      return 1;
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
    return 1;
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
    return 1;
  }

  g_bInterrupted = false;
  struct sigaction action {};
  action.sa_handler = OnInterrupt;
  struct sigaction previous {};
  sigaction(SIGINT, &action, &previous);

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
  while (!g_bInterrupted.load()) {
    std::this_thread::sleep_for(20ms);
    state = session.State();
    if (state.m_bFileOpenFailed) {
      std::fprintf(stderr, "\rvexlor-cli play: cannot open the recording's file (see the log)\n");
      nExit = 1;
      break;
    }
    if (state.m_bRecordingFailed) nExit = 1;
    if (state.m_bEnded) break;
    const auto tNow = std::chrono::steady_clock::now();
    if (!bStarted && state.m_nBlocks > 0) {
      bStarted = true;
      tPlayStart = tNow;
      if (state.m_bDeviceFailed) {
        std::fprintf(stderr, "\rvexlor-cli play: the audio device %s could not be opened\n", strDeviceName.c_str());
        nExit = 1;
        break;
      }
    }
    if (dSeconds > 0.0 && bStarted && std::chrono::duration<double>(tNow - tPlayStart).count() >= dSeconds) break;
    if (tNow - tLastStatus >= 250ms) {
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
    while (!g_bInterrupted.load() && session.Thread().QueuedAudioBuffers() > 1 &&
           std::chrono::steady_clock::now() < tDrain)
      std::this_thread::sleep_for(10ms);
  }
  sigaction(SIGINT, &previous, nullptr);
  session.Shutdown();
  state = session.State();
  if (state.m_bRecordingFailed) nExit = 1;
  std::fprintf(stderr, "\r  Played %s  %s + %u bytes%s%-20s\n", FormatPlayingTime(state.m_nPlayingSeconds).c_str(),
               fileName(state).c_str(), state.m_nPosition, g_bInterrupted.load() ? " (interrupted)" : "", "");
  if (eRecordFormat >= 0) std::fprintf(stderr, "  Recorded to %s\n", recordPath.c_str());
  return nExit;
}
