// Atomic writes: whatever happens while a file is written (a kill, a full disk, a folder
// that is not there), the previous file stays whole, nothing is left beside it, and the
// failure names the file and the system's reason.

#include "core/AtomicFile.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "core/Paths.h"
#include "core/EngineFaults.h"
#include "support/TestEnvironment.h"

namespace {

TEST(AtomicFile, AKilledWriterLeavesThePreviousFileAndNothingElse) {
  CTempFolder folder;
  WriteBytes(folder / "out.png", "previous");
  const int nResult = RunInChild([&] {
    CAtomicFile file;
    if (!file.Open(folder / "out.png") || !file.Write("new and half", 12)) return 1;
    ::raise(SIGKILL);
    return 2;
  });
  EXPECT_EQ(nResult, 128 + SIGKILL);
  EXPECT_EQ(ReadBytes(folder / "out.png"), "previous");
  EXPECT_EQ(FolderNames(folder.Path()), std::vector<std::string>{"out.png"});
}

TEST(AtomicFile, AFullDiskKeepsThePreviousFileAndNamesTheCause) {
  CTempFolder folder;
  WriteBytes(folder / "settings.xml", "previous");
  const std::string strBig(1 << 16, 'x');
  const int nResult = RunInChild(
      [&] {
        std::string strError;
        if (WriteFileAtomically(folder / "settings.xml", strBig.data(), strBig.size(), &strError)) return 1;
        // The reason is the system's, and the file is named.
        if (strError.find("File too large") == std::string::npos) return 2;
        if (strError.find("settings.xml") == std::string::npos) return 3;
        return 0;
      },
      4096);
  EXPECT_EQ(nResult, 0);
  EXPECT_EQ(ReadBytes(folder / "settings.xml"), "previous");
  EXPECT_EQ(FolderNames(folder.Path()), std::vector<std::string>{"settings.xml"});
}

TEST(AtomicFile, AMissingFolderIsReportedWithItsReason) {
  CTempFolder folder;
  std::string strError;
  EXPECT_FALSE(WriteFileAtomically(folder / "no such folder" / "a.xml", "x", 1, &strError));
  EXPECT_NE(strError.find("No such file or directory"), std::string::npos) << strError;
}

TEST(AtomicFile, ReplacesTheFileAndKeepsItsPermissions) {
  CTempFolder folder;
  const auto path = folder / "a.txt";
  WriteBytes(path, "old");
  std::filesystem::permissions(path, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write |
                                         std::filesystem::perms::group_read);
  ASSERT_TRUE(WriteFileAtomically(path, "new", 3));
  EXPECT_EQ(ReadBytes(path), "new");
  EXPECT_EQ(std::filesystem::status(path).permissions() & std::filesystem::perms::all,
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write |
                std::filesystem::perms::group_read);
}

TEST(AtomicFile, TemporariesOfProcessesThatEndedAreRemoved) {
  CTempFolder folder;
  // A process that has certainly ended: a child that was waited for.
  const pid_t pidGone = fork();
  if (pidGone == 0) _exit(0);
  int nStatus = 0;
  waitpid(pidGone, &nStatus, 0);
  const std::string strStale = ".a.xml.vexlor-" + std::to_string(pidGone) + "-Ab12Cd";
  const std::string strMine = ".a.xml.vexlor-" + std::to_string(getpid()) + "-Ab12Cd";
  WriteBytes(folder / strStale, "half");
  WriteBytes(folder / strMine, "in use");
  WriteBytes(folder / ".a.xml.vexlor-notes", "not ours");
  CAtomicFile::RemoveStaleTemporaries(folder.Path());
  EXPECT_EQ(FolderNames(folder.Path()), (std::vector<std::string>{strMine, ".a.xml.vexlor-notes"}));
}

}  // namespace

namespace {

// A data folder that cannot be made (its parent is a file) is reported to the user once,
// with the reason, however often it is asked for.
TEST(UserFaults, ADataFolderThatCannotBeMadeIsReportedOnce) {
  CTempFolder folder;
  WriteBytes(folder / "not a folder", "x");
  const int nResult = RunInChild([&] {
    std::vector<std::string> astrFaults;
    CEngineFaultSubscription subscription([&](const CEngineFault& f) { astrFaults.push_back(f.strText); });
    setenv("XDG_DATA_HOME", (folder / "not a folder").c_str(), 1);
    DataFolder();
    DataFolder();
    if (astrFaults.size() != 1) return 1;
    return astrFaults[0].find("cannot make the folder") != std::string::npos &&
                   astrFaults[0].find("Not a directory") != std::string::npos
               ? 0
               : 2;
  });
  EXPECT_EQ(nResult, 0);
}

}  // namespace
