#pragma once
// SYSTEMTIME and FILETIME stand-ins with exact day arithmetic.
//
// SYSTEMTIME holds the eight 16-bit fields of a calendar time; FILETIME counts 100 ns
// intervals since 1601-01-01 UTC. Nothing here depends on the host's time zone except the
// explicit local-time conversions.

#include <cstdint>
#include <ctime>

struct SYSTEMTIME {
  std::uint16_t wYear = 0;
  std::uint16_t wMonth = 0;
  std::uint16_t wDayOfWeek = 0;
  std::uint16_t wDay = 0;
  std::uint16_t wHour = 0;
  std::uint16_t wMinute = 0;
  std::uint16_t wSecond = 0;
  std::uint16_t wMilliseconds = 0;
};

// A calendar time from its fields (day of week left 0).
SYSTEMTIME MakeSystemTime(int year, int month, int day, int hour, int minute, int second,
                          int milliseconds = 0);

// 100 ns intervals since 1601-01-01 00:00:00 UTC.
using FILETIME64 = std::int64_t;

// Calendar time to FILETIME (proleptic Gregorian calendar); 0 for years past 30827.
FILETIME64 SystemTimeToFileTime(const SYSTEMTIME& st);
// FILETIME to calendar time (day of week filled in).
SYSTEMTIME FileTimeToSystemTime(FILETIME64 ft);

// Seconds since 1970-01-01 00:00:00 UTC: the difference of the two FILETIMEs divided by
// 10,000,000, truncated toward zero.
std::int64_t SystemTimeToSeconds(const SYSTEMTIME& st);
SYSTEMTIME SecondsToSystemTime(std::int64_t seconds);

// The times the program accepts from outside (files, projects, descriptions): from
// 1970-01-01 00:00:00 to 9999-12-31 23:59:59 UTC. Anything else is damage, and arithmetic
// on it could overflow.
inline constexpr std::int64_t kLatestAcceptedSeconds = 253'402'300'799;
constexpr bool IsAcceptedTime(std::int64_t seconds) { return seconds >= 0 && seconds <= kLatestAcceptedSeconds; }

// Local calendar time (machine time zone) to UTC calendar time and back.
SYSTEMTIME LocalSystemTimeToUtc(const SYSTEMTIME& local);
SYSTEMTIME UtcSystemTimeToLocal(const SYSTEMTIME& utc);

// The current time as UTC and local calendar times.
SYSTEMTIME CurrentUtcSystemTime();
SYSTEMTIME CurrentLocalSystemTime();

// "%Y-%m-%d %H:%M:%S" of a UTC time in seconds since 1970.
#include <string>
std::string FormatUtcSeconds(std::int64_t seconds, const char* format = "%Y-%m-%d %H:%M:%S");
// Parses "YYYY-MM-DD HH:MM:SS" as UTC; false on malformed text.
bool ParseUtcSeconds(const std::string& text, std::int64_t& seconds);
