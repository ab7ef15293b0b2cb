// kelmorth run as a user runs it: the demonstration recording's AM station cut from the
// command line (without a display), read back by vexlor-cli info and analyse with the
// station in the centre column; the messages and exit codes for bad input; the window
// prefilled from a project and cutting with its buttons.

#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "analysis/AnalysisOptions.h"
#include "analysis/ProjectFile.h"
#include "kelmorth/CutCommandLine.h"
#include "kelmorth/CutterWindow.h"
#include "support/TestEnvironment.h"

namespace {

std::string Quote(const std::string& s) { return ShellQuote(s); }

// Runs a program without a display: the command line must not need one.
CRunResult Run(const char* pszProgram, const std::string& args) {
  return RunProgram(pszProgram, args, "env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM ");
}

CRunResult Kelmorth(const std::string& args) { return Run(KELMORTH_PATH, args); }
CRunResult Cli(const std::string& args) { return Run(VEXLOR_CLI_PATH, args); }

class KelmorthTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    s_pDir = new CTempFolder;
    const CRunResult r = Cli("demo " + Quote((s_pDir->Path() / "demo").string()));
    ASSERT_EQ(r.nExitCode, 0) << r.strOutput;
  }
  static void TearDownTestSuite() {
    delete s_pDir;
    s_pDir = nullptr;
  }
  static std::filesystem::path Demo() { return s_pDir->Path() / "demo" / "Vexlor Demo 000.wav"; }
  static std::filesystem::path Out(const std::string& name) { return s_pDir->Path() / name; }

  static CTempFolder* s_pDir;
};
CTempFolder* KelmorthTest::s_pDir = nullptr;

}  // namespace

