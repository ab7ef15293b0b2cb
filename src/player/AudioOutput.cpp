#include "player/AudioOutput.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdarg>
#include <cstring>
#include <new>
#include <thread>

#include "core/Int16Samples.h"
#include "core/Log.h"

namespace {

constexpr int kCloseAttempts = 100;
constexpr int kCloseWaitMs = 10;


}  // namespace

CAudioOutput::CAudioOutput(CAudioOutputOwner& owner, std::shared_ptr<CAudioBackend> pBackend)
    : m_owner(owner), m_pBackend(std::move(pBackend)) {
  m_format = CWaveFormat::Linear(1, 1, kSampleRate, 16);
  // The size of the record itself, although PCM needs no extra bytes: kept as it always was.
  m_format.cbSize = 18;
}

CAudioOutput::~CAudioOutput() {
  Close();
  FreeBuffers();
}

void CAudioOutput::SetDevice(std::uint32_t nDeviceID, const std::string& strName) {
  m_nDeviceID = nDeviceID;
  m_strDeviceName = strName;
}

void CAudioOutput::SetVolume(int nPercent) { m_nVolume = std::clamp(nPercent, 0, 100); }

void CAudioOutput::Log(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  std::string text = StrFormatV(fmt, args);
  va_end(args);
  m_owner.LogText(text);
}

void CAudioOutput::LogPauseError(const char* pszWhat, MMRESULT nResult) {
  Log("Error %s %s (ID = %d) -", pszWhat, m_strDeviceName.c_str(), static_cast<int>(m_nDeviceID));
  Log("%s", WaveOutErrorText(nResult).c_str());
  Log("%s", "");
}

int CAudioOutput::QueuedCount() const {
  return static_cast<int>((m_nWriteIndex.load() - m_nLastCompleted.load() + kBufferCount) %
                          kBufferCount);
}

int CAudioOutput::CountInQueue() const {
  // A scan of all 8000 flags for every buffer written: simple, and cheap next to the
  // demodulation that produced the buffer.
  int nCount = 0;
  for (const auto& pHdr : m_apHeaders)
    if (pHdr && (pHdr->dwFlags.load(std::memory_order_relaxed) & WHDR_INQUEUE)) ++nCount;
  return nCount;
}

void CAudioOutput::FreeBuffers() {
  m_apHeaders.clear();
  m_apData.clear();
}

