#include "recording/WaveHeader.h"

#include <cstring>

#include "recording/LittleEndian.h"

void CWaveFormat::FromBytes(const unsigned char* p, std::size_t nBytes) {
  unsigned char b[kStoredBytes] = {};
  std::memcpy(b, p, nBytes < kStoredBytes ? nBytes : kStoredBytes);
  wFormatTag = GetLE16(b);
  nChannels = GetLE16(b + 2);
  nSamplesPerSec = GetLE32(b + 4);
  nAvgBytesPerSec = GetLE32(b + 8);
  nBlockAlign = GetLE16(b + 12);
  wBitsPerSample = GetLE16(b + 14);
  cbSize = GetLE16(b + 16);
}

void CWaveFormat::ToBytes16(unsigned char* p) const {
  PutLE16(p, wFormatTag);
  PutLE16(p + 2, nChannels);
  PutLE32(p + 4, nSamplesPerSec);
  PutLE32(p + 8, nAvgBytesPerSec);
  PutLE16(p + 12, nBlockAlign);
  PutLE16(p + 14, wBitsPerSample);
}
