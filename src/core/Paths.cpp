#include "core/Paths.h"

#include "core/EngineFaults.h"

#include <cstdlib>
#include <string>
#include <system_error>

namespace fs = std::filesystem;

namespace {

fs::path HomeFolder() {
  if (const char* home = std::getenv("HOME"); home && *home) return home;
  return fs::temp_directory_path();
}

fs::path XdgFolder(const char* variable, const char* fallbackUnderHome) {
  if (const char* v = std::getenv(variable); v && *v) return v;
  return HomeFolder() / fallbackUnderHome;
}

fs::path Ensure(const fs::path& p) {
  std::error_code ec;
  fs::create_directories(p, ec);
  if (ec) ReportEngineFaultOnce(EEngineFault::FileWrite, "cannot make the folder \"" + p.string() + "\": " + ec.message());
  return p;
}

}  // namespace

fs::path SettingsFolder() {
  return Ensure(XdgFolder("XDG_CONFIG_HOME", ".config") / kCompanyKey / kProgramName);
}

fs::path DataFolder() {
  return Ensure(XdgFolder("XDG_DATA_HOME", ".local/share") / kCompanyKey / kProgramName);
}

fs::path PicturesFolder() { return Ensure(XdgFolder("XDG_PICTURES_DIR", "Pictures")); }
