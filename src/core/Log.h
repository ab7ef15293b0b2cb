#pragma once
// The program's log file, "Vexlor.log" in the data folder.
//
// One text line per entry, each given the standard prefix (local date and time to the
// millisecond). The writer is safe to call from any thread; worker threads nevertheless
// route their lines through RegMsgSDR::nMsgSendLogfile to the window that owns them, as
// the main frame writes what they post. Once shutdown has begun nothing is logged.

#include <cstdarg>
#include <filesystem>
#include <functional>
#include <string>

// Format a printf-style text into a std::string.
std::string StrFormat(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
std::string StrFormatV(const char* fmt, va_list args);

// Writes one line to the log file (an empty text gives an empty line).
void LogLine(const std::string& text);
// printf-style LogLine.
void LogF(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

// The standard log prefix for the current time, as written before every line.
std::string LogPrefix();

// Where the log goes. The default is "Vexlor.log" in the data folder; tests and the
// command-line tool may point it elsewhere. An empty path switches file output off.
void SetLogFilePath(const std::filesystem::path& path);
std::filesystem::path LogFilePath();

// Log sinks: a front end's subscription to every line as written (prefix included; an
// empty line stays empty), whether or not a log file is set: a GUI's log pane, a CLI's
// stderr. A sink is called on the thread that logs, one line at a time, and must not log
// itself. Returns the sink's id (never 0); after RemoveLogSink returns it is never called.
int AddLogSink(std::function<void(const std::string& line)> sink);
void RemoveLogSink(int nId);
