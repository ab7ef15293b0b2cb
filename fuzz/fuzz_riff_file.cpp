// libFuzzer target: the RIFF walk from a real file on disk. The input is written to a WAV
// file in a private folder and read the way a recording is opened: the header scan, the
// 'data' size, the description (beside or in the "auxi" chunk), the whole recording
// description, and the WAVE opener streaming it to the end. Sizes must never exceed what
// the file holds.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "FuzzFolder.h"
#include "core/Log.h"
#include "recording/DescriptionFile.h"
#include "recording/RecordingCaches.h"
#include "recording/WaveFileData.h"
#include "recording/WaveStreamFile.h"

namespace {

std::filesystem::path g_folder;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  SetLogFilePath({});
  g_folder = MakeFuzzFolder("fuzz-riff");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::filesystem::path path = g_folder / "rec 000.wav";
  std::error_code ec;
  std::filesystem::remove(g_folder / "rec 000.xml", ec);
  {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  RecordingCaches().Clear();

  CWaveFileHeader header;
  CWaveScanFault fault;
  if (CWaveFileData::ScanHeader(path, header, &fault) && header.m_nDataSize > size) __builtin_trap();
  (void)fault.Text();
  if (CWaveFileData::WaveDataSize(path) > size) __builtin_trap();

  CDescriptionFile description;
  (void)description.Text(path);

  CWaveFileData reader;
  CRecordingDescription desc;
  if (reader.GetInformation(path, true, desc)) {
    if (desc.m_astrFileNames.size() != desc.m_anFileSizes.size()) __builtin_trap();
    for (std::uint32_t nSize : desc.m_anFileSizes)
      if (nSize > size) __builtin_trap();
  }

  CWaveStreamFile stream;
  if (stream.Open(path, 0, nullptr, {})) {
    std::uint8_t buffer[4096];
    std::size_t nTotal = 0;
    for (std::int64_t n; (n = stream.Read(buffer, sizeof buffer)) > 0;) nTotal += static_cast<std::size_t>(n);
    if (nTotal > size) __builtin_trap();
  }
  return 0;
}
