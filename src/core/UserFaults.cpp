#include "core/UserFaults.h"

#include <mutex>
#include <set>
#include <utility>

#include "core/Log.h"

namespace {

struct CUserFaults {
  std::mutex mutex;
  std::set<std::string> told;
  std::vector<std::string> pending;
};

CUserFaults& Faults() {
  static CUserFaults faults;
  return faults;
}

}  // namespace

void ReportUserFault(const std::string& strText) {
  LogLine(strText);
  CUserFaults& f = Faults();
  std::lock_guard lock(f.mutex);
  if (f.told.insert(strText).second) f.pending.push_back(strText);
}

std::vector<std::string> TakeUserFaults() {
  CUserFaults& f = Faults();
  std::lock_guard lock(f.mutex);
  return std::exchange(f.pending, {});
}
