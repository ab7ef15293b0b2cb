#include "analysis/BlockConversion.h"

#include <cstring>

#include "dsp/SpectrumKernel.h"
#include "recording/IQSampleConverter.h"

namespace BlockConversion {

void ConvertPart(const std::uint8_t* pBlock, const SBlockFormat& format, std::uint32_t nFFTSize, int nPart,
                 int nParts, float* pOut) {
  if (nParts < 1 || nPart < 0 || nPart >= nParts) return;
  const std::size_t nPerPart = nFFTSize / static_cast<std::uint32_t>(nParts);
  const std::size_t nFirst = static_cast<std::size_t>(nPart) * nPerPart;
  const std::size_t nCount = (nPart == nParts - 1) ? nFFTSize - nFirst : nPerPart;
  const CIQSampleConverter converter(format.nFormatTag, format.nBitsPerSample, false,
                                     CIQSampleConverter::E24BitScale::WORD);
  if (!converter.IsValid()) return;
  // One value per complex sample in the source offset: see the header.
  const std::uint8_t* pSource = pBlock + nFirst * converter.BytesPerValue();
  float* pPart = pOut + 2 * nFirst;
  const float* pWindow = format.pWindow ? format.pWindow + nFirst : nullptr;
  if (converter.BytesPerValue() == sizeof(std::int16_t)) {
    // The block's bytes need not be aligned for 16-bit access.
    if (reinterpret_cast<std::uintptr_t>(pSource) % alignof(std::int16_t) == 0) {
      SpectrumKernel::WindowInt16(reinterpret_cast<const std::int16_t*>(pSource), pWindow, nCount, format.bSwapIQ,
                                  pPart);
      return;
    }
  }
  converter.ConvertValues(pSource, 2 * nCount, pPart);
  if (format.bSwapIQ) CIQSampleConverter::SwapIQ(pPart, nCount);
  if (pWindow) SpectrumKernel::ApplyWindow(pPart, pWindow, static_cast<std::uint32_t>(nCount), pPart);
}

}  // namespace BlockConversion
