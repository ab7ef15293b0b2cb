// The "Demod" player thread end to end over the null audio clock: synthesised IQ recordings
// in, messages, log lines and consumed audio out.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <fstream>
#include <map>
#include <thread>

#include <unistd.h>

#include "PlayerTestSupport.h"
#include "core/MessageQueue.h"
#include "core/RegisteredMessages.h"
#include "dsp/DSPDemodModes.h"
#include "dsp/DSPGlobalFlags.h"
#include "player/DemodBackgroundThread.h"
#include "player/NullAudioBackend.h"
#include "player/PlayerControl.h"
#include "recording/WaveStreamFile.h"
#include "support/TestEnvironment.h"

namespace {

using namespace std::chrono_literals;

// Drives a player thread as the view does, with headless message queues for the view and
// the main frame. With bBelowNormal false the thread keeps normal priority (a lowered
// priority cannot be raised again without privileges).
class CPlayerHarness {
 public:
  explicit CPlayerHarness(bool bBelowNormal = true)
      : m_pNull(std::make_shared<CNullAudioBackend>()), m_thread(m_pNull) {
    RegisterAllMessages();
    m_options.m_nOutputID = 0;
    m_options.m_strOutputName = "Null";
    m_options.m_strMode = "AM";
    m_options.m_nFilterLow = 200;
    m_options.m_nFilterHigh = 3000;
    if (bBelowNormal) {
      EXPECT_TRUE(StartPlayerThread(m_thread, &m_main, false));
    } else {
      m_thread.SetTargetWindow(&m_main);
      EXPECT_TRUE(m_thread.StartThread());
      Idle();
    }
  }
  ~CPlayerHarness() { m_thread.StopThread(); }

  bool Play(const CRecordingDescription& desc, double tStart = 0.0, bool bSwapIQ = false) {
    std::string strMessage;
    return StartPlay(m_thread, desc, tStart, bSwapIQ, m_options, &m_view, 0, {}, strMessage);
  }

  // Handles view and main-frame messages until cond holds (or 60 s, a hung build).
  bool PumpUntil(const std::function<bool()>& cond, std::chrono::milliseconds limit = 60s) {
    const auto tEnd = std::chrono::steady_clock::now() + limit;
    while (!cond()) {
      if (std::chrono::steady_clock::now() > tEnd) return false;
      Pump(5ms);
    }
    return true;
  }
  void Pump(std::chrono::milliseconds wait) {
    if (auto msg = m_view.Wait(wait)) Handle(*msg);
    m_view.PumpPending([this](CMessage& m) { Handle(m); });
    m_main.PumpPending([this](CMessage& m) {
      if (auto p = m.TakePayload<CValuePayload<std::string>>()) m_astrLog.push_back(p->value);
    });
  }
  // Waits, within a limit, until the thread has handled everything queued so far.
  void Idle() { m_thread.WaitUntilIdle(10000); }
  bool Logged(const std::string& strLine) const {
    return std::find(m_astrLog.begin(), m_astrLog.end(), strLine) != m_astrLog.end();
  }

  // The windows outlive the thread, which still logs as it closes its device.
  CMessageQueue m_view;
  CMessageQueue m_main;
  std::shared_ptr<CNullAudioBackend> m_pNull;
  CDemodBackgroundThread m_thread;
  CPlayerOptions m_options;

  std::vector<std::string> m_astrLog;
  std::vector<std::vector<float>> m_aSpectra;
  std::vector<float> m_afTapRates;  // element 3 of each spectrum-tap line
  std::vector<std::pair<int, std::uint32_t>> m_aPositions;  // (file index, offset)
  int m_nErases = 0;
  int m_nPositionsBeforeFirstErase = -1;
  bool m_bEnded = false;

