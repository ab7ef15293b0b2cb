#include <cstdio>

#include "cli/Commands.h"

int RunAnalyse(const CliArgs&) {
  std::fprintf(stderr, "vexlor-cli analyse: not available in this build\n");
  return 1;
}