void CAudioOutput::Open() {
  Close();
  m_pHandle.reset();
  m_bClosing = false;
  m_bWaitingToStart = true;

  if (!m_pConversion) m_pConversion.reset(new (std::nothrow) float[kBufferSamples]);
  if (!m_pStaging) m_pStaging.reset(new (std::nothrow) std::int16_t[kBufferSamples]);
  if (!m_pConversion || !m_pStaging) {
    Log("Error preparing buffer %d - allocation failure", 0);
    return;
  }
  std::fill_n(m_pConversion.get(), kBufferSamples, 0.0f);
  std::fill_n(m_pStaging.get(), kBufferSamples, std::int16_t{0});
  m_nStaged = 0;

  const int nID = static_cast<int>(m_nDeviceID);
  Log("Opening .......................: %s, (ID = %d)", m_strDeviceName.c_str(), nID);
  Log("WAVEFORMATEX.cbSize ...........: %d", m_format.cbSize);
  Log("WAVEFORMATEX.wFormatTag .......: %d", m_format.wFormatTag);
  Log("WAVEFORMATEX.nChannels ........: %d", m_format.nChannels);
  Log("WAVEFORMATEX.nSamplesPerSec ...: %d", static_cast<int>(m_format.nSamplesPerSec));
  Log("WAVEFORMATEX.nAvgBytesPerSec ..: %d", static_cast<int>(m_format.nAvgBytesPerSec));
  Log("WAVEFORMATEX.nBlockAlign ......: %d", m_format.nBlockAlign);
  Log("WAVEFORMATEX.wBitsPerSample ...: %d", m_format.wBitsPerSample);

  std::unique_ptr<CWaveOutHandle> pHandle;
  const MMRESULT nOpen = m_pBackend ? m_pBackend->Open(pHandle, m_nDeviceID, m_format,
                                                       &CAudioOutput::WaveOutCallback, this)
                                    : MMSYSERR_NODRIVER;
  if (nOpen != MMSYSERR_NOERROR || !pHandle) {
    Log("Error opening %s (ID = %d) at %dHz - %s", m_strDeviceName.c_str(), nID,
        static_cast<int>(kSampleRate), WaveOutErrorText(nOpen).c_str());
    Log("%s", "");
    return;
  }
  Log("Open");
  // Nothing plays until enough audio is queued.
  const MMRESULT nPause = pHandle->Pause();
  if (nPause != MMSYSERR_NOERROR) LogPauseError("pausing", nPause);

  Log("Adding buffers");
  Log("Buffers to add ................: %d", static_cast<int>(kBufferCount));
  Log("Buffer size ...................: %d bytes", static_cast<int>(kBufferBytes));

  FreeBuffers();
  m_apHeaders.resize(kBufferCount);
  m_apData.resize(kBufferCount);
  bool bReady = true;
  for (std::uint32_t nSlot = 0; nSlot < kBufferCount; ++nSlot) {
    WAVEHDR* pHdr = new (std::nothrow) WAVEHDR;
    if (!pHdr) {
      Log("Error preparing buffer %d - allocation failure", static_cast<int>(nSlot));
      bReady = false;
      break;
    }
    m_apHeaders[nSlot].reset(pHdr);
    pHdr->dwBufferLength = kBufferBytes;
    pHdr->dwFlags = WHDR_DONE;
    pHdr->dwUser = nSlot;
    std::int16_t* pData = new (std::nothrow) std::int16_t[kBufferSamples]();
    if (!pData) {
      Log("Error preparing buffer %d - allocation failure", static_cast<int>(nSlot));
      bReady = false;
      break;
    }
    m_apData[nSlot].reset(pData);
    pHdr->lpData = reinterpret_cast<char*>(pData);
    const MMRESULT nPrepare = pHandle->PrepareHeader(*pHdr);
    if (nPrepare != MMSYSERR_NOERROR) {
      Log("Error preparing buffer %d - %s", static_cast<int>(nSlot),
          WaveOutErrorText(nPrepare).c_str());
      bReady = false;
      break;
    }
  }
  if (!bReady) {
    Log("%s", "");
    pHandle->Close();
    return;
  }
  m_nWriteIndex = 0;
  // Buffers handed back by the reset of an earlier opening leave the last completed slot
  // anywhere in the ring; starting it level with the write index makes the queued count 0,
  // so the player's pacing starts afresh with the new device.
  m_nLastCompleted = 0;
  m_nPeakInQueue = 0;
  m_pHandle = std::move(pHandle);
  Log("Ready");
  Log("%s", "");
}

void CAudioOutput::Write(int nCount, const std::int16_t* pSamples) {
  if (!m_pHandle || nCount <= 0) return;
  int nTaken = 0;
  while (nTaken < nCount && m_pHandle) {
    const std::uint32_t nRoom = kBufferSamples - m_nStaged;
    const std::uint32_t nCopy = std::min<std::uint32_t>(nRoom, static_cast<std::uint32_t>(nCount - nTaken));
    std::memcpy(m_pStaging.get() + m_nStaged, pSamples + nTaken, nCopy * sizeof(std::int16_t));
    m_nStaged += nCopy;
    nTaken += static_cast<int>(nCopy);
    if (m_nStaged == kBufferSamples) {
      SendStaged();
      m_nStaged = 0;
    }
  }
}

