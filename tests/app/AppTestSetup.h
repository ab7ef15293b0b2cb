#pragma once
// The start every GUI test program shares: empty settings and data folders of its own, and
// the demonstration recording written into a temporary folder.

#include <QDir>
#include <QString>
#include <QTemporaryDir>

#include <filesystem>
#include <string>
#include <vector>

#include "recording/DemoRecording.h"

// Empties the folders XDG_CONFIG_HOME and XDG_DATA_HOME name, so that nothing an earlier
// run saved shapes this one. Both must lie in the test's own home in the build tree
// (".../home/<strTestName>/"), never the user's. Returns the variable that does not, or
// an empty string.
inline QString ClearTestFolders(const QString& strTestName) {
  for (const char* pszVariable : {"XDG_CONFIG_HOME", "XDG_DATA_HOME"}) {
    const QString strFolder = qEnvironmentVariable(pszVariable);
    if (!strFolder.contains("/home/" + strTestName + "/")) return pszVariable;
    QDir(strFolder).removeRecursively();
  }
  return {};
}

// Writes the demonstration recording into dir's "demo" folder; its first file, or an empty
// string with strError saying why.
inline QString WriteDemo(const QTemporaryDir& dir, std::string& strError) {
  std::vector<std::filesystem::path> written;
  if (!WriteDemoRecording(dir.filePath("demo").toStdString(), written, strError) || written.empty()) return {};
  return QString::fromStdString(written.front().string());
}
