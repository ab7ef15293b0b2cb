#include "cli/ProjectInput.h"

#include "analysis/AnalysisSession.h"
#include "cli/CliOptions.h"

bool LoadProjectPicture(const CCliOptions& cli, const std::string& path, CAnalysisSession& session) {
  std::string strMessage;
  if (!session.LoadProject(path, strMessage)) {
    cli.Error(strMessage);
    return false;
  }
  if (!strMessage.empty()) cli.Error(path + ": " + strMessage);
  if (session.Image().Rows().Empty()) {
    cli.Error(path + ": the project holds no picture rows");
    return false;
  }
  return true;
}
