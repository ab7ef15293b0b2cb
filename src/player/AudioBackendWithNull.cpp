#include "player/AudioBackendWithNull.h"

#include "player/PortAudioBackend.h"

CAudioBackendWithNull::CAudioBackendWithNull(std::shared_ptr<CAudioBackend> pSoundCard)
    : m_pSoundCard(std::move(pSoundCard)) {}

const char* CAudioBackendWithNull::Name() const { return m_pSoundCard ? m_pSoundCard->Name() : m_null.Name(); }

bool CAudioBackendWithNull::HasSoundCardOutput() {
  return m_pSoundCard && !m_pSoundCard->PlaybackDevices().empty();
}

std::vector<CPlaybackDevice> CAudioBackendWithNull::PlaybackDevices() {
  std::vector<CPlaybackDevice> aDevices;
  if (m_pSoundCard) aDevices = m_pSoundCard->PlaybackDevices();
  for (CPlaybackDevice device : m_null.PlaybackDevices()) {
    device.m_nDeviceID = kNullDeviceID;
    aDevices.push_back(device);
  }
  return aDevices;
}

MMRESULT CAudioBackendWithNull::Open(std::unique_ptr<CWaveOutHandle>& phwo, std::uint32_t nDeviceID,
                                     const WAVEFORMATEX& format, WaveOutProc pProc, void* pInstance) {
  if (nDeviceID == kNullDeviceID || (nDeviceID == WAVE_MAPPER && !HasSoundCardOutput()))
    return m_null.Open(phwo, 0, format, pProc, pInstance);
  phwo.reset();
  if (!m_pSoundCard) return MMSYSERR_BADDEVICEID;
  return m_pSoundCard->Open(phwo, nDeviceID, format, pProc, pInstance);
}

std::shared_ptr<CAudioBackendWithNull> CreateAudioBackendWithNull(EAudioBackendChoice eChoice) {
  if (eChoice == EAudioBackendChoice::Null) return std::make_shared<CAudioBackendWithNull>(nullptr);
  auto pSoundCard = std::make_shared<CPortAudioBackend>();
  if (!pSoundCard->IsAvailable()) return std::make_shared<CAudioBackendWithNull>(nullptr);
  return std::make_shared<CAudioBackendWithNull>(std::move(pSoundCard));
}
