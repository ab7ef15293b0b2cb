// The player session over the null audio clock: the start, play-at-point and repeat-range
// sequences with their log lines, typed state from the thread's messages, and the newest
// display spectrum only.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <mutex>
#include <thread>

#include "PlayerTestSupport.h"
#include "dsp/FFTWPlan.h"
#include "player/NullAudioBackend.h"
#include "player/PlayerSession.h"
#include "support/TestEnvironment.h"

namespace {

using namespace std::chrono_literals;

class CSessionHarness {
 public:
  CSessionHarness() : m_session(std::make_shared<CNullAudioBackend>()) {
    m_session.SetLogFunction([this](const std::string& s) {
      std::lock_guard lock(m_mutex);
      m_astrLog.push_back(s);
    });
    CPlayerOptions options;
    options.m_nOutputID = 0;
    options.m_strOutputName = "Null";
    options.m_strMode = "AM";
    m_session.SetOptions(options);
  }
  std::vector<std::string> Log() {
    std::lock_guard lock(m_mutex);
    return m_astrLog;
  }
  // The index of the first line equal to strLine at or after nFrom; npos when none.
  std::size_t Find(const std::string& strLine, std::size_t nFrom = 0) {
    const auto log = Log();
    for (std::size_t i = nFrom; i < log.size(); ++i)
      if (log[i] == strLine) return i;
    return std::string::npos;
  }

  std::mutex m_mutex;
  std::vector<std::string> m_astrLog;
  CPlayerSession m_session;
};

}  // namespace

// Catches a start sequence that logs other lines or another order than the view's, a state
// that misses the file position or the playing time, and spectra that pile up unread.
TEST(PlayerSession, StartSequenceStateAndNewestSpectrumOnly) {
  CTempFolder folder;
  const auto desc = WriteToneSeries(folder.Path(), "Start", 2, 1.0, 48000, 16, 1000.0, 0.1, true);
  CSessionHarness h;
  ASSERT_TRUE(h.m_session.Start());
  EXPECT_NE(h.Find("Starting thread \"Demod\""), std::string::npos);
  std::string strMessage;
  CDisplayFFTSetup setup;
  ASSERT_TRUE(h.m_session.Play(desc, 0.25, false, strMessage, &setup)) << strMessage;
  ASSERT_TRUE(WaitFor([&] { return h.m_session.State().m_nBlocks >= 6; }));

  const std::string& strFile = desc.m_astrFileNames[0];
  const std::size_t nPlay = h.Find("Play");
  ASSERT_NE(nPlay, std::string::npos);
  EXPECT_EQ(h.Find("  Start   = " + strFile + ", 48000"), nPlay + 1);
  EXPECT_EQ(h.Find("  Swap IQ = No"), nPlay + 2);
  const std::size_t nOpening = h.Find(strFile + "> Opening", nPlay);
  ASSERT_NE(nOpening, std::string::npos);
  EXPECT_EQ(h.Find("Seeking 48000 bytes from current position", nOpening), nOpening + 1);
  EXPECT_NE(h.Find(strFile + "> Open", nOpening), std::string::npos);

  const CPlayerState state = h.m_session.State();
  EXPECT_TRUE(state.m_bPlaying);
  EXPECT_FALSE(state.m_bDeviceFailed);
  EXPECT_EQ(state.m_nFileIndex, 0u);
  EXPECT_GT(state.m_nPosition, 48000u);
  // Many spectra have come; one take gives the newest, a second take none until the next.
  const auto spectrum = h.m_session.TakeDisplaySpectrum();
  ASSERT_TRUE(spectrum.has_value());
  EXPECT_EQ(spectrum->m_afLevels.size(), setup.m_nSize);
  EXPECT_EQ(spectrum->m_nSampleRate, 48000u);
  h.m_session.Pause(true);
  h.m_session.Thread().WaitUntilIdle(5000);
  h.m_session.TakeDisplaySpectrum();
  EXPECT_FALSE(h.m_session.TakeDisplaySpectrum().has_value());
  h.m_session.Pause(false);

  // The chain's sizes were planned ahead, and measuring left its wisdom on disk.
  FFTWPlanner::FinishMeasurements();
  EXPECT_TRUE(std::filesystem::exists(FFTWPlanner::WisdomPath()));
  ASSERT_TRUE(WaitFor([&] { return h.m_session.State().m_bEnded; }, 30s));
  EXPECT_FALSE(h.m_session.State().m_bPlaying);
  EXPECT_EQ(h.m_session.State().m_nFileIndex, 1u);
}

