#pragma once
// The queue behind an open output device, shared by the sound-card and null backends.
//
// Written buffers wait in a first-in-first-out queue. The driver (the PortAudio stream
// callback or the null clock's thread) pulls samples with Render(): while the device is
// paused, or when the queue runs dry, it gets silence and nothing is consumed, as a sound
// card keeps running with its output held. A buffer whose last sample has been pulled is
// marked done and reported through the completion callback, in the order written.
//
// Callbacks are delivered with the queue's lock held, so that a Reset on the owner's
// thread and a completion on the driver's thread can never report out of order. The
// callback may take other locks (the player's packet queue) but must never call back into
// the handle; the owner never calls the handle while holding those locks.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

#include "player/WaveOut.h"

class CWaveOutStream : public CWaveOutHandle {
 public:
  MMRESULT Pause() override;
  MMRESULT Restart() override;
  MMRESULT PrepareHeader(WAVEHDR& hdr) override;
  MMRESULT Write(WAVEHDR& hdr) override;
  MMRESULT Reset() override;
  MMRESULT Close() override;

 protected:
  CWaveOutStream(WaveOutProc pProc, void* pInstance);

  // Driver side: fills pOut with nFrames samples (queued audio, or silence while paused or
  // dry) and returns how many came from buffers.
  std::size_t Render(std::int16_t* pOut, std::size_t nFrames);

  // Marks the driver as failed (a stream that stopped on its own): later writes fail.
  void MarkFailed();

  // Stops the driver (its thread or stream) for good. Called by Close() without the queue's
  // lock, as the driver may be waiting for it.
  virtual void StopDriver() = 0;

 private:
  void Complete(WAVEHDR& hdr);  // lock held

  WaveOutProc m_pProc;
  void* m_pInstance;
  std::mutex m_mutex;
  std::deque<WAVEHDR*> m_queue;
  std::size_t m_nFrontOffset = 0;  // samples of the front buffer already played
  bool m_bPaused = false;
  bool m_bFailed = false;
  bool m_bClosed = false;
};
