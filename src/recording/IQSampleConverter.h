#pragma once
// CIQSampleConverter: the one conversion of stored IQ samples to complex 32-bit floats,
// shared by the analysis FFT workers, the player and the offline demodulation loop.
//
// Stored formats: format tag 1 (PCM) with 16 or 24 bits, tag 3 (IEEE float) with 32 bits,
// and tag 0xFFFE (extensible) with any of these widths (32 bits taken as float). Values are
// little-endian, I before Q.
//
// Scale: 16-bit values are taken as they are (full scale +-32768) and floats are copied.
// A 24-bit value has two scales, by consumer: the demodulator's (divided by 256, the 16-bit
// scale, so that recordings of either width play equally loud) and the analysis's (the
// 32-bit word the three bytes make, 256 times the value, against the same reference level).

#include <complex>
#include <cstddef>
#include <cstdint>
#include <string>

struct CWaveFormat;

class CIQSampleConverter {
 public:
  enum class E24BitScale { SIXTEEN_BIT, WORD };

  static constexpr std::uint16_t kFormatPCM = 1;
  static constexpr std::uint16_t kFormatFloat = 3;
  static constexpr std::uint16_t kFormatExtensible = 0xFFFE;

  CIQSampleConverter() = default;
  CIQSampleConverter(std::uint16_t nFormatTag, std::uint16_t nBitsPerSample, bool bSwapIQ = false,
                     E24BitScale eScale = E24BitScale::SIXTEEN_BIT) {
    Setup(nFormatTag, nBitsPerSample, bSwapIQ, eScale);
  }
  explicit CIQSampleConverter(const CWaveFormat& fmt, bool bSwapIQ = false,
                              E24BitScale eScale = E24BitScale::SIXTEEN_BIT) {
    Setup(fmt, bSwapIQ, eScale);
  }

  // False (and nothing is converted) for a format none of the above.
  bool Setup(std::uint16_t nFormatTag, std::uint16_t nBitsPerSample, bool bSwapIQ = false,
             E24BitScale eScale = E24BitScale::SIXTEEN_BIT);
  bool Setup(const CWaveFormat& fmt, bool bSwapIQ = false, E24BitScale eScale = E24BitScale::SIXTEEN_BIT);

  bool IsValid() const { return m_eKind != EKind::NONE; }
  // Bytes of one I or Q value, and of one complex sample (0 when not valid).
  std::uint32_t BytesPerValue() const { return m_nBytesPerValue; }
  std::uint32_t BytesPerComplex() const { return 2 * m_nBytesPerValue; }
  bool SwapIQ() const { return m_bSwapIQ; }
  void SetSwapIQ(bool bSwapIQ) { m_bSwapIQ = bSwapIQ; }

  // Converts nCount complex samples from pRaw.
  void Convert(const std::uint8_t* pRaw, std::size_t nCount, std::complex<float>* pOut) const;
  // The same into interleaved floats (I, Q, I, Q ...): pOut holds 2 x nCount floats.
  void Convert(const std::uint8_t* pRaw, std::size_t nCount, float* pOut) const;
  // Converts nValues single values with no I/Q pairing and no swap (the analysis reads
  // parts of a block value by value).
  void ConvertValues(const std::uint8_t* pRaw, std::size_t nValues, float* pOut) const;

  // Exchanges I and Q of nCount interleaved samples (mirrors the spectrum).
  static void SwapIQ(float* pSamples, std::size_t nCount);

  // "format tag 3, 16 bits": for messages about a format that cannot be read.
  static std::string FormatText(std::uint16_t nFormatTag, std::uint16_t nBitsPerSample);

 private:
  enum class EKind { NONE, INT16, INT24, FLOAT32 };
  EKind m_eKind = EKind::NONE;
  E24BitScale m_eScale = E24BitScale::SIXTEEN_BIT;
  std::uint32_t m_nBytesPerValue = 0;
  bool m_bSwapIQ = false;
};