 private:
  void Handle(CMessage& msg) {
    if (msg.nMsg == RegMsgSDR::nMsgDemodFFTOutput) {
      auto p = msg.TakePayload<CValuePayload<std::vector<float>>>();
      if (!p && msg.wParam == 0 && msg.lParam == 0) m_bEnded = true;
      if (p) m_aSpectra.push_back(std::move(p->value));
    } else if (msg.nMsg == RegMsgSDR::nMsgDemodFilePosn) {
      m_aPositions.emplace_back(static_cast<int>(msg.wParam), static_cast<std::uint32_t>(msg.lParam));
    } else if (msg.nMsg == RegMsgSDR::nMsgDemodFFTDemod) {
      if (auto p = msg.TakePayload<CValuePayload<std::vector<float>>>(); p && p->value.size() > 3)
        m_afTapRates.push_back(p->value[3]);
    } else if (msg.nMsg == RegMsgSDR::nMsgPlayerErase) {
      if (m_nErases++ == 0) m_nPositionsBeforeFirstErase = static_cast<int>(m_aPositions.size());
    }
  }
};

std::int32_t SpectrumSeconds(const std::vector<float>& afSpectrum) {
  std::int32_t n;
  std::memcpy(&n, &afSpectrum[4], sizeof n);
  return n;
}

// The one real-time check. The null device's clock runs with steady time; a player that is
// not paced by the buffer completions reads ahead without bound, and one that falls behind
// underruns, which makes the played audio take a longer stretch of that clock than its own
// length. N seconds of recording must give N seconds of audio and take N seconds of clock,
// each within 2 %. An underrun in the last moments leaves fewer than the 6 buffers that
// restart the device, and those never play: such a try counts as failed, not as a hang.
//
// A machine busy with other work (or a sanitizer build, several times slower) can starve
// the player into underruns. The scheduler says how long the worker threads waited for a
// processor while runnable; a try that failed after they waited at least the 100 ms that
// the read-ahead covers proves nothing, and gets another go. A failure without such a wait
// is a pacing fault. When every try was starved the timing is not judged (the test is
// skipped after its load-independent checks).
struct CRealTimeFigures {
  bool bPlayedOut = false;  // play ended and the device played everything queued
  double dAudio = 0.0;      // seconds of audio played
  double dClock = 0.0;      // seconds of device clock it took
  double dWall = 0.0;       // seconds from the start of play to the last buffer
  double dStarved = 0.0;    // seconds the worker threads waited for a processor
  int nPeakInQueue = 0;

  bool KeptTime(double dSeconds) const {
    return bPlayedOut && std::abs(dAudio - dSeconds) <= dSeconds * 0.02 && std::abs(dClock - dAudio) <= dAudio * 0.02;
  }
  bool Starved() const { return dStarved >= 0.1; }
};

// Nanoseconds each thread of the process but this one has spent runnable and waiting for a
// processor (the second figure of its schedstat).
std::map<std::string, double> WorkerRunDelays() {
  std::map<std::string, double> delays;
  const std::string strSelf = std::to_string(gettid());
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task", error)) {
    const std::string strTid = entry.path().filename().string();
    if (strTid == strSelf) continue;
    std::ifstream stat(entry.path() / "schedstat");
    double dRunNs = 0.0, dWaitNs = 0.0;
    if (stat >> dRunNs >> dWaitNs) delays[strTid] = dWaitNs;
  }
  return delays;
}

double SecondsStarvedSince(const std::map<std::string, double>& before) {
  double dNs = 0.0;
  for (const auto& [strTid, dWaitNs] : WorkerRunDelays()) {
    const auto it = before.find(strTid);
    dNs += dWaitNs - (it == before.end() ? 0.0 : it->second);
  }
  return dNs * 1e-9;
}

