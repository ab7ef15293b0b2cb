#include <cstdio>

#include "cli/Commands.h"

int RunRender(const CliArgs&) {
  std::fprintf(stderr, "vexlor-cli render: not available in this build\n");
  return 1;
}
