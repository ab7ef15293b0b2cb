#include "core/SystemTime.h"

#include <chrono>
#include <cstdio>

namespace {

constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kTicksPerMs = 10'000;
constexpr std::int64_t kSecondsPerDay = 86'400;
// Seconds from 1601-01-01 to 1970-01-01.
constexpr std::int64_t kEpochDifferenceSeconds = 11'644'473'600;

// Days since 1970-01-01 of a proleptic Gregorian date (exact for any year).
std::int64_t DaysFromCivil(std::int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

void CivilFromDays(std::int64_t z, std::int64_t& y, unsigned& m, unsigned& d) {
  z += 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const unsigned doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  y = static_cast<std::int64_t>(yoe) + era * 400;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  d = doy - (153 * mp + 2) / 5 + 1;
  m = mp < 10 ? mp + 3 : mp - 9;
  y += m <= 2;
}

// The last year a FILETIME can hold.
constexpr std::uint16_t kLastYear = 30827;

bool IsValid(const SYSTEMTIME& st) {
  return st.wYear >= 1601 && st.wYear <= kLastYear && st.wMonth >= 1 && st.wMonth <= 12 && st.wDay >= 1 &&
         st.wDay <= 31 && st.wHour < 24 && st.wMinute < 60 && st.wSecond < 60 &&
         st.wMilliseconds < 1000;
}

std::tm ToTm(const SYSTEMTIME& st) {
  std::tm t{};
  t.tm_year = st.wYear - 1900;
  t.tm_mon = st.wMonth - 1;
  t.tm_mday = st.wDay;
  t.tm_hour = st.wHour;
  t.tm_min = st.wMinute;
  t.tm_sec = st.wSecond;
  t.tm_isdst = -1;
  return t;
}

SYSTEMTIME FromTm(const std::tm& t, std::uint16_t ms) {
  SYSTEMTIME st;
  st.wYear = static_cast<std::uint16_t>(t.tm_year + 1900);
  st.wMonth = static_cast<std::uint16_t>(t.tm_mon + 1);
  st.wDayOfWeek = static_cast<std::uint16_t>(t.tm_wday);
  st.wDay = static_cast<std::uint16_t>(t.tm_mday);
  st.wHour = static_cast<std::uint16_t>(t.tm_hour);
  st.wMinute = static_cast<std::uint16_t>(t.tm_min);
  st.wSecond = static_cast<std::uint16_t>(t.tm_sec);
  st.wMilliseconds = ms;
  return st;
}

}  // namespace

SYSTEMTIME MakeSystemTime(int year, int month, int day, int hour, int minute, int second,
                          int milliseconds) {
  SYSTEMTIME st;
  st.wYear = static_cast<std::uint16_t>(year);
  st.wMonth = static_cast<std::uint16_t>(month);
  st.wDay = static_cast<std::uint16_t>(day);
  st.wHour = static_cast<std::uint16_t>(hour);
  st.wMinute = static_cast<std::uint16_t>(minute);
  st.wSecond = static_cast<std::uint16_t>(second);
  st.wMilliseconds = static_cast<std::uint16_t>(milliseconds);
  return st;
}

FILETIME64 SystemTimeToFileTime(const SYSTEMTIME& st) {
  if (st.wYear > kLastYear) return 0;  // beyond what 64 bits of 100 ns can count
  const std::int64_t days = DaysFromCivil(st.wYear, st.wMonth, st.wDay);
  const std::int64_t seconds = days * kSecondsPerDay + st.wHour * 3600 + st.wMinute * 60 +
                               st.wSecond + kEpochDifferenceSeconds;
  return seconds * kTicksPerSecond + st.wMilliseconds * kTicksPerMs;
}

SYSTEMTIME FileTimeToSystemTime(FILETIME64 ft) {
  std::int64_t seconds = ft / kTicksPerSecond;
  std::int64_t rest = ft % kTicksPerSecond;
  if (rest < 0) {
    rest += kTicksPerSecond;
    --seconds;
  }
  seconds -= kEpochDifferenceSeconds;
  std::int64_t days = seconds / kSecondsPerDay;
  std::int64_t sod = seconds % kSecondsPerDay;
  if (sod < 0) {
    sod += kSecondsPerDay;
    --days;
  }
  std::int64_t y;
  unsigned m, d;
  CivilFromDays(days, y, m, d);
  SYSTEMTIME st;
  st.wYear = static_cast<std::uint16_t>(y);
  st.wMonth = static_cast<std::uint16_t>(m);
  st.wDay = static_cast<std::uint16_t>(d);
  // 1970-01-01 was a Thursday (4).
  st.wDayOfWeek = static_cast<std::uint16_t>(((days % 7) + 7 + 4) % 7);
  st.wHour = static_cast<std::uint16_t>(sod / 3600);
  st.wMinute = static_cast<std::uint16_t>(sod / 60 % 60);
  st.wSecond = static_cast<std::uint16_t>(sod % 60);
  st.wMilliseconds = static_cast<std::uint16_t>(rest / kTicksPerMs);
  return st;
}

// A calendar time that does not exist (cleared fields, month 13 ...) has no FILETIME; it
// counts as the epoch itself, 0 seconds.
std::int64_t SystemTimeToSeconds(const SYSTEMTIME& st) {
  if (!IsValid(st)) return 0;
  const FILETIME64 epoch = kEpochDifferenceSeconds * kTicksPerSecond;
  return (SystemTimeToFileTime(st) - epoch) / kTicksPerSecond;
}

SYSTEMTIME SecondsToSystemTime(std::int64_t seconds) {
  return FileTimeToSystemTime((seconds + kEpochDifferenceSeconds) * kTicksPerSecond);
}

SYSTEMTIME LocalSystemTimeToUtc(const SYSTEMTIME& local) {
  if (!IsValid(local)) return local;
  std::tm t = ToTm(local);
  const std::time_t utc = std::mktime(&t);
  std::tm out{};
  gmtime_r(&utc, &out);
  return FromTm(out, local.wMilliseconds);
}

SYSTEMTIME UtcSystemTimeToLocal(const SYSTEMTIME& utc) {
  if (!IsValid(utc)) return utc;
  const std::time_t seconds = static_cast<std::time_t>(SystemTimeToSeconds(utc));
  std::tm out{};
  localtime_r(&seconds, &out);
  return FromTm(out, utc.wMilliseconds);
}

SYSTEMTIME CurrentUtcSystemTime() {
  using namespace std::chrono;
  const auto now = system_clock::now().time_since_epoch();
  const std::int64_t ms = duration_cast<milliseconds>(now).count();
  return FileTimeToSystemTime((ms / 1000 + kEpochDifferenceSeconds) * kTicksPerSecond +
                              (ms % 1000) * kTicksPerMs);
}

SYSTEMTIME CurrentLocalSystemTime() { return UtcSystemTimeToLocal(CurrentUtcSystemTime()); }

std::string FormatUtcSeconds(std::int64_t seconds, const char* format) {
  const std::time_t t = static_cast<std::time_t>(seconds);
  std::tm tm{};
  gmtime_r(&t, &tm);
  char buf[128];
  const std::size_t n = std::strftime(buf, sizeof buf, format, &tm);
  return std::string(buf, n);
}

bool ParseUtcSeconds(const std::string& text, std::int64_t& seconds) {
  unsigned y, mo, d, h, mi, s;
  char tail;
  if (std::sscanf(text.c_str(), "%4u-%2u-%2u %2u:%2u:%2u%c", &y, &mo, &d, &h, &mi, &s, &tail) != 6)
    return false;
  if (mo < 1 || mo > 12 || d < 1 || d > 31 || h > 23 || mi > 59 || s > 59) return false;
  const SYSTEMTIME st = MakeSystemTime(static_cast<int>(y), static_cast<int>(mo), static_cast<int>(d),
                                      static_cast<int>(h), static_cast<int>(mi), static_cast<int>(s));
  // Reject dates that do not exist (31 February ...) by a round trip.
  const SYSTEMTIME back = FileTimeToSystemTime(SystemTimeToFileTime(st));
  if (back.wDay != st.wDay || back.wMonth != st.wMonth) return false;
  seconds = SystemTimeToSeconds(st);
  return true;
}
