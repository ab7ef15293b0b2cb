// vexlor-cli: the analysis engine without a display.

#include <cstdio>
#include <cstring>
#include <string>

#include "cli/Commands.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "core/RegisteredMessages.h"

namespace {

struct Command {
  const char* name;
  int (*run)(const CliArgs&);
  const char* synopsis;
};

const Command kCommands[] = {
    {"info", RunInfo, "info FILE [--json]             describe the recording FILE belongs to"},
    {"demo", RunDemo, "demo DIR                       write the demonstration recording into DIR"},
    {"analyse", RunAnalyse, "analyse FILE [options]         analyse a recording into a project and/or PNG"},
    {"render", RunRender, "render P.xml --image I.png     redraw a saved project"},
    {"history", RunHistory, "history P.xml --freq HZ        signal history of one frequency as CSV"},
    {"demod", RunDemod, "demod FILE --freq HZ --mode M -o OUT.wav   demodulate a channel to WAV"},
    {"play", RunPlay, "play FILE --freq HZ --mode M   play a channel through the sound card"},
    {"devices", RunDevices, "devices                        list the playback devices"},
};

void PrintUsage(FILE* out) {
  std::fprintf(out, "usage: vexlor-cli [-v|--verbose] COMMAND [ARGS]\n\n"
                    "  -v, --verbose  copy every line of the log to stderr as well\n\ncommands:\n");
  for (const Command& c : kCommands) std::fprintf(out, "  %s\n", c.synopsis);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || !std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h")) {
    PrintUsage(argc < 2 ? stderr : stdout);
    return argc < 2 ? 2 : 0;
  }
  int nFirst = 1;
  if (!std::strcmp(argv[1], "-v") || !std::strcmp(argv[1], "--verbose")) {
    // The log's lines as they are written, on stderr beside the command's own messages.
    AddLogSink([](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); });
    ++nFirst;
    if (argc < 3) {
      PrintUsage(stderr);
      return 2;
    }
  }
  RegisterAllMessages();
  SetLogFilePath(DataFolder() / "Vexlor.log");

  const std::string name = argv[nFirst];
  CliArgs args(argv + nFirst + 1, argv + argc);
  for (const Command& c : kCommands) {
    if (name == c.name) return c.run(args);
  }
  std::fprintf(stderr, "vexlor-cli: unknown command \"%s\"\n", name.c_str());
  PrintUsage(stderr);
  return 2;
}
