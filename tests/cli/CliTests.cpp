// vexlor-cli run as a user runs it: the demonstration recording through info, analyse,
// render, history and demod, and the messages for bad input.

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/TestEnvironment.h"

namespace {

std::string Quote(const std::string& s) { return ShellQuote(s); }

CRunResult RunCli(const std::string& args) { return RunProgram(VEXLOR_CLI_PATH, args); }

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
       "is not within the recording's"},
      {"demod " + First() + " --freq 9000000 --mode AM -o " + Quote((out / "x.wav").string()), "9000000"},
      {"demod " + First() + " --freq 7040000 --mode XYZ -o " + Quote((out / "x.wav").string()), "XYZ"},
      {"render " + Quote((out / "text.wav").string()) + " --image " + Quote((out / "x.png").string()), "text.wav"},
      {"render " + Quote((out / "none.xml").string()) + " --image " + Quote((out / "x.png").string()),
       "none.xml: No such file or directory"},
  };
  for (const Case& c : cases) {
    const CRunResult r = RunCli(c.args);
    EXPECT_NE(r.nExitCode, 0) << c.args;
    EXPECT_EQ(r.strOutput.find("MSXML"), std::string::npos) << r.strOutput;  // no internals
    EXPECT_NE(r.strOutput.find(c.expected), std::string::npos) << c.args << "\n" << r.strOutput;
  }
}

// Catches commands that treat --help as a file or an unknown option (demo once wrote 66 MB
// into a folder named "-h"), and a missing --version.
TEST_F(CliTest, EveryCommandHasHelpAndNothingIsWrittenForIt) {
  CTempFolder cwd;
  for (const char* pszCommand : {"info", "demo", "analyse", "render", "history", "demod", "play", "devices"}) {
    for (const char* pszFlag : {"--help", "-h"}) {
      const CRunResult r =
          RunCli(std::string(pszCommand) + " " + pszFlag + " " + Quote((cwd / "x").string()) + " --bogus");
      EXPECT_EQ(r.nExitCode, 0) << pszCommand << " " << pszFlag << "\n" << r.strOutput;
      EXPECT_NE(r.strOutput.find(std::string("usage: vexlor-cli ") + pszCommand), std::string::npos) << r.strOutput;
    }
  }
  EXPECT_TRUE(std::filesystem::is_empty(cwd.Path()));
  EXPECT_NE(RunCli("demod --help").strOutput.find("BFM"), std::string::npos);      // the modes
  EXPECT_NE(RunCli("analyse -h").strOutput.find("blackman-opt"), std::string::npos);  // the windows
  const CRunResult v = RunCli("--version");
  EXPECT_EQ(v.nExitCode, 0);
  EXPECT_EQ(v.strOutput.rfind("vexlor-cli ", 0), 0u) << v.strOutput;
}

// Catches exit codes that differ between commands: 2 for a bad flag or value (nan and inf
// included), 1 for a file that cannot be read.
TEST_F(CliTest, ExitCodesAreTheSameInEveryCommand) {
  CTempFolder out;
  const std::string wav = Quote((out / "x.wav").string());
  const std::string png = Quote((out / "x.png").string());
  const struct {
    std::string args;
    int nExit;
  } cases[] = {
      {"demod " + First() + " --freq abc --mode AM -o " + wav, 2},
      {"demod " + First() + " --freq nan --mode AM -o " + wav, 2},
      {"demod " + First() + " --freq 7.1M --mode AM --seconds inf -o " + wav, 2},
      {"demod " + First() + " --freq 7.1M --mode AM --start 1e300 -o " + wav, 2},
      {"play " + First() + " --freq abc --mode AM --device null", 2},
      {"analyse " + First() + " --centre abc --image " + png, 2},
      {"history " + In("x.xml") + " --freq abc", 2},
      {"demod " + First() + " --freq 7.1M --mode AM --bogus -o " + wav, 2},
      {"analyse " + First() + " --start 30 --end 10 --image " + png, 2},
      {"analyse " + First() + " --bandwidth 300k --image " + png, 2},
      {"render " + In("x.xml") + " --image " + png + " --scale -60,-150", 2},
      {"demod " + In("missing.wav") + " --freq 7.1M --mode AM -o " + wav, 1},
      {"analyse " + In("missing.wav") + " --image " + png, 1},
      {"demod " + First() + " --freq 7.1M --mode AM -o " + Quote((out / "no" / "x.wav").string()), 1},
  };
  for (const auto& c : cases) {
    const CRunResult r = RunCli(c.args);
    EXPECT_EQ(r.nExitCode, c.nExit) << c.args << "\n" << r.strOutput;
  }
  EXPECT_FALSE(std::filesystem::exists(out / "x.png"));
}