// Catches a click that does not move play, or logs other figures than the tuned frequency,
// the offset, the file and the byte offset.
TEST(PlayerSession, PlayAtAPointMovesPlayAndLogsWhereTo) {
  CTempFolder folder;
  const auto desc = WriteToneSeries(folder.Path(), "Point", 1, 3.0, 48000, 16, 1000.0, 0.1, true);
  CSessionHarness h;
  std::string strMessage;
  ASSERT_TRUE(h.m_session.Play(desc, 0.0, false, strMessage)) << strMessage;
  ASSERT_TRUE(WaitFor([&] { return h.m_session.State().m_nBlocks >= 2; }));
  CPictureClick click = ClickAtPlusOneKilohertzTwoAndAHalfSeconds(desc);
  double dFrequency = 0.0;
  ASSERT_TRUE(h.m_session.PlayAtPoint(desc, click, dFrequency));
  EXPECT_DOUBLE_EQ(dFrequency, 7'001'000.0);
  const std::size_t nFirst = h.Find("Demod center ....: 7000000");
  ASSERT_NE(nFirst, std::string::npos);
  EXPECT_EQ(h.Find("Demod record ....: 7001000"), nFirst + 1);
  EXPECT_EQ(h.Find("Demod offset ....: 1000"), nFirst + 2);
  EXPECT_EQ(h.Find("Demod IQ File ...: " + desc.m_astrFileNames[0]), nFirst + 3);
  EXPECT_EQ(h.Find("Demod Offset ....: 480000 bytes"), nFirst + 4);
  EXPECT_TRUE(WaitFor([&] { return h.m_session.State().m_nPosition >= 480000u; }));
  click.m_nY = 300;
  EXPECT_FALSE(h.m_session.PlayAtPoint(desc, click, dFrequency));
}

// Catches a repeat range logged with other texts, or one that does not bring play back to
// its start.
TEST(PlayerSession, RepeatRangeIsLoggedAndPlayedOverAndOver) {
  CTempFolder folder;
  auto desc = WriteToneSeries(folder.Path(), "Rep", 2, 0.5, 48000, 16, 1000.0, 0.1);
  desc.m_tStart = 1'700'000'000;  // 2023-11-14 22:13:20 UTC
  CSessionHarness h;
  ASSERT_TRUE(h.m_session.Start());
  h.m_session.SetRepeatRange(desc, 0.25, 0.7);
  const std::size_t nFirst = h.Find("Repeat range:");
  ASSERT_NE(nFirst, std::string::npos);
  EXPECT_EQ(h.Find("  Start = " + desc.m_astrFileNames[0] + ", 48000, 14-Nov-2023 22:13:20"), nFirst + 1);
  EXPECT_EQ(h.Find("  End   = " + desc.m_astrFileNames[1] + ", 38400, 14-Nov-2023 22:13:20"), nFirst + 2);
  EXPECT_EQ(h.Find("", nFirst), nFirst + 3);

  h.m_session.SetRepeat(true);
  std::string strMessage;
  ASSERT_TRUE(h.m_session.Play(desc, 0.25, false, strMessage)) << strMessage;
  ASSERT_TRUE(WaitFor([&] { return h.m_session.State().m_nErasures >= 2; }, 30s));
  EXPECT_NE(h.Find("Restarting"), std::string::npos);
  EXPECT_NE(h.Find("  Start ..: " + desc.m_astrFileNames[0] + "> 48000"), std::string::npos);
  EXPECT_NE(h.Find("  Finish .: " + desc.m_astrFileNames[1] + "> 38400"), std::string::npos);
  EXPECT_FALSE(h.m_session.State().m_bEnded);
  h.m_session.Stop();
  EXPECT_FALSE(h.m_session.State().m_bPlaying);
}

// Catches a device that does not open going unreported, and a first file that cannot be
// read starting play anyway.
TEST(PlayerSession, FailuresReachTheState) {
  CTempFolder folder;
  auto desc = WriteToneSeries(folder.Path(), "Fail", 1, 0.5, 48000, 16, 1000.0, 0.1);
  CSessionHarness h;
  CPlayerOptions options = h.m_session.Options();
  options.m_nOutputID = 7;
  options.m_strOutputName = "Nowhere";
  h.m_session.SetOptions(options);
  std::string strMessage;
  ASSERT_TRUE(h.m_session.Play(desc, 0.0, false, strMessage));
  EXPECT_TRUE(WaitFor([&] { return h.m_session.State().m_bDeviceFailed; }));

  desc.m_astrFileNames[0] = (folder / "missing.wav").string();
  EXPECT_FALSE(h.m_session.Play(desc, 0.0, false, strMessage));
  EXPECT_EQ(strMessage, "Cannot read first input file to determine file format.");
}