CRealTimeFigures PlayInRealTime(const CRecordingDescription& desc) {
  CRealTimeFigures figures;
  CPlayerHarness h(false);
  const auto delaysBefore = WorkerRunDelays();
  const auto tStart = std::chrono::steady_clock::now();
  // The last buffers play out after the reading has ended.
  figures.bPlayedOut = h.Play(desc) && h.PumpUntil([&] { return h.m_bEnded; }) &&
                       h.PumpUntil([&] { return h.m_thread.QueuedAudioBuffers() <= 1; }, 5s);
  figures.dWall = std::chrono::duration<double>(std::chrono::steady_clock::now() - tStart).count();
  figures.dAudio = static_cast<double>(h.m_pNull->SamplesConsumed()) / 48000.0;
  figures.dClock =
      static_cast<double>(h.m_pNull->ClockAtLastConsumed() - h.m_pNull->ClockAtFirstConsumed()) / 48000.0;
  figures.nPeakInQueue = h.m_thread.PeakAudioInQueue();
  figures.dStarved = SecondsStarvedSince(delaysBefore);
  return figures;
}

TEST(PlayerThread, PlaysInRealTimePacedByTheDevice) {
  CTempFolder folder;
  constexpr double kSeconds = 4.0;
  const auto desc = WriteToneSeries(folder.Path(), "Rt", 1, kSeconds, 48000, 16, 1000.0, 0.1, true);
  CRealTimeFigures figures;
  for (int nTry = 0; nTry < 3; ++nTry) {
    figures = PlayInRealTime(desc);
    if (figures.KeptTime(kSeconds) || !figures.Starved()) break;
  }
  EXPECT_GE(figures.dWall, kSeconds * 0.98) << "played faster than real time";
  // Read-ahead stays at about 10 buffers: 10, plus what one block adds, plus the one
  // about to be written.
  const int nBlockBuffers = 4096 / static_cast<int>(CAudioOutput::kBufferSamples) + 1;
  EXPECT_LE(figures.nPeakInQueue, CAudioOutput::kPacingQueued + nBlockBuffers + 1);
  EXPECT_GT(figures.nPeakInQueue, 5);
  if (!figures.KeptTime(kSeconds) && figures.Starved())
    GTEST_SKIP() << "the machine is too busy to judge real time: the player's threads waited "
                 << figures.dStarved << " s for a processor";
  EXPECT_TRUE(figures.bPlayedOut);
  EXPECT_NEAR(figures.dAudio, kSeconds, kSeconds * 0.02);
  EXPECT_NEAR(figures.dClock, figures.dAudio, figures.dAudio * 0.02)
      << "audio " << figures.dAudio << " s took " << figures.dClock << " s of the clock";
}

// Catches audio that reaches the recorder and the device differently (volume applied
// twice, samples dropped or duplicated between the two).
TEST(PlayerThread, TheRecordedWavHoldsExactlyTheAudioOfTheDevice) {
  CTempFolder folder;
  const auto desc = WriteToneSeries(folder.Path(), "Rec", 1, 1.0, 48000, 16, 1000.0, 0.1, true);
  CPlayerHarness h;
  h.m_pNull->EnableCapture(true);
  h.m_thread.SendStartRecording(&h.m_view, AUDIO_RECORD_WAV, folder.Path().string(), "played");
  ASSERT_TRUE(h.Play(desc));
  ASSERT_TRUE(h.PumpUntil([&] { return h.m_bEnded; }));
  // An underrun at the very end (a busy machine) leaves up to 5 buffers held for good.
  h.PumpUntil([&] { return h.m_thread.QueuedAudioBuffers() <= 1; }, 5s);
  const std::size_t nHeld = static_cast<std::size_t>(std::max(0, h.m_thread.QueuedAudioBuffers() - 1));
  h.m_thread.SendStopRecording();
  h.Idle();

  CWaveStreamFile wav;
  ASSERT_TRUE(wav.Open(folder / "played.wav", 0, nullptr, {}));
  EXPECT_EQ(wav.Format().nSamplesPerSec, 48000u);
  EXPECT_EQ(wav.Format().nChannels, 1);
  std::vector<std::int16_t> anRecorded(wav.DataBytesLeft() / 2);
  wav.Read(anRecorded.data(), anRecorded.size() * 2);
  const std::vector<std::int16_t> anPlayed = h.m_pNull->Captured();
  ASSERT_GT(anPlayed.size(), 40000u);
  // The device takes whole buffers only; the recorder also has the last partial one (and
  // any buffers the device still holds).
  ASSERT_GE(anRecorded.size(), anPlayed.size() + nHeld * CAudioOutput::kBufferSamples);
  EXPECT_LT(anRecorded.size() - anPlayed.size(), (nHeld + 1) * CAudioOutput::kBufferSamples);
  EXPECT_TRUE(std::equal(anPlayed.begin(), anPlayed.end(), anRecorded.begin()));
  EXPECT_TRUE(std::filesystem::exists(folder / "played.xml"));
}

