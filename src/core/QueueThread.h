#pragma once
// CQueueThread: the one queue-driven worker thread of the program, for the analysis workers
// and the player. Packets in, registered messages out.
//
// The user-interface side talks to a worker only by queueing packets; the worker answers
// only by posting registered messages to its target window. Packets are processed strictly
// in queue order, one at a time, with the queue's lock never held while a packet is
// handled; a worker drains its whole queue on each wake-up.
//
// The packet type supplies its codes: TPacket::kSyncCode (the marker WaitUntilIdle queues,
// discarded unhandled), TPacket::kPriorityCode (handled here: sets the thread's priority),
// Code(), IsCancelled() and Cancel() (a cancelled packet is discarded unhandled), and
// PriorityValue() and MakeSync() / MakePriority(priority, name).

#include <pthread.h>
#include <time.h>

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdint>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

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

namespace QueueThreadDetail {
// Sets the calling thread's nice value (a new worker starts at "Below normal", +5).
bool SetOwnNice(int nNice);
std::int64_t NowSeconds();
// One log line to pTarget (RegMsgSDR::nMsgSendLogfile), or to the log without one. Nothing
// once shutdown has begun.
void PostLogLine(CMessageTarget* pTarget, const std::string& strText);
// RegMsgSDR::nMsgQueueSize to pTarget when the queue diagnostics are on and shutdown has not
// begun; false when nothing was posted.
bool PostQueueSize(CMessageTarget* pTarget, const void* pThread, int nPeak);
bool ShuttingDown();
std::string FormatV(const char* fmt, va_list args);
}  // namespace QueueThreadDetail

template <class TPacket>
class CQueueThread : public CThinThread {
 public:
  CQueueThread() = default;
  ~CQueueThread() override {
    if (IsRunning()) StopThread();
  }

  // Starts the thread. A thread that cannot be made is logged ("Cannot start thread ...")
  // and reported by the result; nothing is then waited for.
  bool Start() {
    if (StartThread()) return true;
    Log("Cannot start thread \"%s\"", m_strThreadName.c_str());
    return false;
  }

  void QueuePacket(std::unique_ptr<TPacket> pPacket) {
    {
      std::lock_guard lock(m_lock);
      m_queue.push_back(std::move(pPacket));
      ReportQueueSize(static_cast<int>(m_queue.size()));
    }
    m_evWake.Set();
  }
  // Under one hold of the lock: cancels every queued packet of nCode, then appends pPacket.
  // So at most one such packet is ever pending.
  void ReplaceQueued(std::int32_t nCode, std::unique_ptr<TPacket> pPacket) {
    {
      std::lock_guard lock(m_lock);
      for (auto& pQueued : m_queue)
        if (pQueued->Code() == nCode) pQueued->Cancel();
      m_queue.push_back(std::move(pPacket));
      ReportQueueSize(static_cast<int>(m_queue.size()));
    }
    m_evWake.Set();
  }
  // Under one hold of the lock: cancels every queued packet (not the one being processed)
  // for which bCancel(packet) holds. Returns how many were cancelled.
  template <class TPredicate>
  int CancelQueued(TPredicate bCancel) {
    std::lock_guard lock(m_lock);
    int nCancelled = 0;
    for (auto& pQueued : m_queue) {
      if (pQueued->Code() == TPacket::kSyncCode || !bCancel(static_cast<const TPacket&>(*pQueued))) continue;
      pQueued->Cancel();
      ++nCancelled;
    }
    return nCancelled;
  }
  // Queues the priority packet with the value and its name ("Below normal" ...). Nothing
  // once shutdown has begun.
  void SetPriority(int nPriority) {
    if (QueueThreadDetail::ShuttingDown()) return;
    QueuePacket(TPacket::MakePriority(nPriority, PriorityName(nPriority)));
  }
  // Queues a marker and polls every 10 ms until the queue is empty, the thread is not
  // running (a thread that never started or has ended will not empty its queue), or
  // timeoutMs has passed (0: no limit). True when the queue was emptied. A poll's wait ends
  // early when the worker empties its queue, so waiting on an idle worker costs nothing.
  bool WaitUntilIdle(int timeoutMs) {
    if (!IsRunning()) return QueueLength() == 0;
    QueuePacket(TPacket::MakeSync());
    int nWaited = 0;
    for (;;) {
      if (QueueLength() == 0) return true;
      if (!IsRunning()) return false;
      if (timeoutMs != 0 && nWaited >= timeoutMs) return false;
      {
        std::unique_lock lock(m_lock);
        m_drained.wait_for(lock, std::chrono::milliseconds(10), [this] { return m_queue.empty(); });
      }
      nWaited += 10;
    }
  }

  // One log line: posted to the target window with RegMsgSDR::nMsgSendLogfile (written
  // straight to the log when there is none). Nothing once shutdown has begun.
  void Log(const char* fmt, ...) __attribute__((format(printf, 2, 3))) {
    va_list args;
    va_start(args, fmt);
    std::string strText = QueueThreadDetail::FormatV(fmt, args);
    va_end(args);
    LogText(strText);
  }
  void LogText(const std::string& strText) { QueueThreadDetail::PostLogLine(TargetWindow(), strText); }

