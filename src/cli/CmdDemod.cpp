// vexlor-cli demod: offline demodulation of one channel of a recording into a 48 kHz 16-bit
// mono WAV file, through the same chain the player uses, as fast as the machine allows.
// A progress line goes to stderr on a terminal; Ctrl-C ends the run with a valid WAV file of
// what was demodulated.

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "cli/CliOptions.h"
#include "cli/Commands.h"
#include "cli/Interrupt.h"
#include "core/Log.h"
#include "dsp/DSPDemodMain.h"
#include "player/OfflineDemodulator.h"
#include "recording/RecordingDescription.h"

namespace {

int UsageError(const CCliOptions& options, const std::string& strMessage) {
  options.Error(strMessage);
  PrintCommandUsage("demod", stderr);
  return kExitUsage;
}

}  // namespace

int RunDemod(const CliArgs& args) {
  CCliOptions options("demod", {"freq", "mode", "start", "seconds", "filter", "nr", "squelch", "o", "centre-freq",
                                "start-time"},
                      {"nb"});
  if (!options.Parse(args)) {
    PrintCommandUsage("demod", stderr);
    return kExitUsage;
  }
  if (options.Positional().size() != 1 || !options.Has("o") || !options.Has("freq") || !options.Has("mode"))
    return UsageError(options, "needs FILE, --freq, --mode and -o");
  const std::string input = options.Positional()[0];
  const std::string output = options.Value("o").value_or("");
  const bool bToStdout = output.compare("-") == 0;

  COfflineDemodSettings settings;
  if (!options.GetMode("mode", settings.m_nMode) || !options.GetFrequency("freq", settings.m_dFrequencyHz))
    return kExitUsage;
  std::int64_t nr = 0;
  if (!options.GetInt64("nr", nr)) return kExitUsage;
  if (nr < 0 || nr > 3) return UsageError(options, "--nr must be 0, 1, 2 or 3");
  settings.m_nNoiseReduction = static_cast<int>(nr);
  std::int64_t squelch = -1;
  if (!options.GetInt64("squelch", squelch)) return kExitUsage;
  if (options.Has("squelch") && (squelch < 0 || squelch > 100))
    return UsageError(options, "--squelch must be between 0 and 100");
  settings.m_nSquelch = static_cast<int>(squelch);
  settings.m_bNoiseBlanker = options.Has("nb");
  settings.m_bDefaultPassBand = !options.Has("filter");
  if (!options.GetPassBand("filter", settings.m_nFilterLow, settings.m_nFilterHigh)) return kExitUsage;
  if (options.Has("seconds")) {
    if (!options.GetDouble("seconds", settings.m_dSeconds)) return kExitUsage;
    if (!(settings.m_dSeconds > 0.0)) return UsageError(options, "--seconds must be above 0");
  }

  CRecordingDescription desc;
  if (!options.OpenRecording(input, desc)) return kExitFailed;
  if (!options.ApplyRecordingFacts(desc)) return kExitUsage;
  if (auto s = options.Value("start"); s && !options.ParseRecordingTime("start", *s, desc.m_tStart,
                                                                         settings.m_dStartSeconds))
    return kExitUsage;
  std::string error;
  if (!COfflineDemodulator::Check(desc, settings, error)) {
    options.Error(input + ": " + error);
    return kExitUsage;
  }
  if (!bToStdout && !options.CheckOutput(output, desc)) return kExitFailed;

  // Progress on a terminal only, redrawn at most four times a second.
  const bool bTerminal = isatty(STDERR_FILENO) == 1;
  auto tLast = std::chrono::steady_clock::now();
  COfflineDemodControl control;
  control.m_pStop = &InterruptFlag();
  if (bTerminal) {
    control.m_progress = [&](double dFraction) {
      const auto tNow = std::chrono::steady_clock::now();
      if (tNow - tLast < std::chrono::milliseconds(250)) return;
      tLast = tNow;
      std::fprintf(stderr, "\r%5.1f %%  ", 100.0 * dFraction);
      std::fflush(stderr);
    };
  }
  CatchInterrupt();
  COfflineDemodResult result;
  const bool bOk = COfflineDemodulator::RunToWav(desc, settings, output, result, error, control);
  ReleaseInterrupt();
  if (bTerminal) std::fprintf(stderr, "\r%12s\r", "");
  if (!bOk) {
    options.Error(error.rfind(output, 0) == 0 || bToStdout ? error : input + ": " + error);
    return kExitFailed;
  }
  // With the audio on standard output the report goes to stderr.
  FILE* report = bToStdout ? stderr : stdout;
  std::fprintf(report, "%s: %s at %.0f Hz (offset %+.0f Hz, pass band %d..%d Hz), %.2f s of recording from %.2f s\n",
               bToStdout ? "standard output" : output.c_str(), CDSPDemodMain::LongName(settings.m_nMode),
               settings.m_dFrequencyHz, result.m_dOffsetHz, result.m_nFilterLow, result.m_nFilterHigh,
               result.m_dInputSeconds, settings.m_dStartSeconds);
  std::fprintf(report, "wrote %llu samples (%.2f s at 48000 Hz); demodulation %.1fx real time on one core (%.2f s wall)%s\n",
               static_cast<unsigned long long>(result.m_nSamplesOut), result.m_nSamplesOut / 48000.0,
               result.m_dCpuSeconds > 0.0 ? result.m_dInputSeconds / result.m_dCpuSeconds : 0.0,
               result.m_dWallSeconds, result.m_bStopped ? "; interrupted" : "");
  return result.m_bStopped ? kExitInterrupted : kExitOk;
}
