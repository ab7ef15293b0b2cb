#include "player/WaveOutStream.h"

#include <algorithm>
#include <cstring>

CWaveOutStream::CWaveOutStream(WaveOutProc pProc, void* pInstance)
    : m_pProc(pProc), m_pInstance(pInstance) {}

MMRESULT CWaveOutStream::Pause() {
  std::lock_guard lock(m_mutex);
  if (m_bClosed) return MMSYSERR_INVALHANDLE;
  m_bPaused = true;
  return MMSYSERR_NOERROR;
}

MMRESULT CWaveOutStream::Restart() {
  std::lock_guard lock(m_mutex);
  if (m_bClosed) return MMSYSERR_INVALHANDLE;
  m_bPaused = false;
  return MMSYSERR_NOERROR;
}

MMRESULT CWaveOutStream::PrepareHeader(WAVEHDR& hdr) {
  if (!hdr.lpData || hdr.dwBufferLength < sizeof(std::int16_t)) return MMSYSERR_INVALPARAM;
  hdr.dwFlags.fetch_or(WHDR_PREPARED);
  return MMSYSERR_NOERROR;
}

MMRESULT CWaveOutStream::Write(WAVEHDR& hdr) {
  if (!(hdr.dwFlags.load() & WHDR_PREPARED)) return WAVERR_UNPREPARED;
  std::lock_guard lock(m_mutex);
  if (m_bClosed) return MMSYSERR_INVALHANDLE;
  if (m_bFailed) return MMSYSERR_ERROR;
  hdr.dwFlags.store((hdr.dwFlags.load() & ~WHDR_DONE) | WHDR_INQUEUE);
  m_queue.push_back(&hdr);
  return MMSYSERR_NOERROR;
}

MMRESULT CWaveOutStream::Reset() {
  std::lock_guard lock(m_mutex);
  if (m_bClosed) return MMSYSERR_INVALHANDLE;
  while (!m_queue.empty()) {
    WAVEHDR* pHdr = m_queue.front();
    m_queue.pop_front();
    Complete(*pHdr);
  }
  m_nFrontOffset = 0;
  return MMSYSERR_NOERROR;
}

MMRESULT CWaveOutStream::Close() {
  {
    std::lock_guard lock(m_mutex);
    if (m_bClosed) return MMSYSERR_INVALHANDLE;
    if (!m_queue.empty()) return WAVERR_STILLPLAYING;
    m_bClosed = true;
  }
  StopDriver();
  return MMSYSERR_NOERROR;
}

void CWaveOutStream::MarkFailed() {
  std::lock_guard lock(m_mutex);
  m_bFailed = true;
}

std::size_t CWaveOutStream::Render(std::int16_t* pOut, std::size_t nFrames) {
  std::lock_guard lock(m_mutex);
  std::size_t nDone = 0;
  while (!m_bPaused && !m_bClosed && nDone < nFrames && !m_queue.empty()) {
    WAVEHDR& hdr = *m_queue.front();
    const std::size_t nSamples = hdr.dwBufferLength / sizeof(std::int16_t);
    const std::size_t nTake = std::min(nFrames - nDone, nSamples - m_nFrontOffset);
    std::memcpy(pOut + nDone, hdr.lpData + m_nFrontOffset * sizeof(std::int16_t),
                nTake * sizeof(std::int16_t));
    nDone += nTake;
    m_nFrontOffset += nTake;
    if (m_nFrontOffset == nSamples) {
      m_queue.pop_front();
      m_nFrontOffset = 0;
      Complete(hdr);
    }
  }
  std::fill(pOut + nDone, pOut + nFrames, std::int16_t{0});
  return nDone;
}

void CWaveOutStream::Complete(WAVEHDR& hdr) {
  hdr.dwFlags.store((hdr.dwFlags.load() & ~WHDR_INQUEUE) | WHDR_DONE);
  if (m_pProc) m_pProc(this, WOM_DONE, m_pInstance, &hdr);
}
