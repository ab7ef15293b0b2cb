#include "app/QtMessageTarget.h"

#include <QCoreApplication>
#include <QEvent>

namespace {

class CMessageEvent final : public QEvent {
 public:
  explicit CMessageEvent(CMessage msg) : QEvent(CQtMessageTarget::EventType()), m_msg(std::move(msg)) {}
  CMessage& Message() { return m_msg; }

 private:
  CMessage m_msg;  // freed with the event when nobody handled it
};

}  // namespace

QEvent::Type CQtMessageTarget::EventType() {
  static const auto eType = static_cast<QEvent::Type>(QEvent::registerEventType());
  return eType;
}

CQtMessageTarget::CQtMessageTarget(Handler handler, QObject* pParent) : QObject(pParent), m_handler(std::move(handler)) {
  EventType();  // registered on the GUI thread, before any worker posts
}

CQtMessageTarget::~CQtMessageTarget() { Close(); }

bool CQtMessageTarget::Post(CMessage msg) {
  // The lock keeps Close() from running between the check and the post: an event posted
  // after Close() would outlive the removal of the queued ones.
  std::lock_guard lock(m_mutex);
  if (m_bClosed) return false;
  QCoreApplication::postEvent(this, new CMessageEvent(std::move(msg)));
  return true;
}

void CQtMessageTarget::Close() {
  std::lock_guard lock(m_mutex);
  m_bClosed = true;
  // Deletes the queued events, and with them the messages and their payloads.
  QCoreApplication::removePostedEvents(this, EventType());
}

bool CQtMessageTarget::IsClosed() const {
  std::lock_guard lock(m_mutex);
  return m_bClosed;
}

bool CQtMessageTarget::event(QEvent* pEvent) {
  if (pEvent->type() != EventType()) return QObject::event(pEvent);
  if (!IsClosed() && m_handler) m_handler(static_cast<CMessageEvent*>(pEvent)->Message());
  return true;
}
