#include "analysis/BlockConversion.h"

#include "recording/IQSampleConverter.h"

namespace BlockConversion {

void ConvertPart(const std::uint8_t* pBlock, std::uint16_t nFormatTag, std::uint16_t nBitsPerSample,
                 std::uint32_t nFFTSize, int nPart, int nParts, float* pWork) {
  if (nParts < 1 || nPart < 0 || nPart >= nParts) return;
  const std::size_t nPerPart = nFFTSize / static_cast<std::uint32_t>(nParts);
  const std::size_t nFirst = static_cast<std::size_t>(nPart) * nPerPart;
  const std::size_t nCount = (nPart == nParts - 1) ? nFFTSize - nFirst : nPerPart;
  const std::size_t nValues = 2 * nCount;
  // One value per complex sample in the source offset: see the header.
  const CIQSampleConverter converter(nFormatTag, nBitsPerSample, false, CIQSampleConverter::E24BitScale::WORD);
  if (converter.IsValid()) converter.ConvertValues(pBlock + nFirst * converter.BytesPerValue(), nValues, pWork + 2 * nFirst);
}

void ConvertBlock(const std::uint8_t* pBlock, std::uint16_t nFormatTag, std::uint16_t nBitsPerSample,
                  std::uint32_t nFFTSize, int nParts, float* pWork) {
  for (int t = 0; t < nParts; ++t) ConvertPart(pBlock, nFormatTag, nBitsPerSample, nFFTSize, t, nParts, pWork);
}

}  // namespace BlockConversion
