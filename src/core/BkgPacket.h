#pragma once
// A work item for a worker thread's queue.
//
// The queue owns a packet until the worker has processed it, then destroys it. The payload
// pointer names the record the packet is about (a file I/O buffer, a sample block, a window
// table); it is not owned by the packet.

#include <cstdint>
#include <memory>
#include <string>

class CMessageTarget;

enum EPacketType : std::int32_t {
  PKT_NOP = 0,        // marker used by WaitUntilIdle
  PKT_PRIORITY = 1,   // handled by the base: set the worker's priority
  PKT_OPEN_FILE = 2,  // reader: open one file of the recording
  PKT_READ = 3,       // reader: fill a file I/O buffer
  PKT_FORWARD = 4,    // forwarder: cut a filled buffer into FFT blocks
  PKT_FFT = 5,        // FFT worker: transform every FFT block of a sample block
  PKT_STATUS = 6,     // echo RegMsgSDR::nMsgThreadStatus after everything queued before
  PKT_WINDOW = 7,     // FFT worker: use this shared window table
  // 8 is not used
  PKT_RELEASE = 9,    // reader: close the file; FFT worker: free its FFT state
};

class CBkgPacket {
 public:
  CBkgPacket() = default;
  CBkgPacket(std::int32_t nType, CMessageTarget* pReplyWnd = nullptr, std::uint32_t nParam1 = 0,
             std::uint32_t nParam2 = 0, void* pPayload = nullptr)
      : m_pReplyWnd(pReplyWnd), m_nType(nType), m_nParam1(nParam1), m_nParam2(nParam2),
        m_pPayload(pPayload) {}
  virtual ~CBkgPacket() = default;

  // The codes and operations of the queue thread.
  static constexpr std::int32_t kSyncCode = PKT_NOP;
  static constexpr std::int32_t kPriorityCode = PKT_PRIORITY;
  std::int32_t Code() const { return m_nType; }
  bool IsCancelled() const { return m_nType < 0; }
  void Cancel() { m_nType = PKT_NOP; }
  int PriorityValue() const { return static_cast<std::int32_t>(m_nParam1); }
  static std::unique_ptr<CBkgPacket> MakeSync() { return std::make_unique<CBkgPacket>(PKT_NOP); }
  static std::unique_ptr<CBkgPacket> MakePriority(int nPriority, const char* pszName) {
    auto p = std::make_unique<CBkgPacket>(PKT_PRIORITY, nullptr, static_cast<std::uint32_t>(nPriority));
    p->m_str1 = pszName;
    return p;
  }

  CMessageTarget* m_pReplyWnd = nullptr;
  std::int64_t m_nReserved1 = 0;  // always zero
  std::int64_t m_nReserved2 = 0;  // always zero
  std::int32_t m_nType = PKT_NOP;
  std::uint32_t m_nParam1 = 0;
  std::uint32_t m_nParam2 = 0;
  std::string m_str1;  // a file path or a priority name
  std::string m_str2;
  std::string m_str3;
  void* m_pPayload = nullptr;
};
