#pragma once
// The one conversion of floating-point samples to 16-bit signed integers.

#include <algorithm>
#include <cmath>
#include <cstdint>

// A value already rounded to a whole number, saturated to -32768 .. 32767.
inline std::int16_t SaturateToInt16(double dWhole) {
  return static_cast<std::int16_t>(std::clamp(dWhole, -32768.0, 32767.0));
}

// Rounded to nearest with halves away from zero, then saturated: the audio paths' rule.
inline std::int16_t RoundToInt16(double d) { return SaturateToInt16(std::round(d)); }
