#pragma once
// kelmorth's command line: parses the options into a cut request, runs the cutter with a
// progress line on a terminal and Ctrl-C as the abort request. Needs no display.

#include <optional>
#include <string>
#include <vector>

#include "cutter/RecordingCutter.h"

using KelmorthArgs = std::vector<std::string>;

// True when the arguments ask for the window: none at all, a recording alone, or --window /
// --from-project.
bool WantsWindow(const KelmorthArgs& args);

// The request the window starts from: the options given (INPUT, --centre ... and
// --from-project P.xml), none of them required. False (message printed) on malformed text.
bool ParseWindowRequest(const KelmorthArgs& args, CCutRequest& request);

// Runs a cut from the command line; returns the exit code (0, 1 failure, 2 usage, 130 after
// Ctrl-C).
int RunCommandLine(const KelmorthArgs& args);
