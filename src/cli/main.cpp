// vexlor-cli: the analysis engine without a display.

#include <cstdio>
#include <cstring>
#include <string>

#include "cli/Commands.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "core/RegisteredMessages.h"
#include "dsp/DSPDemodMain.h"

namespace {

constexpr const char* kFrequencyForms = "HZ: 7100000, 7100k, 7.1M, with or without Hz";
constexpr const char* kTimeForms =
    "TIME: \"YYYY-MM-DD HH:MM:SS\" or \"YYYY-MM-DDTHH:MM:SSZ\" (UTC), or seconds from the start of the recording";

struct Command {
  const char* name;
  int (*run)(const CliArgs&);
  const char* synopsis;
  const char* usage;  // the options, one per line
};

const Command kCommands[] = {
    {"info", RunInfo, "info FILE [--json]             describe the recording FILE belongs to",
     "usage: vexlor-cli info FILE [--json]\n"
     "  --json   every field of the recording description as JSON\n"},
    {"demo", RunDemo, "demo DIR                       write the demonstration recording into DIR",
     "usage: vexlor-cli demo DIR\n"
     "  writes a short multi-file recording with known signals into the folder DIR\n"},
    {"analyse", RunAnalyse, "analyse FILE [options]         analyse a recording into a project and/or PNG",
     "usage: vexlor-cli analyse FILE [--project P.xml] [--image I.png] [options]\n"
     "  --fft N            FFT size, a power of two (default: one giving about 1000-4000 rows)\n"
     "  --overlap PERCENT  0..99 (default 0)\n"
     "  --window NAME      default, bartlett, blackman-std, blackman-opt, hamming, hann, none\n"
     "  --centre HZ        centre of the band to analyse (also --center)\n"
     "  --bandwidth HZ     width of the band (at most the recording's)\n"
     "  --start TIME       first moment to analyse; --end TIME the last\n"
     "  --width W|full     picture width in pixels (default 5000); full: one column per bin\n"
     "  --height H|full    picture of the first H rows (default full); a note says when rows are left out\n"
     "  --fit-height H     the whole recording in H pixel rows, each the maximum of its rows\n"
     "  --swap-iq          exchange I and Q\n"
     "  --threads M        FFT threads\n"
     "  --hint fast|best   FFT planning for this run only\n"
     "  --centre-freq HZ   the recording's true centre frequency, when its files do not say\n"
     "  --start-time TIME  the recording's true start (UTC), when its files do not say\n"
     "  --palette 0..4|NAME, --scale auto|LO,HI (dB, LO below HI), --contrast 0..100 (automatic\n"
     "                     scale only: how far the colours spread around the median level)\n"},
    {"render", RunRender, "render P.xml --image I.png     redraw a saved project",
     "usage: vexlor-cli render P.xml --image I.png [--palette 0..4|NAME] [--scale auto|LO,HI]\n"
     "                                [--contrast 0..100] [--fit-height H]\n"
     "  --fit-height H     all rows in H pixel rows, each the maximum of the rows that fall on it\n"},
    {"history", RunHistory, "history P.xml --freq HZ        signal history of one frequency as CSV",
     "usage: vexlor-cli history P.xml --freq HZ [--fixed-scale] [--json]\n"
     "  CSV \"time_utc,level_db\" (ISO 8601 UTC) on standard output, or JSON with --json\n"},
    {"demod", RunDemod, "demod FILE --freq HZ --mode M -o OUT.wav   demodulate a channel to WAV",
     "usage: vexlor-cli demod FILE --freq HZ --mode NAME [--start TIME] [--seconds S]\n"
     "                         [--filter LO,HI] [--nr 0..3] [--nb] [--squelch LEVEL] -o OUT.wav|-\n"
     "  --seconds  how much to demodulate (default: to the end)\n"
     "  --filter   pass-band edges in Hz (default: suited to the mode)\n"
     "  --nr       noise reduction: 0 off, 1 Ephraim-Malah, 2 FIR LMS, 3 spectral subtraction\n"
     "  --nb       noise blanker\n"
     "  --squelch  squelch level 0..100\n"
     "  --centre-freq HZ, --start-time TIME   the recording's true values, when its files do not say\n"
     "  -o -       writes the WAV to standard output\n"},
    {"play", RunPlay, "play FILE --freq HZ --mode M   play a channel through the sound card",
     "usage: vexlor-cli play FILE --freq HZ --mode NAME [--start TIME] [--seconds S]\n"
     "                        [--filter LO,HI] [--volume 0..100] [--device ID|null]\n"
     "                        [--repeat START,END] [--record OUT.wav|OUT.mp3]\n"
     "  --seconds  how long to play (default: to the end of the recording)\n"
     "  --filter   pass-band edges in Hz (default: suited to the mode)\n"
     "  --volume   output level in percent (default 100)\n"
     "  --device   a Wave ID of \"vexlor-cli devices\", or null for the silent 48 kHz clock\n"
     "  --repeat   play START..END (two TIMEs) over and over\n"
     "  --record   also record the played audio to a WAV or MP3 file\n"
     "  --centre-freq HZ, --start-time TIME   the recording's true values, when its files do not say\n"},
    {"devices", RunDevices, "devices                        list the playback devices",
     "usage: vexlor-cli devices\n"},
    {"wisdom", RunWisdom, "wisdom [--best] [--sizes N,..] plan the common FFT sizes ahead",
     "usage: vexlor-cli wisdom [--best] [--sizes N,N,...]\n"
     "  plans the FFT sizes of the analysis (4096 .. 1048576 by default) and of the demodulator\n"
     "  chain and keeps them in the wisdom file of the data folder\n"
     "  --best   plan patiently (up to 10 s a size) instead of measuring briefly\n"},
};

const Command* FindCommand(const std::string& name) {
  for (const Command& c : kCommands)
    if (name == c.name) return &c;
  return nullptr;
}

void PrintUsage(FILE* out) {
  std::fprintf(out, "usage: vexlor-cli [-v|--verbose] COMMAND [ARGS]   (vexlor-cli COMMAND --help for its options)\n\n"
                    "  -v, --verbose  copy every line of the log to stderr as well\n\ncommands:\n");
  for (const Command& c : kCommands) std::fprintf(out, "  %s\n", c.synopsis);
  std::fprintf(out, "\nexit codes: 0 done, 1 failed, 2 usage error, 130 interrupted\n");
}

}  // namespace

