#include <cstdio>

#include "cli/Commands.h"

int RunInfo(const CliArgs&) {
  std::fprintf(stderr, "vexlor-cli info: not available in this build\n");
  return 1;
}
