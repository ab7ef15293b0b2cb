#include "persist/SettingsValueText.h"

#include <charconv>
#include <limits>
#include <system_error>

namespace {

template <class T>
bool ParseWhole(std::string_view text, T& value) {
  if (text.empty()) return false;
  const auto [ptr, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  return ec == std::errc() && ptr == text.data() + text.size();
}

template <class T>
bool ReadIntegerInRange(std::string_view text, T& out) {
  if (!text.empty() && text[0] == '-') {
    std::int64_t n = 0;
    if (!ParseWhole(text, n)) return false;
    if (n < static_cast<std::int64_t>(std::numeric_limits<T>::min())) return false;
    out = static_cast<T>(n);
    return true;
  }
  std::uint64_t n = 0;
  if (!ParseWhole(text, n)) return false;
  if (n > static_cast<std::uint64_t>(std::numeric_limits<T>::max())) return false;
  out = static_cast<T>(n);
  return true;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

}  // namespace

bool CSettingsValueText::ReadInteger(std::string_view text, int& value) { return ReadIntegerInRange(text, value); }
bool CSettingsValueText::ReadInteger(std::string_view text, unsigned& value) { return ReadIntegerInRange(text, value); }
bool CSettingsValueText::ReadInteger(std::string_view text, std::int64_t& value) {
  return ReadIntegerInRange(text, value);
}
bool CSettingsValueText::ReadInteger(std::string_view text, std::uint64_t& value) {
  return ReadIntegerInRange(text, value);
}

std::string CSettingsValueText::DoubleText(double dValue) {
  char buffer[64];
  const auto [ptr, ec] = std::to_chars(buffer, buffer + sizeof(buffer), dValue);
  return ec == std::errc() ? std::string(buffer, ptr) : std::string();
}

bool CSettingsValueText::ReadDouble(std::string_view text, double& dValue) {
  double d = 0.0;
  if (!ParseWhole(text, d)) return false;
  dValue = d;
  return true;
}

std::string CSettingsValueText::HexText(const std::vector<std::uint8_t>& abValue) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(abValue.size() * 2);
  for (std::uint8_t b : abValue) {
    text += kDigits[b >> 4];
    text += kDigits[b & 0x0F];
  }
  return text;
}

bool CSettingsValueText::ReadHex(std::string_view text, std::vector<std::uint8_t>& abValue) {
  if (text.size() % 2 != 0) return false;
  std::vector<std::uint8_t> out(text.size() / 2);
  for (std::size_t i = 0; i < out.size(); ++i) {
    const int hi = HexDigit(text[2 * i]);
    const int lo = HexDigit(text[2 * i + 1]);
    if (hi < 0 || lo < 0) return false;
    out[i] = static_cast<std::uint8_t>(hi * 16 + lo);
  }
  abValue = std::move(out);
  return true;
}

std::string CSettingsValueText::RectText(const CSettingsRect& rc) {
  return std::to_string(rc.left) + "," + std::to_string(rc.top) + "," + std::to_string(rc.right) + "," +
         std::to_string(rc.bottom);
}

bool CSettingsValueText::ReadRect(std::string_view text, CSettingsRect& rc) {
  int an[4] = {};
  std::string_view rest(text);
  for (int i = 0; i < 4; ++i) {
    const std::size_t comma = rest.find(',');
    if ((i < 3) != (comma != std::string_view::npos)) return false;
    if (!ReadIntegerInRange(rest.substr(0, comma), an[i])) return false;
    if (i < 3) rest.remove_prefix(comma + 1);
  }
  rc = CSettingsRect{an[0], an[1], an[2], an[3]};
  return true;
}
