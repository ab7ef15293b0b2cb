#pragma once
// CBackgroundThreadBase: the queue thread of the analysis workers (file reader, forwarder,
// FFT workers), over the analysis's packets (CBkgPacket).

#include "core/BkgPacket.h"
<<<<<<< HEAD
#include "core/MessageTarget.h"
#include "core/ThinThread.h"

// Thread priorities, as the operating system's levels.
enum EThreadPriority : int {
  THREAD_PRIORITY_IDLE = -15,
  THREAD_PRIORITY_BELOW_NORMAL = -1,
  THREAD_PRIORITY_NORMAL = 0,
  THREAD_PRIORITY_ABOVE_NORMAL = 1,
  THREAD_PRIORITY_HIGHEST = 2,
};

// "Idle", "Below normal", "Normal", "Above normal", "Highest" or "Other".
const char* PriorityName(int nPriority);
// Applies a priority to the calling thread as a nice value: Idle +19, Below normal +5,
// Normal 0, Above normal -5, Highest -10 (Idle is not SCHED_IDLE, which starves a worker
// whenever anything else runs). Workers start at +5. A refused change is ignored;
// returns whether it took effect.
bool ApplyThreadPriority(int nPriority);

class CBackgroundThreadBase : public CThinThread {
 public:
  CBackgroundThreadBase() = default;
  ~CBackgroundThreadBase() override;

  void QueuePacket(std::unique_ptr<CBkgPacket> pPacket);
  void SetPriority(int nPriority);
  // Queues a marker and polls every 10 ms until the queue is empty; timeoutMs 0 waits for ever.
  void WaitUntilIdle(int timeoutMs);
  // Posts a formatted line to the target window with RegMsgSDR::nMsgSendLogfile.
  void Log(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  void ReportQueueSize(int nLength);

  void SetThreadName(std::string name) { m_strThreadName = std::move(name); }
  const std::string& ThreadName() const { return m_strThreadName; }
  void SetTargetWindow(CMessageTarget* pTarget);
  CMessageTarget* TargetWindow() const;

  // Packets waiting in the queue now (under the lock).
  int QueueLength() const;
  // The worker's current queue length as it reports it: set when a packet is queued (the
  // length after appending), when one is taken (the length before taking it, so the packet
  // being processed still counts) and 0 once the queue is found empty. The least-loaded
  // and back-pressure rules of the analysis are written against this figure.
  int CurrentQueueLength() const;
  // Whether the worker is processing a packet or has packets queued.
  bool IsBusy() const;
=======
#include "core/QueueThread.h"
>>>>>>> facade-dsp

class CBackgroundThreadBase : public CQueueThread<CBkgPacket> {
 protected:
  // The PKT_STATUS echo: posts RegMsgSDR::nMsgThreadStatus with the packet's two
  // parameters to its reply window. Queued behind other work, it arrives after that work.
  static void EchoStatus(const CBkgPacket& packet);
};