// Catches a repeat that does not go back to its start, that forgets to erase the displays,
// or that plays past the end offset.
TEST(PlayerThread, RepeatRestartsAtTheRepeatStartAndErases) {
  CTempFolder folder;
  const auto desc = WriteToneSeries(folder.Path(), "Rep", 2, 0.5, 48000, 16, 1000.0, 0.1);
  CPlayerHarness h;
  CRepeatRange range;
  range.m_strStartFile = desc.m_astrFileNames[0];
  range.m_nStartOffset = 48000;  // 0.25 s in
  range.m_strEndFile = desc.m_astrFileNames[1];
  range.m_nEndOffset = 40000;
  h.m_thread.SetRepeatRange(range);
  h.m_thread.SetRepeat(true);
  ASSERT_TRUE(h.Play(desc, 0.25));
  ASSERT_TRUE(h.PumpUntil([&] { return h.m_nErases >= 2; }));
  h.m_thread.SendStop();
  h.Idle();
  h.Pump(10ms);

  EXPECT_FALSE(h.m_bEnded);
  EXPECT_TRUE(h.Logged("Restarting"));
  EXPECT_TRUE(h.Logged("  Start ..: " + range.m_strStartFile + "> 48000"));
  EXPECT_TRUE(h.Logged("  Finish .: " + range.m_strEndFile + "> 40000"));
  // Every block was read from inside the range: file 0 from the start offset on, file 1
  // up to one block past the end offset at most.
  const std::uint32_t nBlockBytes = 4096 * 4;
  for (const auto& [nFile, nOffset] : h.m_aPositions) {
    if (nFile == 0) {
      EXPECT_GE(nOffset, 48000u);
    } else {
      EXPECT_LT(nOffset, 40000u + nBlockBytes);
    }
  }
  // After the erase, play goes on from the start of the range.
  ASSERT_GE(h.m_nPositionsBeforeFirstErase, 0);
  ASSERT_LT(static_cast<std::size_t>(h.m_nPositionsBeforeFirstErase), h.m_aPositions.size());
  EXPECT_EQ(h.m_aPositions[h.m_nPositionsBeforeFirstErase].first, 0);
  EXPECT_TRUE(h.Logged(range.m_strStartFile + "> Closing"));
}

// Catches a player that hangs, or loops, at the end of the series without repeat.
TEST(PlayerThread, EndOfTheLastFilePostsTheEndOfPlay) {
  CTempFolder folder;
  const auto desc = WriteToneSeries(folder.Path(), "End", 2, 0.2, 48000, 16, 1000.0, 0.1);
  CPlayerHarness h;
  ASSERT_TRUE(h.Play(desc, 0.3));  // in the last file
  ASSERT_TRUE(h.PumpUntil([&] { return h.m_bEnded; }));
  h.Idle();
  h.Pump(10ms);
  EXPECT_TRUE(h.Logged(desc.m_astrFileNames[1] + "> EOF"));
  EXPECT_FALSE(h.m_thread.IsFileOpen());
  EXPECT_FALSE(h.Logged("Restarting"));
}

// Play started at the very end: the first read gives nothing and play ends at once.
TEST(PlayerThread, PlayStartedAtTheVeryEndEndsAtOnce) {
  CTempFolder folder;
  const auto desc = WriteToneSeries(folder.Path(), "Last", 1, 0.2, 48000, 16, 1000.0, 0.1);
  CPlayerHarness h;
  ASSERT_TRUE(h.Play(desc, 10.0));
  ASSERT_TRUE(h.PumpUntil([&] { return h.m_bEnded; }));
  h.Pump(10ms);
  EXPECT_TRUE(h.Logged(desc.m_astrFileNames[0] + "> EOF"));
  EXPECT_TRUE(h.m_aSpectra.empty());
  EXPECT_EQ(h.m_thread.BlocksProcessed(), 0u);
}

