// The log file and the atomic file writer.

#include <gtest/gtest.h>

#include <sys/stat.h>

#include "core/AppState.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "support/TestEnvironment.h"

namespace {

TEST(Log, LinesCarryThePrefixAndNothingIsWrittenAfterShutdownBegins) {
  CTempFolder dir;
  SetLogFilePath(dir / "Vexlor.log");
  LogF("CXMLMgr> %s", "Constructor");
  LogLine("");
  AppState::bShuttingDown = true;
  LogLine("after shutdown");
  AppState::bShuttingDown = false;
  SetLogFilePath({});
  const std::string text = ReadBytes(dir / "Vexlor.log");
  const auto nl = text.find('\n');
  ASSERT_NE(nl, std::string::npos);
  const std::string first = text.substr(0, nl);
  EXPECT_EQ(first.size(), LogPrefix().size() + std::string("CXMLMgr> Constructor").size());
  EXPECT_EQ(first.substr(LogPrefix().size()), "CXMLMgr> Constructor");
  EXPECT_EQ(text.substr(nl), "\n\n");  // the empty line, then nothing more
}

TEST(Paths, AtomicWriteReplacesWholeOrLeavesTheOldFile) {
  CTempFolder dir;
  const auto target = dir / "Settings.xml";
  ASSERT_TRUE(WriteFileAtomically(target, "old", 3));
  ASSERT_TRUE(WriteFileAtomically(target, "newer", 5));
  EXPECT_EQ(ReadBytes(target), "newer");
  // A folder that refuses new files: the write fails and the old content stays.
  if (geteuid() != 0) {
    chmod(dir.Path().c_str(), 0500);
    EXPECT_FALSE(WriteFileAtomically(target, "lost", 4));
    chmod(dir.Path().c_str(), 0700);
    EXPECT_EQ(ReadBytes(target), "newer");
  }
  // No temporary files are left behind.
  int entries = 0;
  for ([[maybe_unused]] auto& e : std::filesystem::directory_iterator(dir.Path())) ++entries;
  EXPECT_EQ(entries, 1);
}

}  // namespace
