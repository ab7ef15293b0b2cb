// libFuzzer target: the settings store's value readers (integers of every width, doubles,
// rectangles, hex binary) over arbitrary text, and the writers' texts read back. A value
// that reads must write back to a text that reads to the same value.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "persist/SettingsValueText.h"

namespace {

template <class T>
void CheckInteger(std::string_view text) {
  T value{};
  if (!CSettingsValueText::ReadInteger(text, value)) return;
  T again{};
  if (!CSettingsValueText::ReadInteger(std::to_string(value), again) || again != value) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  CheckInteger<int>(text);
  CheckInteger<unsigned>(text);
  CheckInteger<std::int64_t>(text);
  CheckInteger<std::uint64_t>(text);

  double d = 0.0;
  if (CSettingsValueText::ReadDouble(text, d)) {
    double again = 0.0;
    const std::string strBack = CSettingsValueText::DoubleText(d);
    if (!CSettingsValueText::ReadDouble(strBack, again)) __builtin_trap();
    if (std::memcmp(&again, &d, sizeof d) != 0 && !(d != d && again != again)) __builtin_trap();
  }

  CSettingsRect rc;
  if (CSettingsValueText::ReadRect(text, rc)) {
    CSettingsRect again;
    if (!CSettingsValueText::ReadRect(CSettingsValueText::RectText(rc), again) || !(again == rc)) __builtin_trap();
  }

  std::vector<std::uint8_t> abValue;
  if (CSettingsValueText::ReadHex(text, abValue)) {
    if (abValue.size() * 2 != size) __builtin_trap();
    std::vector<std::uint8_t> again;
    if (!CSettingsValueText::ReadHex(CSettingsValueText::HexText(abValue), again) || again != abValue) __builtin_trap();
  }
  // Any bytes as a binary value write to a text that reads back to them.
  const std::vector<std::uint8_t> abBytes(data, data + size);
  std::vector<std::uint8_t> abBack;
  if (!CSettingsValueText::ReadHex(CSettingsValueText::HexText(abBytes), abBack) || abBack != abBytes) __builtin_trap();
  return 0;
}
