#pragma once
// The two process-wide DSP settings, kept together in one visible place.
//
// All are off by default. They are read when a stage is designed or set up (never inside
// a per-sample loop), so a change reaches a chain the next time it designs its filters,
// which is when the player applies a mode or a pass band.

#include <atomic>

// Shorter filters everywhere in the chain: 19-tap half-bands, a 99-tap post-decimation
// low-pass, a 100,000-entry oscillator table, 99-tap audio filters.
inline std::atomic<bool> g_bDSPReducedLoad{false};

// The fractional resampler of the down-converter uses 16 taps instead of 28 for output
// rates above 48,000 Hz.
inline std::atomic<bool> g_bDSPFastResampler{false};
