#include "core/ThreadEvents.h"

namespace {

template <typename Pred>
bool WaitFor(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, int timeoutMs,
             Pred pred) {
  if (timeoutMs < 0) {
    cv.wait(lock, pred);
    return true;
  }
  return cv.wait_for(lock, std::chrono::milliseconds(timeoutMs), pred);
}

}  // namespace

void CAutoResetEvent::Set() {
  {
    std::lock_guard lock(m_mutex);
    m_bSignalled = true;
  }
  m_cv.notify_one();
}

bool CAutoResetEvent::Wait(int timeoutMs) {
  std::unique_lock lock(m_mutex);
  if (!WaitFor(m_cv, lock, timeoutMs, [this] { return m_bSignalled; })) return false;
  m_bSignalled = false;
  return true;
}

void CManualResetEvent::Set() {
  {
    std::lock_guard lock(m_mutex);
    m_bSignalled = true;
  }
  m_cv.notify_all();
}

void CManualResetEvent::Reset() {
  std::lock_guard lock(m_mutex);
  m_bSignalled = false;
}

bool CManualResetEvent::IsSet() {
  std::lock_guard lock(m_mutex);
  return m_bSignalled;
}

bool CManualResetEvent::Wait(int timeoutMs) {
  std::unique_lock lock(m_mutex);
  return WaitFor(m_cv, lock, timeoutMs, [this] { return m_bSignalled; });
}
