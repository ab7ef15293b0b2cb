#pragma once
// The versions of the libraries the engine runs on, as they report themselves at run time
// (the About window lists them).

#include <string>
#include <utility>
#include <vector>

// (name, version) pairs: FFTW, PortAudio, LAME, pugixml.
std::vector<std::pair<std::string, std::string>> EngineLibraryVersions();
