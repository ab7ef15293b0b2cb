#include "cli/ImageWriter.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>

#include "analysis/AnalysisImage.h"
#include "cli/CliOptions.h"

#include <QByteArray>
#include <QImage>
#include <QImageWriter>
#include <QString>

namespace {

QByteArray FormatOf(const std::filesystem::path& path) {
  std::string ext = path.extension().string();
  if (!ext.empty()) ext.erase(0, 1);
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
  if (ext == "jpg") ext = "jpeg";
  return QByteArray::fromStdString(ext);
}

std::string ErrorText(const std::filesystem::path& path, const std::string& reason) {
  return "Error saving file as " + path.string() + " - " + reason;
}

}  // namespace

bool ImageFormatSupported(const std::filesystem::path& path, std::string& strError) {
  const QByteArray format = FormatOf(path);
  if (format.isEmpty() || !QImageWriter::supportedImageFormats().contains(format)) {
    std::string known;
    for (const QByteArray& f : QImageWriter::supportedImageFormats()) known += (known.empty() ? "" : ", ") + f.toStdString();
    strError = ErrorText(path, "unsupported image format \"" + format.toStdString() + "\" (this build writes " +
                                   known + ")");
    return false;
  }
  return true;
}

bool SaveArgbImage(const std::uint32_t* pPixels, int nWidth, int nHeight, int nStrideBytes,
                   const std::filesystem::path& path, std::string& strError) {
  if (!ImageFormatSupported(path, strError)) return false;
  // The const constructor keeps the QImage read-only over the caller's buffer: no copy.
  const QImage image(reinterpret_cast<const uchar*>(pPixels), nWidth, nHeight, nStrideBytes, QImage::Format_ARGB32);
  QImageWriter writer(QString::fromStdString(path.string()), FormatOf(path));
  if (!writer.write(image)) {
    strError = ErrorText(path, writer.errorString().toStdString());
    return false;
  }
  strError.clear();
  return true;
}

namespace {

bool ParseLevel(const std::string& text, int& nLevel) {
  if (text.empty()) return false;
  errno = 0;
  char* end = nullptr;
  const long v = std::strtol(text.c_str(), &end, 10);
  if (*end != '\0' || errno == ERANGE || v < -1000 || v > 1000) return false;
  nLevel = static_cast<int>(v);
  return true;
}

}  // namespace

bool ParsePictureOptions(const CCliOptions& cli, SPictureOptions& picture) {
  if (auto palette = cli.Value("palette")) {
    picture.nPalette = CPalettes::FromText(*palette);
    if (picture.nPalette < 0) {
      cli.Error("--palette: \"" + *palette +
                "\" is not a palette (0..4, \"Black and White\", \"Blue and White\", \"Mother Nature\", "
                "\"Radar Glow\" or \"SpectraVue\")");
      return false;
    }
  }
  if (auto scale = cli.Value("scale")) {
    if (*scale == "auto") {
      picture.bScaleAutomatic = true;
    } else {
      const std::size_t comma = scale->find(',');
      int nLow = 0;
      int nHigh = 0;
      if (comma == std::string::npos || !ParseLevel(scale->substr(0, comma), nLow) ||
          !ParseLevel(scale->substr(comma + 1), nHigh) || nLow == nHigh) {
        cli.Error("--scale: \"" + *scale + "\" is neither \"auto\" nor two different levels in dB as LO,HI "
                  "(for example -150,-60)");
        return false;
      }
      picture.bScaleAutomatic = false;
      picture.nLevelLow = std::min(nLow, nHigh);
      picture.nLevelHigh = std::max(nLow, nHigh);
    }
  }
  std::int64_t nContrast = picture.nContrast;
  if (!cli.GetInt64("contrast", nContrast)) return false;
  if (nContrast < 0 || nContrast > 100) {
    cli.Error("--contrast: " + std::to_string(nContrast) + " is outside 0..100");
    return false;
  }
  picture.nContrast = static_cast<int>(nContrast);
  return true;
}

void ApplyPictureOptions(const SPictureOptions& picture, CAnalysisImage& image) {
  // The first manual level is the weakest colour's, the second the strongest's.
  image.SetColouring(picture.nPalette, picture.bScaleAutomatic, picture.nContrast, picture.nLevelLow,
                     picture.nLevelHigh);
}
