#include "cli/Interrupt.h"

#include <csignal>

namespace {

std::atomic<bool> g_bInterrupted{false};

extern "C" void OnInterrupt(int) {
  g_bInterrupted = true;
  std::signal(SIGINT, SIG_DFL);
}

}  // namespace

void CatchInterrupt() {
  g_bInterrupted = false;
  std::signal(SIGINT, OnInterrupt);
}

void ReleaseInterrupt() { std::signal(SIGINT, SIG_DFL); }

const std::atomic<bool>& InterruptFlag() { return g_bInterrupted; }
