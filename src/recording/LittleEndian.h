#pragma once
// Little-endian fields of RIFF headers and of the chunks the recording formats define.

#include <cstdint>

inline std::uint16_t GetLE16(const unsigned char* p) {
  return static_cast<std::uint16_t>(p[0] | p[1] << 8);
}

inline std::uint32_t GetLE32(const unsigned char* p) {
  return static_cast<std::uint32_t>(GetLE16(p)) | static_cast<std::uint32_t>(GetLE16(p + 2)) << 16;
}

inline void PutLE16(unsigned char* p, std::uint16_t v) {
  p[0] = static_cast<unsigned char>(v);
  p[1] = static_cast<unsigned char>(v >> 8);
}

inline void PutLE32(unsigned char* p, std::uint32_t v) {
  PutLE16(p, static_cast<std::uint16_t>(v));
  PutLE16(p + 2, static_cast<std::uint16_t>(v >> 16));
}
