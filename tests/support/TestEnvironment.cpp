#include "support/TestEnvironment.h"

#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <system_error>

CTempFolder::CTempFolder() {
  std::random_device rd;
  for (;;) {
    std::ostringstream name;
    name << "vexlor-test-" << std::hex << rd() << rd();
    m_path = std::filesystem::temp_directory_path() / name.str();
    std::error_code ec;
    if (std::filesystem::create_directory(m_path, ec)) break;
  }
}

CTempFolder::~CTempFolder() {
  std::error_code ec;
  std::filesystem::remove_all(m_path, ec);
}

std::filesystem::path TestDataDir() {
  // A work tree outside the usual layout names the folder in the environment.
  if (const char* pszDir = std::getenv("VEXLOR_TESTDATA_DIR")) {
    std::error_code ec;
    if (std::filesystem::is_directory(pszDir, ec)) return std::filesystem::canonical(pszDir, ec);
  }
#ifdef VEXLOR_TESTDATA_DIR
  std::filesystem::path p = VEXLOR_TESTDATA_DIR;
  std::error_code ec;
  if (std::filesystem::is_directory(p, ec)) return std::filesystem::canonical(p, ec);
#endif
  return {};
}

void WriteBytes(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream f(path, std::ios::binary | std::ios::trunc);
  f.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string ReadBytes(const std::filesystem::path& path) {
  std::ifstream f(path, std::ios::binary);
  std::ostringstream s;
  s << f.rdbuf();
  return s.str();
}
