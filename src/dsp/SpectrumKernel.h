#pragma once
// The one spectrum-level computation: window and levels of one FFT block, shared by the
// analysis rows, the player's display spectrum and the chain's spectrum taps. No threads,
// no I/O; the FFT itself is the caller's (an FFTW plan).
//
// Complex vectors are interleaved floats (I, Q), as FFTW's fftwf_complex.

#include <cstddef>
#include <cstdint>

namespace SpectrumKernel {

// pOut[n] = pIn[n] · pWindow[n] for each complex sample (real table times complex value).
void ApplyWindow(const float* pIn, const float* pWindow, std::uint32_t nFFTSize, float* pOut);

// 20·log10(N · 32767 · 0.5) computed in double precision, as a float: the level in dB that
// a full-scale tone through the window "None" exceeds by about 6 dB.
// 16-bit IQ samples windowed into complex floats in one pass: pOut[n] = (I, Q)[n] · pWindow[n],
// with I and Q exchanged when bSwapIQ is set; a null pWindow multiplies by one. The same
// values as converting, swapping and then ApplyWindow.
void WindowInt16(const std::int16_t* pIn, const float* pWindow, std::size_t nSamples, bool bSwapIQ, float* pOut);

float ReferenceLevel(std::uint32_t nFFTSize);

// Levels of one spectrum, ordered from the lowest frequency to the highest:
// pLevels[j] = 20·log10(max(|X[(j + N/2) mod N]|, 1e-5)) − fReferenceDb, computed from the
// power as 10·log10(max(|X|², 1e-10)) − fReferenceDb.
// A bin with no energy thus reads −100 dB − reference, the floor of every picture.
void ComputeLevels(const float* pSpectrum, std::uint32_t nFFTSize, float fReferenceDb, float* pLevels);

}  // namespace SpectrumKernel
