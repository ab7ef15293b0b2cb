#include "player/LibraryVersions.h"

#include <fftw3.h>
#include <lame/lame.h>
#include <portaudio.h>

#include <pugixml.hpp>

#include "core/Log.h"

std::vector<std::pair<std::string, std::string>> EngineLibraryVersions() {
  std::string strFftw = fftwf_version;
  // "fftw-3.3.10-sse2-avx": the number is what a reader looks for.
  if (strFftw.rfind("fftw-", 0) == 0) strFftw = strFftw.substr(5);
  const PaVersionInfo* pPa = Pa_GetVersionInfo();
  return {
      {"FFTW", strFftw},
      {"PortAudio", StrFormat("%d.%d.%d", pPa->versionMajor, pPa->versionMinor, pPa->versionSubMinor)},
      {"LAME", get_lame_version()},
      {"pugixml", StrFormat("%d.%d", PUGIXML_VERSION / 1000, PUGIXML_VERSION % 1000 / 10)},
  };
}
