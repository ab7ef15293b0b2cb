#include "player/DemodBackgroundThreadBase.h"

#include <chrono>
#include <cstdarg>
#include <thread>

#include "core/AppState.h"
#include "core/BackgroundThreadBase.h"
#include "core/Log.h"
#include "core/RegisteredMessages.h"

namespace {

std::int64_t NowSeconds() {
  return std::chrono::duration_cast<std::chrono::seconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

}  // namespace

CDemodBackgroundThreadBase::~CDemodBackgroundThreadBase() {
  if (IsRunning()) StopThread();
}

void CDemodBackgroundThreadBase::QueuePacket(std::unique_ptr<CDemodBkgPacket> pPacket) {
  {
    std::lock_guard lock(m_lock);
    m_queue.push_back(std::move(pPacket));
    ReportQueueSize(static_cast<int>(m_queue.size()));
  }
  m_evWake.Set();
}

void CDemodBackgroundThreadBase::ReplaceQueued(std::int32_t nCommand, std::unique_ptr<CDemodBkgPacket> pPacket) {
  {
    std::lock_guard lock(m_lock);
    for (auto& pQueued : m_queue)
      if (pQueued->m_nCommand == nCommand) pQueued->Cancel();
    m_queue.push_back(std::move(pPacket));
    ReportQueueSize(static_cast<int>(m_queue.size()));
  }
  m_evWake.Set();
}

void CDemodBackgroundThreadBase::SetPriority(int nPriority) {
  if (AppState::bShuttingDown.load()) return;
  auto pPacket = std::make_unique<CDemodBkgPacket>(DEMOD_CMD_PRIORITY, nPriority);
  pPacket->m_str1 = PriorityName(nPriority);
  QueuePacket(std::move(pPacket));
}

void CDemodBackgroundThreadBase::WaitUntilIdle(int timeoutMs) {
  if (AppState::bShuttingDown.load()) return;
  QueuePacket(std::make_unique<CDemodBkgPacket>(DEMOD_CMD_SYNC));
  int nWaited = 0;
  for (;;) {
    // A thread that has ended (or never started) will not empty its queue.
    if (QueueLength() == 0 || !IsRunning()) return;
    if (timeoutMs != 0 && nWaited >= timeoutMs) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    nWaited += 10;
  }
}

int CDemodBackgroundThreadBase::QueueLength() const {
  std::lock_guard lock(m_lock);
  return static_cast<int>(m_queue.size());
}

void CDemodBackgroundThreadBase::Log(const char* fmt, ...) {
  if (AppState::bShuttingDown.load()) return;
  va_list args;
  va_start(args, fmt);
  std::string strText = StrFormatV(fmt, args);
  va_end(args);
  LogText(strText);
}

void CDemodBackgroundThreadBase::LogText(const std::string& strText) {
  if (AppState::bShuttingDown.load()) return;
  CMessageTarget* pTarget = TargetWindow();
  if (!pTarget) {
    LogLine(strText);
    return;
  }
  pTarget->Post(RegMsgSDR::nMsgSendLogfile, 0, 0, std::make_unique<CValuePayload<std::string>>(strText));
}

void CDemodBackgroundThreadBase::SetTargetWindow(CMessageTarget* pTarget) {
  std::lock_guard lock(m_lock);
  m_pTargetWnd = pTarget;
}

CMessageTarget* CDemodBackgroundThreadBase::TargetWindow() const {
  std::lock_guard lock(m_lock);
  return m_pTargetWnd;
}

void CDemodBackgroundThreadBase::ReportQueueSize(int nLength) {
  if (nLength > m_nPeakQueueLength) m_nPeakQueueLength = nLength;
  if (!AppState::bQueueDiagnostics.load() || AppState::bShuttingDown.load() || !m_pTargetWnd) return;
  // At most one report per wall-clock second.
  const std::int64_t tNow = NowSeconds();
  if (tNow == m_tLastReport) return;
  m_pTargetWnd->Post(RegMsgSDR::nMsgQueueSize, reinterpret_cast<std::uintptr_t>(this), m_nPeakQueueLength);
  m_nPeakQueueLength = 0;
  m_tLastReport = tNow;
}

double CDemodBackgroundThreadBase::CpuSeconds() const {
  if (!m_bCpuClock.load()) return 0.0;
  timespec ts{};
  if (clock_gettime(m_nCpuClock, &ts) != 0) return 0.0;
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

void CDemodBackgroundThreadBase::OnStart() {
  // The name shows in the system's thread lists (at most 15 characters).
  pthread_setname_np(pthread_self(), m_strThreadName.substr(0, 15).c_str());
  if (pthread_getcpuclockid(pthread_self(), &m_nCpuClock) == 0) m_bCpuClock = true;
  Log("Starting thread \"%s\"", m_strThreadName.c_str());
}

void CDemodBackgroundThreadBase::RunOneRound() {
  while (!m_bStop.load()) {
    std::unique_ptr<CDemodBkgPacket> pPacket;
    {
      std::lock_guard lock(m_lock);
      if (m_queue.empty()) {
        ReportQueueSize(0);
        return;
      }
      pPacket = std::move(m_queue.front());
      m_queue.pop_front();
      ReportQueueSize(static_cast<int>(m_queue.size()) + 1);
    }
    if (pPacket->IsCancelled() || pPacket->m_nCommand == DEMOD_CMD_SYNC) continue;
    if (pPacket->m_nCommand == DEMOD_CMD_PRIORITY)
      ApplyThreadPriority(pPacket->m_nParam1);
    else
      ProcessPacket(*pPacket);
  }
}
