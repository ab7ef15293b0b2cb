// vexlor-cli run as a user runs it: the demonstration recording through info, analyse,
// render, history and demod, and the messages for bad input.

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "support/TestEnvironment.h"

namespace {

struct CRunResult {
  int nExitCode = -1;
  std::string strOutput;  // stdout and stderr together
};

std::string Quote(const std::string& s) {
  std::string q = "'";
  for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

CRunResult RunCli(const std::string& args) {
  CRunResult r;
  const std::string command = Quote(VEXLOR_CLI_PATH) + " " + args + " 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return r;
  char buf[4096];
  std::size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, pipe)) > 0) r.strOutput.append(buf, n);
  const int status = pclose(pipe);
  r.nExitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return r;
}

// The demonstration recording, written once for the whole suite.
class CliTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    s_pDir = new CTempFolder;
    const CRunResult r = RunCli("demo " + Quote(s_pDir->Path().string()));
    ASSERT_EQ(r.nExitCode, 0) << r.strOutput;
  }
  static void TearDownTestSuite() {
    delete s_pDir;
    s_pDir = nullptr;
  }
  static std::string First() { return Quote((s_pDir->Path() / "Vexlor Demo 000.wav").string()); }
  static std::string In(const std::string& name) { return Quote((s_pDir->Path() / name).string()); }

  static CTempFolder* s_pDir;
};
CTempFolder* CliTest::s_pDir = nullptr;

TEST_F(CliTest, InfoDescribesTheWholeSeriesAsJson) {
  const CRunResult r = RunCli("info " + First() + " --json");
  ASSERT_EQ(r.nExitCode, 0) << r.strOutput;
  // Numbers are JSON numbers, times are given both ways.
  EXPECT_NE(r.strOutput.find("\"Brannock\""), std::string::npos);
  EXPECT_NE(r.strOutput.find(": 3,"), std::string::npos) << r.strOutput;
  EXPECT_NE(r.strOutput.find("\"2025-06-01 12:00:00\""), std::string::npos);
  EXPECT_NE(r.strOutput.find("250000"), std::string::npos);
  EXPECT_EQ(r.strOutput.find("\"250000\""), std::string::npos);
}

TEST_F(CliTest, InfoPrintsTheSummaryRowsAndVerboseCopiesTheLog) {
  const CRunResult plain = RunCli("info " + First());
  ASSERT_EQ(plain.nExitCode, 0) << plain.strOutput;
  EXPECT_NE(plain.strOutput.find("Center Freq      7100000 Hz"), std::string::npos) << plain.strOutput;
  EXPECT_NE(plain.strOutput.find("Duration         0:01:06"), std::string::npos) << plain.strOutput;
  EXPECT_EQ(plain.strOutput.find("CXMLMgr> "), std::string::npos);
  // The log's lines reach stderr only when asked for.
  const CRunResult verbose = RunCli("--verbose info " + First());
  ASSERT_EQ(verbose.nExitCode, 0) << verbose.strOutput;
  EXPECT_NE(verbose.strOutput.find("CXMLMgr> Constructor"), std::string::npos) << verbose.strOutput;
  EXPECT_EQ(RunCli("--verbose").nExitCode, 2);
}

TEST_F(CliTest, AnalysedProjectRendersToTheSamePicture) {
  // Catches a project that loses rows or options on the way to disk: the picture redrawn
  // from the project must equal the one drawn during the analysis.
  CTempFolder out;
  const std::string project = Quote((out / "p.xml").string());
  const std::string image = Quote((out / "a.png").string());
  const std::string redrawn = Quote((out / "b.png").string());
  CRunResult r = RunCli("analyse " + First() + " --fft 4096 --width 800 --height full --project " +
                        project + " --image " + image);
  ASSERT_EQ(r.nExitCode, 0) << r.strOutput;
  r = RunCli("render " + project + " --image " + redrawn);
  ASSERT_EQ(r.nExitCode, 0) << r.strOutput;
  const std::string a = ReadBytes(out / "a.png");
  EXPECT_GT(a.size(), 1000u);
  EXPECT_EQ(a, ReadBytes(out / "b.png"));

  // The AM carrier 60 kHz below the centre stands far above the noise in the history.
  r = RunCli("history " + project + " --freq 7040000");
  ASSERT_EQ(r.nExitCode, 0) << r.strOutput;
  EXPECT_GT(std::count(r.strOutput.begin(), r.strOutput.end(), '\n'), 10);
}

TEST_F(CliTest, DemodulatedAudioLastsExactlyAsLongAsAsked) {
  // Catches audio cut short by the chain's filter delay.
  CTempFolder out;
  const CRunResult r = RunCli("demod " + First() + " --freq 7080000 --mode USB --start 5 --seconds 3 -o " +
                              Quote((out / "usb.wav").string()));
  ASSERT_EQ(r.nExitCode, 0) << r.strOutput;
  const std::string wav = ReadBytes(out / "usb.wav");
  ASSERT_GT(wav.size(), 44u);
  // 3 s at 48 kHz, 16-bit mono, plus at least the canonical header.
  EXPECT_GE(wav.size(), 44u + 3u * 48000u * 2u);
  EXPECT_LT(wav.size(), 44u + 3u * 48000u * 2u + 4096u);
}

TEST_F(CliTest, BadInputNamesTheFileAndFailsCleanly) {
  CTempFolder out;
  WriteBytes(out / "text.wav", "this is not a recording");
  struct Case {
    std::string args;
    std::string expected;
  } cases[] = {
      {"info " + Quote((out / "missing.wav").string()), "missing.wav"},
      {"info " + Quote((out / "text.wav").string()), "text.wav"},
      {"analyse " + First() + " --overlap 100 --image " + Quote((out / "x.png").string()), "overlap"},
      {"analyse " + First() + " --centre 100000 --bandwidth 250000 --image " + Quote((out / "x.png").string()),
       "outside the recording's band"},
      {"demod " + First() + " --freq 9000000 --mode AM -o " + Quote((out / "x.wav").string()), "9000000"},
      {"demod " + First() + " --freq 7040000 --mode XYZ -o " + Quote((out / "x.wav").string()), "XYZ"},
      {"render " + Quote((out / "text.wav").string()) + " --image " + Quote((out / "x.png").string()), "text.wav"},
  };
  for (const Case& c : cases) {
    const CRunResult r = RunCli(c.args);
    EXPECT_NE(r.nExitCode, 0) << c.args;
    EXPECT_NE(r.strOutput.find(c.expected), std::string::npos) << c.args << "\n" << r.strOutput;
  }
}

}  // namespace
