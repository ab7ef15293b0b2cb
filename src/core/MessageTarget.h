#pragma once
// The message target (the "window") that worker threads post their results to.
//
// A message carries an id, two numbers and, where the message is about a record, an owned
// payload. Ownership is explicit: the poster allocates the payload and gives it away with
// the message; the handler takes it with TakePayload<T>(). A message that no handler ever
// takes (the target was closed or destroyed, shutdown) frees its payload on destruction.

#include <cstdint>
#include <memory>
#include <utility>

// Base of every record that travels with a message.
struct CMessagePayload {
  virtual ~CMessagePayload() = default;
};

// A payload that wraps a plain value (a log line, a vector of floats ...).
template <typename T>
struct CValuePayload final : CMessagePayload {
  explicit CValuePayload(T v) : value(std::move(v)) {}
  T value;
};

struct CMessage {
  unsigned nMsg = 0;
  std::uintptr_t wParam = 0;
  std::intptr_t lParam = 0;
  std::unique_ptr<CMessagePayload> pPayload;

  // Takes the payload as T; null when there is none or it is of another type (then the
  // payload stays with the message and is freed with it).
  template <typename T>
  std::unique_ptr<T> TakePayload() {
    if (auto* p = dynamic_cast<T*>(pPayload.get())) {
      pPayload.release();
      return std::unique_ptr<T>(p);
    }
    return nullptr;
  }
};

class CMessageTarget {
 public:
  virtual ~CMessageTarget() = default;

  // Thread-safe. Returns false (and frees the payload) when the target no longer accepts
  // messages.
  virtual bool Post(CMessage msg) = 0;

  bool Post(unsigned nMsg, std::uintptr_t wParam, std::intptr_t lParam,
            std::unique_ptr<CMessagePayload> payload = nullptr) {
    return Post(CMessage{nMsg, wParam, lParam, std::move(payload)});
  }
};
