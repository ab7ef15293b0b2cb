// vexlor-cli run as a user runs it: the demonstration recording through info, analyse,
// render, history and demod, and the messages for bad input.

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/TestEnvironment.h"

namespace {

std::string Quote(const std::string& s) { return ShellQuote(s); }

std::string LittleEndian(std::uint32_t v, int nBytes) {
  std::string b;
  for (int i = 0; i < nBytes; ++i) b += static_cast<char>(v >> (8 * i) & 0xFF);
  return b;
}

// The header of a plain 16-bit stereo WAV (no centre frequency, no start time) of nData bytes.
std::string PlainIqWavHeader(std::uint32_t nRate, std::uint32_t nData) {
  const auto le = LittleEndian;
  return "RIFF" + le(36 + nData, 4) + "WAVEfmt " + le(16, 4) + le(1, 2) + le(2, 2) + le(nRate, 4) +
         le(nRate * 4, 4) + le(4, 2) + le(16, 2) + "data" + le(nData, 4);
}

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
                        project + " --image " + image + " --overlap 30");
  ASSERT_EQ(r.nExitCode, 0) << r.strOutput;
  // The rows announced are the rows analysed (the whole range reads past the last whole
  // second, and 30 % overlap leaves a remainder).
  const auto rowsAfter = [&](const std::string& strWord) {
    const std::size_t p = r.strOutput.find(strWord);
    return p == std::string::npos ? std::string("?") : r.strOutput.substr(p, r.strOutput.find(" rows", p) - p);
  };
  EXPECT_EQ(rowsAfter("FFT, ").substr(rowsAfter("FFT, ").rfind(' ') + 1), rowsAfter("Analysed ").substr(9)) << r.strOutput;
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

// Catches a picture that silently shows only its first rows, and --fit-height not reaching
// the picture of analyse and render.
TEST_F(CliTest, PictureHeightShowsTheFirstRowsOrFitsThemAll) {
  CTempFolder out;
  const std::string project = Quote((out / "p.xml").string());
  CRunResult r = RunCli("analyse " + First() + " --fft 4096 --width 100 --height 50 --project " + project +
                        " --image " + Quote((out / "a.png").string()));
  ASSERT_EQ(r.nExitCode, 0) << r.strOutput;
  EXPECT_NE(r.strOutput.find("showing the first 50 of 4028 rows; use --fit-height 50"), std::string::npos)
      << r.strOutput;
  r = RunCli("render " + project + " --fit-height 40 --image " + Quote((out / "b.png").string()));
  ASSERT_EQ(r.nExitCode, 0) << r.strOutput;
  EXPECT_NE(r.strOutput.find("100 x 40 pixels from 4028 rows"), std::string::npos) << r.strOutput;
  EXPECT_EQ(r.strOutput.find("showing the first"), std::string::npos) << r.strOutput;
  r = RunCli("analyse " + First() + " --fft 4096 --width 100 --fit-height 30 --image " +
             Quote((out / "c.png").string()));
  ASSERT_EQ(r.nExitCode, 0) << r.strOutput;
  EXPECT_NE(r.strOutput.find("(100 x 30 pixels"), std::string::npos) << r.strOutput;
  for (const char* args : {" --height 5 --fit-height 5", " --fit-height 0", " --fit-height nan"})
    EXPECT_EQ(RunCli("analyse " + First() + args + " --image " + Quote((out / "d.png").string())).nExitCode, 2)
        << args;
}