// Catches a pause that keeps reading (completions still asking for blocks) and a resume
// that waits for a completion that never comes.
TEST(PlayerThread, PauseStopsReadingAndResumeReadsAtOnce) {
  CTempFolder folder;
  const auto desc = WriteToneSeries(folder.Path(), "Pause", 1, 5.0, 48000, 16, 1000.0, 0.1);
  CPlayerHarness h;
  ASSERT_TRUE(h.Play(desc));
  ASSERT_TRUE(h.PumpUntil([&] { return h.m_thread.BlocksProcessed() >= 5; }));
  h.m_thread.SendPause(true);
  h.Idle();
  // Completions of the buffers still queued may each queue one request; none is read.
  const std::uint64_t nPaused = h.m_thread.BlocksProcessed();
  std::this_thread::sleep_for(300ms);
  EXPECT_EQ(h.m_thread.BlocksProcessed(), nPaused);
  EXPECT_TRUE(h.m_thread.IsFileOpen());
  // By now the device has played everything it had and asks for nothing more.
  h.m_thread.SendPause(false);
  EXPECT_TRUE(h.PumpUntil([&] { return h.m_thread.BlocksProcessed() > nPaused; }));
  h.m_thread.SendStop();
}

// Catches a stop that leaves the file open, or a later open that resumes reading without
// a new play.
TEST(PlayerThread, StopClosesTheFile) {
  CTempFolder folder;
  const auto desc = WriteToneSeries(folder.Path(), "Stop", 1, 5.0, 48000, 16, 1000.0, 0.1);
  CPlayerHarness h;
  ASSERT_TRUE(h.Play(desc));
  ASSERT_TRUE(h.PumpUntil([&] { return h.m_thread.BlocksProcessed() >= 3; }));
  h.m_thread.SendStop();
  h.Idle();
  h.Pump(10ms);
  EXPECT_FALSE(h.m_thread.IsFileOpen());
  EXPECT_TRUE(h.Logged(desc.m_astrFileNames[0] + "> Closing"));
  const std::uint64_t nStopped = h.m_thread.BlocksProcessed();
  h.m_thread.SendOpenFile(&h.m_view, desc.m_astrFileNames[0], 0, false);
  h.m_thread.RequestNextBlock();
  h.Idle();
  std::this_thread::sleep_for(100ms);
  EXPECT_EQ(h.m_thread.BlocksProcessed(), nStopped);
}

// The first display spectrum of a play started 2 s into a recording.
std::vector<float> FirstSpectrum(int nBits, bool bSwapIQ) {
  CTempFolder folder;
  const auto desc = WriteToneSeries(folder.Path(), "Lvl", 1, 2.5, 48000, nBits, 3000.0, 0.25);
  CPlayerHarness h;
  EXPECT_TRUE(h.Play(desc, 2.0, bSwapIQ));
  EXPECT_TRUE(h.PumpUntil([&] { return !h.m_aSpectra.empty(); }));
  h.m_thread.SendStop();
  h.Idle();
  return h.m_aSpectra.empty() ? std::vector<float>{} : h.m_aSpectra.front();
}

