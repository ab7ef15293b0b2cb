#pragma once
// A private folder under /tmp for fuzz targets that must work on real files, removed when
// the fuzzer exits.

#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

inline std::filesystem::path MakeFuzzFolder(const char* pszPrefix) {
  static std::filesystem::path folder;
  std::string strTemplate = std::string("/tmp/") + pszPrefix + "-XXXXXX";
  if (!::mkdtemp(strTemplate.data())) std::abort();
  folder = strTemplate;
  std::atexit([] {
    std::error_code ec;
    std::filesystem::remove_all(folder, ec);
  });
  return folder;
}
