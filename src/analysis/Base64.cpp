#include "analysis/Base64.h"

#include <array>
#include <cstdint>

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kInvalid = 0xFF;

constexpr std::array<std::uint8_t, 256> MakeDecodeTable() {
  std::array<std::uint8_t, 256> table{};
  for (auto& v : table) v = kInvalid;
  for (std::uint8_t i = 0; i < 64; ++i) table[static_cast<unsigned char>(kAlphabet[i])] = i;
  return table;
}

constexpr std::array<std::uint8_t, 256> kDecode = MakeDecodeTable();

}  // namespace

std::ptrdiff_t CBase64::DecodedLength(std::string_view text) {
  const std::size_t n = text.size();
  if (n % 4 != 0) return -1;
  if (n == 0) return 0;
  std::size_t padding = 0;
  if (text[n - 1] == '=') padding = (text[n - 2] == '=') ? 2 : 1;
  return static_cast<std::ptrdiff_t>(n / 4 * 3 - padding);
}

void CBase64::Encode(const void* pData, std::size_t nBytes, std::string& strOut) {
  const auto* p = static_cast<const std::uint8_t*>(pData);
  strOut.resize(EncodedLength(nBytes));
  char* out = strOut.data();
  std::size_t i = 0;
  for (; i + 3 <= nBytes; i += 3) {
    const std::uint32_t v = (std::uint32_t{p[i]} << 16) | (std::uint32_t{p[i + 1]} << 8) | p[i + 2];
    out[0] = kAlphabet[v >> 18];
    out[1] = kAlphabet[(v >> 12) & 63];
    out[2] = kAlphabet[(v >> 6) & 63];
    out[3] = kAlphabet[v & 63];
    out += 4;
  }
  const std::size_t rest = nBytes - i;
  if (rest > 0) {
    std::uint32_t v = std::uint32_t{p[i]} << 16;
    if (rest == 2) v |= std::uint32_t{p[i + 1]} << 8;
    out[0] = kAlphabet[v >> 18];
    out[1] = kAlphabet[(v >> 12) & 63];
    out[2] = rest == 2 ? kAlphabet[(v >> 6) & 63] : '=';
    out[3] = '=';
  }
}

std::string CBase64::Encode(const void* pData, std::size_t nBytes) {
  std::string text;
  Encode(pData, nBytes, text);
  return text;
}

bool CBase64::Decode(std::string_view text, void* pOut, std::size_t nCapacity, std::size_t& nDecoded) {
  nDecoded = 0;
  const std::ptrdiff_t length = DecodedLength(text);
  if (length < 0 || static_cast<std::size_t>(length) > nCapacity) return false;
  if (length == 0) return true;

  auto* out = static_cast<std::uint8_t*>(pOut);
  const auto* in = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t groups = text.size() / 4;
  // Every group but the last is four alphabet characters; OR-ing the table values finds an
  // invalid one (0xFF) without a branch per character.
  std::uint8_t bad = 0;
  for (std::size_t g = 0; g + 1 < groups; ++g, in += 4, out += 3) {
    const std::uint8_t a = kDecode[in[0]], b = kDecode[in[1]], c = kDecode[in[2]], d = kDecode[in[3]];
    bad |= a | b | c | d;
    const std::uint32_t v = (std::uint32_t{a} << 18) | (std::uint32_t{b} << 12) | (std::uint32_t{c} << 6) | d;
    out[0] = static_cast<std::uint8_t>(v >> 16);
    out[1] = static_cast<std::uint8_t>(v >> 8);
    out[2] = static_cast<std::uint8_t>(v);
  }
  if (bad & 0xC0) return false;

  const std::size_t lastBytes = static_cast<std::size_t>(length) - (groups - 1) * 3;
  const std::uint8_t a = kDecode[in[0]], b = kDecode[in[1]];
  const std::uint8_t c = lastBytes >= 2 ? kDecode[in[2]] : 0;
  const std::uint8_t d = lastBytes == 3 ? kDecode[in[3]] : 0;
  if ((a | b | c | d) & 0xC0) return false;
  const std::uint32_t v = (std::uint32_t{a} << 18) | (std::uint32_t{b} << 12) | (std::uint32_t{c} << 6) | d;
  out[0] = static_cast<std::uint8_t>(v >> 16);
  if (lastBytes >= 2) out[1] = static_cast<std::uint8_t>(v >> 8);
  if (lastBytes == 3) out[2] = static_cast<std::uint8_t>(v);
  nDecoded = static_cast<std::size_t>(length);
  return true;
}
