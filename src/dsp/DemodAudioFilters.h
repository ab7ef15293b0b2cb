#pragma once
// The real FIR audio filters that the demodulators apply: a windowed-sinc design with the
// Blackman window, normalised, of the given length and cut-off (fraction of the rate).

#include "dsp/DSPFIRFilter.h"

class CDemodLowPassFilter : public CDSPRealFIRFilter
{
public:
    CDemodLowPassFilter() = default;
    CDemodLowPassFilter(double cutoff, int length) { Design(cutoff, length); }
    void Design(double cutoff, int length) { DesignLowPass(cutoff, length); }
};

class CDemodHighPassFilter : public CDSPRealFIRFilter
{
public:
    CDemodHighPassFilter() = default;
    CDemodHighPassFilter(double cutoff, int length) { Design(cutoff, length); }
    void Design(double cutoff, int length) { DesignHighPass(cutoff, length); }
};
