#include <cstdio>

#include "cli/Commands.h"

int RunDemod(const CliArgs&) {
  std::fprintf(stderr, "vexlor-cli demod: not available in this build\n");
  return 1;
}
