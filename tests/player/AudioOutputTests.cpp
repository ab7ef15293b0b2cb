// The audio output device over the null clock and over a fake failing device.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "player/AudioOutput.h"
#include "player/NullAudioBackend.h"
#include "player/WaveOutStream.h"
#include "PlayerTestSupport.h"

namespace {

using namespace std::chrono_literals;

class CTestOwner final : public CAudioOutputOwner {
 public:
  void RequestNextBlock() override { ++m_nRequests; }
  void LogText(const std::string& strLine) override {
    std::lock_guard lock(m_mutex);
    m_astrLines.push_back(strLine);
  }
  std::vector<std::string> Lines() const {
    std::lock_guard lock(m_mutex);
    return m_astrLines;
  }
  bool Logged(const std::string& strLine) const {
    const auto lines = Lines();
    return std::find(lines.begin(), lines.end(), strLine) != lines.end();
  }
  std::atomic<int> m_nRequests{0};

 private:
  mutable std::mutex m_mutex;
  std::vector<std::string> m_astrLines;
};

std::vector<std::int16_t> Buffer(std::int16_t value) {
  return std::vector<std::int16_t>(CAudioOutput::kBufferSamples, value);
}

class AudioOutputTest : public ::testing::Test {
 protected:
  AudioOutputTest() : m_pNull(std::make_shared<CNullAudioBackend>()), m_output(m_owner, m_pNull) {
    m_output.SetDevice(0, "Null");
  }
  void WriteBuffers(int nBuffers, std::int16_t value) {
    for (int i = 0; i < nBuffers; ++i) {
      const auto samples = Buffer(value);
      m_output.Write(static_cast<int>(samples.size()), samples.data());
    }
  }
  bool WaitConsumed(std::uint64_t nSamples) {
    return WaitFor([&] { return m_pNull->SamplesConsumed() >= nSamples; });
  }

