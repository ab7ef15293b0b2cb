#include "core/ThinThread.h"

#include <chrono>
#include <system_error>
#include <thread>

CThinThread::~CThinThread() {
  // Owners stop their workers before destroying them; this is the last resort for a
  // thread that is still running when its object goes away.
  if (m_thread.joinable()) {
    m_bStop = 1;
    m_evWake.Set();
    JoinOrAbandon(5000);
  }
}

bool CThinThread::StartThread() {
  if (m_thread.joinable()) return true;
  m_bRunning = 1;
  m_nTimeoutMs = -1;
  m_bStop = 0;
  m_evFinished.Reset();
  for (int attempt = 0; attempt < 10; ++attempt) {
    if (LaunchThread()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
  }
  m_bRunning = 0;
  m_evFinished.Set();
  return false;
}

void CThinThread::StopThread() {
  m_bStop = 1;
  m_evWake.Set();
  JoinOrAbandon(5000);
}

bool CThinThread::LaunchThread() {
  try {
    m_thread = std::thread([this] { ThreadProc(); });
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

void CThinThread::JoinOrAbandon(int timeoutMs) {
  if (!m_thread.joinable()) return;
  m_evFinished.Wait(timeoutMs);
  if (m_bRunning.load()) {
    // A thread cannot be ended safely from outside; it is left to finish on its own.
    m_thread.detach();
    m_bAbandoned = true;
  } else {
    m_thread.join();
  }
}

void CThinThread::ThreadProc() {
  try {
    OnStart();
    while (!m_bStop.load()) {
      m_evWake.Wait(m_nTimeoutMs);
      if (m_bStop.load()) break;
      RunOneRound();
    }
    OnExit();
  } catch (...) {
    // An exception ends the thread's loop silently.
  }
  m_bRunning = 0;
  m_evFinished.Set();
}
