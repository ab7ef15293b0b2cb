// vexlor-cli render P.xml --image I.png [--palette 0..4|NAME] [--scale auto|LO,HI] [--contrast S]
//
// Redraws a saved project without the recording: the rows kept in the project are coloured
// again with the chosen palette and scaling.

#include <cstdio>
#include <cstdlib>
#include <string>

#include "analysis/AnalysisImage.h"
#include "analysis/AnalysisOptions.h"
#include "analysis/Palettes.h"
#include "analysis/ProjectFile.h"
#include "cli/CliOptions.h"
#include "cli/Commands.h"
#include "cli/ImageWriter.h"

int RunRender(const CliArgs& args) {
  CCliOptions cli("render", {"image", "palette", "scale", "contrast"}, {});
  if (!cli.Parse(args)) return 2;
  if (cli.Positional().size() != 1 || !cli.Has("image")) {
    cli.Error("usage: vexlor-cli render P.xml --image I.png [--palette 0..4|NAME] [--scale auto|LO,HI] "
              "[--contrast 0..100]");
    return 2;
  }
  SPictureOptions picture;
  if (!ParsePictureOptions(cli, picture)) return 2;
  const std::string imagePath = *cli.Value("image");
  std::string strError;
  if (!ImageFormatSupported(imagePath, strError)) {
    cli.Error(strError);
    return 1;
  }

  const std::string projectPath = cli.Positional()[0];
  CAnalysisOptions options;
  CImageRows rows;
  int nStatedWidth = 0;
  int nStatedHeight = 0;
  std::string strTags;
  std::string strMessage;
  if (!CProjectFile::Load(options, projectPath, rows, nStatedWidth, nStatedHeight, strTags, nullptr, strMessage)) {
    cli.Error(strMessage);
    return 1;
  }
  if (!strMessage.empty()) cli.Error(projectPath + ": " + strMessage);
  if (rows.Empty()) {
    cli.Error(projectPath + ": the project holds no picture rows");
    return 1;
  }

  int nWidth = 0;
  int nHeight = 0;
  CAnalysisImage::FitToRows(rows, nStatedWidth, nStatedHeight, nWidth, nHeight);
  CAnalysisImage image;
  image.Reset(options, nWidth, nHeight);
  ApplyPictureOptions(picture, image);
  const std::size_t nRows = rows.Count();
  image.SetRows(std::move(rows));

  if (!SaveArgbImage(image.Pixels(), image.Width(), image.Height(), image.Stride(), imagePath, strError)) {
    cli.Error(strError);
    return 1;
  }
  std::printf("%s: %d x %d pixels from %zu rows, palette \"%s\"\n", imagePath.c_str(), image.Width(),
              image.Height(), nRows, CPalettes::Name(image.Palette()));
  return 0;
}
