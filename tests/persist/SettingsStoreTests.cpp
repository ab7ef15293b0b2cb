#include "persist/MySettingsStore.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <limits>
#include <thread>

#include "persist/XMLMgr.h"
#include "support/TestEnvironment.h"
#include "XdgOverride.h"

namespace {

std::vector<std::uint8_t> AllByteValues() {
  std::vector<std::uint8_t> bytes(256);
  for (int i = 0; i < 256; ++i) bytes[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(i);
  return bytes;
}

// Written by one store object, read back by a fresh one, so the value went through the file.
template <class T>
void ExpectRoundTrip(const std::filesystem::path& file, std::string_view name, const T& value) {
  ASSERT_TRUE(CMySettingsStore(file).Write(name, value)) << name;
  T out{};
  ASSERT_TRUE(CMySettingsStore(file).Read(name, out)) << name;
  EXPECT_EQ(out, value) << name;
}

template <class T>
void ExpectReadRefused(CMySettingsStore& store, std::string_view name, const T& sentinel) {
  T value = sentinel;
  EXPECT_FALSE(store.Read(name, value)) << name;
  EXPECT_EQ(value, sentinel) << name;
}

}  // namespace

// Faults: a kind that does not survive the file (precision of doubles, 64-bit extremes,
// markup and control characters in text, empty list entries, zero bytes, negative
// coordinates).
TEST(MySettingsStore, EveryKindRoundTripsThroughTheFile) {
  CTempFolder folder;
  const std::filesystem::path file = folder / "Settings.xml";
  ExpectRoundTrip(file, "CVexlorView::m_bScaleAutomatic", true);
  ExpectRoundTrip(file, "CMainFrame::MaxThreads", -4);
  ExpectRoundTrip(file, "Unsigned", 4294967295u);
  ExpectRoundTrip(file, "Int64", std::numeric_limits<std::int64_t>::min());
  ExpectRoundTrip(file, "UInt64", std::numeric_limits<std::uint64_t>::max());
  ExpectRoundTrip(file, "Double", 0.1);
  ExpectRoundTrip(file, "DefaultProject", std::string("/data/Ship \"A\" <1>\nline two\t&"));
  ExpectRoundTrip(file, "List", std::vector<std::string>{"one", "", "three"});
  ExpectRoundTrip(file, "EmptyList", std::vector<std::string>{});
  ExpectRoundTrip(file, "Blob", AllByteValues());
  ExpectRoundTrip(file, "CSelectDataFile", CSettingsRect{-1920, -10, 20, 1080});
  CMySettingsStore store(file);
  ASSERT_TRUE(store.Write("Literal", "text"));
  std::string literal;
  ASSERT_TRUE(store.Read("Literal", literal));
  EXPECT_EQ(literal, "text");

  // The file is one of the program's own XML files, and no value was lost on the way.
  CXMLMgr xml;
  ASSERT_TRUE(xml.Load(file));
  EXPECT_STREQ(xml.Root().name(), "Brannock-Vexlor");
  EXPECT_EQ(std::distance(xml.Root().begin(), xml.Root().end()), 12);
  EXPECT_NE(ReadBytes(file).find("WARNING"), std::string::npos);
}

// Faults: a failed read overwriting the caller's default, or a value of another kind (or
// out of the variable's range) being converted instead of refused.
TEST(MySettingsStore, MissingOrMismatchedValueLeavesVariableUnchanged) {
  CTempFolder folder;
  CMySettingsStore store(folder / "Settings.xml");
  ASSERT_TRUE(store.Write("Text", std::string("abc")));
  ASSERT_TRUE(store.Write("Big", std::int64_t{5000000000}));
  ASSERT_TRUE(store.Write("Negative", -1));
  ExpectReadRefused(store, "Absent", true);
  ExpectReadRefused(store, "Absent", 17);
  ExpectReadRefused(store, "Absent", 1.5);
  ExpectReadRefused(store, "Absent", std::string("default"));
  ExpectReadRefused(store, "Absent", std::vector<std::string>{"keep"});
  ExpectReadRefused(store, "Absent", std::vector<std::uint8_t>{1, 2});
  ExpectReadRefused(store, "Absent", CSettingsRect{1, 2, 3, 4});
  ExpectReadRefused(store, "Text", 17);
  ExpectReadRefused(store, "Text", true);
  ExpectReadRefused(store, "Big", 17);
  ExpectReadRefused(store, "Negative", 18u);
}

// Faults: a flag read as "== 1" rather than nonzero, or written as something other than an
// integer.
TEST(MySettingsStore, FlagIsAnIntegerReadAsNonzero) {
  CTempFolder folder;
  CMySettingsStore store(folder / "Settings.xml");
  int n = 0;
  ASSERT_TRUE(store.Write("Flag", true));
  ASSERT_TRUE(store.Read("Flag", n));
  EXPECT_EQ(n, 1);
  for (const auto& [nStored, bExpected] : {std::pair{2, true}, {-1, true}, {0, false}}) {
    bool b = !bExpected;
    ASSERT_TRUE(store.Write("Flag", nStored));
    ASSERT_TRUE(store.Read("Flag", b));
    EXPECT_EQ(b, bExpected) << nStored;
  }
}

// Faults: padding to a fixed width that truncates four-digit indexes, or indexed reads and
// writes using different names.
TEST(MySettingsStore, IndexedNames) {
  EXPECT_EQ(CMySettingsStore::IndexedName(3, "Width"), "003-Width");
  EXPECT_EQ(CMySettingsStore::IndexedName(0, "Rows"), "000-Rows");
  EXPECT_EQ(CMySettingsStore::IndexedName(1000, "Name"), "1000-Name");

  CTempFolder folder;
  CMySettingsStore store(folder / "Settings.xml");
  ASSERT_TRUE(store.Write(1000, "Name", std::string("station")));
  ASSERT_TRUE(store.Write(3, "Width", 120));
  std::string s;
  int n = 0;
  ASSERT_TRUE(store.Read("1000-Name", s));
  ASSERT_TRUE(store.Read(3, "Width", n));
  EXPECT_EQ(s, "station");
  EXPECT_EQ(n, 120);
}

// Faults: a store object serving stale values after another one wrote (also when the file
// keeps its size), or a write from one object dropping another's value.
TEST(MySettingsStore, TwoStoresSeeEachOthersWrites) {
  CTempFolder folder;
  CMySettingsStore a(folder / "Settings.xml");
  CMySettingsStore b(folder / "Settings.xml");
  int n = 0;
  for (int value = 1; value <= 5; ++value) {
    ASSERT_TRUE(a.Write("Value", value));
    ASSERT_TRUE(b.Read("Value", n));
    EXPECT_EQ(n, value);
  }
  ASSERT_TRUE(b.Write("FromB", 10));
  ASSERT_TRUE(a.Write("FromA", 20));
  ASSERT_TRUE(b.Read("FromA", n));
  EXPECT_EQ(n, 20);
  ASSERT_TRUE(a.Read("FromB", n));
  EXPECT_EQ(n, 10);
  ASSERT_TRUE(a.DeleteValue("FromB"));
  n = -1;
  EXPECT_FALSE(b.Read("FromB", n));
  EXPECT_EQ(n, -1);
}

// Fault: two objects writing at the same time, each from its own stale copy, so that one
// overwrites the other's values (the read-modify-write must be locked across objects).
TEST(MySettingsStore, ConcurrentWritersLoseNoValue) {
  CTempFolder folder;
  auto writer = [&folder](const char* pszPrefix) {
    CMySettingsStore store(folder / "Settings.xml");
    for (int i = 0; i < 20; ++i) store.Write(CMySettingsStore::IndexedName(i, pszPrefix), i);
  };
  std::thread first(writer, "First");
  std::thread second(writer, "Second");
  first.join();
  second.join();
  CMySettingsStore store(folder / "Settings.xml");
  for (const char* pszPrefix : {"First", "Second"}) {
    for (int i = 0; i < 20; ++i) {
      int n = -1;
      EXPECT_TRUE(store.Read(i, pszPrefix, n)) << i << pszPrefix;
      EXPECT_EQ(n, i);
    }
  }
}

// Faults: writing the file in place, so that a write that fails half way (here: the file
// size limit) loses the old settings, or the object keeping a value the file never got.
TEST(MySettingsStore, FailedWriteKeepsPreviousSettings) {
  CTempFolder folder;
  const std::filesystem::path file = folder / "Settings.xml";
  CMySettingsStore store(file);
  ASSERT_TRUE(store.Write("Kept", 1));
  // A stale temporary file from an earlier crash does not disturb anything.
  WriteBytes(folder / ".Settings.xml.AbC123", "<partial");
  const std::string before = ReadBytes(file);

  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{static_cast<rlim_t>(before.size() + 64), static_cast<rlim_t>(before.size() + 64)};
    setrlimit(RLIMIT_FSIZE, &limit);
    const bool bWritten = store.Write("Huge", std::vector<std::uint8_t>(100000, 0xAB));
    std::vector<std::uint8_t> blob;
    // 0: the write failed and the object does not pretend otherwise.
    _exit(!bWritten && !store.Read("Huge", blob) ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(ReadBytes(file), before);

  int n = 0;
  CMySettingsStore reread(file);
  ASSERT_TRUE(reread.Read("Kept", n));
  EXPECT_EQ(n, 1);
  ASSERT_TRUE(reread.Write("After", 2));
  ASSERT_TRUE(reread.Read("Kept", n));
  EXPECT_EQ(n, 1);
}

// Fault: a process killed while writing leaves a truncated or empty settings file.
TEST(MySettingsStore, KillDuringWritesLeavesAWholeFile) {
  CTempFolder folder;
  const std::filesystem::path file = folder / "Settings.xml";
  const std::vector<std::string> payload(3000, "a fairly long entry of the list, to make each write slow");

  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    CMySettingsStore store(file);
    for (int i = 0;; ++i) {
      store.Write("Payload", payload);
      store.Write("Counter", i);
    }
  }
  // Let the child get well into its writes, then kill it wherever it is.
  int nCounter = -1;
  for (int attempt = 0; attempt < 2000 && nCounter < 3; ++attempt) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    CMySettingsStore probe(file);
    probe.Read("Counter", nCounter);
  }
  kill(pid, SIGKILL);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  ASSERT_GE(nCounter, 3);

