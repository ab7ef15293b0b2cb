#pragma once
// The thread shell at the root of every worker: a thread that waits on a wake event and
// runs one round each time it fires, until asked to stop.

#include <atomic>
#include <cstdint>
#include <thread>

#include "core/ThreadEvents.h"

class CThinThread {
 public:
  CThinThread() = default;
  virtual ~CThinThread();
  CThinThread(const CThinThread&) = delete;
  CThinThread& operator=(const CThinThread&) = delete;

  bool IsRunning() const { return m_bRunning.load(); }

  // Starts the thread (up to 10 attempts, 250 ms apart); false when it could not be made.
  bool StartThread();
  // Asks the thread to stop and waits up to 5000 ms; a thread still running is abandoned.
  void StopThread();

 protected:
  // Runs first on the new thread.
  virtual void OnStart() {}
  // Runs each time the wake event fires.
  virtual void RunOneRound() {}
  // Runs last on the thread.
  virtual void OnExit() {}

  // Launches the thread procedure; false when the thread could not be created.
  bool LaunchThread();
  // Waits for the thread procedure to finish; if it has not after timeoutMs the thread is
  // abandoned (detached): a Linux thread cannot be ended safely from outside.
  void JoinOrAbandon(int timeoutMs);

  CAutoResetEvent m_evWake;
  CManualResetEvent m_evFinished{true};
  std::int32_t m_nTimeoutMs = -1;
  std::atomic<std::int32_t> m_bStop{0};
  std::atomic<std::int32_t> m_bRunning{0};
  std::thread m_thread;
  bool m_bAbandoned = false;

 private:
  void ThreadProc();
};
