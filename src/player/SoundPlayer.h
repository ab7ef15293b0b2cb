#pragma once
// CSoundPlayer: plays a WAV file (the start-up, close-down and "analysis finished" sounds)
// through the same audio backend as the player, on a device of its own.
//
// PCM files of 8 or 16 bits, mono or stereo, at any rate are mixed down to mono and brought
// to 48 000 samples/s by linear interpolation: enough for short signal sounds. A new sound
// replaces the one playing. Nothing is heard, and nothing fails, when there is no device.

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "analysis/AnalysisRunInterfaces.h"
#include "player/AudioBackend.h"

class CSoundPlayer final : public IAnalysisSound {
 public:
  explicit CSoundPlayer(std::shared_ptr<CAudioBackend> pBackend, std::uint32_t nDeviceID = WAVE_MAPPER);
  ~CSoundPlayer() override;
  CSoundPlayer(const CSoundPlayer&) = delete;
  CSoundPlayer& operator=(const CSoundPlayer&) = delete;

  // Starts the sound and returns at once.
  void PlayAsync(const std::filesystem::path& path) override;
  // Plays the sound and returns when it has been heard; false when it could not be played.
  bool PlaySync(const std::filesystem::path& path);
  // Silences what is playing.
  void Stop();

  // The file as 16-bit mono at 48 000 samples/s; false when it is not a PCM WAV file.
  static bool LoadSound(const std::filesystem::path& path, std::vector<std::int16_t>& anSamples);

 private:
  bool Play(const std::vector<std::int16_t>& anSamples);
  void StopLocked();  // m_mutex held

  std::shared_ptr<CAudioBackend> m_pBackend;
  std::uint32_t m_nDeviceID;
  std::mutex m_mutex;  // one caller at a time starts or stops sounds
  std::thread m_thread;
  std::atomic<bool> m_bStop{false};
};
