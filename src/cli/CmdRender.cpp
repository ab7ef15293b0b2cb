// vexlor-cli render P.xml --image I.png [--palette 0..4|NAME] [--scale auto|LO,HI] [--contrast S]
//                  [--fit-height H]
//
// Redraws a saved project without the recording: the rows kept in the project are coloured
// again with the chosen palette and scaling.

#include <cstdio>
#include <string>

#include "analysis/AnalysisSession.h"
#include "analysis/Palettes.h"
#include "cli/CliOptions.h"
#include "cli/Commands.h"
#include "recording/OutputGuard.h"
#include "cli/PictureOptions.h"
#include "cli/ProjectInput.h"
#include "persist/MySettingsStore.h"
#include "render/PictureRenderer.h"

int RunRender(const CliArgs& args) {
  CCliOptions cli("render", {"image", "palette", "scale", "contrast", "fit-height"}, {});
  if (!cli.Parse(args)) {
    PrintCommandUsage("render", stderr);
    return kExitUsage;
  }
  if (cli.Positional().size() != 1 || !cli.Has("image")) {
    cli.Error("needs P.xml and --image");
    PrintCommandUsage("render", stderr);
    return kExitUsage;
  }
  SPictureOptions picture;
  if (!ParsePictureOptions(cli, picture)) return kExitUsage;
  const std::string imagePath = cli.Value("image").value_or("");
  std::string strError;
  if (!CPictureRenderer::FormatSupported(imagePath, strError)) {
    cli.Error(strError);
    return kExitUsage;
  }
  if (!CheckOutputIsNotInput(imagePath, {cli.Positional()[0]}, strError) || !CheckOutputFolder(imagePath, strError)) {
    cli.Error(strError);
    return kExitFailed;
  }

  CMySettingsStore settings;
  CAnalysisSession session(settings);
  if (!LoadProjectPicture(cli, cli.Positional()[0], session)) return 1;
  ApplyPictureOptions(picture, session);
  NoteRowsLeftOut(session, "render");
  const CAnalysisImage& image = session.Image();
  if (!CPictureRenderer::Save(session, imagePath, strError)) {
    cli.Error(strError);
    return 1;
  }
  std::printf("%s: %d x %d pixels from %zu rows, palette \"%s\"\n", imagePath.c_str(), image.Width(),
              image.Height(), image.Rows().Count(), CPalettes::Name(image.Palette()));
  return 0;
}
