#pragma once
// The wave-output contract the player's audio device is written against: a device opened
// with a fixed PCM format, buffers ("headers") written into a queue that the sound system
// plays in order, pause and restart, a reset that hands back every queued buffer, and a
// completion callback carrying the finished header. The result codes and their texts are
// those of the wave-output functions, so that the player's log lines stay exact.
//
// Two implementations stand behind it (AudioBackend.h): the sound card through PortAudio,
// and a null device that consumes audio at exactly 48 000 samples/s on its own clock.

#include <atomic>
#include <cstdint>
#include <string>

#include "recording/RiffFile.h"  // MMSYSERR_NOERROR, shared with the multimedia-file codes
#include "recording/WaveHeader.h"

using MMRESULT = std::uint32_t;

enum EWaveOutResult : MMRESULT {
  MMSYSERR_ERROR = 1,
  MMSYSERR_BADDEVICEID = 2,
  MMSYSERR_NOTENABLED = 3,
  MMSYSERR_ALLOCATED = 4,
  MMSYSERR_INVALHANDLE = 5,
  MMSYSERR_NODRIVER = 6,
  MMSYSERR_NOMEM = 7,
  MMSYSERR_NOTSUPPORTED = 8,
  MMSYSERR_BADERRNUM = 9,
  MMSYSERR_INVALFLAG = 10,
  MMSYSERR_INVALPARAM = 11,
  MMSYSERR_HANDLEBUSY = 12,
  WAVERR_BADFORMAT = 32,
  WAVERR_STILLPLAYING = 33,
  WAVERR_UNPREPARED = 34,
};

// The default output device, whichever the sound system chooses.
inline constexpr std::uint32_t WAVE_MAPPER = 0xFFFFFFFFu;

// Callback messages.
inline constexpr unsigned WOM_OPEN = 955;
inline constexpr unsigned WOM_CLOSE = 956;
inline constexpr unsigned WOM_DONE = 957;

// Header flags.
inline constexpr std::uint32_t WHDR_DONE = 0x01;
inline constexpr std::uint32_t WHDR_PREPARED = 0x02;
inline constexpr std::uint32_t WHDR_INQUEUE = 0x10;

// "%s, Error code %d" with the text of the code ("Unknown error" for codes without one).
std::string WaveOutErrorText(MMRESULT nResult);

// The output format is the one 'fmt ' record of the program.
using WAVEFORMATEX = CWaveFormat;

// One buffer of audio. The flags are the only field written by both sides (the owner
// scans them for in-queue buffers while the sound system's thread marks buffers done),
// so they are atomic; the owner leaves every other field alone while the buffer is queued.
struct WAVEHDR {
  char* lpData = nullptr;
  std::uint32_t dwBufferLength = 0;  // bytes
  std::uint32_t dwBytesRecorded = 0;
  std::uintptr_t dwUser = 0;
  std::atomic<std::uint32_t> dwFlags{0};
  std::uint32_t dwLoops = 0;
};

class CWaveOutHandle;

// The completion callback: runs on the sound system's thread (or, for buffers handed back
// by Reset, on the thread that called Reset). It must not call the handle's functions.
using WaveOutProc = void (*)(CWaveOutHandle* hwo, unsigned uMsg, void* dwInstance, WAVEHDR* pHdr);

// An open output device (the handle returned by opening one).
class CWaveOutHandle {
 public:
  virtual ~CWaveOutHandle() = default;

  virtual MMRESULT Pause() = 0;
  virtual MMRESULT Restart() = 0;
  virtual MMRESULT PrepareHeader(WAVEHDR& hdr) = 0;
  virtual MMRESULT Write(WAVEHDR& hdr) = 0;
  // Stops playback and hands back every queued buffer, marked done, through the callback.
  virtual MMRESULT Reset() = 0;
  // WAVERR_STILLPLAYING while buffers are queued; otherwise stops the device for good.
  virtual MMRESULT Close() = 0;
};