// Catches a recording of unknown origin being passed off as described: info notes what was
// assumed, and the user's --centre-freq and --start-time take its place.
TEST_F(CliTest, UnknownRecordingsTakeTheUsersCentreAndStart) {
  CTempFolder out;
  const std::uint32_t nData = 48000u * 4u * 2u;  // 2 s of 16-bit stereo at 48 kHz
  WriteBytes(out / "plain.wav", PlainIqWavHeader(48000, nData) + std::string(nData, '\0'));
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

// Catches a 24-bit WAVE_FORMAT_EXTENSIBLE recording played as silence: its samples are plain
// 24-bit PCM and must demodulate to the audio of the same signal in 16 bits.
TEST_F(CliTest, A24BitExtensibleRecordingPlaysLikeIts16BitTwin) {
  CTempFolder out;
  const auto le = LittleEndian;
  constexpr std::uint32_t nRate = 48000, nFrames = nRate;  // 1 s of a tone 1 kHz above the centre
  std::string s16, s24;
  for (std::uint32_t i = 0; i < nFrames; ++i) {
    const double dPhase = 2.0 * M_PI * 1000.0 * i / nRate;
    for (const double d : {std::cos(dPhase), std::sin(dPhase)}) {
      const std::int32_t v = static_cast<std::int32_t>(std::lround(8000.0 * d));
      s16 += le(static_cast<std::uint32_t>(v), 2);
      s24 += le(static_cast<std::uint32_t>(v * 256), 3);  // the same value, 8 bits finer
    }
  }
  WriteBytes(out / "iq16.wav", PlainIqWavHeader(nRate, static_cast<std::uint32_t>(s16.size())) + s16);
  // 'fmt ' of 40 bytes: tag 0xFFFE, then valid bits, channel mask and the PCM sub-format GUID.
  const std::string fmt = le(0xFFFE, 2) + le(2, 2) + le(nRate, 4) + le(nRate * 6, 4) + le(6, 2) + le(24, 2) +
                          le(22, 2) + le(24, 2) + le(0, 4) + le(1, 4) + le(0x00100000, 4) + le(0xAA000080, 4) +
                          le(0x719B3800, 4);
  WriteBytes(out / "iq24.wav", "RIFF" + le(4 + 8 + 40 + 8 + static_cast<std::uint32_t>(s24.size()), 4) + "WAVEfmt " +
                                   le(40, 4) + fmt + "data" + le(static_cast<std::uint32_t>(s24.size()), 4) + s24);
  std::string audio[2];
  for (int i = 0; i < 2; ++i) {
    const std::string name = i == 0 ? "iq16" : "iq24";
    const CRunResult r = RunCli("demod " + Quote((out / (name + ".wav")).string()) +
                                " --center-freq 7M --start-time 2024-01-01T00:00:00Z --freq 7M --mode USB -o " +
                                Quote((out / (name + "-audio.wav")).string()));
    ASSERT_EQ(r.nExitCode, 0) << r.strOutput;
    audio[i] = ReadBytes(out / (name + "-audio.wav"));
    ASSERT_GT(audio[i].size(), 44u + 2u * 24000u) << name;
  }
  ASSERT_EQ(audio[0].size(), audio[1].size());
  const auto sample = [](const std::string& wav, std::size_t n) {
    return static_cast<std::int16_t>(static_cast<unsigned char>(wav[44 + 2 * n]) |
                                     static_cast<unsigned char>(wav[45 + 2 * n]) << 8);
  };
  const std::size_t nSamples = (audio[0].size() - 44) / 2;
  double dPeak16 = 0.0, dWorst = 0.0;
  for (std::size_t n = nSamples / 4; n < nSamples; ++n) {  // past the AGC's attack
    dPeak16 = std::max(dPeak16, std::abs(static_cast<double>(sample(audio[0], n))));
    dWorst = std::max(dWorst, std::abs(static_cast<double>(sample(audio[0], n)) - sample(audio[1], n)));
  }
  EXPECT_GT(dPeak16, 1000.0);  // the 16-bit twin is audible
  EXPECT_LE(dWorst, 0.02 * dPeak16) << "peak " << dPeak16;
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

// Runs analyse on a recording in the background, sends SIGINT once the run has been
// announced and nDelay seconds more have passed, and returns the exit status and stderr.
CRunResult InterruptedAnalyse(const std::filesystem::path& folder, const std::string& args, const char* pszDelay) {
  const std::string err = Quote((folder / "err.txt").string());
  const std::string script = Quote(VEXLOR_CLI_PATH) + " analyse " + args + " 2>" + err + " >/dev/null & pid=$!; "
                             "for i in $(seq 600); do grep -q Analysing " + err + " && break; sleep 0.05; done; "
                             "sleep " + pszDelay + "; kill -INT $pid; wait $pid; echo exit=$? >> " + err;
  CRunResult result;
  result.nExitCode = std::system(("sh -c " + Quote(script)).c_str());
  result.strOutput = ReadBytes(folder / "err.txt");
  const std::size_t nAt = result.strOutput.find("exit=");
  result.nExitCode = nAt == std::string::npos ? -1 : std::stoi(result.strOutput.substr(nAt + 5));
  return result;
}

std::size_t CountOf(const std::string& text, const std::string& what) {
  std::size_t n = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

// Catches a Ctrl-C that reads the rest of the recording before it writes, a project that
// loses rows analysed before the interrupt, and an interrupted run that replaces an
// existing project with an empty one.
TEST(CliInterrupt, AnalyseWritesTheRowsAnalysedAndNeverAnEmptyProject) {
  CTempFolder folder;
  // 256 MB of noise: four of the reader's buffers at the options below, so an interrupt
  // soon after the start leaves most of the recording unread.
  const std::uint32_t nData = 256u << 20;
  {
    std::string bytes = PlainIqWavHeader(96000, nData);
    bytes.resize(bytes.size() + nData);
    std::uint32_t x = 12345;
    for (std::size_t i = 44; i < bytes.size(); ++i) {
      x = x * 1664525u + 1013904223u;
      bytes[i] = static_cast<char>(x >> 24);
    }
    WriteBytes(folder / "noise.wav", bytes);
  }
  const std::string noise = Quote((folder / "noise.wav").string());
  const std::string project = (folder / "p.xml").string();
  const CRunResult r = InterruptedAnalyse(folder.Path(), noise + " --fft 2048 --overlap 95 --width 16 --height 100 "
                                          "--project " + Quote(project), "0.3");
  EXPECT_EQ(r.nExitCode, 130) << r.strOutput;
  const std::size_t nAnnounced = r.strOutput.find(" rows,");
  const std::size_t nAborted = r.strOutput.find("Aborted after ");
  ASSERT_NE(nAnnounced, std::string::npos) << r.strOutput;
  ASSERT_NE(nAborted, std::string::npos) << r.strOutput;
  const long nRowsOfTheWholeRun = std::stol(r.strOutput.substr(r.strOutput.rfind(' ', nAnnounced - 1) + 1));
  const long nRowsKept = std::stol(r.strOutput.substr(nAborted + 14));
  EXPECT_GT(nRowsKept, 0) << r.strOutput;
  EXPECT_LT(nRowsKept, nRowsOfTheWholeRun) << r.strOutput;
  // Every row the run reported is in the project.
  EXPECT_EQ(static_cast<long>(CountOf(ReadBytes(project), "<Entry ")), nRowsKept);

  // Interrupted at once, with an FFT so long that its first row takes a while: either no
  // row was made and the existing file is left as it was, or the project holds rows. On a
  // loaded machine the interrupt may come only after the whole run (1.3 s here), which then
  // ends as usual.
  const std::string keep = (folder / "keep.xml").string();
  WriteBytes(keep, "the user's project");
  const CRunResult early = InterruptedAnalyse(folder.Path(), noise + " --fft 4194304 --width 16 --height 10 "
                                              "--project " + Quote(keep), "0");
  const bool bEndedFirst = early.strOutput.find("Analysed ") != std::string::npos;
  EXPECT_EQ(early.nExitCode, bEndedFirst ? 0 : 130) << early.strOutput;
  if (early.strOutput.find("nothing was analysed") != std::string::npos) {
    EXPECT_NE(early.strOutput.find("is left as it was"), std::string::npos) << early.strOutput;
    EXPECT_EQ(ReadBytes(keep), "the user's project");
  } else {
    EXPECT_GT(CountOf(ReadBytes(keep), "<Entry "), 0u) << early.strOutput;
  }
}

}  // namespace
