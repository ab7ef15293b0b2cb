#include "recording/OutputGuard.h"

#include <unistd.h>

#include <system_error>

#include "core/Paths.h"
#include "recording/DescriptionFile.h"

namespace fs = std::filesystem;

std::vector<fs::path> RecordingFiles(const CRecordingDescription& desc) {
  std::vector<fs::path> files;
  for (const std::string& strFile : desc.m_astrFileNames) {
    files.emplace_back(strFile);
    const fs::path side = CDescriptionFile::SidePath(strFile);
    if (!side.empty()) files.push_back(side);
  }
  return files;
}

bool CheckOutputIsNotInput(const fs::path& output, const std::vector<fs::path>& inputs, std::string& strError) {
  for (const fs::path& input : inputs) {
    if (IsSameFile(output, input)) {
      strError = output.string() + ": is a file of the recording being read (" + input.filename().string() +
                 "); choose another output";
      return false;
    }
  }
  return true;
}

bool CheckOutputFolder(const fs::path& output, std::string& strError) {
  std::error_code ec;
  if (fs::is_directory(output, ec)) {
    strError = output.string() + ": is a folder; give a file name";
    return false;
  }
  const fs::path folder = output.has_parent_path() ? output.parent_path() : fs::path(".");
  if (!fs::exists(folder, ec)) {
    strError = output.string() + ": the folder " + folder.string() + " does not exist";
    return false;
  }
  if (!fs::is_directory(folder, ec)) {
    strError = output.string() + ": " + folder.string() + " is not a folder";
    return false;
  }
  if (::access(folder.c_str(), W_OK | X_OK) != 0) {
    strError = output.string() + ": the folder " + folder.string() + " is not writable";
    return false;
  }
  return true;
}

bool CheckOutputForRecording(const fs::path& output, const CRecordingDescription& desc, std::string& strError) {
  return CheckOutputIsNotInput(output, RecordingFiles(desc), strError) && CheckOutputFolder(output, strError);
}