// Catches outputs that destroy the recording: demod onto a file of the series, a project
// onto its description, a recording of the audio onto the recording. Each is refused before
// anything is written, and the file is unchanged.
TEST_F(CliTest, OutputsOntoTheRecordingAreRefusedAndLeaveItUnchanged) {
  const std::string first = ReadBytes(s_pDir->Path() / "Vexlor Demo 000.wav");
  const std::string second = ReadBytes(s_pDir->Path() / "Vexlor Demo 001.wav");
  const std::string description = ReadBytes(s_pDir->Path() / "Vexlor Demo 000.xml");
  for (const std::string& args :
       {"demod " + First() + " --freq 7.08M --mode USB -o " + First(),
        "demod " + First() + " --freq 7.08M --mode USB -o " + In("Vexlor Demo 001.wav"),
        "analyse " + First() + " --fft 4096 --project " + In("Vexlor Demo 000.xml"),
        "play " + First() + " --freq 7.08M --mode USB --device null --seconds 1 --record " + In("Vexlor Demo 001.wav")}) {
    const CRunResult r = RunCli(args);
    EXPECT_EQ(r.nExitCode, 1) << args << "\n" << r.strOutput;
    EXPECT_NE(r.strOutput.find("is a file of the recording"), std::string::npos) << r.strOutput;
  }
  EXPECT_EQ(ReadBytes(s_pDir->Path() / "Vexlor Demo 000.wav"), first);
  EXPECT_EQ(ReadBytes(s_pDir->Path() / "Vexlor Demo 001.wav"), second);
  EXPECT_EQ(ReadBytes(s_pDir->Path() / "Vexlor Demo 000.xml"), description);
}

// Catches frequencies and times accepted in one form only: 7.08M, 7080kHz, ISO 8601 with T
// and Z, "--center", window names in any case; and "-o -" not writing the WAV to stdout.
TEST_F(CliTest, UsualFormsOfFrequencyAndTimeAndStandardOutput) {
  CTempFolder out;
  for (const char* freq : {"7.08M", "7080kHz", "7080000", "7.08MHz"}) {
    const CRunResult r = RunCli("demod " + First() + " --freq " + std::string(freq) + " --mode usb --start 2025-06-01T12:00:05Z " +
                                "--seconds 1 -o " + Quote((out / "f.wav").string()));
    EXPECT_EQ(r.nExitCode, 0) << freq << "\n" << r.strOutput;
    EXPECT_NE(r.strOutput.find("from 5.00 s"), std::string::npos) << r.strOutput;
  }
  const std::string piped = (out / "piped.wav").string();
  const int nStatus = std::system((Quote(VEXLOR_CLI_PATH) + " demod " + First() +
                                   " --freq 7.08M --mode USB --seconds 1 -o - > " + Quote(piped) + " 2>/dev/null")
                                      .c_str());
  EXPECT_EQ(nStatus, 0);
  const std::string wav = ReadBytes(piped);
  ASSERT_GT(wav.size(), 44u + 48000u);
  EXPECT_EQ(wav.substr(0, 4), "RIFF");
  EXPECT_EQ(wav.substr(36, 4), "data");
  EXPECT_EQ(wav.size(), 44u + 48000u * 2u);

  const CRunResult a = RunCli("analyse " + First() + " --center 7.1M --bandwidth 100k --window HANN --fft 2048 "
                              "--start 10 --end 2025-06-01T12:00:20Z --image " + Quote((out / "a.png").string()));
  EXPECT_EQ(a.nExitCode, 0) << a.strOutput;
}