  CMySettingsStore store(file);
  std::vector<std::string> list;
  int n = -1;
  ASSERT_TRUE(store.Read("Payload", list));
  EXPECT_EQ(list, payload);
  ASSERT_TRUE(store.Read("Counter", n));
  EXPECT_GE(n, nCounter);
  // The lock the child held died with it.
  EXPECT_TRUE(store.Write("Counter", 0));
}

// Faults: a hand-edited file that no longer parses being overwritten without a copy, or
// the editor command pointing at a file that does not exist.
TEST(MySettingsStore, DamagedFileIsKeptAsideAndEditorPathExists) {
  CTempFolder folder;
  const std::filesystem::path file = folder / "Settings.xml";
  WriteBytes(file, "<Brannock-Vexlor><Value Name=");
  CMySettingsStore store(file);
  int n = 5;
  EXPECT_FALSE(store.Read("Anything", n));
  ASSERT_TRUE(store.Write("Anything", 6));
  EXPECT_EQ(ReadBytes(folder / "Settings.xml.bad"), "<Brannock-Vexlor><Value Name=");
  ASSERT_TRUE(store.Read("Anything", n));
  EXPECT_EQ(n, 6);

  CMySettingsStore fresh(folder / "sub" / "Settings.xml");
  const std::filesystem::path editorPath = fresh.EditorFilePath();
  EXPECT_EQ(editorPath, folder / "sub" / "Settings.xml");
  EXPECT_TRUE(std::filesystem::exists(editorPath));
}

// Fault: the default store living anywhere but the per-user settings folder.
TEST(MySettingsStore, DefaultFileIsInTheSettingsFolder) {
  CXdgOverride config("XDG_CONFIG_HOME");
  EXPECT_EQ(CMySettingsStore::DefaultFilePath(), config.Path() / "Brannock (V2)" / "Vexlor" / "Settings.xml");
}
