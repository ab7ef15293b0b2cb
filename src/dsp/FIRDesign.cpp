#include "dsp/FIRDesign.h"

#include <cmath>
#include <numbers>

double BesselI0(double x)
{
    const double quarterX2 = x * x / 4.0;
    double sum = 1.0;
    double term = 1.0;
    for (int k = 1; k < 500; ++k) {
        term *= quarterX2 / (static_cast<double>(k) * k);
        sum += term;
        if (term < 1e-9 * sum)
            break;
    }
    return sum;
}

double SincTap(double cutoff, double m)
{
    return m == 0.0 ? 2.0 * cutoff : std::sin(2.0 * std::numbers::pi * cutoff * m) / (std::numbers::pi * m);
}

namespace {
// Blackman window value n of length (0.42 - 0.5 cos + 0.08 cos 2x: about 75 dB stop band).
double BlackmanWindow(int n, int length)
{
    if (length <= 1)
        return 1.0;
    const double x = 2.0 * std::numbers::pi * n / (length - 1);
    return 0.42 - 0.5 * std::cos(x) + 0.08 * std::cos(2.0 * x);
}

// Windowed sinc with cut-off fc, not yet normalised.
std::vector<double> WindowedSinc(double cutoff, int length)
{
    std::vector<double> taps(static_cast<std::size_t>(length));
    const double centre = (length - 1) / 2.0;
    for (int n = 0; n < length; ++n) {
        taps[static_cast<std::size_t>(n)] = SincTap(cutoff, n - centre) * BlackmanWindow(n, length);
    }
    return taps;
}

// Scales the taps so that the response at frequency f (fraction of the rate) has
// magnitude 1 (linear-phase designs: the response there is real up to the delay).
void NormaliseAt(std::vector<double>& taps, double f)
{
    const double centre = (static_cast<double>(taps.size()) - 1) / 2.0;
    double gain = 0.0;
    for (std::size_t n = 0; n < taps.size(); ++n)
        gain += taps[n] * std::cos(2.0 * std::numbers::pi * f * (static_cast<double>(n) - centre));
    if (std::fabs(gain) > 1e-300)
        for (double& t : taps)
            t /= gain;
}
}  // namespace

std::vector<double> DesignLowPassFIR(double cutoff, int length)
{
    if (length <= 0)
        return {};
    std::vector<double> taps = WindowedSinc(cutoff, length);
    NormaliseAt(taps, 0.0);
    return taps;
}

std::vector<double> DesignHighPassFIR(double cutoff, int length)
{
    if (length <= 0)
        return {};
    if (length % 2 == 0)
        ++length;
    std::vector<double> taps = DesignLowPassFIR(cutoff, length);
    for (double& t : taps)
        t = -t;
    taps[static_cast<std::size_t>(length / 2)] += 1.0;
    NormaliseAt(taps, 0.5);
    return taps;
}

std::vector<double> DesignBandPassFIR(double lowCutoff, double highCutoff, int length)
{
    if (length <= 0)
        return {};
    if (lowCutoff <= 0.0)
        return DesignLowPassFIR(highCutoff, length);
    const double centreFreq = (lowCutoff + highCutoff) / 2.0;
    const double halfWidth = std::fabs(highCutoff - lowCutoff) / 2.0;
    std::vector<double> taps = WindowedSinc(halfWidth, length);
    const double centre = (length - 1) / 2.0;
    for (int n = 0; n < length; ++n)
        taps[static_cast<std::size_t>(n)] *= 2.0 * std::cos(2.0 * std::numbers::pi * centreFreq * (n - centre));
    NormaliseAt(taps, centreFreq);
    return taps;
}
