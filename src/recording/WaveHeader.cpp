#include "recording/WaveHeader.h"

#include <cstring>

namespace {

std::uint16_t Get16(const unsigned char* p) { return static_cast<std::uint16_t>(p[0] | p[1] << 8); }
std::uint32_t Get32(const unsigned char* p) {
  return static_cast<std::uint32_t>(Get16(p)) | static_cast<std::uint32_t>(Get16(p + 2)) << 16;
}
void Put16(unsigned char* p, std::uint16_t v) {
  p[0] = static_cast<unsigned char>(v);
  p[1] = static_cast<unsigned char>(v >> 8);
}
void Put32(unsigned char* p, std::uint32_t v) {
  Put16(p, static_cast<std::uint16_t>(v));
  Put16(p + 2, static_cast<std::uint16_t>(v >> 16));
}

}  // namespace

void CWaveFormat::FromBytes(const unsigned char* p, std::size_t nBytes) {
  unsigned char b[kStoredBytes] = {};
  std::memcpy(b, p, nBytes < kStoredBytes ? nBytes : kStoredBytes);
  wFormatTag = Get16(b);
  nChannels = Get16(b + 2);
  nSamplesPerSec = Get32(b + 4);
  nAvgBytesPerSec = Get32(b + 8);
  nBlockAlign = Get16(b + 12);
  wBitsPerSample = Get16(b + 14);
  cbSize = Get16(b + 16);
}

void CWaveFormat::ToBytes16(unsigned char* p) const {
  Put16(p, wFormatTag);
  Put16(p + 2, nChannels);
  Put32(p + 4, nSamplesPerSec);
  Put32(p + 8, nAvgBytesPerSec);
  Put16(p + 12, nBlockAlign);
  Put16(p + 14, wBitsPerSample);
}
