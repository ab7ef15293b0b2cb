#pragma once
// Saving an analysis picture as an image file, and the picture options of the sub-commands
// that write pictures (--palette, --scale, --contrast).
//
// The picture's 32-bit ARGB buffer is wrapped in a QImage; its time labels are drawn over
// the left edge of a copy. The file format follows the extension: ".png", ".bmp",
// ".jpg"/".jpeg", or any other format this Qt build can write (Qt has no GIF writer).

#include <filesystem>
#include <string>

#include "analysis/ImageScaling.h"
#include "analysis/Palettes.h"

class CAnalysisImage;
class CCliOptions;

// Writes image's picture with its time labels, each a tick and a "%H:%M:%S" text in the
// palette's overlay colour. On failure returns false with strError as
// "Error saving file as <path> - <reason>".
bool SavePicture(const CAnalysisImage& image, const std::filesystem::path& path, std::string& strError);

// Whether an image can be written for path's extension (checked before a long run).
bool ImageFormatSupported(const std::filesystem::path& path, std::string& strError);

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
void ApplyPictureOptions(const SPictureOptions& picture, CAnalysisImage& image);
