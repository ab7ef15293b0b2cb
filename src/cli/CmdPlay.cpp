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

#include "cli/CliOptions.h"
#include "cli/Commands.h"
#include "core/Log.h"
#include "core/MessageQueue.h"
#include "core/RegisteredMessages.h"
#include "core/SystemTime.h"
#include "dsp/DSPDemodMain.h"
#include "player/DemodBackgroundThread.h"
#include "player/PlayerControl.h"
#include "recording/WaveFileData.h"

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

// A time given as UTC text or as seconds from the recording's start.
bool ParseTime(const CCliOptions& options, const std::string& strName, const std::string& strText,
               const CRecordingDescription& desc, double& dSeconds) {
  if (strText.find('-') != std::string::npos || strText.find(':') != std::string::npos) {
    std::int64_t tUtc = 0;
    if (!ParseUtcSeconds(strText, tUtc)) {
      options.Error("--" + strName + ": \"" + strText + "\" is not \"YYYY-MM-DD HH:MM:SS\" or seconds");
      return false;
    }
    dSeconds = static_cast<double>(tUtc - desc.m_tStart);
    return true;
  }
  char* pEnd = nullptr;
  dSeconds = std::strtod(strText.c_str(), &pEnd);
  if (pEnd == strText.c_str() || *pEnd != '\0') {
    options.Error("--" + strName + ": \"" + strText + "\" is not a time");
    return false;
  }
  return true;
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

  const std::string strMode = *options.Value("mode");
  int nMode = CDSPDemodMain::ModeFromName(strMode);
  if (nMode < 0 && strcasecmp(strMode.c_str(), "cw") == 0) nMode = eDemodCWU;
  if (nMode < 0) {
    options.Error("unknown mode \"" + strMode + "\"");
    return 1;
  }
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
  if (auto f = options.Value("filter")) {
    std::string a, b;
    char* pEndA = nullptr;
    char* pEndB = nullptr;
    const long nA = ParsePair(*f, a, b) ? std::strtol(a.c_str(), &pEndA, 10) : -1;
    const long nB = pEndA ? std::strtol(b.c_str(), &pEndB, 10) : -1;
    if (!pEndA || !pEndB || *pEndA || *pEndB || nA < 0 || nB < 0 || (nA == 0 && nB == 0) || nA > 10'000'000 ||
        nB > 10'000'000) {
      options.Error("--filter: \"" + *f + "\" is not LO,HI in Hz");
      return 1;
    }
    nLow = static_cast<int>(std::min(nA, nB));
    nHigh = static_cast<int>(std::max(nA, nB));
  }

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
  CWaveFileData data;
  if (!data.GetInformation(strInput, true, desc) || !desc.m_bValid || desc.m_nFiles == 0) {
    options.Error(strInput + ": " + (data.FailureText().empty() ? "not a recording" : data.FailureText()));
    return 1;
  }
  const std::uint32_t nRate = desc.m_nFmtSampleRate ? desc.m_nFmtSampleRate : desc.m_nSampleRate;
  if (nRate == 0 || desc.m_nBitsPerSample == 0) {
    options.Error(strInput + ": the recording has no sample rate");
    return 1;
  }
  const double dOffsetHz = dFreqHz - static_cast<double>(desc.m_nCenterFrequency);
  if (std::abs(dOffsetHz) >= nRate / 2.0) {
    options.Error(StrFormat("%.0f Hz is outside the recording's band (%.0f .. %.0f Hz)", dFreqHz,
                            desc.m_nCenterFrequency - nRate / 2.0, desc.m_nCenterFrequency + nRate / 2.0));
    return 1;
  }
  const double dFrameBytes = desc.m_nBitsPerSample / 8 * 2.0;
  const double dDuration = static_cast<double>(desc.TotalBytes()) / dFrameBytes / nRate;
  double dStart = 0.0;
  if (auto s = options.Value("start")) {
    if (!ParseTime(options, "start", *s, desc, dStart)) return 1;
    if (dStart < 0.0 || dStart >= dDuration) {
      options.Error(StrFormat("--start is outside the recording (0 .. %.1f s)", dDuration));
      return 1;
    }
  }
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
    if (!ParsePair(*r, a, b) || !ParseTime(options, "repeat", a, desc, dRepeatStart) ||
        !ParseTime(options, "repeat", b, desc, dRepeatEnd) || dRepeatStart < 0.0 || dRepeatEnd <= dRepeatStart ||
        dRepeatStart >= dDuration) {
      options.Error("--repeat: \"" + *r + "\" is not START,END within the recording");
      return 1;
    }
    bRepeat = true;
    // Play starts where the repeat range does, unless told otherwise.
    if (!options.Has("start")) dStart = dRepeatStart;
  }

  CMessageQueue mainFrame;
  CMessageQueue view;
  CDemodBackgroundThread thread(CreateAudioBackend(eBackend));
  const std::vector<CPlaybackDevice> aDevices = SortedPlaybackDevices(*thread.AudioOutput().Backend());
  std::string strDeviceName = "Default output";
  for (const CPlaybackDevice& device : aDevices)
    if (device.m_nDeviceID == nDeviceID) strDeviceName = device.m_strName;
  if (eBackend == EAudioBackendChoice::Auto && std::strcmp(thread.AudioOutput().Backend()->Name(), "Null") == 0)
    std::fprintf(stderr, "vexlor-cli play: no sound card found, playing on the silent null device\n");

  const auto log = [](const std::string& strLine) { LogLine(strLine); };
  if (!StartPlayerThread(thread, &mainFrame, bRepeat)) {
    std::fprintf(stderr, "vexlor-cli play: the player thread could not be started\n");
    return 1;
  }
  thread.SendTuningOffset(static_cast<int>(dOffsetHz));
  if (bRepeat) SetPlayerRepeatRange(thread, desc, dRepeatStart, dRepeatEnd, log);
  if (eRecordFormat >= 0) {
    thread.SendRecordingMetadata(0, StrFormat("%.0f Hz %s", dFreqHz, CDSPDemodMain::ShortName(nMode)));
    thread.SendRecordingMetadata(1, "Vexlor");
    thread.SendRecordingMetadata(5, std::filesystem::path(strInput).filename().string());
    const std::filesystem::path folder =
        recordPath.has_parent_path() ? recordPath.parent_path() : std::filesystem::path(".");
    thread.SendStartRecording(&view, eRecordFormat, folder.string(), recordPath.filename().string());
  }

  CPlayerOptions playerOptions;
  playerOptions.m_nOutputID = nDeviceID;
  playerOptions.m_strOutputName = strDeviceName;
  playerOptions.m_strMode = CDSPDemodMain::ShortName(nMode);
  playerOptions.m_nFilterLow = nLow;
  playerOptions.m_nFilterHigh = nHigh;
  playerOptions.m_nAudioLevel = static_cast<int>(nVolume);
  std::string strMessage;
  if (!StartPlay(thread, desc, dStart, false, playerOptions, &view, 0, log, strMessage)) {
    std::fprintf(stderr, "vexlor-cli play: %s: %s\n", strInput.c_str(), strMessage.c_str());
    return 1;
  }

  g_bInterrupted = false;
  struct sigaction action {};
  action.sa_handler = OnInterrupt;
  struct sigaction previous {};
  sigaction(SIGINT, &action, &previous);

  int nExit = 0;
  bool bEnded = false;
  bool bDeviceChecked = false;
  std::int32_t nPlayingSeconds = 0;
  std::string strFile;
  std::uint32_t nPosition = 0;
  // --seconds counts from the first block played: setting the chain up may take a moment.
  auto tPlayStart = std::chrono::steady_clock::now();
  auto tLastStatus = tPlayStart - 1s;
  const auto handleLog = [&](CMessage& msg) {
    if (auto p = msg.TakePayload<CValuePayload<std::string>>()) {
      LogLine(p->value);
      if (p->value.rfind("Error", 0) == 0 || p->value.rfind("Recording", 0) == 0)
        std::fprintf(stderr, "\r%-78s\n", p->value.c_str());
    }
  };
  const auto handleView = [&](CMessage& msg) {
    if (msg.nMsg == RegMsgSDR::nMsgDemodFFTOutput) {
      auto p = msg.TakePayload<CValuePayload<std::vector<float>>>();
      if (!p && msg.wParam == 0 && msg.lParam == 0) bEnded = true;
      if (p && p->value.size() > 4) std::memcpy(&nPlayingSeconds, &p->value[4], sizeof nPlayingSeconds);
    } else if (msg.nMsg == RegMsgSDR::nMsgDemodFilePosn) {
      const std::size_t nIndex = static_cast<std::size_t>(msg.wParam);
      if (nIndex < desc.m_astrFileNames.size())
        strFile = std::filesystem::path(desc.m_astrFileNames[nIndex]).filename().string();
      nPosition = static_cast<std::uint32_t>(msg.lParam);
    } else if (msg.nMsg == RegMsgSDR::nMsgDemodFileOpen && msg.lParam == 0) {
      std::fprintf(stderr, "\rvexlor-cli play: cannot open the recording's file (see the log)\n");
      nExit = 1;
      bEnded = true;
    } else if (msg.nMsg == RegMsgSDR::nMsgRecordingStatus) {
      if (msg.wParam == RECORDING_FAILED_TO_START || msg.wParam == RECORDING_ENDED_BY_ERROR) nExit = 1;
    }
  };

  while (!bEnded && !g_bInterrupted.load()) {
    if (auto msg = view.Wait(50ms)) handleView(*msg);
    view.PumpPending(handleView);
    mainFrame.PumpPending(handleLog);
    const auto tNow = std::chrono::steady_clock::now();
    if (!bDeviceChecked && thread.BlocksProcessed() > 0) {
      bDeviceChecked = true;
      tPlayStart = tNow;
      if (!thread.IsAudioOpen()) {
        std::fprintf(stderr, "\rvexlor-cli play: the audio device %s could not be opened\n", strDeviceName.c_str());
        nExit = 1;
        break;
      }
    }
    if (dSeconds > 0.0 && bDeviceChecked && std::chrono::duration<double>(tNow - tPlayStart).count() >= dSeconds)
      break;
    if (tNow - tLastStatus >= 250ms) {
      tLastStatus = tNow;
      if (!bDeviceChecked)
        std::fprintf(stderr, "\r  Starting ...");
      else
        std::fprintf(stderr, "\r  Playing %s  %s + %u bytes  %s      ", FormatPlayingTime(nPlayingSeconds).c_str(),
                     strFile.c_str(), nPosition, thread.IsRecording() ? "[recording]" : "");
      std::fflush(stderr);
    }
  }
  // What the device still holds plays out (about 0.1 s) unless interrupted.
  if (bEnded && nExit == 0) {
    const auto tDrain = std::chrono::steady_clock::now() + 2s;
    while (!g_bInterrupted.load() && thread.QueuedAudioBuffers() > 1 && std::chrono::steady_clock::now() < tDrain)
      std::this_thread::sleep_for(10ms);
  }
  sigaction(SIGINT, &previous, nullptr);

  thread.SendStopRecording();
  thread.SendStop();
  thread.WaitUntilIdle(2000);
  thread.StopThread();
  thread.AudioOutput().Close();
  view.PumpPending(handleView);
  mainFrame.PumpPending(handleLog);
  std::fprintf(stderr, "\r  Played %s  %s + %u bytes%s%-20s\n", FormatPlayingTime(nPlayingSeconds).c_str(),
               strFile.c_str(), nPosition, g_bInterrupted.load() ? " (interrupted)" : "", "");
  if (eRecordFormat >= 0) std::fprintf(stderr, "  Recorded to %s\n", recordPath.c_str());
  return nExit;
}
