#include "core/ProcessFigures.h"

#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

namespace {

// A "Name:   value kB" line of a /proc status file, in bytes; 0 when absent.
std::uint64_t ProcKilobytes(const char* file, const char* name) {
  std::ifstream f(file);
  std::string line;
  const std::size_t len = std::strlen(name);
  while (std::getline(f, line)) {
    if (line.compare(0, len, name) == 0 && line.size() > len && line[len] == ':') {
      unsigned long long kb = 0;
      if (std::sscanf(line.c_str() + len + 1, "%llu", &kb) == 1) return kb * 1024ull;
    }
  }
  return 0;
}

}  // namespace

int ProcessorCount() {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) == 0) {
    int n = CPU_COUNT(&set);
    if (n > 0) return n;
  }
  long n = sysconf(_SC_NPROCESSORS_ONLN);
  return n > 0 ? static_cast<int>(n) : 1;
}

int UsableProcessors() {
  const int n = ProcessorCount() - 1;
  return n < 1 ? 1 : n;
}

std::uint64_t PhysicalMemoryBytes() { return ProcKilobytes("/proc/meminfo", "MemTotal"); }

std::uint64_t AvailableMemoryBytes() { return ProcKilobytes("/proc/meminfo", "MemAvailable"); }

// Private memory: resident anonymous pages plus swapped-out pages, the nearest Linux
// figure to committed private bytes. The peak is the high-water mark of the resident set.
std::uint64_t PrivateMemoryBytes() {
  return ProcKilobytes("/proc/self/status", "RssAnon") +
         ProcKilobytes("/proc/self/status", "VmSwap");
}

std::uint64_t PeakPrivateMemoryBytes() { return ProcKilobytes("/proc/self/status", "VmHWM"); }

double ProcessCpuSeconds() {
  rusage ru{};
  if (getrusage(RUSAGE_SELF, &ru) != 0) return 0.0;
  auto seconds = [](const timeval& tv) { return tv.tv_sec + tv.tv_usec / 1e6; };
  return seconds(ru.ru_utime) + seconds(ru.ru_stime);
}
