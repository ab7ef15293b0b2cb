#pragma once
// The picture options of the sub-commands that write pictures (--palette, --scale,
// --contrast).

#include "analysis/ImageScaling.h"
#include "analysis/Palettes.h"

class CAnalysisSession;
class CCliOptions;

// --palette 0..4|NAME      "Black and White", "Blue and White", "Mother Nature", "Radar Glow",
//                          "SpectraVue" (the default), by number or name in any case
// --scale auto|LO,HI       automatic scaling (the default), or fixed levels in dB: LO gets the
//                          weakest colour and HI the strongest. As in the manual-scale pane
//                          their magnitudes are used, so they are meant as negative levels.
// --contrast 0..100        contrast of automatic scaling
struct SPictureOptions {
  int nPalette = CPalettes::kDefault;
  bool bScaleAutomatic = true;
  int nLevelLow = -CImageScaling::kDefaultManualFirst;
  int nLevelHigh = -CImageScaling::kDefaultManualSecond;
  int nContrast = CImageScaling::kDefaultContrast;
};

// Reads the options present; on a bad value prints the reason and returns false.
bool ParsePictureOptions(const CCliOptions& cli, SPictureOptions& picture);
void ApplyPictureOptions(const SPictureOptions& picture, CAnalysisSession& session);
