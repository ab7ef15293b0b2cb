// libFuzzer target: the recording description parser, over the input taken both as UTF-8
// text (a description file) and as the bytes of an "auxi" chunk (UTF-16 "<?xml" text).

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "core/Log.h"
#include "recording/DescriptionFile.h"
#include "recording/WaveFileData.h"

namespace {

void Use(const CDescriptionValues& values) {
  for (const char* pszKey : {"FirstFile", "UTCSeconds", "SizeInBytes", "RadioCenterFreq"}) (void)values.Value(pszKey);
  (void)CWaveFileData::IsPlainFileName(values.Value("FirstFile"));
}

}  // namespace

// No log file: the XML manager logs every document it makes.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  SetLogFilePath({});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Use(CDescriptionValues::Parse(text));

  // Also as an "auxi" chunk: prefixed with UTF-16 "<?xml" so that the loader is reached.
  std::vector<unsigned char> chunk = {'<', 0, '?', 0, 'x', 0, 'm', 0, 'l', 0};
  chunk.insert(chunk.end(), data, data + size);
  Use(CDescriptionValues::Parse(CDescriptionFile::TextFromAuxiChunk(chunk)));
  Use(CDescriptionValues::Parse(CDescriptionFile::TextFromAuxiChunk(std::vector<unsigned char>(data, data + size))));
  return 0;
}
