#pragma once
// The analysis's conversion of one FFT block of raw IQ bytes into the windowed complex
// floats the transform reads, in parts that the FFT workers convert on several threads.

#include <cstddef>
#include <cstdint>

namespace BlockConversion {

// The number of parts the sample conversion of one block is split into. The FFT workers
// convert the parts on that many threads of the parallel-loop runtime.
inline constexpr int kConversionParts = 2;

// What a part is converted with: the block's sample format, the window table (null: none)
// and the I/Q exchange.
struct SBlockFormat {
  std::uint16_t nFormatTag = 0;
  std::uint16_t nBitsPerSample = 0;
  const float* pWindow = nullptr;
  bool bSwapIQ = false;
};

// Converts part nPart of nParts of one block of nFFTSize complex samples into pOut,
// exchanging I and Q when asked and multiplying by the window.
//
// Part t covers complex samples s = t·⌊N/T⌋ up to the next part's start (the last part
// takes the remainder) and writes them at pOut[2s ...]. Its source, however, starts at
// byte s · (bytes per value): the offset counts one value per complex sample, not two. With
// two parts the second half of the block is therefore filled from samples N/4 .. 3N/4 − 1.
// That is how the analysis has always read its blocks, every stored picture's levels
// depend on it, and it is kept on purpose. With one part the block is read in order.
//
// The values are converted by CIQSampleConverter with the analysis's 24-bit scale (the
// integer value times 256, ±2^31, against the same reference level); 16-bit samples are
// converted and windowed in one pass. A format the converter cannot read leaves pOut
// untouched.
void ConvertPart(const std::uint8_t* pBlock, const SBlockFormat& format, std::uint32_t nFFTSize, int nPart,
                 int nParts, float* pOut);

}  // namespace BlockConversion