  CTestOwner m_owner;
  std::shared_ptr<CNullAudioBackend> m_pNull;
  CAudioOutput m_output;
};

// Catches a "tidied" format record: cbSize stays 18 and every field is logged as opened.
TEST_F(AudioOutputTest, OpensWithTheFixedFormatAndLogsIt) {
  m_output.Open();
  ASSERT_TRUE(m_output.IsOpen());
  const WAVEFORMATEX& f = m_output.Format();
  EXPECT_EQ(f.wFormatTag, 1);
  EXPECT_EQ(f.nChannels, 1);
  EXPECT_EQ(f.nSamplesPerSec, 48000u);
  EXPECT_EQ(f.nAvgBytesPerSec, 96000u);
  EXPECT_EQ(f.nBlockAlign, 2);
  EXPECT_EQ(f.wBitsPerSample, 16);
  EXPECT_EQ(f.cbSize, 18);
  const std::vector<std::string> expected = {
      "Opening .......................: Null, (ID = 0)",
      "WAVEFORMATEX.cbSize ...........: 18",
      "WAVEFORMATEX.wFormatTag .......: 1",
      "WAVEFORMATEX.nChannels ........: 1",
      "WAVEFORMATEX.nSamplesPerSec ...: 48000",
      "WAVEFORMATEX.nAvgBytesPerSec ..: 96000",
      "WAVEFORMATEX.nBlockAlign ......: 2",
      "WAVEFORMATEX.wBitsPerSample ...: 16",
      "Open",
      "Adding buffers",
      "Buffers to add ................: 8000",
      "Buffer size ...................: 1024 bytes",
      "Ready",
      ""};
  EXPECT_EQ(m_owner.Lines(), expected);
  EXPECT_EQ(m_output.QueuedCount(), 0);
}

// Catches a missing device crashing or playing anyway, and a wrong error text.
TEST_F(AudioOutputTest, ADeviceThatDoesNotExistIsReportedAndWritesDoNothing) {
  m_output.SetDevice(7, "Nowhere");
  m_output.Open();
  EXPECT_FALSE(m_output.IsOpen());
  EXPECT_TRUE(m_owner.Logged("Error opening Nowhere (ID = 7) at 48000Hz - ID out of range, Error code 2"));
  WriteBuffers(8, 1000);
  EXPECT_EQ(m_output.QueuedCount(), 0);
  std::this_thread::sleep_for(30ms);
  EXPECT_EQ(m_pNull->SamplesConsumed(), 0u);
}

// Catches playback starting before 6 buffers are queued (gaps at every start) or never
// starting, and a device that is not paused again when it runs dry.
TEST_F(AudioOutputTest, StartsAtSixQueuedAndPausesAgainAfterRunningDry) {
  m_output.Open();
  WriteBuffers(5, 1);
  std::this_thread::sleep_for(60ms);
  EXPECT_EQ(m_pNull->SamplesConsumed(), 0u) << "played with only 5 buffers queued";
  EXPECT_TRUE(m_output.IsWaitingToStart());
  WriteBuffers(1, 1);
  EXPECT_FALSE(m_output.IsWaitingToStart());
  ASSERT_TRUE(WaitConsumed(6 * CAudioOutput::kBufferSamples));

  // Dry now: the next buffer finds at most one in the queue and pauses the device.
  int nWritten = 0;
  while (m_output.QueuedCount() < static_cast<int>(CAudioOutput::kRestartQueued) - 1 && nWritten < 10) {
    WriteBuffers(1, 2);
    ++nWritten;
    EXPECT_TRUE(m_output.IsWaitingToStart());
  }
  std::this_thread::sleep_for(60ms);
  EXPECT_EQ(m_pNull->SamplesConsumed(), 6u * CAudioOutput::kBufferSamples) << "played after an underrun";
  WriteBuffers(1, 2);
  ++nWritten;
  EXPECT_EQ(m_output.QueuedCount(), 6);
  EXPECT_FALSE(m_output.IsWaitingToStart());
  EXPECT_TRUE(WaitConsumed((6u + nWritten) * CAudioOutput::kBufferSamples));
}

// Catches completions that do not carry their slot (the queued count would never fall) and
// a missing next-block request.
TEST_F(AudioOutputTest, CompletionsCarryTheirSlotAndAskForMore) {
  m_output.Open();
  WriteBuffers(5, 5);  // held until the sixth: nothing can complete yet
  EXPECT_EQ(m_output.QueuedCount(), 5);
  WriteBuffers(1, 5);
  ASSERT_TRUE(WaitConsumed(6 * CAudioOutput::kBufferSamples));
  // The last completed slot is 5, the next to write 6.
  EXPECT_TRUE(WaitFor([&] { return m_output.QueuedCount() == 1; }));
  EXPECT_GT(m_owner.m_nRequests.load(), 0);
}

// Catches volume scaling that truncates, does not saturate, or touches samples at 100.
TEST_F(AudioOutputTest, VolumeIsAppliedToTheSamples) {
  m_pNull->EnableCapture(true);
  m_output.Open();
  std::vector<std::int16_t> pattern(CAudioOutput::kBufferSamples, 0);
  const std::int16_t in[] = {3, -3, 1, -1, 5, -5, 32767, -32768, 7};
  const std::int16_t half[] = {2, -2, 1, -1, 3, -3, 16384, -16384, 4};
  std::copy(std::begin(in), std::end(in), pattern.begin());
  const int nVolumes[] = {100, 50, 0, 100, 100, 100};
  for (int nVolume : nVolumes) {
    m_output.SetVolume(nVolume);
    m_output.Write(static_cast<int>(pattern.size()), pattern.data());
  }
  ASSERT_TRUE(WaitConsumed(6 * CAudioOutput::kBufferSamples));
  const auto captured = m_pNull->Captured();
  const std::size_t n = CAudioOutput::kBufferSamples;
  EXPECT_TRUE(std::equal(pattern.begin(), pattern.end(), captured.begin()));
  EXPECT_TRUE(std::equal(std::begin(half), std::end(half), captured.begin() + n));
  EXPECT_TRUE(std::all_of(captured.begin() + 2 * n, captured.begin() + 3 * n, [](auto s) { return s == 0; }));
  EXPECT_TRUE(std::equal(pattern.begin(), pattern.end(), captured.begin() + 3 * n));
}

TEST_F(AudioOutputTest, MuteWritesSilence) {
  m_pNull->EnableCapture(true);
  m_output.Open();
  m_output.SetMute(true);
  WriteBuffers(6, 1234);
  ASSERT_TRUE(WaitConsumed(6 * CAudioOutput::kBufferSamples));
  const auto captured = m_pNull->Captured();
  EXPECT_TRUE(std::all_of(captured.begin(), captured.end(), [](auto s) { return s == 0; }));
}

// Catches a partial buffer being sent, or staged samples lost across writes of odd sizes.
TEST_F(AudioOutputTest, StagesOddSizedWritesIntoWholeBuffers) {
  m_pNull->EnableCapture(true);
  m_output.Open();
  std::vector<std::int16_t> ramp(7 * CAudioOutput::kBufferSamples + 100);
  for (std::size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<std::int16_t>(i);
  std::size_t nDone = 0;
  for (std::size_t nPiece : {1u, 700u, 33u, 2000u, 511u}) {
    m_output.Write(static_cast<int>(nPiece), ramp.data() + nDone);
    nDone += nPiece;
  }
  m_output.Write(static_cast<int>(ramp.size() - nDone), ramp.data() + nDone);
  ASSERT_TRUE(WaitConsumed(7 * CAudioOutput::kBufferSamples));
  std::this_thread::sleep_for(30ms);
  const auto captured = m_pNull->Captured();
  ASSERT_EQ(captured.size(), 7u * CAudioOutput::kBufferSamples);
  EXPECT_TRUE(std::equal(captured.begin(), captured.end(), ramp.begin()));
}

// Catches a close that hangs on queued buffers or loses their completions.
TEST_F(AudioOutputTest, CloseHandsBackQueuedBuffersAtOnce) {
  m_output.Open();
  WriteBuffers(5, 9);  // paused: all five stay queued
  m_output.Close();
  EXPECT_FALSE(m_output.IsOpen());
  const auto lines = m_owner.Lines();
  EXPECT_TRUE(m_owner.Logged("Output: Closing Null, (ID = 0)"));
  EXPECT_TRUE(m_owner.Logged("Queue size 0"));
  EXPECT_TRUE(m_owner.Logged("Closed after 0 ms"));
  EXPECT_EQ(m_output.QueuedCount(), 1);  // last completed = slot 4
  WriteBuffers(3, 9);                    // closed: nothing happens
  // Opening again starts the pacing afresh.
  m_output.Open();
  EXPECT_EQ(m_output.QueuedCount(), 0);
}

TEST_F(AudioOutputTest, ListsTheNullDevice) {
  const auto devices = m_output.EnumeratePlaybackDevices();
  ASSERT_EQ(devices.size(), 1u);
  const auto lines = m_owner.Lines();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], "Playback devices");
  EXPECT_EQ(lines[1], "  Wave ID = 0, Name = " + devices[0].m_strName);
  EXPECT_EQ(lines[2], "");
}

