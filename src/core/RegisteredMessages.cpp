#include "core/RegisteredMessages.h"

#include <map>
#include <mutex>
#include <vector>

namespace RegMsgSDR {
unsigned nMsgAddTag = 0;
unsigned nMsgDemodFFTDemod = 0;
unsigned nMsgDemodFFTOutput = 0;
unsigned nMsgDemodFileOpen = 0;
unsigned nMsgDemodFilePosn = 0;
unsigned nMsgDemodFilter = 0;
unsigned nMsgDemodOptions = 0;
unsigned nMsgFFTBuff = 0;
unsigned nMsgFFTData = 0;
unsigned nMsgFFTFinal = 0;
unsigned nMsgFFTInUse = 0;
unsigned nMsgFFTOutput = 0;
unsigned nMsgFileOpen = 0;
unsigned nMsgFileRead = 0;
unsigned nMsgNewDemodOptions = 0;
unsigned nMsgNewTags = 0;
unsigned nMsgPlayerErase = 0;
unsigned nMsgQueueSize = 0;
unsigned nMsgRecordingStatus = 0;
unsigned nMsgScroll = 0;
unsigned nMsgScrollFreq = 0;
unsigned nMsgSendLogfile = 0;
unsigned nMsgSetFilter = 0;
unsigned nMsgStop = 0;
unsigned nMsgThreadStatus = 0;
unsigned nMsgVolume = 0;
}  // namespace RegMsgSDR

namespace DigitalMain {
unsigned nMsgDecodeFreq = 0;
unsigned nMsgDrawSignal = 0;
unsigned nMsgFeedback1 = 0;
unsigned nMsgFeedback1_0 = 0;
unsigned nMsgFeedback1_1 = 0;
unsigned nMsgFeedback1_2 = 0;
unsigned nMsgFeedback1_3 = 0;
unsigned nMsgHighQuality = 0;
unsigned nMsgMousePosn = 0;
unsigned nMsgScopeRedraw = 0;
unsigned nMsgScrolVFO = 0;
unsigned nMsgSetDecodeFreq = 0;
unsigned nMsgWndSelect = 0;
}  // namespace DigitalMain

namespace {

// The first id handed out; ids below it are the system's own messages.
constexpr unsigned kFirstRegisteredId = 0xC000;

struct Registry {
  std::mutex mutex;
  std::map<std::string, unsigned> ids;
  std::vector<std::string> names;  // index = id - kFirstRegisteredId
};

Registry& TheRegistry() {
  static Registry registry;
  return registry;
}

}  // namespace

unsigned RegisterWindowMessage(const std::string& name) {
  Registry& r = TheRegistry();
  std::lock_guard lock(r.mutex);
  auto it = r.ids.find(name);
  if (it != r.ids.end()) return it->second;
  const unsigned id = kFirstRegisteredId + static_cast<unsigned>(r.names.size());
  r.ids.emplace(name, id);
  r.names.push_back(name);
  return id;
}

std::string RegisteredMessageName(unsigned id) {
  Registry& r = TheRegistry();
  std::lock_guard lock(r.mutex);
  if (id < kFirstRegisteredId || id - kFirstRegisteredId >= r.names.size()) return {};
  return r.names[id - kFirstRegisteredId];
}

