#pragma once
// CSubscriberList: handlers that a process-wide source (the log, the engine's faults) calls
// with each item, on the thread that produces it. Calls are serialised; Remove() waits for
// a call in progress, so a handler is never called after its removal returns. A handler
// must not add or remove handlers of the same list, nor feed it.

#include <functional>
#include <mutex>
#include <utility>
#include <vector>

template <typename T>
class CSubscriberList {
 public:
  using Handler = std::function<void(const T&)>;

  int Add(Handler handler) {
    std::lock_guard lock(m_mutex);
    const int nId = ++m_nLastId;
    m_handlers.emplace_back(nId, std::move(handler));
    return nId;
  }
  void Remove(int nId) {
    std::lock_guard lock(m_mutex);
    std::erase_if(m_handlers, [nId](const auto& h) { return h.first == nId; });
  }
  void Notify(const T& item) {
    std::lock_guard lock(m_mutex);
    for (const auto& h : m_handlers) h.second(item);
  }
  bool Empty() const {
    std::lock_guard lock(m_mutex);
    return m_handlers.empty();
  }

 private:
  mutable std::mutex m_mutex;
  int m_nLastId = 0;
  std::vector<std::pair<int, Handler>> m_handlers;
};
