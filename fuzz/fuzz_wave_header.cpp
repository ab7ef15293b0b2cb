// libFuzzer target: the header scan of CWaveFileData and the WAVE opener over arbitrary
// bytes held in memory. The first byte picks the file name the scan sees, so that the
// SDRSharp, Winradio and plain branches are all reached.

#include <cstddef>
#include <cstdint>
#include <string>

#include "core/Log.h"
#include "recording/RiffFile.h"
#include "recording/WaveFileData.h"
#include "recording/WaveStreamFile.h"

// No log file: the XML manager logs every document it makes.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  SetLogFilePath({});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const char* const kNames[] = {"/nonexistent/x.wav", "/nonexistent/SDRSharp_20240310_120000Z_7100kHz_IQ.wav",
                                       "/nonexistent/rx-2024-7.125MHz.ddc", "/nonexistent/sdrsharp_x.WAV"};
  const char* pszName = kNames[size ? data[0] % 4 : 0];

  CRiffFile file;
  file.OpenMemory(data, size);
  CWaveFileHeader header;
  CWaveScanFault fault;
  CWaveFileData::ScanHeader(file, pszName, header, &fault);
  (void)fault.Text();
  (void)CWaveFileData::TimeToSeconds(header.m_stStart);

  std::uint32_t nSkip = 0;
  if (size >= 4) nSkip = data[size - 1] | data[size - 2] << 8;
  CWaveStreamFile stream;
  std::size_t nLines = 0;
  if (stream.OpenMemory(data, size, nSkip, nullptr, [&](const std::string& s) { nLines += s.size(); })) {
    std::uint8_t buffer[256];
    while (stream.Read(buffer, sizeof buffer) > 0) {
    }
    (void)stream.DataBytesLeft();
  }
  return 0;
}
