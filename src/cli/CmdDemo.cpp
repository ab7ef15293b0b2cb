// vexlor-cli demo DIR: writes the built-in demonstration recording into DIR and lists the
// files written.

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "cli/CliOptions.h"
#include "cli/Commands.h"
#include "recording/DemoRecording.h"

int RunDemo(const CliArgs& args) {
  CCliOptions options("demo", {}, {});
  if (!options.Parse(args)) return 2;
  if (options.Positional().size() != 1) {
    options.Error("expected one DIR (usage: vexlor-cli demo DIR)");
    return 2;
  }
  const std::filesystem::path folder = options.Positional()[0];
  std::vector<std::filesystem::path> written;
  std::string strError;
  if (!WriteDemoRecording(folder, written, strError)) {
    options.Error(folder.string() + ": " + strError);
    return 1;
  }
  for (const std::filesystem::path& path : written) std::printf("%s\n", path.c_str());
  return 0;
}
