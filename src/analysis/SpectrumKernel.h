#pragma once
// The computation of one spectrum row from one FFT block of raw IQ bytes: sample
// conversion, IQ swap, window, and levels. No threads, no I/O; the FFT itself is the
// caller's (an FFTW plan). The FFT workers and the benchmark's reference loop share it.
//
// Complex vectors are interleaved floats (I, Q), as FFTW's fftwf_complex.

#include <cstddef>
#include <cstdint>

namespace SpectrumKernel {

// The number of parts the sample conversion of one block is split into. The FFT workers
// convert the parts on that many threads of the parallel-loop runtime.
inline constexpr int kConversionParts = 2;

// Converts part nPart of nParts of one block of nFFTSize complex samples into pWork.
//
// Part t covers complex samples s = t·⌊N/T⌋ up to the next part's start (the last part
// takes the remainder) and writes them at pWork[2s ...]. Its source, however, starts at
// byte s · (bytes per value): the offset counts one value per complex sample, not two. With
// two parts the second half of the block is therefore filled from samples N/4 .. 3N/4 − 1.
// That is how the analysis has always read its blocks, every stored picture's levels
// depend on it, and it is kept on purpose. With one part the block is read in order.
//
// The values are converted by CIQSampleConverter with the analysis's 24-bit scale (the
// integer value times 256, ±2^31, against the same reference level). A format it cannot
// read leaves pWork untouched.
void ConvertPart(const std::uint8_t* pBlock, std::uint16_t nFormatTag, std::uint16_t nBitsPerSample,
                 std::uint32_t nFFTSize, int nPart, int nParts, float* pWork);

// Every part of a block, one after another on the calling thread.
void ConvertBlock(const std::uint8_t* pBlock, std::uint16_t nFormatTag, std::uint16_t nBitsPerSample,
                  std::uint32_t nFFTSize, int nParts, float* pWork);

// pOut[n] = pIn[n] · pWindow[n] for each complex sample (real table times complex value).
void ApplyWindow(const float* pIn, const float* pWindow, std::uint32_t nFFTSize, float* pOut);

// 20·log10(N · 32767 · 0.5) computed in double precision, as a float: the level in dB that
// a full-scale tone through the window "None" exceeds by about 6 dB.
float ReferenceLevel(std::uint32_t nFFTSize);

// Levels of one spectrum, ordered from the lowest frequency to the highest:
// pLevels[j] = 20·log10(max(|X[(j + N/2) mod N]|, 1e-5)) − fReferenceDb.
// A bin with no energy thus reads −100 dB − reference, the floor of every picture.
void ComputeLevels(const float* pSpectrum, std::uint32_t nFFTSize, float fReferenceDb, float* pLevels);

}  // namespace SpectrumKernel
