// Arbitrary text through CBase64's decoder, with an output buffer of every size around the
// decoded length; whatever decodes must encode back to the same text (the decoder accepts
// only canonical padding, though not only zero trailing bits, so the check is on the bytes).

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/Base64.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::ptrdiff_t nLength = CBase64::DecodedLength(text);
  const std::size_t nCapacity = nLength > 0 ? static_cast<std::size_t>(nLength) : 0;
  for (std::size_t nTry : {nCapacity, nCapacity + 1, nCapacity > 0 ? nCapacity - 1 : 0}) {
    // An exactly sized heap block, so any write past it is caught.
    std::vector<std::uint8_t> out(nTry);
    std::size_t nDecoded = 0;
    const bool bOk = CBase64::Decode(text, out.data(), out.size(), nDecoded);
    if (!bOk) continue;
    if (nDecoded > nTry || static_cast<std::ptrdiff_t>(nDecoded) != nLength) __builtin_trap();
    std::string again;
    CBase64::Encode(out.data(), nDecoded, again);
    std::vector<std::uint8_t> back(nDecoded);
    std::size_t nBack = 0;
    if (!CBase64::Decode(again, back.data(), back.size(), nBack) || nBack != nDecoded ||
        !std::equal(back.begin(), back.end(), out.begin())) {
      __builtin_trap();
    }
    if (again.size() != text.size()) __builtin_trap();
  }
  return 0;
}
