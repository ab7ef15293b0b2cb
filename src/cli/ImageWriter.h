#pragma once
// Saving a picture buffer as an image file, and the picture options of the sub-commands
// that write pictures (--palette, --scale, --contrast).
//
// The buffer is 32-bit ARGB (0xAARRGGBB per pixel, as CAnalysisImage draws it), wrapped in
// a QImage without copying. The file format follows the extension: ".png", ".bmp",
// ".jpg"/".jpeg", or any other format this Qt build can write (Qt has no GIF writer).

#include <cstdint>
#include <filesystem>
#include <string>

#include "analysis/ImageScaling.h"
#include "analysis/Palettes.h"

class CAnalysisImage;
class CCliOptions;

// On failure returns false with strError as "Error saving file as <path> - <reason>".
bool SaveArgbImage(const std::uint32_t* pPixels, int nWidth, int nHeight, int nStrideBytes,
                   const std::filesystem::path& path, std::string& strError);

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

// The value options named above, for the sub-command's option parser.
inline const char* const kPictureValueOptions[] = {"palette", "scale", "contrast"};

// Reads the options present; on a bad value prints the reason and returns false.
bool ParsePictureOptions(const CCliOptions& cli, SPictureOptions& picture);
void ApplyPictureOptions(const SPictureOptions& picture, CAnalysisImage& image);