void RegisterAllMessages() {
  static std::once_flag once;
  std::call_once(once, [] {
    struct Entry {
      const char* name;
      unsigned* id;
    };
    // Registration order fixes the ids: keep this list in its order.
    const Entry entries[] = {
        {"RegMsgSDR::nMsgAddTag", &RegMsgSDR::nMsgAddTag},
        {"RegMsgSDR::nMsgDemodFFTDemod", &RegMsgSDR::nMsgDemodFFTDemod},
        {"RegMsgSDR::nMsgDemodFFTOutput", &RegMsgSDR::nMsgDemodFFTOutput},
        {"RegMsgSDR::nMsgDemodFileOpen", &RegMsgSDR::nMsgDemodFileOpen},
        {"RegMsgSDR::nMsgDemodFilePosn", &RegMsgSDR::nMsgDemodFilePosn},
        {"RegMsgSDR::nMsgDemodFilter", &RegMsgSDR::nMsgDemodFilter},
        {"RegMsgSDR::nMsgDemodOptions", &RegMsgSDR::nMsgDemodOptions},
        {"RegMsgSDR::nMsgFFTBuff", &RegMsgSDR::nMsgFFTBuff},
        {"RegMsgSDR::nMsgFFTData", &RegMsgSDR::nMsgFFTData},
        {"RegMsgSDR::nMsgFFTFinal", &RegMsgSDR::nMsgFFTFinal},
        {"RegMsgSDR::nMsgFFTInUse", &RegMsgSDR::nMsgFFTInUse},
        {"RegMsgSDR::nMsgFFTOutput", &RegMsgSDR::nMsgFFTOutput},
        {"RegMsgSDR::nMsgFileOpen", &RegMsgSDR::nMsgFileOpen},
        {"RegMsgSDR::nMsgFileRead", &RegMsgSDR::nMsgFileRead},
        {"RegMsgSDR::nMsgNewDemodOptions", &RegMsgSDR::nMsgNewDemodOptions},
        {"RegMsgSDR::nMsgNewTags", &RegMsgSDR::nMsgNewTags},
        {"RegMsgSDR::nMsgPlayerErase", &RegMsgSDR::nMsgPlayerErase},
        {"RegMsgSDR::nMsgQueueSize", &RegMsgSDR::nMsgQueueSize},
        {"RegMsgSDR::nMsgRecordingStatus", &RegMsgSDR::nMsgRecordingStatus},
        {"RegMsgSDR::nMsgScroll", &RegMsgSDR::nMsgScroll},
        {"RegMsgSDR::nMsgScrollFreq", &RegMsgSDR::nMsgScrollFreq},
        {"RegMsgSDR::nMsgSendLogfile", &RegMsgSDR::nMsgSendLogfile},
        {"RegMsgSDR::nMsgSetFilter", &RegMsgSDR::nMsgSetFilter},
        {"RegMsgSDR::nMsgStop", &RegMsgSDR::nMsgStop},
        {"RegMsgSDR::nMsgThreadStatus", &RegMsgSDR::nMsgThreadStatus},
        {"RegMsgSDR::nMsgVolume", &RegMsgSDR::nMsgVolume},
        {"DigitalMain::nMsgDecodeFreq", &DigitalMain::nMsgDecodeFreq},
        {"DigitalMain::nMsgDrawSignal", &DigitalMain::nMsgDrawSignal},
        {"DigitalMain::nMsgFeedback1", &DigitalMain::nMsgFeedback1},
        {"DigitalMain::nMsgFeedback1_0", &DigitalMain::nMsgFeedback1_0},
        {"DigitalMain::nMsgFeedback1_1", &DigitalMain::nMsgFeedback1_1},
        {"DigitalMain::nMsgFeedback1_2", &DigitalMain::nMsgFeedback1_2},
        {"DigitalMain::nMsgFeedback1_3", &DigitalMain::nMsgFeedback1_3},
        {"DigitalMain::nMsgHighQuality", &DigitalMain::nMsgHighQuality},
        {"DigitalMain::nMsgMousePosn", &DigitalMain::nMsgMousePosn},
        {"DigitalMain::nMsgScopeRedraw", &DigitalMain::nMsgScopeRedraw},
        {"DigitalMain::nMsgScrolVFO", &DigitalMain::nMsgScrolVFO},
        {"DigitalMain::nMsgSetDecodeFreq", &DigitalMain::nMsgSetDecodeFreq},
        {"DigitalMain::nMsgWndSelect", &DigitalMain::nMsgWndSelect},
    };
    for (const Entry& e : entries) *e.id = RegisterWindowMessage(e.name);
  });
}
