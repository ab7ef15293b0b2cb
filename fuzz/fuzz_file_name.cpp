// libFuzzer target: the file-name parsers. A recording's name carries its start time and
// centre frequency for SDRSharp ("SDRSharp_YYYYMMDD_HHMMSSZ_NNNkHz...") and its frequency
// for Winradio ("...-7.100MHz.ddc"); a description's "FirstFile" must name a file of the
// recording's own folder. The input is the name; the first byte picks the form it takes.

#include <cstddef>
#include <cstdint>
#include <string>

#include "core/Log.h"
#include "recording/RiffFile.h"
#include "recording/WaveFileData.h"

namespace {

// A minimal 16-bit stereo WAVE file with no "auxi" or "rcvr" chunk, so the name decides.
std::string MinimalWave() {
  auto le32 = [](std::uint32_t v) { return std::string{char(v), char(v >> 8), char(v >> 16), char(v >> 24)}; };
  auto le16 = [](std::uint16_t v) { return std::string{char(v), char(v >> 8)}; };
  const std::string fmt = le16(1) + le16(2) + le32(48000) + le32(192000) + le16(4) + le16(16);
  const std::string body = "WAVE" + std::string("fmt ") + le32(16) + fmt + "data" + le32(8) + std::string(8, '\0');
  return "RIFF" + le32(static_cast<std::uint32_t>(body.size())) + body;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  SetLogFilePath({});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  std::string name(reinterpret_cast<const char*>(data + 1), size - 1);
  (void)CWaveFileData::IsPlainFileName(name);
  // Folder separators and NULs cannot stand in a file name; keep what a title could hold.
  for (char& c : name)
    if (c == '/' || c == '\0') c = '_';
  switch (data[0] % 3) {
    case 0: name = "SDRSharp_" + name + ".wav"; break;
    case 1: name += ".ddc"; break;
    default: name += ".wav"; break;
  }
  static const std::string wave = MinimalWave();
  CRiffFile file;
  file.OpenMemory(reinterpret_cast<const std::uint8_t*>(wave.data()), wave.size());
  CWaveFileHeader header;
  CWaveFileData::ScanHeader(file, "/nonexistent/" + name, header);
  (void)CWaveFileData::TimeToSeconds(header.m_stStart);
  return 0;
}