// Catches a default FFT size that gives an unreadable picture (one row, or millions), the
// choice not being said, and a history without a header or with truncated times.
TEST_F(CliTest, DefaultFftSizeGivesAUsefulHeightAndHistoryIsSelfDescribing) {
  CTempFolder out;
  const std::string project = Quote((out / "p.xml").string());
  const CRunResult r = RunCli("analyse " + First() + " --width 400 --project " + project);
  ASSERT_EQ(r.nExitCode, 0) << r.strOutput;
  EXPECT_NE(r.strOutput.find("chosen for the recording's length"), std::string::npos) << r.strOutput;
  const std::size_t nRows = r.strOutput.find(" rows,");
  ASSERT_NE(nRows, std::string::npos);
  const int nCount = std::stoi(r.strOutput.substr(r.strOutput.rfind(' ', nRows - 1) + 1));
  EXPECT_GE(nCount, 1000);
  EXPECT_LE(nCount, 4000);

  const CRunResult csv = RunCli("history " + project + " --freq 7.04M");
  ASSERT_EQ(csv.nExitCode, 0) << csv.strOutput;
  EXPECT_NE(csv.strOutput.find("time_utc,level_db\n2025-06-01T12:00:"), std::string::npos) << csv.strOutput;
  const CRunResult json = RunCli("history " + project + " --freq 7.04M --json");
  ASSERT_EQ(json.nExitCode, 0) << json.strOutput;
  EXPECT_NE(json.strOutput.find("\"time_utc\": \"2025-06-01T12:00:"), std::string::npos) << json.strOutput;
}

// Catches a recording of unknown origin being passed off as described: info notes what was
// assumed, and the user's --centre-freq and --start-time take its place.
TEST_F(CliTest, UnknownRecordingsTakeTheUsersCentreAndStart) {
  CTempFolder out;
  const auto le = [](std::uint32_t v, int n) {
    std::string b;
    for (int i = 0; i < n; ++i) b += static_cast<char>(v >> (8 * i) & 0xFF);
    return b;
  };
  const std::uint32_t nData = 48000u * 4u * 2u;  // 2 s of 16-bit stereo at 48 kHz
  WriteBytes(out / "plain.wav", "RIFF" + le(36 + nData, 4) + "WAVEfmt " + le(16, 4) + le(1, 2) + le(2, 2) +
                                    le(48000, 4) + le(192000, 4) + le(4, 2) + le(16, 2) + "data" + le(nData, 4) +
                                    std::string(nData, '\0'));
  const std::string plain = Quote((out / "plain.wav").string());
  const CRunResult info = RunCli("info " + plain);
  EXPECT_NE(info.strOutput.find("no centre frequency or start time"), std::string::npos) << info.strOutput;
  const std::string wav = Quote((out / "o.wav").string());
  EXPECT_EQ(RunCli("demod " + plain + " --freq 14.2M --mode USB -o " + wav).nExitCode, 2);
  const CRunResult r = RunCli("demod " + plain + " --center-freq 14.2M --start-time 2024-01-01T00:00:00Z --freq 14.2M"
                              " --mode USB --start \"2024-01-01 00:00:01\" -o " + wav);
  EXPECT_EQ(r.nExitCode, 0) << r.strOutput;
  EXPECT_NE(r.strOutput.find("from 1.00 s"), std::string::npos) << r.strOutput;
}

// Catches a demod that leaves a WAV saying 0 samples when interrupted: after Ctrl-C the file
// holds a valid header whose sizes match what was written.
TEST_F(CliTest, InterruptedDemodLeavesAValidWav) {
  CTempFolder out;
  const std::string wav = (out / "i.wav").string();
  const std::string script = Quote(VEXLOR_CLI_PATH) + " demod " + First() + " --freq 7.08M --mode USB --nr 1 -o " +
                             Quote(wav) + " >/dev/null 2>&1 & pid=$!; sleep 1; kill -INT $pid 2>/dev/null; "
                             "wait $pid; echo exit=$?";
  const CRunResult r = RunCli("--version >/dev/null; sh -c " + Quote(script) + " #");
  const std::size_t nAt = r.strOutput.find("exit=");
  ASSERT_NE(nAt, std::string::npos) << r.strOutput;
  // 0 when the run ended before the signal came (or before it was caught).
  const int nExit = std::stoi(r.strOutput.substr(nAt + 5));
  EXPECT_TRUE(nExit == 130 || nExit == 0) << r.strOutput;
  const std::string bytes = ReadBytes(wav);
  ASSERT_GE(bytes.size(), 44u);
  const auto le32 = [&](std::size_t at) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at])) |
           static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at + 1])) << 8 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at + 2])) << 16 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at + 3])) << 24;
  };
  EXPECT_EQ(le32(40), bytes.size() - 44u);
  EXPECT_EQ(le32(4), bytes.size() - 8u);
}

}  // namespace