// A device whose writes fail, to check the failure path of a real card.
class CFailingStream final : public CWaveOutStream {
 public:
  CFailingStream() : CWaveOutStream(nullptr, nullptr) { MarkFailed(); }

 protected:
  void StopDriver() override {}
};

class CFakeBackend final : public CAudioBackend {
 public:
  const char* Name() const override { return "Fake"; }
  std::vector<CPlaybackDevice> PlaybackDevices() override {
    return {{"beta", 0}, {"Alpha", 1}, {"gamma", 2}, {"Beta 2", 3}};
  }
  MMRESULT Open(std::unique_ptr<CWaveOutHandle>& phwo, std::uint32_t, const WAVEFORMATEX&, WaveOutProc,
                void*) override {
    phwo = std::make_unique<CFailingStream>();
    return MMSYSERR_NOERROR;
  }
};

// Catches a case-sensitive sort, or numbers left behind when names move.
TEST(AudioDevices, PlaybackListIsSortedByNameIgnoringCase) {
  CFakeBackend backend;
  const auto devices = SortedPlaybackDevices(backend);
  ASSERT_EQ(devices.size(), 4u);
  EXPECT_EQ(devices[0].m_strName, "Alpha");
  EXPECT_EQ(devices[0].m_nDeviceID, 1u);
  EXPECT_EQ(devices[1].m_strName, "beta");
  EXPECT_EQ(devices[1].m_nDeviceID, 0u);
  EXPECT_EQ(devices[2].m_strName, "Beta 2");
  EXPECT_EQ(devices[3].m_strName, "gamma");
}

// Catches a failing device that crashes the player or keeps being written.
TEST(AudioDevices, AWriteErrorClosesTheDevice) {
  CTestOwner owner;
  CAudioOutput output(owner, std::make_shared<CFakeBackend>());
  output.SetDevice(1, "Alpha");
  output.Open();
  ASSERT_TRUE(output.IsOpen());
  const auto samples = Buffer(1);
  output.Write(static_cast<int>(samples.size()), samples.data());
  EXPECT_FALSE(output.IsOpen());
  EXPECT_TRUE(owner.Logged("Error writing buffer 0 - Unspecified error, Error code 1"));
  output.Write(static_cast<int>(samples.size()), samples.data());
}

TEST(AudioDevices, ResultCodesHaveTheirTexts) {
  EXPECT_EQ(WaveOutErrorText(0), ", Error code 0");
  EXPECT_EQ(WaveOutErrorText(2), "ID out of range, Error code 2");
  EXPECT_EQ(WaveOutErrorText(12), "Handle being used simultaneously on another thread (eg callback), Error code 12");
  EXPECT_EQ(WaveOutErrorText(21), "More data to be returned, Error code 21");
  EXPECT_EQ(WaveOutErrorText(22), "Unknown error, Error code 22");
  EXPECT_EQ(WaveOutErrorText(33), "Unknown error, Error code 33");
}

}  // namespace
