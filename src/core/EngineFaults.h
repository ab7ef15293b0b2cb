#pragma once
// Faults of the engine that a user must see, not only find in the log: an FFT plan or a
// work buffer that cannot be made (the picture would come out at the noise floor), an
// audio device that does not open.
//
// Whoever meets the fault logs it as before (a worker through its log window) and calls
// ReportEngineFault(), which hands it to every subscriber on the reporting thread, a worker
// thread as often as not: a subscriber passes it on to its own thread (CAnalysisSession
// queues it and hands it to its listener on the pumping thread; a GUI may post an event). A subscriber must not report a fault or unsubscribe from
// inside its handler.

#include <functional>
#include <string>

enum class EEngineFault {
  FFTPlan,      // an FFT plan could not be made
  Buffer,       // a work buffer could not be allocated
  AudioDevice,  // the audio output device did not open
  FileWrite,    // a file the program keeps could not be written or made: the settings, a
                // recording description written back, the data folder
};

struct CEngineFault {
  EEngineFault eKind = EEngineFault::FFTPlan;
  std::string strText;  // what went wrong, as the log has it (without the log prefix)
};

using EngineFaultHandler = std::function<void(const CEngineFault&)>;

// Returns the subscription's id (never 0). Faults kept for want of a subscriber are handed
// to the handler first, on the subscribing thread.
int SubscribeEngineFaults(EngineFaultHandler handler);
// After this returns the handler is not running and is never called again.
void UnsubscribeEngineFaults(int nId);
void ReportEngineFault(EEngineFault eKind, const std::string& strText);
// For faults that would repeat on every write (settings on a full disk): each text is
// reported once per process. One reported while nobody subscribes (at start-up, before a
// session exists) is kept, up to 32, and handed to the next subscriber when it subscribes.
void ReportEngineFaultOnce(EEngineFault eKind, const std::string& strText);

// A subscription that ends with its owner.
class CEngineFaultSubscription {
 public:
  CEngineFaultSubscription() = default;
  explicit CEngineFaultSubscription(EngineFaultHandler handler) : m_nId(SubscribeEngineFaults(std::move(handler))) {}
  ~CEngineFaultSubscription() { Reset(); }
  CEngineFaultSubscription(const CEngineFaultSubscription&) = delete;
  CEngineFaultSubscription& operator=(const CEngineFaultSubscription&) = delete;
  void Subscribe(EngineFaultHandler handler) {
    Reset();
    m_nId = SubscribeEngineFaults(std::move(handler));
  }
  void Reset() {
    if (m_nId) UnsubscribeEngineFaults(m_nId);
    m_nId = 0;
  }

 private:
  int m_nId = 0;
};
