#include <cstdio>

#include "cli/Commands.h"

int RunDemo(const CliArgs&) {
  std::fprintf(stderr, "vexlor-cli demo: not available in this build\n");
  return 1;
}
