#pragma once
// The sound card through PortAudio.
//
// The playback list is PortAudio's devices that have output channels, numbered from 0 in
// PortAudio's order (the numbers Open takes). An open device is a PortAudio output stream
// of 16-bit mono at 48 000 Hz that runs from opening to closing; its callback pulls queued
// buffers, or silence while the device is paused. A stream that stops on its own (a device
// unplugged, a driver error) makes later writes fail, which closes the device.
//
// The library is initialised for the life of the backend object. Initialising probes every
// host API, and some (JACK, ALSA plug-ins) print their complaints to stderr: those are kept
// off the terminal while PortAudio starts and stops.

#include "player/AudioBackend.h"

class CPortAudioBackend final : public CAudioBackend {
 public:
  CPortAudioBackend();
  ~CPortAudioBackend() override;
  CPortAudioBackend(const CPortAudioBackend&) = delete;
  CPortAudioBackend& operator=(const CPortAudioBackend&) = delete;

  // Whether the library could be initialised at all.
  bool IsAvailable() const { return m_bInitialised; }

  const char* Name() const override { return "PortAudio"; }
  std::vector<CPlaybackDevice> PlaybackDevices() override;
  MMRESULT Open(std::unique_ptr<CWaveOutHandle>& phwo, std::uint32_t nDeviceID,
                const WAVEFORMATEX& format, WaveOutProc pProc, void* pInstance) override;

 private:
  bool m_bInitialised = false;
};
