#pragma once
// CPictureRenderer: the analysis picture as an image with its annotations, and saving it as
// an image file. The command-line tool's pictures and the GUI's "Save image to file..." come
// from here, so that both show the same thing.
//
// The picture's 32-bit ARGB buffer is wrapped in a QImage without copying; annotations (the
// time labels: a tick and a "%H:%M:%S" text in the palette's overlay colour at each label's
// row, outlined in black) are drawn on a copy. The file format follows the extension:
// ".png", ".bmp", ".jpg"/".jpeg", or any other format this Qt build can write (Qt has no
// GIF writer). Text needs a QGuiApplication; where none exists (the command-line tool) one
// is made on the offscreen platform for the drawing alone.

#include <filesystem>
#include <string>

#include <QImage>

class CAnalysisImage;

class CPictureRenderer {
 public:
  // The picture with its annotations (a deep copy, independent of image).
  static QImage Render(const CAnalysisImage& image);
  // Writes Render(image) to path. On failure returns false with strError as
  // "Error saving file as <path> - <reason>".
  static bool Save(const CAnalysisImage& image, const std::filesystem::path& path, std::string& strError);
  // Whether an image can be written for path's extension (checked before a long run).
  static bool FormatSupported(const std::filesystem::path& path, std::string& strError);
};
