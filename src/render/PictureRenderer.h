#pragma once
// CPictureRenderer: the analysis picture as an image with its annotations, and saving it as
// an image file. The command-line tool's pictures and the GUI's "Save image to file..." come
// from here, so that both show the same thing.
//
// The picture's 32-bit ARGB buffer is wrapped in a QImage without copying and drawn into a
// larger image with its annotations around it (CPictureAnnotations). The file format
// follows the extension: ".png", ".bmp", ".jpg"/".jpeg", ".gif", or any other format this Qt
// build can write. Text needs a QGuiApplication; where none exists (the command-line tool)
// one is made on the offscreen platform for the drawing alone.

#include <filesystem>
#include <string>

#include <QImage>

class CAnalysisSession;

class CPictureRenderer {
 public:
  // Margins around the picture in the annotated image, in pixels.
  static constexpr int kTitleHeight = 20;
  static constexpr int kScaleHeight = 22;
  static constexpr int kTimeWidth = 80;
  static constexpr int kBarWidth = 76;
  static constexpr int kBottomMargin = 6;

  // The picture with what a reader needs to take figures from it: a title line (centre,
  // span, resolution bandwidth, start and end), the frequency scale, the time labels with
  // the date and "UTC", the colour bar with its dB scale, and the grid and tags when the
  // session shows them. The picture's pixels are copied unchanged into the image at
  // (kTimeWidth, kTitleHeight + kScaleHeight).
  static QImage Render(const CAnalysisSession& session);
  // The picture's pixels alone (a deep copy).
  static QImage PictureOnly(const CAnalysisSession& session);
  // Writes Render(session) to path, atomically (a temporary file renamed into place). GIF
  // goes through giflib (Qt has no GIF writer), with the colours reduced to 256. On failure
  // returns false with strError as "Error saving file as <path> - <reason>".
  static bool Save(const CAnalysisSession& session, const std::filesystem::path& path, std::string& strError);
  // Whether an image can be written for path's extension (checked before a long run).
  static bool FormatSupported(const std::filesystem::path& path, std::string& strError);
};
