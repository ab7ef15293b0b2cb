#include "player/NullAudioBackend.h"

#include <chrono>
#include <condition_variable>
#include <thread>

#include "player/WaveOutStream.h"

class CNullWaveOut final : public CWaveOutStream {
 public:
  CNullWaveOut(CNullAudioBackend& backend, WaveOutProc pProc, void* pInstance)
      : CWaveOutStream(pProc, pInstance), m_backend(backend) {
    m_thread = std::thread([this] { ClockLoop(); });
  }

  ~CNullWaveOut() override { StopDriver(); }

 protected:
  void StopDriver() override {
    {
      std::lock_guard lock(m_stopMutex);
      m_bStop = true;
    }
    m_stopCv.notify_all();
    if (m_thread.joinable()) m_thread.join();
  }

 private:
  void ClockLoop() {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point tStart = Clock::now();
    std::uint64_t nTicks = 0;
    std::int16_t anTick[CNullAudioBackend::kTickSamples];
    std::unique_lock lock(m_stopMutex);
    for (;;) {
      ++nTicks;
      // Tick k ends at k x 10 ms after the start, computed exactly from the sample count.
      const auto tDue = tStart + std::chrono::nanoseconds(
                                     nTicks * CNullAudioBackend::kTickSamples * 1'000'000'000ull /
                                     CNullAudioBackend::kSampleRate);
      if (m_stopCv.wait_until(lock, tDue, [this] { return m_bStop; })) return;
      lock.unlock();
      const std::size_t nConsumed = Render(anTick, CNullAudioBackend::kTickSamples);
      m_backend.Account(anTick, nConsumed, CNullAudioBackend::kTickSamples);
      lock.lock();
    }
  }

  CNullAudioBackend& m_backend;
  std::mutex m_stopMutex;
  std::condition_variable m_stopCv;
  bool m_bStop = false;
  std::thread m_thread;
};

std::vector<CPlaybackDevice> CNullAudioBackend::PlaybackDevices() {
  return {CPlaybackDevice{"Null output (48000 Hz clock, no sound)", 0}};
}

MMRESULT CNullAudioBackend::Open(std::unique_ptr<CWaveOutHandle>& phwo, std::uint32_t nDeviceID,
                                 const WAVEFORMATEX& format, WaveOutProc pProc, void* pInstance) {
  phwo.reset();
  if (nDeviceID != 0 && nDeviceID != WAVE_MAPPER) return MMSYSERR_BADDEVICEID;
  if (format.wFormatTag != 1 || format.nChannels != 1 || format.wBitsPerSample != 16 ||
      format.nSamplesPerSec != kSampleRate)
    return WAVERR_BADFORMAT;
  phwo = std::make_unique<CNullWaveOut>(*this, pProc, pInstance);
  return MMSYSERR_NOERROR;
}

void CNullAudioBackend::EnableCapture(bool bEnable) {
  std::lock_guard lock(m_captureMutex);
  m_bCapture = bEnable;
}

std::vector<std::int16_t> CNullAudioBackend::Captured() const {
  std::lock_guard lock(m_captureMutex);
  return m_anCaptured;
}

void CNullAudioBackend::Account(const std::int16_t* pSamples, std::size_t nConsumed,
                                std::size_t nClock) {
  {
    std::lock_guard lock(m_captureMutex);
    if (m_bCapture) m_anCaptured.insert(m_anCaptured.end(), pSamples, pSamples + nConsumed);
  }
  // Samples are taken from the start of a tick: the last one was taken nConsumed samples in.
  if (nConsumed > 0) {
    if (m_nConsumed.load() == 0) m_nClockFirst = m_nClock.load();
    m_nClockLast = m_nClock.load() + nConsumed;
  }
  m_nConsumed += nConsumed;
  m_nClock += nClock;
}
