#include "core/BackgroundThreadBase.h"

#include "core/RegisteredMessages.h"

<<<<<<< HEAD
namespace {

// Where a new worker starts until its priority packet arrives: "Below normal". Starting
// any lower would strand the File Reader and Forwarder there, since an unprivileged
// thread may lower its priority but never raise it again.
constexpr int kStartNice = 5;
// Idle: the lowest nice value. SCHED_IDLE would leave the FFT workers with almost no time
// beside two busy processes (0.6 MB/s); nice 19 still gets a share.
constexpr int kIdleNice = 19;

std::int64_t NowSeconds() {
  return std::chrono::duration_cast<std::chrono::seconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

bool SetOwnNice(int nice) {
  const pid_t tid = static_cast<pid_t>(::syscall(SYS_gettid));
  sched_param param{};
  if (sched_setscheduler(tid, SCHED_OTHER, &param) != 0) {
    // Leaving SCHED_IDLE may be refused; the nice value below still applies where it can.
  }
  return setpriority(PRIO_PROCESS, static_cast<id_t>(tid), nice) == 0;
}

}  // namespace

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
    case THREAD_PRIORITY_IDLE: return SetOwnNice(kIdleNice);
    case THREAD_PRIORITY_BELOW_NORMAL: return SetOwnNice(5);
    case THREAD_PRIORITY_NORMAL: return SetOwnNice(0);
    case THREAD_PRIORITY_ABOVE_NORMAL: return SetOwnNice(-5);
    case THREAD_PRIORITY_HIGHEST: return SetOwnNice(-10);
    default: return false;
  }
}

CBackgroundThreadBase::~CBackgroundThreadBase() {
  if (IsRunning()) StopThread();
}

void CBackgroundThreadBase::QueuePacket(std::unique_ptr<CBkgPacket> pPacket) {
  {
    std::lock_guard lock(m_lock);
    m_queue.push_back(std::move(pPacket));
    const int length = static_cast<int>(m_queue.size());
    ReportQueueSize(length);
    m_nLastQueueLength = length;
  }
  m_evWake.Set();
}

void CBackgroundThreadBase::SetPriority(int nPriority) {
  if (AppState::bShuttingDown.load()) return;
  auto packet = std::make_unique<CBkgPacket>(PKT_PRIORITY, nullptr,
                                             static_cast<std::uint32_t>(nPriority));
  packet->m_str1 = PriorityName(nPriority);
  QueuePacket(std::move(packet));
}

void CBackgroundThreadBase::WaitUntilIdle(int timeoutMs) {
  QueuePacket(std::make_unique<CBkgPacket>(PKT_NOP));
  int waited = 0;
  for (;;) {
    {
      std::lock_guard lock(m_lock);
      if (m_queue.empty()) return;
    }
    if (timeoutMs != 0 && waited >= timeoutMs) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    waited += 10;
  }
}

void CBackgroundThreadBase::Log(const char* fmt, ...) {
  if (AppState::bShuttingDown.load()) return;
  va_list args;
  va_start(args, fmt);
  std::string text = StrFormatV(fmt, args);
  va_end(args);
  CMessageTarget* target = TargetWindow();
  if (!target) {
    LogLine(text);
    return;
  }
  target->Post(RegMsgSDR::nMsgSendLogfile, 0, 0,
               std::make_unique<CValuePayload<std::string>>(std::move(text)));
}

// Called with m_lock held (from QueuePacket and the queue loop).
void CBackgroundThreadBase::ReportQueueSize(int nLength) {
  m_nQueueLength = nLength;
  if (nLength > m_nPeakQueueLength) m_nPeakQueueLength = nLength;
  if (AppState::bQueueDiagnostics.load() && !AppState::bShuttingDown.load() && m_pTargetWnd) {
    m_pTargetWnd->Post(RegMsgSDR::nMsgQueueSize, reinterpret_cast<std::uintptr_t>(this),
                       m_nPeakQueueLength);
    m_nPeakQueueLength = 0;
    m_tLastReport = NowSeconds();
  }
}

void CBackgroundThreadBase::SetTargetWindow(CMessageTarget* pTarget) {
  std::lock_guard lock(m_lock);
  m_pTargetWnd = pTarget;
}

CMessageTarget* CBackgroundThreadBase::TargetWindow() const {
  std::lock_guard lock(m_lock);
  return m_pTargetWnd;
}

int CBackgroundThreadBase::QueueLength() const {
  std::lock_guard lock(m_lock);
  return static_cast<int>(m_queue.size());
}

int CBackgroundThreadBase::CurrentQueueLength() const {
  std::lock_guard lock(m_lock);
  return m_nQueueLength;
}

bool CBackgroundThreadBase::IsBusy() const {
  std::lock_guard lock(m_lock);
  return m_bProcessing || !m_queue.empty();
}

void CBackgroundThreadBase::OnStart() {
  SetOwnNice(kStartNice);
  Log("Starting thread \"%s\"", m_strThreadName.c_str());
}

void CBackgroundThreadBase::RunOneRound() {
  if (m_bStop.load()) return;
  for (;;) {
    std::unique_ptr<CBkgPacket> packet;
    int lengthBefore = 0;
    {
      std::lock_guard lock(m_lock);
      if (m_queue.empty()) {
        ReportQueueSize(0);
        m_bProcessing = false;
        return;
      }
      lengthBefore = static_cast<int>(m_queue.size());
      packet = std::move(m_queue.front());
      m_queue.pop_front();
      ReportQueueSize(lengthBefore);
      m_nLastQueueLength = lengthBefore;
      m_bProcessing = true;
    }
    if (packet->m_nType == PKT_PRIORITY) {
      ApplyThreadPriority(static_cast<std::int32_t>(packet->m_nParam1));
    } else if (packet->m_nType > PKT_PRIORITY) {
      ProcessPacket(*packet, lengthBefore - 1);
    }
    packet.reset();
    {
      std::lock_guard lock(m_lock);
      m_bProcessing = false;
    }
    if (m_bStop.load()) return;
  }
}

=======
>>>>>>> facade-dsp
void CBackgroundThreadBase::EchoStatus(const CBkgPacket& packet) {
  if (packet.m_pReplyWnd)
    packet.m_pReplyWnd->Post(RegMsgSDR::nMsgThreadStatus, packet.m_nParam1, packet.m_nParam2);
}
