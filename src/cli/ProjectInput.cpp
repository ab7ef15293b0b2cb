#include "cli/ProjectInput.h"

#include "analysis/AnalysisImage.h"
#include "analysis/ProjectFile.h"
#include "cli/CliOptions.h"

bool LoadProjectPicture(const CCliOptions& cli, const std::string& path, SLoadedProject& project) {
  int nStatedWidth = 0;
  int nStatedHeight = 0;
  std::string strTags;
  std::string strMessage;
  if (!CProjectFile::Load(project.options, path, project.rows, nStatedWidth, nStatedHeight, strTags, nullptr,
                          strMessage)) {
    cli.Error(strMessage);
    return false;
  }
  if (!strMessage.empty()) cli.Error(path + ": " + strMessage);
  if (project.rows.Empty()) {
    cli.Error(path + ": the project holds no picture rows");
    return false;
  }
  CAnalysisImage::FitToRows(project.rows, nStatedWidth, nStatedHeight, project.nWidth, project.nHeight);
  return true;
}
