#pragma once
// The sub-commands of vexlor-cli. Each takes the arguments after its own name and returns
// the process exit code (0 success, 1 bad input or failure, 2 usage error). Every failure
// prints one clear line on stderr naming the file and what is wrong.

#include <string>
#include <vector>

using CliArgs = std::vector<std::string>;

int RunInfo(const CliArgs& args);
int RunDemo(const CliArgs& args);
int RunAnalyse(const CliArgs& args);
int RunRender(const CliArgs& args);
int RunHistory(const CliArgs& args);
int RunDemod(const CliArgs& args);
int RunPlay(const CliArgs& args);
int RunDevices(const CliArgs& args);
int RunWisdom(const CliArgs& args);
