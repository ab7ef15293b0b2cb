#include "analysis/ScaleTicks.h"

#include <cmath>

#include "analysis/ImageScaling.h"
#include "core/Log.h"

double RoundStep(double dMinStep) {
  if (!(dMinStep > 0.0) || !std::isfinite(dMinStep)) return 1.0;
  const double dPower = std::pow(10.0, std::floor(std::log10(dMinStep)));
  for (const double dMantissa : {1.0, 2.0, 5.0, 10.0}) {
    // A little slack keeps 0.1 * 10 from losing to its rounding error.
    if (dMantissa * dPower >= dMinStep * (1.0 - 1e-9)) return dMantissa * dPower;
  }
  return 10.0 * dPower;
}

namespace {

// Decimals needed to write multiples of dStep in units of dUnit exactly.
int Decimals(double dStep, double dUnit) {
  int n = 0;
  double dScaled = dStep / dUnit;
  while (n < 6 && std::fabs(dScaled - std::round(dScaled)) > 1e-6) {
    dScaled *= 10.0;
    ++n;
  }
  return n;
}

template <typename LabelFn>
std::vector<SScaleTick> Ticks(double dLow, double dHigh, double dLength, double dMinSpacing, LabelFn label) {
  std::vector<SScaleTick> aTicks;
  if (!(dHigh > dLow) || !(dLength > 0.0) || !std::isfinite(dLow) || !std::isfinite(dHigh)) return aTicks;
  const double dPerPixel = (dHigh - dLow) / dLength;
  const double dStep = RoundStep(dMinSpacing * dPerPixel);
  for (double n = std::ceil(dLow / dStep); n * dStep <= dHigh + dStep * 1e-9; n += 1.0) {
    const double dValue = n * dStep;
    aTicks.push_back({(dValue - dLow) / dPerPixel, dValue, label(dValue, dStep)});
  }
  return aTicks;
}

}  // namespace

std::vector<SScaleTick> FrequencyTicks(double dLowHz, double dHighHz, double dLength, double dMinSpacing) {
  return Ticks(dLowHz, dHighHz, dLength, dMinSpacing, [](double dHz, double dStep) {
    const double dMagnitude = std::fabs(dHz) > std::fabs(dStep) ? std::fabs(dHz) : std::fabs(dStep);
    if (dMagnitude >= 1e6) return StrFormat("%.*f MHz", Decimals(dStep, 1e6), dHz / 1e6);
    if (dMagnitude >= 1e3) return StrFormat("%.*f kHz", Decimals(dStep, 1e3), dHz / 1e3);
    return StrFormat("%.0f Hz", dHz);
  });
}

std::vector<SScaleTick> LevelTicks(double dLowDb, double dHighDb, double dLength, double dMinSpacing) {
  return Ticks(dLowDb, dHighDb, dLength, dMinSpacing, [](double dDb, double dStep) {
    return StrFormat("%.*f dB", Decimals(dStep, 1.0), dDb);
  });
}

SColourBarRange ColourBarRange(const CImageScaling& scaling) {
  if (!scaling.Automatic())
    return {-std::fabs(static_cast<double>(scaling.ManualFirst())), -std::fabs(static_cast<double>(scaling.ManualSecond()))};
  const CImageScaling::SRange& range = scaling.LastRange();
  return {range.dBase, static_cast<double>(range.nHigh)};
}
