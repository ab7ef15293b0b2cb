#include <cstdio>

#include "cli/Commands.h"

int RunDevices(const CliArgs&) {
  std::fprintf(stderr, "vexlor-cli devices: not available in this build\n");
  return 1;
}
