#include <cstdio>

#include "cli/Commands.h"

int RunPlay(const CliArgs&) {
  std::fprintf(stderr, "vexlor-cli play: not available in this build\n");
  return 1;
}
