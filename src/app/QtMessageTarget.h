#pragma once
// CQtMessageTarget: the message target of the GUI thread.
//
// Post() may be called from any thread: it wraps the message in a QEvent that owns it and
// posts the event to this object, so the handler runs on the GUI thread in the order the
// messages were posted. Close() stops accepting messages and frees the ones still queued
// (with their payloads); a message posted after that is refused and freed at once.

#include <QEvent>
#include <QObject>
#include <functional>
#include <mutex>

#include "core/MessageTarget.h"

class CQtMessageTarget final : public QObject, public CMessageTarget {
  Q_OBJECT
 public:
  using Handler = std::function<void(CMessage&)>;

  explicit CQtMessageTarget(Handler handler, QObject* pParent = nullptr);
  ~CQtMessageTarget() override;

  using CMessageTarget::Post;
  bool Post(CMessage msg) override;

  // Stops accepting messages and frees those still queued.
  void Close();
  bool IsClosed() const;

  // The QEvent type that carries a message.
  static QEvent::Type EventType();

 protected:
  bool event(QEvent* pEvent) override;

 private:
  Handler m_handler;
  mutable std::mutex m_mutex;
  bool m_bClosed = false;
};
