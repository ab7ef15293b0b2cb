#pragma once
// A command for the player thread: one heap object per command, owned by the thread's queue
// until handled, then freed. The command codes are part of the design.
//
// A queued packet is cancelled by setting the top bit of its code (the value becomes
// negative); cancelled packets and code 0 are taken off the queue and discarded unhandled.

#include <cstdint>
#include <memory>
#include <string>

enum EDemodCommand : std::int32_t {
  DEMOD_CMD_SYNC = 0,              // nothing; the marker of WaitUntilIdle
  DEMOD_CMD_SPECTRUM_TAP = 1,      // index (m_dValue), enable (1), lines per second (2), destination
  DEMOD_CMD_REBUILD_DEMOD = 2,     // a new demodulator chain with the stored settings
  DEMOD_CMD_INIT_DISPLAY_FFT = 3,  // set the display FFT up again
  DEMOD_CMD_OPEN_FILE = 4,         // window to notify, file (str1), offset (1), only-if-open (2)
  DEMOD_CMD_OPEN_AUDIO = 5,        // open the audio output device
  DEMOD_CMD_PAUSE = 6,             // paused (1)
  DEMOD_CMD_NEXT_BLOCK = 7,        // read and play the next block (internal)
  DEMOD_CMD_PASS_BAND = 8,         // filter low (1), filter high (2), Hz
  DEMOD_CMD_DISPLAY_FFT = 9,       // size N (1), overlap percent (2)
  DEMOD_CMD_TUNING_OFFSET = 10,    // offset in Hz (1, signed)
  DEMOD_CMD_MODE = 11,             // mode number 0-17 (1)
  DEMOD_CMD_AUDIO_DEVICE = 12,     // device ID (1), device name (str1)
  DEMOD_CMD_PRIORITY = 13,         // priority (1), its name (str1)
  DEMOD_CMD_STOP = 15,             // close the file, stop reading
  DEMOD_CMD_RECORD_METADATA = 16,  // slot 0-7 (1), text (str1)
  DEMOD_CMD_RECORD_START = 17,     // window to notify, format (1), folder (str1), file name (str2)
  DEMOD_CMD_RECORD_STOP = 18,      // stop the audio recorder
  DEMOD_CMD_SQUELCH = 19,          // level 0-100 (1), -1 off
  DEMOD_CMD_NOISE_BLANKER = 20,    // enabled (1)
  DEMOD_CMD_NOISE_REDUCTION = 21,  // method 0-3 (1)
};

inline constexpr std::int32_t kDemodCancelBit = INT32_MIN;  // the top bit

class CDemodBkgPacket {
 public:
  CDemodBkgPacket() = default;
  explicit CDemodBkgPacket(std::int32_t nCommand, std::int32_t nParam1 = 0, std::int32_t nParam2 = 0)
      : m_nCommand(nCommand), m_nParam1(nParam1), m_nParam2(nParam2) {}
  virtual ~CDemodBkgPacket() = default;

  bool IsCancelled() const { return m_nCommand < 0; }
  void Cancel() { m_nCommand |= kDemodCancelBit; }

  // The codes and operations of the queue thread.
  static constexpr std::int32_t kSyncCode = DEMOD_CMD_SYNC;
  static constexpr std::int32_t kPriorityCode = DEMOD_CMD_PRIORITY;
  std::int32_t Code() const { return m_nCommand; }
  int PriorityValue() const { return m_nParam1; }
  static std::unique_ptr<CDemodBkgPacket> MakeSync() { return std::make_unique<CDemodBkgPacket>(DEMOD_CMD_SYNC); }
  static std::unique_ptr<CDemodBkgPacket> MakePriority(int nPriority, const char* pszName) {
    auto p = std::make_unique<CDemodBkgPacket>(DEMOD_CMD_PRIORITY, nPriority);
    p->m_str1 = pszName;
    return p;
  }

  std::int32_t m_nCommand = DEMOD_CMD_SYNC;
  std::int32_t m_nParam1 = 0;
  std::int32_t m_nParam2 = 0;
  std::uint64_t m_nValue = 0;  // a window to notify (CMessageTarget*) or an opaque destination
  double m_dValue = 0.0;       // used as an index by command 1
  std::string m_str1;
  std::string m_str2;
  std::string m_str3;
};
