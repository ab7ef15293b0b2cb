#pragma once
// The FFT window tables of the analysis.
//
// A table is N floats that start at 1.0 and are multiplied in place by the chosen window.
// "None" (999) leaves them at 1.0; the FFT workers then skip the multiplication altogether.
// Any value that is not a known window is treated as "Default", which is Hann.

#include <cstdint>
#include <vector>

std::vector<float> BuildAnalysisWindow(std::uint32_t eWindow, std::uint32_t nSize);

// The window type an FFT worker uses for eWindow: unknown values become "Default".
std::uint32_t EffectiveAnalysisWindow(std::uint32_t eWindow);