void CAudioOutput::SendStaged() {
  const int nInQueue = CountInQueue();
  m_nPeakInQueue = std::max(m_nPeakInQueue, nInQueue);
  if (nInQueue <= 1) {
    // About to run dry: hold the output until enough is queued again.
    m_bWaitingToStart = true;
    const MMRESULT nPause = m_pHandle->Pause();
    if (nPause != MMSYSERR_NOERROR) LogPauseError("pausing", nPause);
  }

  const std::uint32_t nSlot = m_nWriteIndex.load() % kBufferCount;
  m_nWriteIndex = nSlot + 1;
  const int nQueued = QueuedCount();

  std::int16_t* pData = m_apData[nSlot].get();
  if (m_bMute.load()) {
    std::fill_n(pData, kBufferSamples, std::int16_t{0});
  } else {
    const int nVolume = m_nVolume.load();
    if (nVolume < 100) {
      float* pConv = m_pConversion.get();
      const float fScale = static_cast<float>(nVolume / 100.0);
      for (std::uint32_t i = 0; i < kBufferSamples; ++i)
        pConv[i] = static_cast<float>(m_pStaging[i]) * fScale;
      for (std::uint32_t i = 0; i < kBufferSamples; ++i) m_pStaging[i] = RoundToInt16(pConv[i]);
    }
    std::memcpy(pData, m_pStaging.get(), kBufferBytes);
  }

  const MMRESULT nWrite = m_pHandle->Write(*m_apHeaders[nSlot]);
  if (nWrite != MMSYSERR_NOERROR) {
    Log("Error writing buffer %d - %s", static_cast<int>(nSlot), WaveOutErrorText(nWrite).c_str());
    Log("%s", "");
    Close();
    return;
  }
  if (m_bWaitingToStart && nQueued == static_cast<int>(kRestartQueued)) {
    m_bWaitingToStart = false;
    const MMRESULT nRestart = m_pHandle->Restart();
    if (nRestart != MMSYSERR_NOERROR) LogPauseError("restarting", nRestart);
  }
}

void CAudioOutput::Close() {
  if (!m_pHandle) return;
  Log("Output: Closing %s, (ID = %d)", m_strDeviceName.c_str(), static_cast<int>(m_nDeviceID));
  m_bClosing = true;
  m_pHandle->Reset();

  int nElapsedMs = 0;
  for (int i = 0; i < kCloseAttempts; ++i) {
    const int nInQueue = CountInQueue();
    Log("Queue size %d", nInQueue);
    if (nInQueue == 0) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(kCloseWaitMs));
    nElapsedMs += kCloseWaitMs;
  }
  for (int i = 0; i < kCloseAttempts; ++i) {
    const MMRESULT nClose = m_pHandle->Close();
    if (nClose == WAVERR_STILLPLAYING) {
      std::this_thread::sleep_for(std::chrono::milliseconds(kCloseWaitMs));
      nElapsedMs += kCloseWaitMs;
      continue;
    }
    if (nClose != MMSYSERR_NOERROR) Log("Error %s", WaveOutErrorText(nClose).c_str());
    break;
  }
  // Destroying the handle stops its driver whatever Close said, so nothing outlives it.
  m_pHandle.reset();
  Log("Closed after %d ms", nElapsedMs);
  Log("%s", "");
  m_bClosing = false;
}

void CAudioOutput::WaveOutCallback(CWaveOutHandle*, unsigned uMsg, void* pInstance, WAVEHDR* pHdr) {
  if (uMsg != WOM_DONE || !pInstance || !pHdr) return;
  auto* pSelf = static_cast<CAudioOutput*>(pInstance);
  pSelf->m_nLastCompleted = static_cast<std::uint32_t>(pHdr->dwUser);
  if (pSelf->QueuedCount() < kPacingQueued) pSelf->m_owner.RequestNextBlock();
}

std::vector<CPlaybackDevice> CAudioOutput::EnumeratePlaybackDevices() {
  std::vector<CPlaybackDevice> aDevices;
  if (m_pBackend) aDevices = SortedPlaybackDevices(*m_pBackend);
  Log("Playback devices");
  for (const CPlaybackDevice& device : aDevices)
    Log("  Wave ID = %d, Name = %s", static_cast<int>(device.m_nDeviceID), device.m_strName.c_str());
  Log("%s", "");
  return aDevices;
}
