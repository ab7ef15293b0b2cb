#include "core/Paths.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

bool WriteFileAtomically(const fs::path& path, const void* data, std::size_t size) {
  std::string name = ".";
  name += path.filename().string();
  name += ".XXXXXX";
  std::string tmpl = (path.parent_path() / name).string();
  int fd = mkstemp(tmpl.data());
  if (fd < 0) return false;
  const char* p = static_cast<const char*>(data);
  std::size_t left = size;
  bool ok = true;
  while (left > 0) {
    ssize_t n = ::write(fd, p, left);
    if (n < 0) {
      if (errno == EINTR) continue;
      ok = false;
      break;
    }
    p += n;
    left -= static_cast<std::size_t>(n);
  }
  ok = ok && ::fsync(fd) == 0;
  // mkstemp creates 0600; settings and projects are ordinary user files.
  ok = ok && ::fchmod(fd, 0644) == 0;
  ok = (::close(fd) == 0) && ok;
  if (ok) ok = ::rename(tmpl.c_str(), path.c_str()) == 0;
  if (!ok) ::unlink(tmpl.c_str());
  return ok;
}

bool IsSameFile(const std::filesystem::path& a, const std::filesystem::path& b) {
  std::error_code ec;
  if (std::filesystem::equivalent(a, b, ec)) return true;
  std::error_code ecA, ecB;
  const std::filesystem::path ca = std::filesystem::weakly_canonical(a, ecA);
  const std::filesystem::path cb = std::filesystem::weakly_canonical(b, ecB);
  return !ecA && !ecB && ca == cb;
}
