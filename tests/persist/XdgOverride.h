#pragma once
// Points one XDG folder variable at a fresh temporary folder for the life of the object, so
// that tests of the default locations stay out of the real home folder even when the test
// executable is run by hand rather than through CTest.

#include <cstdlib>
#include <optional>
#include <string>

#include "support/TestEnvironment.h"

class CXdgOverride {
 public:
  explicit CXdgOverride(const char* pszVariable) : m_strVariable(pszVariable) {
    if (const char* pszOld = std::getenv(pszVariable)) m_strOld = pszOld;
    setenv(pszVariable, m_folder.Path().c_str(), 1);
  }
  ~CXdgOverride() {
    if (m_strOld) {
      setenv(m_strVariable.c_str(), m_strOld->c_str(), 1);
    } else {
      unsetenv(m_strVariable.c_str());
    }
  }
  CXdgOverride(const CXdgOverride&) = delete;
  CXdgOverride& operator=(const CXdgOverride&) = delete;

  const std::filesystem::path& Path() const { return m_folder.Path(); }

 private:
  CTempFolder m_folder;
  std::string m_strVariable;
  std::optional<std::string> m_strOld;
};
