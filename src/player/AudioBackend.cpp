#include "player/AudioBackend.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "player/NullAudioBackend.h"
#include "player/PortAudioBackend.h"

std::shared_ptr<CAudioBackend> CreateAudioBackend(EAudioBackendChoice eChoice) {
  if (eChoice == EAudioBackendChoice::Null) return std::make_shared<CNullAudioBackend>();
  auto pSoundCard = std::make_shared<CPortAudioBackend>();
  if (eChoice == EAudioBackendChoice::SoundCard) return pSoundCard;
  if (pSoundCard->IsAvailable() && !pSoundCard->PlaybackDevices().empty()) return pSoundCard;
  return std::make_shared<CNullAudioBackend>();
}

EAudioBackendChoice AudioBackendChoiceFromEnvironment() {
  const char* psz = std::getenv("VEXLOR_AUDIO_DEVICE");
  return psz && std::string(psz) == "null" ? EAudioBackendChoice::Null : EAudioBackendChoice::Auto;
}

std::vector<CPlaybackDevice> SortedPlaybackDevices(CAudioBackend& backend) {
  std::vector<CPlaybackDevice> aDevices = backend.PlaybackDevices();
  auto lower = [](const std::string& s) {
    std::string t = s;
    std::transform(t.begin(), t.end(), t.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return t;
  };
  std::stable_sort(aDevices.begin(), aDevices.end(),
                   [&](const CPlaybackDevice& a, const CPlaybackDevice& b) {
                     return lower(a.m_strName) < lower(b.m_strName);
                   });
  return aDevices;
}
