#pragma once
// A source of output devices: its playback list and the opening of one of them.
//
// The device numbers of the playback list are the numbers Open() takes (WAVE_MAPPER opens
// the system's default output). A backend outlives every handle it opened.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "player/WaveOut.h"

struct CPlaybackDevice {
  std::string m_strName;
  std::uint32_t m_nDeviceID = 0;
};

class CAudioBackend {
 public:
  virtual ~CAudioBackend() = default;

  // "PortAudio" or "Null", for log lines.
  virtual const char* Name() const = 0;
  // The output devices in the backend's own order.
  virtual std::vector<CPlaybackDevice> PlaybackDevices() = 0;
  // Opens a device for the given format. On success phwo holds the open handle and
  // MMSYSERR_NOERROR is returned; otherwise phwo is left empty.
  virtual MMRESULT Open(std::unique_ptr<CWaveOutHandle>& phwo, std::uint32_t nDeviceID,
                        const WAVEFORMATEX& format, WaveOutProc pProc, void* pInstance) = 0;
};

enum class EAudioBackendChoice {
  Auto,       // the sound card when one exists, the null device otherwise
  SoundCard,  // PortAudio, even when it finds no device (opening then fails)
  Null,       // the null device
};

std::shared_ptr<CAudioBackend> CreateAudioBackend(EAudioBackendChoice eChoice);
// The desktop application's choice: VEXLOR_AUDIO_DEVICE=null plays on the null clock
// (machines without a sound card, tests); otherwise Auto.
EAudioBackendChoice AudioBackendChoiceFromEnvironment();

// The playback list as shown and logged: sorted by name, case-insensitively, with the
// numbers moving with their names.
std::vector<CPlaybackDevice> SortedPlaybackDevices(CAudioBackend& backend);
