#pragma once
// How the settings store writes each kind of value as text, and reads it back strictly:
// the whole text must be the value (the file is the program's own; anything else is damage
// or a hand edit gone wrong, and the value then counts as missing). Kept apart from the
// store so that every reader can be exercised on its own (tests, fuzzing).

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct CSettingsRect {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;
  bool operator==(const CSettingsRect&) const = default;
};

class CSettingsValueText {
 public:
  // Decimal integers within the type's range ("-5", "4294967295"); no blanks, no sign "+".
  static bool ReadInteger(std::string_view text, int& value);
  static bool ReadInteger(std::string_view text, unsigned& value);
  static bool ReadInteger(std::string_view text, std::int64_t& value);
  static bool ReadInteger(std::string_view text, std::uint64_t& value);

  // The shortest text that reads back to the same double, whatever the locale.
  static std::string DoubleText(double dValue);
  static bool ReadDouble(std::string_view text, double& dValue);

  // Two upper-case hexadecimal digits per byte; either case is read.
  static std::string HexText(const std::vector<std::uint8_t>& abValue);
  static bool ReadHex(std::string_view text, std::vector<std::uint8_t>& abValue);

  // "left,top,right,bottom".
  static std::string RectText(const CSettingsRect& rc);
  static bool ReadRect(std::string_view text, CSettingsRect& rc);
};