// Catches a 24-bit conversion that is not brought to the 16-bit scale, a header laid out
// otherwise, a playing time stored as a float, and an unordered or unswapped spectrum. The
// 24-bit recording holds the 16-bit one's values times 256, so the levels must agree bin
// for bin.
TEST(PlayerThread, DisplaySpectrumHeaderAndLevels) {
  const std::vector<float> af16 = FirstSpectrum(16, false);
  const std::vector<float> af24 = FirstSpectrum(24, false);
  constexpr std::uint32_t N = 4096;  // 48000 Hz at 20 lines per second
  ASSERT_EQ(af16.size(), N + 10);
  ASSERT_EQ(af24.size(), N + 10);
  EXPECT_EQ(af16[0], N + 10.0f);
  EXPECT_EQ(af16[1], 10.0f);
  EXPECT_EQ(af16[2], static_cast<float>(N));
  EXPECT_EQ(af16[3], 48000.0f);
  EXPECT_EQ(SpectrumSeconds(af16), 2);
  for (int i = 5; i < 10; ++i) EXPECT_EQ(af16[i], 0.0f);

  // The tone at +3000 Hz: bin 256 of the transform, N/2 + 256 after the reordering.
  const float* p16 = af16.data() + 10;
  const std::size_t nPeak = std::max_element(p16, p16 + N) - p16;
  EXPECT_EQ(nPeak, N / 2 + 256);
  for (std::size_t i = 0; i < N; ++i) ASSERT_NEAR(af24[10 + i], p16[i], 0.001) << "bin " << i;

  const std::vector<float> afSwapped = FirstSpectrum(16, true);
  ASSERT_EQ(afSwapped.size(), N + 10);
  const float* pS = afSwapped.data() + 10;
  EXPECT_EQ(static_cast<std::size_t>(std::max_element(pS, pS + N) - pS), N / 2 - 256);
}

// Catches end-of-series handling that forgets the next file: a play crosses from the first
// file into the second within one block.
TEST(PlayerThread, PlayRunsOnAcrossTheFilesOfTheSeries) {
  CTempFolder folder;
  const auto desc = WriteToneSeries(folder.Path(), "Two", 2, 0.3, 48000, 16, 1000.0, 0.1);
  CPlayerHarness h;
  ASSERT_TRUE(h.Play(desc));
  ASSERT_TRUE(h.PumpUntil([&] { return h.m_bEnded; }));
  h.Idle();
  h.Pump(10ms);
  EXPECT_TRUE(h.Logged(desc.m_astrFileNames[0] + "> EOF"));
  EXPECT_TRUE(h.Logged(desc.m_astrFileNames[1] + "> Open"));
  const bool bSawSecond = std::any_of(h.m_aPositions.begin(), h.m_aPositions.end(),
                                      [](const auto& pos) { return pos.first == 1; });
  EXPECT_TRUE(bSawSecond);
}

// Catches a click that starts play on its own, a click that does not move the position
// while playing, and a tuning offset that is not the clicked frequency minus the centre.
TEST(PlayerThread, AClickInThePictureMovesPlayOnlyWhilePlaying) {
  CTempFolder folder;
  const auto desc = WriteToneSeries(folder.Path(), "Click", 1, 3.0, 48000, 16, 1000.0, 0.1, true);
  CPlayerHarness h;
  CPictureClick click;
  click.m_dCentreHz = desc.m_nCenterFrequency;
  click.m_dSpanHz = 48000;
  click.m_nWidth = 480;
  click.m_nX = 250;  // +1000 Hz
  click.m_nHeight = 300;
  click.m_tTop = 3.0;
  click.m_tBottom = 0.0;
  click.m_nY = 50;  // 2.5 s
  std::vector<std::string> astrLog;
  const auto log = [&](const std::string& strLine) { astrLog.push_back(strLine); };
  double dFrequency = 0.0;
  ASSERT_TRUE(PlayAtPoint(h.m_thread, desc, click, h.m_options, &h.m_view, log, dFrequency));
  EXPECT_DOUBLE_EQ(dFrequency, 7'001'000.0);
  EXPECT_NE(std::find(astrLog.begin(), astrLog.end(), "Demod offset ....: 1000"), astrLog.end());
  EXPECT_NE(std::find(astrLog.begin(), astrLog.end(), "Demod Offset ....: 480000 bytes"), astrLog.end());
  h.Idle();
  EXPECT_FALSE(h.m_thread.IsFileOpen());

  ASSERT_TRUE(h.Play(desc));
  ASSERT_TRUE(h.PumpUntil([&] { return h.m_thread.BlocksProcessed() >= 2; }));
  ASSERT_TRUE(PlayAtPoint(h.m_thread, desc, click, h.m_options, &h.m_view, log, dFrequency));
  const std::size_t nBefore = h.m_aPositions.size();
  ASSERT_TRUE(h.PumpUntil([&] { return h.m_aPositions.size() > nBefore + 2; }));
  EXPECT_GE(h.m_aPositions.back().second, 480000u);
  click.m_nX = -1;
  EXPECT_FALSE(PlayAtPoint(h.m_thread, desc, click, h.m_options, &h.m_view, log, dFrequency));
  h.m_thread.SendStop();
}

