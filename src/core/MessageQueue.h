#pragma once
// The headless message target: a thread-safe queue with a pump for the thread that owns
// it. Used by the command-line tool and the tests where the GUI would use a window.

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>

#include "core/MessageTarget.h"

class CMessageQueue final : public CMessageTarget {
 public:
  CMessageQueue() = default;
  ~CMessageQueue() override;
  CMessageQueue(const CMessageQueue&) = delete;
  CMessageQueue& operator=(const CMessageQueue&) = delete;

  using CMessageTarget::Post;
  bool Post(CMessage msg) override;

  // Waits up to timeout for the next message; nullopt when none came.
  std::optional<CMessage> Wait(std::chrono::milliseconds timeout);
  // The next message if one is queued, without waiting.
  std::optional<CMessage> TryGet();

  // Hands every queued message to handler, in order; returns how many were handled.
  std::size_t PumpPending(const std::function<void(CMessage&)>& handler);

  // Stops accepting messages and frees the payloads of those still queued.
  void Close();

  std::size_t Size() const;

 private:
  mutable std::mutex m_mutex;
  std::condition_variable m_cv;
  std::deque<CMessage> m_queue;
  bool m_bClosed = false;
};

// Writes the line carried by a RegMsgSDR::nMsgSendLogfile message to the log and frees it;
// returns false (and leaves msg alone) for any other message. What a headless owner of
// worker threads does where the main frame would write to its log pane and file.
bool WriteIfLogMessage(CMessage& msg);
