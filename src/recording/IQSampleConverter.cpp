#include "recording/IQSampleConverter.h"

#include <cstring>
#include <utility>

#include "core/Log.h"
#include "recording/WaveHeader.h"

bool CIQSampleConverter::Setup(std::uint16_t nFormatTag, std::uint16_t nBitsPerSample, bool bSwapIQ,
                               E24BitScale eScale) {
  m_eKind = EKind::NONE;
  m_nBytesPerValue = 0;
  m_bSwapIQ = bSwapIQ;
  m_eScale = eScale;
  const bool bExtensible = nFormatTag == kFormatExtensible;
  if ((nFormatTag == kFormatFloat || bExtensible) && nBitsPerSample == 32) {
    m_eKind = EKind::FLOAT32;
  } else if ((nFormatTag == kFormatPCM || bExtensible) && nBitsPerSample == 16) {
    m_eKind = EKind::INT16;
  } else if ((nFormatTag == kFormatPCM || bExtensible) && nBitsPerSample == 24) {
    m_eKind = EKind::INT24;
  } else {
    return false;
  }
  m_nBytesPerValue = nBitsPerSample / 8u;
  return true;
}

bool CIQSampleConverter::Setup(const CWaveFormat& fmt, bool bSwapIQ, E24BitScale eScale) {
  return Setup(fmt.wFormatTag, fmt.wBitsPerSample, bSwapIQ, eScale);
}

void CIQSampleConverter::ConvertValues(const std::uint8_t* pRaw, std::size_t nValues, float* pOut) const {
  switch (m_eKind) {
    case EKind::FLOAT32:
      std::memcpy(pOut, pRaw, nValues * sizeof(float));
      break;
    case EKind::INT16:
      for (std::size_t i = 0; i < nValues; ++i) {
        std::int16_t v;
        std::memcpy(&v, pRaw + 2 * i, sizeof v);
        pOut[i] = static_cast<float>(v);
      }
      break;
    case EKind::INT24: {
      // The three bytes in the top of a 32-bit word: a signed value 256 times the sample.
      const float fScale = m_eScale == E24BitScale::WORD ? 1.0f : 1.0f / 65536.0f;
      for (std::size_t i = 0; i < nValues; ++i) {
        const std::uint8_t* p = pRaw + 3 * i;
        const std::uint32_t u =
            (std::uint32_t{p[0]} << 8) | (std::uint32_t{p[1]} << 16) | (std::uint32_t{p[2]} << 24);
        pOut[i] = static_cast<float>(static_cast<std::int32_t>(u)) * fScale;
      }
      break;
    }
    case EKind::NONE:
      break;
  }
}

void CIQSampleConverter::SwapIQ(float* pSamples, std::size_t nCount) {
  for (std::size_t n = 0; n < nCount; ++n) std::swap(pSamples[2 * n], pSamples[2 * n + 1]);
}

void CIQSampleConverter::Convert(const std::uint8_t* pRaw, std::size_t nCount, float* pOut) const {
  ConvertValues(pRaw, 2 * nCount, pOut);
  if (m_bSwapIQ) SwapIQ(pOut, nCount);
}

void CIQSampleConverter::Convert(const std::uint8_t* pRaw, std::size_t nCount, std::complex<float>* pOut) const {
  // std::complex<float> is laid out as two floats, real part first.
  Convert(pRaw, nCount, reinterpret_cast<float*>(pOut));
}

std::string CIQSampleConverter::FormatText(std::uint16_t nFormatTag, std::uint16_t nBitsPerSample) {
  return StrFormat("format tag %u, %u bits", static_cast<unsigned>(nFormatTag),
                   static_cast<unsigned>(nBitsPerSample));
}
