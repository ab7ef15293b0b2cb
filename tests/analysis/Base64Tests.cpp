#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "analysis/Base64.h"

namespace {

std::string Enc(const std::string& s) { return CBase64::Encode(s.data(), s.size()); }

bool Dec(const std::string& text, std::string& out) {
  out.assign(text.size(), '\0');
  std::size_t n = 0;
  if (!CBase64::Decode(text, out.data(), out.size(), n)) return false;
  out.resize(n);
  return true;
}

}  // namespace

// Catches a wrong alphabet, wrong bit order or wrong padding against the published vectors.
TEST(Base64, KnownVectors) {
  const std::pair<std::string, std::string> vectors[] = {
      {"", ""},         {"f", "Zg=="},         {"fo", "Zm8="},         {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"}, {"\xff\xfe\xfd", "//79"},
      {std::string("\0\0\0\0", 4), "AAAAAA=="}};
  for (const auto& [plain, coded] : vectors) {
    EXPECT_EQ(Enc(plain), coded);
    std::string back;
    ASSERT_TRUE(Dec(coded, back)) << coded;
    EXPECT_EQ(back, plain);
  }
}

// Catches off-by-one errors in the tail handling: every length 0..40 and every byte value
// must survive a round trip, and the text length must be ((n + 2) / 3) * 4.
TEST(Base64, OddLengthsRoundTrip) {
  for (std::size_t n = 0; n <= 40; ++n) {
    std::vector<std::uint8_t> data(n);
    for (std::size_t i = 0; i < n; ++i) data[i] = static_cast<std::uint8_t>(i * 97 + n * 13 + 200);
    const std::string text = CBase64::Encode(data.data(), n);
    EXPECT_EQ(text.size(), (n + 2) / 3 * 4);
    EXPECT_EQ(CBase64::DecodedLength(text), static_cast<std::ptrdiff_t>(n));
    std::vector<std::uint8_t> back(n + 1, 0xAA);
    std::size_t written = 99;
    ASSERT_TRUE(CBase64::Decode(text, back.data(), n, written)) << n;
    EXPECT_EQ(written, n);
    EXPECT_TRUE(std::equal(data.begin(), data.end(), back.begin()));
    EXPECT_EQ(back[n], 0xAA) << "decoder wrote past the decoded length";
  }
  std::vector<std::uint8_t> all(256);
  for (int i = 0; i < 256; ++i) all[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(i);
  std::string back;
  ASSERT_TRUE(Dec(CBase64::Encode(all.data(), all.size()), back));
  EXPECT_EQ(back, std::string(all.begin(), all.end()));
}

// Catches a lenient decoder that turns damaged project rows into shifted garbage instead
// of refusing them, and one that writes past a too-small buffer.
TEST(Base64, RejectsDamagedText) {
  std::string out;
  for (const char* bad : {"Zg=", "Zm9", "Zm9v\n", "Zm 9v", "Zm9v!A==", "Z===", "====", "Zg==Zg==", "Z=g=",
                          "Zm=v", "\xc3\xa9\xc3\xa9"}) {
    EXPECT_FALSE(Dec(bad, out)) << bad;
  }
  std::uint8_t small[2];
  std::size_t n = 0;
  EXPECT_FALSE(CBase64::Decode("Zm9v", small, sizeof small, n));
  EXPECT_EQ(n, 0u);
}