// Catches a play whose chain stays in the mode of the play before: here the thread has
// handled the whole set-up, the mode change included, before the view writes the
// play-start state (the other order of the same race always worked).
TEST(PlayerThread, TheModeOfAPlayReachesTheChainWhateverTheTiming) {
  CTempFolder folder;
  const auto desc = WriteToneSeries(folder.Path(), "Mode", 1, 1.0, 48000, 16, 1000.0, 0.1, true);
  CPlayerHarness h;
  h.m_thread.SetSeries(desc.m_astrFileNames, desc.m_anFileSizes);
  h.m_thread.SendDisplayFFT(4096, 42);
  h.m_thread.SendInitDisplayFFT();
  h.m_thread.SendAudioDevice(0, "Null");
  h.m_thread.SendOpenAudio();
  h.m_thread.SendRebuildDemod();  // in the thread's first mode, USB (IF rate 8000 Hz)
  h.m_thread.SendConfigureSpectrumTap(0, true, 20, reinterpret_cast<std::uintptr_t>(&h.m_view));
  h.m_thread.SendMode(eDemodAM);
  h.m_thread.SendPassBand(200, 5000);
  h.Idle();
  h.m_thread.PrepareForPlay(false);
  h.m_thread.SendOpenFile(&h.m_view, desc.m_astrFileNames[0], 0, false);
  h.m_thread.RequestNextBlock();
  ASSERT_TRUE(h.PumpUntil([&] { return !h.m_afTapRates.empty(); }));
  h.m_thread.SendStop();
  EXPECT_EQ(h.m_afTapRates.front(), 22050.0f) << "the tap runs at the IF rate of AM";
}

// A thread whose packets are only recorded, to check the queue rules.
class CRecordingThread final : public CQueueThread<CDemodBkgPacket> {
 public:
  std::vector<std::int32_t> m_anHandled;
  std::mutex m_mutex;

 protected:
  void ProcessPacket(CDemodBkgPacket& packet, int) override {
    std::lock_guard lock(m_mutex);
    m_anHandled.push_back(packet.m_nCommand);
  }
};

// Catches a pile-up of next-block requests, and cancelled or marker packets being handled.
TEST(PlayerQueue, AtMostOneNextBlockRequestIsPendingAndCancelledPacketsAreDropped) {
  CRecordingThread thread;
  for (int i = 0; i < 5; ++i)
    thread.ReplaceQueued(DEMOD_CMD_NEXT_BLOCK, std::make_unique<CDemodBkgPacket>(DEMOD_CMD_NEXT_BLOCK));
  auto pCancelled = std::make_unique<CDemodBkgPacket>(DEMOD_CMD_MODE, 3);
  pCancelled->Cancel();
  EXPECT_LT(pCancelled->m_nCommand, 0);
  thread.QueuePacket(std::move(pCancelled));
  thread.QueuePacket(std::make_unique<CDemodBkgPacket>(DEMOD_CMD_SYNC));
  thread.QueuePacket(std::make_unique<CDemodBkgPacket>(DEMOD_CMD_PASS_BAND, 100, 2000));
  ASSERT_TRUE(thread.StartThread());
  thread.WaitUntilIdle(10000);
  thread.StopThread();
  const std::vector<std::int32_t> expected = {DEMOD_CMD_NEXT_BLOCK, DEMOD_CMD_PASS_BAND};
  EXPECT_EQ(thread.m_anHandled, expected);
}

}  // namespace
