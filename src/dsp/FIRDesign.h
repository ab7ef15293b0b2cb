#pragma once
// Windowed-sinc FIR designs shared by the chain's filters (audio low-, high- and band-
// passes, the post-decimation low-pass, the carrier tracker's low-passes, the broadcast-FM
// decimators) and the Kaiser helpers of the polyphase resampler and the FM squelch.
//
// Frequencies are fractions of the sample rate (0 .. 0.5). Taps are computed in 64-bit
// floats; "normalised" means unity gain at the centre of the pass band (0 Hz for a low-
// pass, the Nyquist frequency for a high-pass, the band centre for a band-pass).

#include <vector>

enum class EFIRWindow
{
    Blackman,  // 0.42 - 0.5 cos + 0.08 cos 2x: about 75 dB stop band
    Kaiser,    // with the beta given to the design
};

// Window value n of length (n = 0 .. length-1; a length of 1 gives 1.0).
double FIRWindowValue(EFIRWindow eWindow, int n, int length, double kaiserBeta = 0.0);

// Modified Bessel function of the first kind, order 0, by its power series (summed until
// a term falls below 1e-9 of the sum).
double BesselI0(double x);

// Kaiser beta for a stop-band attenuation in dB (the standard empirical formula).
double KaiserBeta(double attenuationDb);

// Low-pass with cut-off "cutoff" (fraction of the rate), length taps, unity gain at 0 Hz.
std::vector<double> DesignLowPassFIR(double cutoff, int length, EFIRWindow eWindow = EFIRWindow::Blackman,
                                     double kaiserBeta = 0.0);

// High-pass (spectral inversion of the low-pass); length is made odd by adding one tap when
// even, as an even-length linear-phase filter cannot pass the Nyquist frequency.
std::vector<double> DesignHighPassFIR(double cutoff, int length, EFIRWindow eWindow = EFIRWindow::Blackman,
                                      double kaiserBeta = 0.0);

// Band-pass from lowCutoff to highCutoff (fractions of the rate), unity gain at the centre.
// A lowCutoff of 0 or below gives the low-pass at highCutoff.
std::vector<double> DesignBandPassFIR(double lowCutoff, double highCutoff, int length,
                                      EFIRWindow eWindow = EFIRWindow::Blackman, double kaiserBeta = 0.0);
