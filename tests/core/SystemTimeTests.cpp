// Calendar arithmetic: the recording reader's times depend on it to the second.

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "core/SystemTime.h"

namespace {

TEST(SystemTime, SecondsAgreeWithTheCLibraryOverCenturies) {
  // Walks a day and a bit at a time across leap years and century rules.
  for (std::int64_t t = -2'000'000'000; t < 4'000'000'000; t += 90'061) {
    const SYSTEMTIME st = SecondsToSystemTime(t);
    ASSERT_EQ(SystemTimeToSeconds(st), t);
    std::time_t tt = static_cast<std::time_t>(t);
    std::tm tm{};
    gmtime_r(&tt, &tm);
    ASSERT_EQ(st.wYear, tm.tm_year + 1900);
    ASSERT_EQ(st.wMonth, tm.tm_mon + 1);
    ASSERT_EQ(st.wDay, tm.tm_mday);
    ASSERT_EQ(st.wDayOfWeek, tm.tm_wday);
    ASSERT_EQ(st.wSecond, tm.tm_sec);
  }
}

TEST(SystemTime, MillisecondsTruncateTowardZero) {
  EXPECT_EQ(SystemTimeToSeconds(MakeSystemTime(2025, 7, 24, 2, 6, 42, 999)), 1753322802);
  // Before 1970 the quotient is truncated toward zero, not floored.
  EXPECT_EQ(SystemTimeToSeconds(MakeSystemTime(1969, 12, 31, 23, 59, 59, 500)), 0);
  EXPECT_EQ(SystemTimeToSeconds(MakeSystemTime(1969, 12, 31, 23, 59, 58, 500)), -1);
}

TEST(SystemTime, ACalendarTimeThatDoesNotExistCountsAsZero) {
  EXPECT_EQ(SystemTimeToSeconds(SYSTEMTIME{}), 0);
  EXPECT_EQ(SystemTimeToSeconds(MakeSystemTime(2025, 13, 1, 0, 0, 0)), 0);
  // A header's year field can hold 65535: no overflow, just no time.
  EXPECT_EQ(SystemTimeToSeconds(MakeSystemTime(65535, 12, 31, 23, 59, 59)), 0);
}

TEST(SystemTime, LocalConversionFollowsTheTimeZone) {
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);  // Central European rules, no tz database needed
  tzset();
  const SYSTEMTIME utc = LocalSystemTimeToUtc(MakeSystemTime(2025, 7, 1, 14, 0, 0, 250));
  EXPECT_EQ(utc.wHour, 12);  // summer time, UTC+2
  EXPECT_EQ(utc.wMilliseconds, 250);
  const SYSTEMTIME back = UtcSystemTimeToLocal(MakeSystemTime(2025, 1, 1, 12, 0, 0));
  EXPECT_EQ(back.wHour, 13);
  unsetenv("TZ");
  tzset();
}

TEST(SystemTime, ParsesAndFormatsUtcText) {
  std::int64_t s = 0;
  ASSERT_TRUE(ParseUtcSeconds("2025-07-24 02:06:42", s));
  EXPECT_EQ(s, 1753322802);
  EXPECT_EQ(FormatUtcSeconds(s), "2025-07-24 02:06:42");
  EXPECT_FALSE(ParseUtcSeconds("2025-02-31 00:00:00", s));
  EXPECT_FALSE(ParseUtcSeconds("2025-07-24", s));
  EXPECT_FALSE(ParseUtcSeconds("2025-07-24 02:06:42x", s));
}

}  // namespace
