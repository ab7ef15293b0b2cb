#include "cli/PictureOptions.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "analysis/AnalysisSession.h"
#include "cli/CliOptions.h"

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
          !ParseLevel(scale->substr(comma + 1), nHigh)) {
        cli.Error("--scale: \"" + *scale + "\" is neither \"auto\" nor two levels in dB as LO,HI "
                  "(for example -150,-60)");
        return false;
      }
      if (nLow >= nHigh) {
        cli.Error("--scale: \"" + *scale + "\" is inverted: LO (the weakest colour) must be below HI "
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
  std::int64_t nFitHeight = 0;
  if (!cli.GetInt64("fit-height", nFitHeight)) return false;
  if (cli.Has("fit-height") && (nFitHeight < 1 || nFitHeight > 100000)) {
    cli.Error("--fit-height: " + std::to_string(nFitHeight) + " is not a height from 1 to 100000 pixels");
    return false;
  }
  picture.nFitHeight = static_cast<int>(nFitHeight);
  return true;
}

void ApplyPictureOptions(const SPictureOptions& picture, CAnalysisSession& session) {
  // The first manual level is the weakest colour's, the second the strongest's.
  session.SetColouring(picture.nPalette, picture.bScaleAutomatic, picture.nContrast, picture.nLevelLow,
                     picture.nLevelHigh);
  if (picture.nFitHeight > 0) session.FitPictureHeight(picture.nFitHeight);
}

void NoteRowsLeftOut(const CAnalysisSession& session, const char* pszCommand) {
  const CAnalysisImage& image = session.Image();
  const std::size_t nRows = image.Rows().Count();
  if (image.FitHeight() > 0 || nRows <= static_cast<std::size_t>(image.Height())) return;
  std::fprintf(stderr, "vexlor-cli %s: showing the first %d of %zu rows; use --fit-height %d to fit the whole "
               "recording\n", pszCommand, image.Height(), nRows, image.Height());
}
