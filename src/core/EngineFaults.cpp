#include "core/EngineFaults.h"

#include <mutex>
#include <set>
#include <utility>
#include <vector>

#include "core/Log.h"
#include "core/SubscriberList.h"

namespace {

CSubscriberList<CEngineFault>& Subscribers() {
  static CSubscriberList<CEngineFault> list;
  return list;
}

// Faults reported once: the texts already reported, and those kept for want of a subscriber.
struct COnceFaults {
  std::mutex mutex;
  std::set<std::string> told;
  std::vector<CEngineFault> kept;
};

COnceFaults& OnceFaults() {
  static COnceFaults faults;
  return faults;
}

constexpr std::size_t kMaxKeptFaults = 32;

}  // namespace

int SubscribeEngineFaults(EngineFaultHandler handler) {
  std::vector<CEngineFault> kept;
  {
    std::lock_guard lock(OnceFaults().mutex);
    kept.swap(OnceFaults().kept);
  }
  for (const CEngineFault& fault : kept) handler(fault);
  return Subscribers().Add(std::move(handler));
}

void UnsubscribeEngineFaults(int nId) { Subscribers().Remove(nId); }

void ReportEngineFault(EEngineFault eKind, const std::string& strText) {
  Subscribers().Notify(CEngineFault{eKind, strText});
}

void ReportEngineFaultOnce(EEngineFault eKind, const std::string& strText) {
  LogLine(strText);
  {
    COnceFaults& once = OnceFaults();
    std::lock_guard lock(once.mutex);
    if (!once.told.insert(strText).second) return;
    if (Subscribers().Empty()) {
      if (once.kept.size() < kMaxKeptFaults) once.kept.push_back(CEngineFault{eKind, strText});
      return;
    }
  }
  ReportEngineFault(eKind, strText);
}
