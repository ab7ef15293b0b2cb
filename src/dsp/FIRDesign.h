#pragma once
// Windowed-sinc FIR designs shared by the chain's filters (audio low-, high- and band-
// passes, the post-decimation low-pass, the carrier tracker's low-passes, the broadcast-FM
// decimators, all under the Blackman window) and the Bessel function of the Kaiser windows
// of the polyphase resampler and the FM squelch.
//
// Frequencies are fractions of the sample rate (0 .. 0.5). Taps are computed in 64-bit
// floats; "normalised" means unity gain at the centre of the pass band (0 Hz for a low-
// pass, the Nyquist frequency for a high-pass, the band centre for a band-pass).

#include <vector>

// Modified Bessel function of the first kind, order 0, by its power series (summed until
// a term falls below 1e-9 of the sum).
double BesselI0(double x);

// The ideal low-pass's impulse response at m samples from its centre (m need not be whole):
// sin(2 pi cutoff m) / (pi m), and 2 cutoff at m = 0. Every windowed-sinc design of the
// chain is this times its window.
double SincTap(double cutoff, double m);

// Low-pass with cut-off "cutoff" (fraction of the rate), length taps, unity gain at 0 Hz.
std::vector<double> DesignLowPassFIR(double cutoff, int length);

// High-pass (spectral inversion of the low-pass); length is made odd by adding one tap when
// even, as an even-length linear-phase filter cannot pass the Nyquist frequency.
std::vector<double> DesignHighPassFIR(double cutoff, int length);

// Band-pass from lowCutoff to highCutoff (fractions of the rate), unity gain at the centre.
// A lowCutoff of 0 or below gives the low-pass at highCutoff.
std::vector<double> DesignBandPassFIR(double lowCutoff, double highCutoff, int length);
