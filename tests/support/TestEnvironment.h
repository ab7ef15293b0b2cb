#pragma once
// Helpers shared by the test suites.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

// A fresh folder under the system's temporary folder, removed with its contents on
// destruction.
class CTempFolder {
 public:
  CTempFolder();
  ~CTempFolder();
  CTempFolder(const CTempFolder&) = delete;
  CTempFolder& operator=(const CTempFolder&) = delete;

  const std::filesystem::path& Path() const { return m_path; }
  std::filesystem::path operator/(const std::string& name) const { return m_path / name; }

 private:
  std::filesystem::path m_path;
};

// The shared real recordings made by other programs (empty path when not present).
std::filesystem::path TestDataDir();

// Writes bytes to a file, creating or replacing it.
void WriteBytes(const std::filesystem::path& path, const std::string& bytes);
std::string ReadBytes(const std::filesystem::path& path);

// Runs body in a forked child and returns its exit code (body's result), or 128 + the
// signal that ended it. With nFileSizeLimit > 0 no file of the child may grow past that
// many bytes: writes beyond fail with EFBIG, as on a disk that is full.
int RunInChild(const std::function<int()>& body, std::uint64_t nFileSizeLimit = 0);

// The names of the entries of a folder, sorted.
std::vector<std::string> FolderNames(const std::filesystem::path& folder);

// A program run through the shell: its exit code (-1 when it did not exit normally) and
// its standard output and error together.
struct CRunResult {
  int nExitCode = -1;
  std::string strOutput;
};

// s in single quotes for the shell.
std::string ShellQuote(const std::string& s);

// Runs "program args" through the shell (args already quoted as needed); strPrefix goes in
// front of the program (an "env ..." for instance).
CRunResult RunProgram(const std::string& program, const std::string& args, const std::string& strPrefix = {});
