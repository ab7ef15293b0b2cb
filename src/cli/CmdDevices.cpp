// vexlor-cli devices: the playback devices, as the player options list them.

#include <cstdio>
#include <cstring>

#include "cli/CliOptions.h"
#include "cli/Commands.h"
#include "core/Log.h"
#include "player/AudioBackend.h"

int RunDevices(const CliArgs& args) {
  CCliOptions options("devices", {}, {});
  if (!options.Parse(args) || !options.Positional().empty()) {
    std::fprintf(stderr, "usage: vexlor-cli devices\n");
    return 2;
  }
  const std::shared_ptr<CAudioBackend> pBackend = CreateAudioBackend(EAudioBackendChoice::Auto);
  const std::vector<CPlaybackDevice> aDevices = SortedPlaybackDevices(*pBackend);
  std::printf("Playback devices\n");
  LogLine("Playback devices");
  for (const CPlaybackDevice& device : aDevices) {
    const std::string strLine =
        StrFormat("  Wave ID = %d, Name = %s", static_cast<int>(device.m_nDeviceID), device.m_strName.c_str());
    std::printf("%s\n", strLine.c_str());
    LogLine(strLine);
  }
  LogLine("");
  if (std::strcmp(pBackend->Name(), "Null") == 0)
    std::printf("(no sound card found: the null device consumes audio at 48000 samples/s in silence;\n"
                " \"vexlor-cli play --device null\" chooses it on any machine)\n");
  return 0;
}
