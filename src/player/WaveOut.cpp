#include "player/WaveOut.h"

#include "core/Log.h"

namespace {

const char* ResultText(MMRESULT nResult) {
  switch (nResult) {
    case MMSYSERR_NOERROR: return "";
    case 1: return "Unspecified error";
    case 2: return "ID out of range";
    case 3: return "Driver failed enable";
    case 4: return "Device already allocated";
    case 5: return "Handle is invalid";
    case 6: return "No device driver present";
    case 7: return "Memory allocation error";
    case 8: return "Isn't supported";
    case 9: return "Error value out of range";
    case 10: return "Invalid flag passed";
    case 11: return "Invalid parameter passed";
    case 12: return "Handle being used simultaneously on another thread (eg callback)";
    case 13: return "Alias not found";
    case 14: return "Bad registry database";
    case 15: return "Key not found";
    case 16: return "Registry read error";
    case 17: return "Registry write error";
    case 18: return "Delete error";
    case 19: return "Value not found";
    case 20: return "Driver does not call DriverCallback";
    case 21: return "More data to be returned";
    default: return "Unknown error";
  }
}

}  // namespace

std::string WaveOutErrorText(MMRESULT nResult) {
  return StrFormat("%s, Error code %d", ResultText(nResult), static_cast<int>(nResult));
}
