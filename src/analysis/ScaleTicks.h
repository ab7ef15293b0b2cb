#pragma once
// Ticks of the scales drawn around the analysis picture: the frequency scale along its top
// edge and the dB scale of the colour bar. Both the GUI's view and the annotated image
// files take them from here, so a saved image shows the scales the window shows.

#include <string>
#include <vector>

struct SScaleTick {
  double dPosition = 0.0;  // pixels from the scale's start (the low end)
  double dValue = 0.0;     // Hz or dB
  std::string strLabel;
};

// Ticks at round frequencies (1, 2 or 5 times a power of ten, in Hz) over a scale that runs
// from dLowHz at position 0 to dHighHz at position dLength pixels, at least dMinSpacing
// pixels apart. Labels: "%.*f MHz" from 1 MHz on, "%.*f kHz" from 1 kHz, else "%.0f Hz",
// with as many decimals as the step needs.
std::vector<SScaleTick> FrequencyTicks(double dLowHz, double dHighHz, double dLength, double dMinSpacing);

// Ticks at round levels ("%d dB", steps of 1, 2, 5, 10, 20 ... dB) from dLowDb at position 0
// to dHighDb at dLength, at least dMinSpacing pixels apart.
std::vector<SScaleTick> LevelTicks(double dLowDb, double dHighDb, double dLength, double dMinSpacing);

// The step among 1, 2, 5 times a power of ten that is the smallest not below dMinStep.
double RoundStep(double dMinStep);

class CImageScaling;

// The levels at the two ends of the colour table as the picture was last coloured: under
// automatic scaling the base and the top of the last row's range, under manual scaling
// -|first| (weakest colour) and -|second| (strongest).
struct SColourBarRange {
  double dLowDb = 0.0;
  double dHighDb = 0.0;
};
SColourBarRange ColourBarRange(const CImageScaling& scaling);
