#include <cstdio>

#include "cli/Commands.h"

int RunHistory(const CliArgs&) {
  std::fprintf(stderr, "vexlor-cli history: not available in this build\n");
  return 1;
}
