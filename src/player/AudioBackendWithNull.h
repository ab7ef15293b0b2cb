#pragma once
// The player's device list in the desktop application: the sound card's output devices and,
// always beside them, the silent null-clock device, so that a listener can choose either.
//
// The sound card's devices keep their own numbers; the null device is kNullDeviceID.
// WAVE_MAPPER (the default output) opens the sound card's default device, or the null
// device when there is no sound card or it has no output.

#include <memory>

#include "player/AudioBackend.h"
#include "player/NullAudioBackend.h"

class CAudioBackendWithNull final : public CAudioBackend {
 public:
  static constexpr std::uint32_t kNullDeviceID = 0xFFFFFFFEu;

  // pSoundCard may be empty: then the null device is the only one.
  explicit CAudioBackendWithNull(std::shared_ptr<CAudioBackend> pSoundCard);

  const char* Name() const override;
  std::vector<CPlaybackDevice> PlaybackDevices() override;
  MMRESULT Open(std::unique_ptr<CWaveOutHandle>& phwo, std::uint32_t nDeviceID, const WAVEFORMATEX& format,
                WaveOutProc pProc, void* pInstance) override;

  CNullAudioBackend& NullDevice() { return m_null; }

 private:
  bool HasSoundCardOutput();

  std::shared_ptr<CAudioBackend> m_pSoundCard;
  CNullAudioBackend m_null;
};

// The desktop application's player backend: with VEXLOR_AUDIO_DEVICE=null (or
// EAudioBackendChoice::Null) the null device alone, otherwise PortAudio's devices as well.
std::shared_ptr<CAudioBackendWithNull> CreateAudioBackendWithNull(EAudioBackendChoice eChoice);
