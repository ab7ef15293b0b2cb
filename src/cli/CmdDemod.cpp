// vexlor-cli demod: offline demodulation of one channel of a recording into a 48 kHz 16-bit
// mono WAV file, through the same chain the player uses, as fast as the machine allows.

#include <cstdio>
#include <string>

#include "cli/CliOptions.h"
#include "cli/Commands.h"
#include "core/Log.h"
#include "dsp/DSPDemodMain.h"
#include "player/OfflineDemodulator.h"
#include "recording/RecordingDescription.h"

namespace {

void PrintUsage() {
  std::fprintf(stderr,
               "usage: vexlor-cli demod FILE --freq HZ --mode NAME [--start TIME] [--seconds S]\n"
               "                         [--filter LO,HI] [--nr 0..3] [--nb] [--squelch LEVEL] -o OUT.wav\n"
               "  --start    \"YYYY-MM-DD HH:MM:SS\" (UTC) or seconds from the start of the recording\n"
               "  --seconds  how much to demodulate (default: to the end)\n"
               "  --filter   pass-band edges in Hz (default: suited to the mode)\n"
               "  --nr       noise reduction: 0 off, 1 Ephraim-Malah, 2 FIR LMS, 3 spectral subtraction\n"
               "  --nb       noise blanker\n"
               "  --squelch  squelch level 0..100\n");
}

}  // namespace

int RunDemod(const CliArgs& args) {
  CCliOptions options("demod", {"freq", "mode", "start", "seconds", "filter", "nr", "squelch", "o"}, {"nb"});
  if (!options.Parse(args)) {
    PrintUsage();
    return 2;
  }
  if (options.Positional().size() != 1 || !options.Has("o") || !options.Has("freq") || !options.Has("mode")) {
    options.Error("needs FILE, --freq, --mode and -o");
    PrintUsage();
    return 2;
  }
  const std::string input = options.Positional()[0];
  const std::string output = *options.Value("o");

  COfflineDemodSettings settings;
  if (!options.GetMode("mode", settings.m_nMode)) return 1;
  if (!options.GetDouble("freq", settings.m_dFrequencyHz)) return 1;
  std::int64_t nr = 0;
  if (!options.GetInt64("nr", nr)) return 1;
  if (nr < 0 || nr > 3) {
    options.Error("--nr must be 0, 1, 2 or 3");
    return 1;
  }
  settings.m_nNoiseReduction = static_cast<int>(nr);
  std::int64_t squelch = -1;
  if (!options.GetInt64("squelch", squelch)) return 1;
  if (options.Has("squelch") && (squelch < 0 || squelch > 100)) {
    options.Error("--squelch must be between 0 and 100");
    return 1;
  }
  settings.m_nSquelch = static_cast<int>(squelch);
  settings.m_bNoiseBlanker = options.Has("nb");
  settings.m_bDefaultPassBand = !options.Has("filter");
  if (!options.GetPassBand("filter", settings.m_nFilterLow, settings.m_nFilterHigh)) return 1;

  CRecordingDescription desc;
  if (!options.OpenRecording(input, desc)) return 1;
  if (auto s = options.Value("start"); s && !options.ParseRecordingTime("start", *s, desc.m_tStart,
                                                                         settings.m_dStartSeconds))
    return 1;
  if (options.Has("seconds")) {
    if (!options.GetDouble("seconds", settings.m_dSeconds)) return 1;
    if (!(settings.m_dSeconds > 0.0)) {
      options.Error("--seconds must be above 0");
      return 1;
    }
  }

  COfflineDemodResult result;
  std::string error;
  if (!COfflineDemodulator::RunToWav(desc, settings, output, result, error)) {
    options.Error(error.rfind(output, 0) == 0 ? error : input + ": " + error);
    return 1;
  }
  std::printf("%s: %s at %.0f Hz (offset %+.0f Hz, pass band %d..%d Hz), %.2f s of recording from %.2f s\n",
              output.c_str(), CDSPDemodMain::LongName(settings.m_nMode), settings.m_dFrequencyHz, result.m_dOffsetHz,
              result.m_nFilterLow, result.m_nFilterHigh, result.m_dInputSeconds, settings.m_dStartSeconds);
  std::printf("wrote %llu samples (%.2f s at 48000 Hz); demodulation %.1fx real time on one core (%.2f s wall)\n",
              static_cast<unsigned long long>(result.m_nSamplesOut), result.m_nSamplesOut / 48000.0,
              result.m_dCpuSeconds > 0.0 ? result.m_dInputSeconds / result.m_dCpuSeconds : 0.0,
              result.m_dWallSeconds);
  return 0;
}
