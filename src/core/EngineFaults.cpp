#include "core/EngineFaults.h"

#include "core/SubscriberList.h"

namespace {

CSubscriberList<CEngineFault>& Subscribers() {
  static CSubscriberList<CEngineFault> list;
  return list;
}

}  // namespace

int SubscribeEngineFaults(EngineFaultHandler handler) { return Subscribers().Add(std::move(handler)); }

void UnsubscribeEngineFaults(int nId) { Subscribers().Remove(nId); }

void ReportEngineFault(EEngineFault eKind, const std::string& strText) {
  Subscribers().Notify(CEngineFault{eKind, strText});
}
