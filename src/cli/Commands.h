#pragma once
// The sub-commands of vexlor-cli. Each takes the arguments after its own name and returns
// the process exit code. Every failure prints one clear line on stderr naming the file and
// what is wrong.

#include <cstdio>
#include <string>
#include <vector>

using CliArgs = std::vector<std::string>;

// Exit codes, the same in every command.
constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;        // a file unreadable, a write failed ...
constexpr int kExitUsage = 2;         // a bad flag or value
constexpr int kExitInterrupted = 130;  // Ctrl-C, after writing what was done

// The usage text of a command, with the forms of frequencies, times and modes it takes.
void PrintCommandUsage(const std::string& name, std::FILE* out);

int RunInfo(const CliArgs& args);
int RunDemo(const CliArgs& args);
int RunAnalyse(const CliArgs& args);
int RunRender(const CliArgs& args);
int RunHistory(const CliArgs& args);
int RunDemod(const CliArgs& args);
int RunPlay(const CliArgs& args);
int RunDevices(const CliArgs& args);
int RunWisdom(const CliArgs& args);
