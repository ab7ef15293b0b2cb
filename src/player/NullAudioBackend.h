#pragma once
// The null output device: no sound, but the pace of a sound card. A thread of its own takes
// 480 samples (10 ms) at every tick of a steady clock, at exactly 48 000 samples/s over any
// stretch of time: each tick is scheduled from the clock's start, so a late wake-up is made
// good by the next ticks rather than lost. Used on machines without a sound card, on request
// ("--device null") and by the tests.
//
// Its one device is number 0 (WAVE_MAPPER opens it too); any other number is out of range.
// Counters shared by every handle it opens tell what was played, and an optional capture
// keeps a copy of every consumed sample for the tests.

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "player/AudioBackend.h"

class CNullAudioBackend final : public CAudioBackend {
 public:
  static constexpr std::uint32_t kSampleRate = 48000;
  static constexpr std::uint32_t kTickSamples = 480;

  const char* Name() const override { return "Null"; }
  std::vector<CPlaybackDevice> PlaybackDevices() override;
  MMRESULT Open(std::unique_ptr<CWaveOutHandle>& phwo, std::uint32_t nDeviceID,
                const WAVEFORMATEX& format, WaveOutProc pProc, void* pInstance) override;

  // Samples taken from written buffers, over every opening.
  std::uint64_t SamplesConsumed() const { return m_nConsumed.load(); }
  // Samples of clock time that have passed while a device was open (played or silent).
  std::uint64_t ClockSamples() const { return m_nClock.load(); }

  // The clock's sample count when the first and the last consumed sample were taken: the
  // stretch of clock time that the played audio took.
  std::uint64_t ClockAtFirstConsumed() const { return m_nClockFirst.load(); }
  std::uint64_t ClockAtLastConsumed() const { return m_nClockLast.load(); }

  // Keeps a copy of every consumed sample from now on.
  void EnableCapture(bool bEnable);
  std::vector<std::int16_t> Captured() const;

 private:
  friend class CNullWaveOut;
  void Account(const std::int16_t* pSamples, std::size_t nConsumed, std::size_t nClock);

  std::atomic<std::uint64_t> m_nConsumed{0};
  std::atomic<std::uint64_t> m_nClock{0};
  std::atomic<std::uint64_t> m_nClockFirst{0};
  std::atomic<std::uint64_t> m_nClockLast{0};
  mutable std::mutex m_captureMutex;
  bool m_bCapture = false;
  std::vector<std::int16_t> m_anCaptured;
};
