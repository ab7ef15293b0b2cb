#include "player/SoundPlayer.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>

#include "core/Int16Samples.h"
#include "core/Log.h"
#include "player/AudioOutput.h"
#include "recording/WaveStreamFile.h"

namespace {

// The device's lines matter only when something went wrong.
class CSoundOwner final : public CAudioOutputOwner {
 public:
  void RequestNextBlock() override {}
  void LogText(const std::string& strLine) override {
    if (strLine.rfind("Error", 0) == 0) LogLine("Sound> " + strLine);
  }
};

}  // namespace

CSoundPlayer::CSoundPlayer(std::shared_ptr<CAudioBackend> pBackend, std::uint32_t nDeviceID)
    : m_pBackend(std::move(pBackend)), m_nDeviceID(nDeviceID) {}

CSoundPlayer::~CSoundPlayer() { Stop(); }

void CSoundPlayer::Stop() {
  std::lock_guard lock(m_mutex);
  StopLocked();
}

void CSoundPlayer::StopLocked() {
  m_bStop = true;
  if (m_thread.joinable()) m_thread.join();
  m_bStop = false;
}

void CSoundPlayer::PlayAsync(const std::filesystem::path& path) {
  std::vector<std::int16_t> anSamples;
  if (!LoadSound(path, anSamples)) return;
  // Stopping and starting under one hold of the lock: two callers at once must not both
  // find the old sound gone and both start a thread in its place.
  std::lock_guard lock(m_mutex);
  StopLocked();
  m_thread = std::thread([this, anSamples = std::move(anSamples)] { Play(anSamples); });
}

bool CSoundPlayer::PlaySync(const std::filesystem::path& path) {
  std::vector<std::int16_t> anSamples;
  if (!LoadSound(path, anSamples)) return false;
  Stop();
  return Play(anSamples);
}

bool CSoundPlayer::Play(const std::vector<std::int16_t>& anSamples) {
  CSoundOwner owner;
  CAudioOutput output(owner, m_pBackend);
  output.SetDevice(m_nDeviceID, "Sound");
  output.Open();
  if (!output.IsOpen()) return false;
  // Whole buffers only reach the device, and at least 6 must be queued before it starts:
  // the sound is padded with silence to both.
  std::vector<std::int16_t> anPadded = anSamples;
  const std::size_t nBuffer = CAudioOutput::kBufferSamples;
  const std::size_t nMinimum = nBuffer * CAudioOutput::kRestartQueued;
  std::size_t nTotal = std::max(anPadded.size(), nMinimum);
  nTotal = (nTotal + nBuffer - 1) / nBuffer * nBuffer;
  anPadded.resize(nTotal, 0);
  output.Write(static_cast<int>(anPadded.size()), anPadded.data());
  // Every buffer is done when the last completed slot is the last written one (queued 1).
  const auto tLimit = std::chrono::steady_clock::now() +
                      std::chrono::milliseconds(nTotal * 1000 / CAudioOutput::kSampleRate + 2000);
  while (!m_bStop.load() && output.QueuedCount() > 1 && std::chrono::steady_clock::now() < tLimit)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  output.Close();
  return true;
}

bool CSoundPlayer::LoadSound(const std::filesystem::path& path, std::vector<std::int16_t>& anSamples) {
  anSamples.clear();
  CWaveStreamFile file;
  if (!file.Open(path, 0, nullptr, {})) return false;
  const CWaveFormat& fmt = file.Format();
  const unsigned nChannels = fmt.nChannels;
  const unsigned nBytes = fmt.wBitsPerSample / 8;
  if (fmt.wFormatTag != 1 || (nBytes != 1 && nBytes != 2) || nChannels < 1 || nChannels > 2 ||
      fmt.nSamplesPerSec == 0)
    return false;
  const std::uint64_t nDataBytes = std::min<std::uint64_t>(file.DataBytesLeft(), 48'000'000);
  std::vector<unsigned char> abData(nDataBytes);
  const std::int64_t nRead = file.Read(abData.data(), abData.size());
  if (nRead <= 0) return false;
  const std::size_t nFrames = static_cast<std::size_t>(nRead) / (nBytes * nChannels);
  std::vector<float> afMono(nFrames);
  for (std::size_t i = 0; i < nFrames; ++i) {
    float fSum = 0.0f;
    for (unsigned c = 0; c < nChannels; ++c) {
      const unsigned char* p = abData.data() + (i * nChannels + c) * nBytes;
      if (nBytes == 1) {
        fSum += (static_cast<float>(p[0]) - 128.0f) * 256.0f;
      } else {
        std::int16_t v;
        std::memcpy(&v, p, 2);
        fSum += v;
      }
    }
    afMono[i] = fSum / static_cast<float>(nChannels);
  }
  if (afMono.empty()) return false;
  const double dStep = static_cast<double>(fmt.nSamplesPerSec) / CAudioOutput::kSampleRate;
  const auto nOut = static_cast<std::size_t>(static_cast<double>(nFrames - 1) / dStep) + 1;
  anSamples.resize(nOut);
  for (std::size_t i = 0; i < nOut; ++i) {
    const double dPos = static_cast<double>(i) * dStep;
    const auto n = static_cast<std::size_t>(dPos);
    const double dFrac = dPos - static_cast<double>(n);
    const float fNext = n + 1 < nFrames ? afMono[n + 1] : afMono[n];
    const double v = afMono[n] + (fNext - afMono[n]) * dFrac;
    anSamples[i] = RoundToInt16(v);
  }
  return true;
}