  void SetThreadName(std::string name) { m_strThreadName = std::move(name); }
  const std::string& ThreadName() const { return m_strThreadName; }
  // The main frame: receives log lines and queue-size reports.
  void SetTargetWindow(CMessageTarget* pTarget) {
    std::lock_guard lock(m_lock);
    m_pTargetWnd = pTarget;
  }
  CMessageTarget* TargetWindow() const {
    std::lock_guard lock(m_lock);
    return m_pTargetWnd;
  }

  // Packets waiting in the queue now.
  int QueueLength() const {
    std::lock_guard lock(m_lock);
    return static_cast<int>(m_queue.size());
  }
  // The queue length as the worker reports it: set when a packet is queued (the length
  // after appending), when one is taken (the length before taking it, so the packet being
  // processed still counts) and 0 once the queue is found empty. The analysis's
  // least-loaded and back-pressure rules are written against this figure.
  int CurrentQueueLength() const {
    std::lock_guard lock(m_lock);
    return m_nQueueLength;
  }
  // Whether the worker is processing a packet or has packets queued.
  bool IsBusy() const {
    std::lock_guard lock(m_lock);
    return m_bProcessing || !m_queue.empty();
  }
  // CPU seconds the thread itself has used so far (0 before it has started).
  double CpuSeconds() const {
    if (!m_bCpuClock.load()) return 0.0;
    timespec ts{};
    if (clock_gettime(m_nCpuClock, &ts) != 0) return 0.0;
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
  }

 protected:
  // Called for every packet above the priority code, with the number still queued behind it.
  virtual void ProcessPacket(TPacket& packet, int nQueuedBehind) = 0;

  // Queue-size reports at most once per wall-clock second (the player's rule) instead of
  // at every change of the queue.
  void ThrottleQueueReports() { m_bThrottleReports = true; }

  void OnStart() override {
    // The name shows in the system's thread lists (at most 15 characters).
    pthread_setname_np(pthread_self(), m_strThreadName.substr(0, 15).c_str());
    if (pthread_getcpuclockid(pthread_self(), &m_nCpuClock) == 0) m_bCpuClock = true;
    // "Below normal" until the priority packet arrives: starting any lower would strand
    // the thread there, as an unprivileged thread may lower its priority but never raise
    // it again.
    QueueThreadDetail::SetOwnNice(5);
    Log("Starting thread \"%s\"", m_strThreadName.c_str());
  }

  void RunOneRound() override {
    while (!m_bStop.load()) {
      std::unique_ptr<TPacket> pPacket;
      int nBefore = 0;
      {
        std::lock_guard lock(m_lock);
        if (m_queue.empty()) {
          ReportQueueSize(0);
          m_bProcessing = false;
          return;
        }
        nBefore = static_cast<int>(m_queue.size());
        pPacket = std::move(m_queue.front());
        m_queue.pop_front();
        ReportQueueSize(nBefore);
        m_bProcessing = true;
        if (m_queue.empty()) m_drained.notify_all();
      }
      if (!pPacket->IsCancelled()) {
        if (pPacket->Code() == TPacket::kPriorityCode)
          ApplyThreadPriority(pPacket->PriorityValue());
        else if (pPacket->Code() != TPacket::kSyncCode)
          ProcessPacket(*pPacket, nBefore - 1);
      }
      pPacket.reset();
      std::lock_guard lock(m_lock);
      m_bProcessing = false;
    }
  }

 private:
  // Called with m_lock held.
  void ReportQueueSize(int nLength) {
    m_nQueueLength = nLength;
    if (nLength > m_nPeakQueueLength) m_nPeakQueueLength = nLength;
    if (m_bThrottleReports) {
      const std::int64_t tNow = QueueThreadDetail::NowSeconds();
      if (tNow == m_tLastReport) return;
      if (QueueThreadDetail::PostQueueSize(m_pTargetWnd, this, m_nPeakQueueLength)) {
        m_nPeakQueueLength = 0;
        m_tLastReport = tNow;
      }
    } else if (QueueThreadDetail::PostQueueSize(m_pTargetWnd, this, m_nPeakQueueLength)) {
      m_nPeakQueueLength = 0;
      m_tLastReport = QueueThreadDetail::NowSeconds();
    }
  }

  std::string m_strThreadName;
  mutable std::mutex m_lock;
  std::condition_variable m_drained;  // the queue has been emptied
  std::deque<std::unique_ptr<TPacket>> m_queue;
  int m_nQueueLength = 0;
  int m_nPeakQueueLength = 0;
  std::int64_t m_tLastReport = 0;
  bool m_bProcessing = false;
  bool m_bThrottleReports = false;
  CMessageTarget* m_pTargetWnd = nullptr;
  std::atomic<bool> m_bCpuClock{false};
  clockid_t m_nCpuClock{};
};
