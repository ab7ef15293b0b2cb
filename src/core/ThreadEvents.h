#pragma once
// Auto-reset and manual-reset events over std::mutex and std::condition_variable.

#include <chrono>
#include <condition_variable>
#include <mutex>

class CAutoResetEvent {
 public:
  explicit CAutoResetEvent(bool bSignalled = false) : m_bSignalled(bSignalled) {}
  void Set();
  // Waits until signalled (timeoutMs < 0: for ever) and resets; false on timeout.
  bool Wait(int timeoutMs = -1);

 private:
  std::mutex m_mutex;
  std::condition_variable m_cv;
  bool m_bSignalled;
};

class CManualResetEvent {
 public:
  explicit CManualResetEvent(bool bSignalled = false) : m_bSignalled(bSignalled) {}
  void Set();
  void Reset();
  bool IsSet();
  // Waits until signalled (timeoutMs < 0: for ever); false on timeout.
  bool Wait(int timeoutMs = -1);

 private:
  std::mutex m_mutex;
  std::condition_variable m_cv;
  bool m_bSignalled;
};
