#pragma once
// CProjectRowSpool: a project's "Entry" lines written while the analysis runs.
//
// A run that is to end in a project (the command-line tool knows the path before it
// starts) encodes each row as it arrives and appends its line to an unnamed temporary file
// in the project's folder. Saving then writes the document's head, copies the spooled lines
// inside the file system and writes the closing tags, instead of encoding every row after
// the run. The lines are the very text CProjectFile::Save would write; a killed process
// leaves nothing behind.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

class CProjectRowSpool {
 public:
  CProjectRowSpool() = default;
  ~CProjectRowSpool();
  CProjectRowSpool(const CProjectRowSpool&) = delete;
  CProjectRowSpool& operator=(const CProjectRowSpool&) = delete;

  // Starts an empty spool for a project to be written at project. False (ErrorText says
  // why) when its folder cannot take a temporary file; the save then encodes the rows.
  bool Open(const std::filesystem::path& project);
  bool IsOpen() const { return m_fd >= 0; }
  // Forgets the lines spooled so far (a new run).
  void Clear();

  // Appends the line of the next row.
  void Add(const float* pValues, std::size_t nValues, std::uint32_t nTime, std::uint32_t nFlag);
  // Rows spooled; a spool that failed to write holds none.
  std::size_t Rows() const { return m_bFailed ? 0 : m_nRows; }
  const std::filesystem::path& Folder() const { return m_folder; }

  // Appends every spooled line to the file open as fdOut, at its position. False when a
  // write failed (errno set).
  bool CopyTo(int fdOut);

  const std::string& ErrorText() const { return m_strError; }

 private:
  bool FlushBuffer();
  void Close();

  std::filesystem::path m_folder;
  int m_fd = -1;
  std::string m_strBuffer;     // lines not yet written
  std::string m_strBase64;     // one row's Base64, reused
  std::uint64_t m_nWritten = 0;
  std::size_t m_nRows = 0;
  bool m_bFailed = false;
  std::string m_strError;
};
