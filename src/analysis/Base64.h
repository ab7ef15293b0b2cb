#pragma once
// CBase64: the row data of project files.
//
// Standard alphabet "A-Z a-z 0-9 + /" with "=" padding and no line breaks; n bytes become
// ((n + 2) / 3) * 4 characters. Decoding is strict: any character outside the alphabet, a
// length that is not a multiple of 4 or padding anywhere but at the very end makes the
// whole text invalid, since a project row that does not decode cleanly is shown as a zero
// row rather than as half-shifted garbage.

#include <cstddef>
#include <string>
#include <string_view>

class CBase64 {
 public:
  static constexpr std::size_t EncodedLength(std::size_t nBytes) { return (nBytes + 2) / 3 * 4; }
  // The exact number of bytes text decodes to, or -1 when it is not valid Base64 by length
  // or padding (characters are only checked by Decode).
  static std::ptrdiff_t DecodedLength(std::string_view text);

  // Replaces strOut with the encoding of the nBytes at pData (strOut's capacity is reused).
  static void Encode(const void* pData, std::size_t nBytes, std::string& strOut);
  static std::string Encode(const void* pData, std::size_t nBytes);

  // Decodes text into pOut. Fails (returning false, pOut possibly partly written) when the
  // text is not valid Base64 or decodes to more than nCapacity bytes; on success nDecoded
  // is the number of bytes written.
  static bool Decode(std::string_view text, void* pOut, std::size_t nCapacity, std::size_t& nDecoded);
};
