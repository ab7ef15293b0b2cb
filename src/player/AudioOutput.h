#pragma once
// CAudioOutput: the player's audio output device. 16-bit signed mono at 48 000 samples/s,
// written through a ring of 8000 buffers of 512 samples on one device of a backend.
//
// Opened, written and closed on the player thread only; the completion callback runs on
// the sound system's thread and only records the slot it finished and, when the queue has
// run down below 10 buffers, asks the owner for the next block. Volume and mute are written
// by the user-interface thread and read at each buffer.
//
// The device opens paused and starts only once 6 buffers (64 ms) are queued; when a buffer
// is about to be written with at most one still queued it pauses again, so an underrun is a
// clean stop and a 64 ms restart rather than a stream of gaps.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "player/AudioBackend.h"
#include "player/WaveOut.h"

// What the device needs from its owner (the player thread).
class CAudioOutputOwner {
 public:
  virtual ~CAudioOutputOwner() = default;
  // Called on the sound system's thread when fewer than 10 buffers remain queued.
  virtual void RequestNextBlock() = 0;
  // One line for the log (an empty text gives an empty line).
  virtual void LogText(const std::string& strLine) = 0;
};

class CAudioOutput {
 public:
  static constexpr std::uint32_t kBufferCount = 8000;
  static constexpr std::uint32_t kBufferSamples = 512;
  static constexpr std::uint32_t kBufferBytes = kBufferSamples * 2;
  static constexpr std::uint32_t kSampleRate = 48000;
  // Playback (re)starts when exactly this many buffers are queued.
  static constexpr std::uint32_t kRestartQueued = 6;
  // The player reads ahead only while fewer than this many buffers are queued.
  static constexpr int kPacingQueued = 10;

  CAudioOutput(CAudioOutputOwner& owner, std::shared_ptr<CAudioBackend> pBackend);
  ~CAudioOutput();
  CAudioOutput(const CAudioOutput&) = delete;
  CAudioOutput& operator=(const CAudioOutput&) = delete;

  const std::shared_ptr<CAudioBackend>& Backend() const { return m_pBackend; }

  // The device to open ("DemodPlayerOutputID"); the name is used in log lines only.
  void SetDevice(std::uint32_t nDeviceID, const std::string& strName);
  std::uint32_t DeviceID() const { return m_nDeviceID; }
  const std::string& DeviceName() const { return m_strDeviceName; }

  // Opens the stored device, closing it first when open. On failure the device stays
  // closed, with the reason in the log.
  void Open();
  // Stages the samples and sends every full 512-sample buffer. Nothing when not open or
  // nCount is not positive.
  void Write(int nCount, const std::int16_t* pSamples);
  // Hands back every queued buffer and closes, waiting at most about 2 s.
  void Close();

  bool IsOpen() const { return m_pHandle != nullptr; }
  // (write index - last completed index + 8000) mod 8000: what the player compares with 10.
  int QueuedCount() const;
  bool IsWaitingToStart() const { return m_bWaitingToStart; }

  // Percent 0-100 ("DemodPlayerAudioLevel"), applied to the samples; 100 leaves them alone.
  void SetVolume(int nPercent);
  int Volume() const { return m_nVolume.load(); }
  // Silence in place of the audio.
  void SetMute(bool bMute) { m_bMute = bMute; }
  bool IsMuted() const { return m_bMute.load(); }

  const WAVEFORMATEX& Format() const { return m_format; }

  // The backend's playback devices sorted by name, logged as "Playback devices" and one
  // "  Wave ID = %d, Name = %s" line each, then an empty line.
  std::vector<CPlaybackDevice> EnumeratePlaybackDevices();

  // The largest number of in-queue buffers seen before a write since opening.
  int PeakInQueue() const { return m_nPeakInQueue; }

 private:
  static void WaveOutCallback(CWaveOutHandle* hwo, unsigned uMsg, void* pInstance, WAVEHDR* pHdr);
  void Log(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  void LogPauseError(const char* pszWhat, MMRESULT nResult);
  int CountInQueue() const;
  void SendStaged();
  void FreeBuffers();

  CAudioOutputOwner& m_owner;
  std::shared_ptr<CAudioBackend> m_pBackend;
  std::uint32_t m_nDeviceID = 0;
  std::string m_strDeviceName;
  WAVEFORMATEX m_format;
  std::unique_ptr<CWaveOutHandle> m_pHandle;

  std::vector<std::unique_ptr<WAVEHDR>> m_apHeaders;
  std::vector<std::unique_ptr<std::int16_t[]>> m_apData;
  std::unique_ptr<std::int16_t[]> m_pStaging;
  std::unique_ptr<float[]> m_pConversion;
  std::uint32_t m_nStaged = 0;

  std::atomic<std::uint32_t> m_nWriteIndex{0};
  std::atomic<std::uint32_t> m_nLastCompleted{0};
  bool m_bWaitingToStart = false;
  std::atomic<bool> m_bClosing{false};
  std::atomic<int> m_nVolume{100};
  std::atomic<bool> m_bMute{false};
  int m_nPeakInQueue = 0;
};
