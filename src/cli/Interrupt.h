#pragma once
// Ctrl-C for the commands that run long: the first press sets a flag that the command
// turns into an orderly end (what was done is written); a second one ends the program at
// once.

#include <atomic>

// Catches SIGINT into the flag (cleared) until ReleaseInterrupt.
void CatchInterrupt();
void ReleaseInterrupt();
const std::atomic<bool>& InterruptFlag();
inline bool Interrupted() { return InterruptFlag().load(); }
