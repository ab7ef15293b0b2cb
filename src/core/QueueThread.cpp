#include "core/QueueThread.h"

#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "core/AppState.h"
#include "core/Log.h"
#include "core/RegisteredMessages.h"

const char* PriorityName(int nPriority) {
  switch (nPriority) {
    case THREAD_PRIORITY_IDLE: return "Idle";
    case THREAD_PRIORITY_BELOW_NORMAL: return "Below normal";
    case THREAD_PRIORITY_NORMAL: return "Normal";
    case THREAD_PRIORITY_ABOVE_NORMAL: return "Above normal";
    case THREAD_PRIORITY_HIGHEST: return "Highest";
    default: return "Other";
  }
}

bool ApplyThreadPriority(int nPriority) {
  switch (nPriority) {
    // Idle is nice 19, not SCHED_IDLE: SCHED_IDLE would leave the FFT workers with
    // almost no time beside two busy processes; nice 19 still gets a share.
    case THREAD_PRIORITY_IDLE: return QueueThreadDetail::SetOwnNice(19);
    case THREAD_PRIORITY_BELOW_NORMAL: return QueueThreadDetail::SetOwnNice(5);
    case THREAD_PRIORITY_NORMAL: return QueueThreadDetail::SetOwnNice(0);
    case THREAD_PRIORITY_ABOVE_NORMAL: return QueueThreadDetail::SetOwnNice(-5);
    case THREAD_PRIORITY_HIGHEST: return QueueThreadDetail::SetOwnNice(-10);
    default: return false;
  }
}

namespace QueueThreadDetail {

bool SetOwnNice(int nNice) {
  const pid_t tid = static_cast<pid_t>(::syscall(SYS_gettid));
  sched_param param{};
  // Leaving SCHED_IDLE may be refused; the nice value below still applies where it can.
  sched_setscheduler(tid, SCHED_OTHER, &param);
  return setpriority(PRIO_PROCESS, static_cast<id_t>(tid), nNice) == 0;
}

std::int64_t NowSeconds() {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}

bool ShuttingDown() { return AppState::bShuttingDown.load(); }

std::string FormatV(const char* fmt, va_list args) { return StrFormatV(fmt, args); }

void PostLogLine(CMessageTarget* pTarget, const std::string& strText) {
  if (ShuttingDown()) return;
  if (!pTarget) {
    LogLine(strText);
    return;
  }
  pTarget->Post(RegMsgSDR::nMsgSendLogfile, 0, 0, std::make_unique<CValuePayload<std::string>>(strText));
}

bool PostQueueSize(CMessageTarget* pTarget, const void* pThread, int nPeak) {
  if (!AppState::bQueueDiagnostics.load() || ShuttingDown() || !pTarget) return false;
  pTarget->Post(RegMsgSDR::nMsgQueueSize, reinterpret_cast<std::uintptr_t>(pThread), nPeak);
  return true;
}

}  // namespace QueueThreadDetail
