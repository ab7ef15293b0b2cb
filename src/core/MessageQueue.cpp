#include "core/MessageQueue.h"

#include <string>

#include "core/Log.h"
#include "core/RegisteredMessages.h"

CMessageQueue::~CMessageQueue() { Close(); }

bool CMessageQueue::Post(CMessage msg) {
  std::lock_guard lock(m_mutex);
  if (m_bClosed) return false;  // msg and its payload are freed on return
  m_queue.push_back(std::move(msg));
  // Notified under the lock: a pump that wakes and destroys the queue cannot race the
  // notification.
  m_cv.notify_one();
  return true;
}

std::optional<CMessage> CMessageQueue::Wait(std::chrono::milliseconds timeout) {
  std::unique_lock lock(m_mutex);
  if (!m_cv.wait_for(lock, timeout, [this] { return !m_queue.empty() || m_bClosed; }))
    return std::nullopt;
  if (m_queue.empty()) return std::nullopt;
  CMessage msg = std::move(m_queue.front());
  m_queue.pop_front();
  return msg;
}

std::optional<CMessage> CMessageQueue::TryGet() {
  std::lock_guard lock(m_mutex);
  if (m_queue.empty()) return std::nullopt;
  CMessage msg = std::move(m_queue.front());
  m_queue.pop_front();
  return msg;
}

std::size_t CMessageQueue::PumpPending(const std::function<void(CMessage&)>& handler) {
  std::size_t n = 0;
  while (auto msg = TryGet()) {
    handler(*msg);
    ++n;
  }
  return n;
}

void CMessageQueue::Close() {
  std::deque<CMessage> dropped;
  {
    std::lock_guard lock(m_mutex);
    m_bClosed = true;
    dropped.swap(m_queue);
  }
  m_cv.notify_all();
  // dropped goes out of scope here, outside the lock: unhandled payloads are freed.
}

std::size_t CMessageQueue::Size() const {
  std::lock_guard lock(m_mutex);
  return m_queue.size();
}

bool WriteIfLogMessage(CMessage& msg) {
  if (msg.nMsg != RegMsgSDR::nMsgSendLogfile || msg.nMsg == 0) return false;
  if (auto line = msg.TakePayload<CValuePayload<std::string>>()) LogLine(line->value);
  return true;
}
