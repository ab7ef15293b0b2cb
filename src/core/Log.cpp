#include "core/Log.h"

#include <chrono>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <vector>

#include "core/AppState.h"
#include "core/SubscriberList.h"

namespace {

struct LogState {
  std::mutex mutex;
  std::filesystem::path path;
  std::FILE* file = nullptr;
};

CSubscriberList<std::string>& Sinks() {
  static CSubscriberList<std::string> sinks;
  return sinks;
}

LogState& State() {
  static LogState state;
  return state;
}

}  // namespace

std::string StrFormatV(const char* fmt, va_list args) {
  va_list copy;
  va_copy(copy, args);
  char small[512];
  int n = std::vsnprintf(small, sizeof small, fmt, copy);
  va_end(copy);
  if (n < 0) return {};
  if (static_cast<std::size_t>(n) < sizeof small) return std::string(small, static_cast<std::size_t>(n));
  std::vector<char> big(static_cast<std::size_t>(n) + 1);
  std::vsnprintf(big.data(), big.size(), fmt, args);
  return std::string(big.data(), static_cast<std::size_t>(n));
}

std::string StrFormat(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  std::string s = StrFormatV(fmt, args);
  va_end(args);
  return s;
}

std::string LogPrefix() {
  using namespace std::chrono;
  const auto now = system_clock::now();
  const std::time_t t = system_clock::to_time_t(now);
  const auto ms = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm local{};
  localtime_r(&t, &local);
  char buf[64];
  std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d.%03d ", local.tm_year + 1900,
                local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                static_cast<int>(ms));
  return buf;
}

void SetLogFilePath(const std::filesystem::path& path) {
  LogState& s = State();
  std::lock_guard lock(s.mutex);
  if (s.file) std::fclose(s.file);
  s.file = nullptr;
  s.path = path;
}

std::filesystem::path LogFilePath() {
  LogState& s = State();
  std::lock_guard lock(s.mutex);
  return s.path;
}

int AddLogSink(std::function<void(const std::string& line)> sink) { return Sinks().Add(std::move(sink)); }

void RemoveLogSink(int nId) { Sinks().Remove(nId); }

void LogLine(const std::string& text) {
  if (AppState::bShuttingDown.load()) return;
  const std::string line = text.empty() ? std::string() : LogPrefix() + text;
  // Sinks first, outside the file's lock: a slow log pane does not hold up the file.
  Sinks().Notify(line);
  LogState& s = State();
  std::lock_guard lock(s.mutex);
  if (s.path.empty()) return;
  if (!s.file) {
    s.file = std::fopen(s.path.c_str(), "a");
    if (!s.file) return;
  }
  std::fprintf(s.file, "%s\n", line.c_str());
  std::fflush(s.file);
}

void LogF(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  std::string s = StrFormatV(fmt, args);
  va_end(args);
  LogLine(s);
}