void PrintCommandUsage(const std::string& name, std::FILE* out) {
  const Command* c = FindCommand(name);
  if (!c) return;
  std::fprintf(out, "%s", c->usage);
  const bool bDemodulates = name == "demod" || name == "play";
  if (bDemodulates || name == "analyse" || name == "history") std::fprintf(out, "  %s\n", kFrequencyForms);
  if (bDemodulates || name == "analyse") std::fprintf(out, "  %s\n", kTimeForms);
  if (bDemodulates) {
    std::fprintf(out, "  modes:");
    for (int m = 0; m < eDemodModeCount; ++m) std::fprintf(out, " %s", CDSPDemodMain::ShortName(m));
    std::fprintf(out, " (CW is CW-U; long names are accepted too)\n");
  }
}

int main(int argc, char** argv) {
  if (argc < 2 || !std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h")) {
    PrintUsage(argc < 2 ? stderr : stdout);
    return argc < 2 ? kExitUsage : kExitOk;
  }
  if (!std::strcmp(argv[1], "--version")) {
    std::printf("vexlor-cli %s\n", VEXLOR_VERSION);
    return kExitOk;
  }
  int nFirst = 1;
  if (!std::strcmp(argv[1], "-v") || !std::strcmp(argv[1], "--verbose")) {
    // The log's lines as they are written, on stderr beside the command's own messages.
    AddLogSink([](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); });
    ++nFirst;
    if (argc < 3) {
      PrintUsage(stderr);
      return kExitUsage;
    }
  }
  const std::string name = argv[nFirst];
  const Command* c = FindCommand(name);
  if (!c) {
    std::fprintf(stderr, "vexlor-cli: unknown command \"%s\"\n", name.c_str());
    PrintUsage(stderr);
    return kExitUsage;
  }
  CliArgs args(argv + nFirst + 1, argv + argc);
  // Help wins over everything else on the line, and nothing is read or written for it.
  for (const std::string& arg : args) {
    if (arg == "--") break;
    if (arg == "--help" || arg == "-h") {
      PrintCommandUsage(name, stdout);
      return kExitOk;
    }
  }
  RegisterAllMessages();
  SetLogFilePath(DataFolder() / "Vexlor.log");
  return c->run(args);
}
