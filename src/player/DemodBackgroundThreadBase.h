#pragma once
// The thread shell of the player: a CThinThread with a queue of CDemodBkgPacket commands.
//
// Like the analysis workers it drains its whole queue on each wake-up, one packet at a time
// in queue order, with the queue's lock never held while a packet is handled. Unlike them,
// its command codes are its own (code 1 configures a spectrum tap; 13 sets the priority),
// and a queued packet can be cancelled by setting the top bit of its code: cancelled packets
// and code 0 are taken off the queue and discarded unhandled.

#include <pthread.h>
#include <time.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "core/MessageTarget.h"
#include "core/ThinThread.h"
#include "player/DemodBkgPacket.h"

class CDemodBackgroundThreadBase : public CThinThread {
 public:
  CDemodBackgroundThreadBase() = default;
  ~CDemodBackgroundThreadBase() override;

  void QueuePacket(std::unique_ptr<CDemodBkgPacket> pPacket);
  // Under one hold of the lock: cancels every queued packet of nCommand, then appends
  // pPacket. So at most one such packet is ever pending.
  void ReplaceQueued(std::int32_t nCommand, std::unique_ptr<CDemodBkgPacket> pPacket);
  // Command 13 with the value and its name ("Below normal" ...). Nothing once shutdown began.
  void SetPriority(int nPriority);
  // Appends a code-0 packet and polls the queue length every 10 ms until it is 0, or the
  // thread is no longer running; timeoutMs 0 sets no limit. Nothing once shutdown began.
  void WaitUntilIdle(int timeoutMs);
  int QueueLength() const;

  // One log line: posted to the target window with RegMsgSDR::nMsgSendLogfile (written
  // straight to the log when there is none). Nothing once shutdown has begun.
  void Log(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  void LogText(const std::string& strText);

  void SetThreadName(std::string name) { m_strThreadName = std::move(name); }
  const std::string& ThreadName() const { return m_strThreadName; }
  // CPU seconds the thread itself has used so far (0 before it has started).
  double CpuSeconds() const;

  // The main frame: receives log lines and queue-size reports.
  void SetTargetWindow(CMessageTarget* pTarget);
  CMessageTarget* TargetWindow() const;

 protected:
  virtual void ProcessPacket(CDemodBkgPacket& packet) = 0;

  void OnStart() override;
  void RunOneRound() override;

 private:
  void ReportQueueSize(int nLength);  // lock held

  std::string m_strThreadName;
  mutable std::mutex m_lock;
  std::deque<std::unique_ptr<CDemodBkgPacket>> m_queue;
  int m_nPeakQueueLength = 0;
  std::int64_t m_tLastReport = 0;
  CMessageTarget* m_pTargetWnd = nullptr;
  std::atomic<bool> m_bCpuClock{false};
  clockid_t m_nCpuClock{};
};