// Catches a cut that the program would show at the wrong frequency, time or rate.
TEST_F(KelmorthTest, TheAmStationCutToTwelveKilohertzSitsInTheCentreColumn) {
  const std::filesystem::path out = Out("AM 000.wav");
  CRunResult r = Kelmorth(Quote(Demo().string()) + " --centre 7040k --bandwidth 12kHz --start 10 --end " +
                          Quote("2025-06-01 12:00:40") + " -o " + Quote(out.string()));
  ASSERT_EQ(r.nExitCode, 0) << r.strOutput;
  EXPECT_NE(r.strOutput.find("15000 Hz"), std::string::npos) << r.strOutput;

  r = Cli("info " + Quote(out.string()));
  ASSERT_EQ(r.nExitCode, 0) << r.strOutput;
  for (const char* pszLine : {"Brannock", "7040000 Hz", "15000 Hz", "2025-06-01 12:00:10", "2025-06-01 12:00:40", "0:00:30"})
    EXPECT_NE(r.strOutput.find(pszLine), std::string::npos) << pszLine << " in\n" << r.strOutput;

  const std::filesystem::path project = Out("AM.xml");
  r = Cli("analyse " + Quote(out.string()) + " --fft 1024 --width 801 --height 50 --project " + Quote(project.string()));
  ASSERT_EQ(r.nExitCode, 0) << r.strOutput;
  CAnalysisOptions options;
  CImageRows rows;
  int nWidth = 0, nHeight = 0;
  std::string strTags, strMessage;
  ASSERT_TRUE(CProjectFile::Load(options, project, rows, nWidth, nHeight, strTags, nullptr, strMessage)) << strMessage;
  ASSERT_FALSE(rows.Empty());
  int centreRows = 0;
  for (std::size_t i = 0; i < rows.Count(); ++i) {
    const std::vector<float>& line = rows.m_aLines[i];
    const auto peak = std::max_element(line.begin(), line.end()) - line.begin();
    centreRows += std::abs(static_cast<int>(peak) - static_cast<int>(line.size() / 2)) <= 1;
  }
  EXPECT_EQ(centreRows, static_cast<int>(rows.Count()));

  // The project prefills the window: its recording, band and range.
  CCutRequest request;
  ASSERT_TRUE(ParseWindowRequest({"--from-project", project.string()}, request));
  EXPECT_EQ(request.input, out);
  EXPECT_EQ(request.dCentreHz, 7'040'000.0);
  EXPECT_EQ(request.dBandwidthHz, 15'000.0);
}

// Catches a failure that writes something anyway, or exits as if it had worked.
TEST_F(KelmorthTest, BadInputGivesAClearMessageAndNoOutput) {
  const std::string demo = Quote(Demo().string());
  const std::string out = Quote(Out("bad 000.wav").string());
  const struct {
    std::string strArgs;
    int nExit;
    const char* pszMessage;
  } cases[] = {
      {demo + " --centre 7.3M --bandwidth 12k -o " + out, 1, "outside the recording's band"},
      {demo + " --centre 7040k --bandwidth 12k --start 100 -o " + out, 1, "outside the recording"},
      {demo + " --centre 7040k --bandwidth 12k -o " + Quote(Demo().string()), 1, "would overwrite"},
      {demo + " --centre 7040k --bandwidth 12k --rate 15001 -o " + out, 1, "exactly"},
      {demo + " --centre 7040k --bandwidth 12k --bits 8 -o " + out, 2, "--bits"},
      {demo + " --centre 7O40k --bandwidth 12k -o " + out, 2, "not a frequency"},
      {demo + " --centre 7040k --bandwidth 12k --start noon -o " + out, 2, "--start"},
      {demo + " --centre 7040k -o " + out, 2, "needs INPUT"},
      {Quote(Out("missing.wav").string()) + " --centre 7040k --bandwidth 12k -o " + out, 1, "missing.wav"},
  };
  for (const auto& c : cases) {
    const CRunResult r = Kelmorth(c.strArgs);
    EXPECT_EQ(r.nExitCode, c.nExit) << c.strArgs << "\n" << r.strOutput;
    EXPECT_NE(r.strOutput.find(c.pszMessage), std::string::npos) << c.strArgs << "\n" << r.strOutput;
    EXPECT_NE(r.strOutput.find("kelmorth"), std::string::npos) << r.strOutput;
  }
  EXPECT_FALSE(std::filesystem::exists(Out("bad 000.wav")));
  EXPECT_FALSE(std::filesystem::exists(Out("bad 000.xml")));
}

// Catches a window whose buttons do not reach the cutter, or that reports the end wrongly.
TEST_F(KelmorthTest, TheWindowCutsWithItsButtons) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  int argc = 1;
  char name[] = "kelmorth";
  char* argv[] = {name, nullptr};
  QApplication app(argc, argv);
  CCutRequest request;
  ASSERT_TRUE(ParseWindowRequest({Demo().string(), "--centre", "7.04M", "--bandwidth", "12k", "--end", "5"}, request));
  CCutterWindow window(request);
  window.findChild<QLineEdit*>("folder")->setText(QString::fromStdString(s_pDir->Path().string()));
  window.findChild<QLineEdit*>("name")->setText("Window");
  auto* pOpen = window.findChild<QPushButton*>("open");
  auto* pStatus = window.findChild<QLabel*>("status");
  QTest::mouseClick(window.findChild<QPushButton*>("cut"), Qt::LeftButton);
  EXPECT_TRUE(QTest::qWaitFor([&] { return pStatus->text().startsWith("Wrote"); }, 20000)) << pStatus->text().toStdString();
  EXPECT_TRUE(std::filesystem::exists(Out("Window 000.wav")));
  EXPECT_TRUE(std::filesystem::exists(Out("Window 000.xml")));
  EXPECT_NE(pStatus->text().toStdString().find("5.000 s"), std::string::npos) << pStatus->text().toStdString();
  EXPECT_EQ(pOpen->isEnabled(), !CCutterWindow::VexlorExecutable().isEmpty());
}

// Catches the status dialog's way of starting kelmorth (a recording alone) landing on the
// command line, or a full command line opening a window on a machine without a display.
TEST(Kelmorth, TheWindowOpensOnlyWhenAsked) {
  EXPECT_TRUE(WantsWindow({}));
  EXPECT_TRUE(WantsWindow({"rec 000.wav"}));
  EXPECT_TRUE(WantsWindow({"--from-project", "p.xml"}));
  EXPECT_TRUE(WantsWindow({"rec 000.wav", "--window", "--centre", "7M"}));
  EXPECT_FALSE(WantsWindow({"rec 000.wav", "--centre", "7M", "--bandwidth", "12k", "-o", "out 000.wav"}));
  EXPECT_FALSE(WantsWindow({"--help"}));
}
