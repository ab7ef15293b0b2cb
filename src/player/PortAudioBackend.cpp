#include "player/PortAudioBackend.h"

#include <alsa/asoundlib.h>
#include <fcntl.h>
#include <portaudio.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <mutex>

#include "player/WaveOutStream.h"

namespace {

// PortAudio's initialisation, termination and stream opening and closing are not safe to
// call from several threads at once; every call of them goes through this lock.
std::mutex& PortAudioLock() {
  static std::mutex mutex;
  return mutex;
}

void QuietAlsaError(const char*, int, const char*, int, const char*, ...) {}

// Sends stderr to /dev/null for its lifetime. Used only around PortAudio's start and stop,
// where JACK and ALSA print a screenful on a machine without their servers or cards.
class CQuietStderr {
 public:
  CQuietStderr() {
    std::fflush(stderr);
    m_nSaved = ::dup(STDERR_FILENO);
    const int nNull = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (m_nSaved >= 0 && nNull >= 0) ::dup2(nNull, STDERR_FILENO);
    if (nNull >= 0) ::close(nNull);
  }
  ~CQuietStderr() {
    if (m_nSaved >= 0) {
      ::dup2(m_nSaved, STDERR_FILENO);
      ::close(m_nSaved);
    }
  }
  CQuietStderr(const CQuietStderr&) = delete;
  CQuietStderr& operator=(const CQuietStderr&) = delete;

 private:
  int m_nSaved = -1;
};

// PortAudio's output devices in its own order: the playback list's numbers index this.
std::vector<PaDeviceIndex> OutputDeviceIndices() {
  std::vector<PaDeviceIndex> anIndices;
  const PaDeviceIndex nCount = Pa_GetDeviceCount();
  for (PaDeviceIndex i = 0; i < nCount; ++i) {
    const PaDeviceInfo* pInfo = Pa_GetDeviceInfo(i);
    if (pInfo && pInfo->maxOutputChannels > 0) anIndices.push_back(i);
  }
  return anIndices;
}

MMRESULT ResultOfPaError(PaError nError) {
  switch (nError) {
    case paInvalidDevice: return MMSYSERR_BADDEVICEID;
    case paDeviceUnavailable: return MMSYSERR_ALLOCATED;
    case paInsufficientMemory: return MMSYSERR_NOMEM;
    case paInvalidSampleRate:
    case paSampleFormatNotSupported:
    case paInvalidChannelCount: return WAVERR_BADFORMAT;
    case paNotInitialized: return MMSYSERR_NODRIVER;
    default: return MMSYSERR_ERROR;
  }
}

}  // namespace

class CPortAudioWaveOut final : public CWaveOutStream {
 public:
  CPortAudioWaveOut(WaveOutProc pProc, void* pInstance) : CWaveOutStream(pProc, pInstance) {}
  ~CPortAudioWaveOut() override { StopDriver(); }

  // Opens and starts the stream; lock held by the caller.
  PaError Start(PaDeviceIndex nDevice) {
    PaStreamParameters params{};
    params.device = nDevice;
    params.channelCount = 1;
    params.sampleFormat = paInt16;
    params.suggestedLatency = Pa_GetDeviceInfo(nDevice)->defaultLowOutputLatency;
    PaError nError = Pa_OpenStream(&m_pStream, nullptr, &params, 48000.0,
                                   paFramesPerBufferUnspecified, paNoFlag, &StreamCallback, this);
    if (nError != paNoError) {
      m_pStream = nullptr;
      return nError;
    }
    Pa_SetStreamFinishedCallback(m_pStream, &StreamFinished);
    nError = Pa_StartStream(m_pStream);
    if (nError != paNoError) {
      Pa_CloseStream(m_pStream);
      m_pStream = nullptr;
    }
    return nError;
  }

 protected:
  void StopDriver() override {
    if (!m_pStream) return;  // never started, or stopped already (owner's thread only)
    std::lock_guard lock(PortAudioLock());
    m_bStopping = true;
    Pa_AbortStream(m_pStream);
    Pa_CloseStream(m_pStream);
    m_pStream = nullptr;
  }

 private:
  static int StreamCallback(const void*, void* pOutput, unsigned long nFrames,
                            const PaStreamCallbackTimeInfo*, PaStreamCallbackFlags, void* pUser) {
    static_cast<CPortAudioWaveOut*>(pUser)->Render(static_cast<std::int16_t*>(pOutput), nFrames);
    return paContinue;
  }

  static void StreamFinished(void* pUser) {
    auto* pSelf = static_cast<CPortAudioWaveOut*>(pUser);
    if (!pSelf->m_bStopping.load()) pSelf->MarkFailed();
  }

  PaStream* m_pStream = nullptr;
  std::atomic<bool> m_bStopping{false};
};

CPortAudioBackend::CPortAudioBackend() {
  std::lock_guard lock(PortAudioLock());
  snd_lib_error_set_handler(&QuietAlsaError);
  CQuietStderr quiet;
  m_bInitialised = Pa_Initialize() == paNoError;
}

CPortAudioBackend::~CPortAudioBackend() {
  if (!m_bInitialised) return;
  std::lock_guard lock(PortAudioLock());
  CQuietStderr quiet;
  Pa_Terminate();
}

std::vector<CPlaybackDevice> CPortAudioBackend::PlaybackDevices() {
  std::vector<CPlaybackDevice> aDevices;
  if (!m_bInitialised) return aDevices;
  std::lock_guard lock(PortAudioLock());
  const std::vector<PaDeviceIndex> anIndices = OutputDeviceIndices();
  for (std::size_t i = 0; i < anIndices.size(); ++i) {
    const PaDeviceInfo* pInfo = Pa_GetDeviceInfo(anIndices[i]);
    aDevices.push_back(CPlaybackDevice{pInfo->name ? pInfo->name : "",
                                       static_cast<std::uint32_t>(i)});
  }
  return aDevices;
}

MMRESULT CPortAudioBackend::Open(std::unique_ptr<CWaveOutHandle>& phwo, std::uint32_t nDeviceID,
                                 const WAVEFORMATEX& format, WaveOutProc pProc, void* pInstance) {
  phwo.reset();
  if (!m_bInitialised) return MMSYSERR_NODRIVER;
  if (format.wFormatTag != 1 || format.nChannels != 1 || format.wBitsPerSample != 16 ||
      format.nSamplesPerSec != 48000)
    return WAVERR_BADFORMAT;

  std::lock_guard lock(PortAudioLock());
  PaDeviceIndex nDevice = paNoDevice;
  if (nDeviceID == WAVE_MAPPER) {
    nDevice = Pa_GetDefaultOutputDevice();
    if (nDevice == paNoDevice) return MMSYSERR_NODRIVER;
  } else {
    const std::vector<PaDeviceIndex> anIndices = OutputDeviceIndices();
    if (nDeviceID >= anIndices.size()) return MMSYSERR_BADDEVICEID;
    nDevice = anIndices[nDeviceID];
  }
  auto pStream = std::make_unique<CPortAudioWaveOut>(pProc, pInstance);
  const PaError nError = pStream->Start(nDevice);
  if (nError != paNoError) return ResultOfPaError(nError);
  phwo = std::move(pStream);
  return MMSYSERR_NOERROR;
}
