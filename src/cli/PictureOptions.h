#pragma once
// The picture options of the sub-commands that write pictures (--palette, --scale,
// --contrast, --fit-height).

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
// --fit-height H           the whole recording in H pixel lines, each the maximum of the
//                          rows that fall on it (1..100000)
struct SPictureOptions {
  int nPalette = CPalettes::kDefault;
  bool bScaleAutomatic = true;
  int nLevelLow = -CImageScaling::kDefaultManualFirst;
  int nLevelHigh = -CImageScaling::kDefaultManualSecond;
  int nContrast = CImageScaling::kDefaultContrast;
  int nFitHeight = 0;  // 0: one row per line
};

// Reads the options present; on a bad value prints the reason and returns false.
bool ParsePictureOptions(const CCliOptions& cli, SPictureOptions& picture);
void ApplyPictureOptions(const SPictureOptions& picture, CAnalysisSession& session);
// "Showing the first H of N rows; ..." on stderr when the picture leaves rows out.
void NoteRowsLeftOut(const CAnalysisSession& session, const char* pszCommand);
