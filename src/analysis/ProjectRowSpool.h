#pragma once
// CProjectRowSpool: a project's "Entry" lines written while the analysis runs.
//
// A run that is to end in a project (the command-line tool knows the path before it
// starts) encodes each row as it arrives and appends its line to the project's own atomic
// temporary file (an unnamed file in its folder), whose writing to disk starts as the run
// goes on. Saving then opens a gap at the file's start for the document's head (a range
// inserted in whole file-system blocks, the rest of the last block blank), appends the
// closing tags and puts the file in place: no row is encoded or copied after the run.
// Where the file system cannot insert a range, the lines are copied into a new file after
// the head. The lines are the very text CProjectFile::Save would write; a killed process
// leaves nothing behind.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "core/AtomicFile.h"

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

  // Appends every spooled line to the file open as fdOut, at its position. False when a
  // write failed (errno set).
  bool CopyTo(int fdOut);
  // Makes the spool the project: head in front of the lines (blank-padded to a whole
  // block), tail after them, then the file is put in place of the project. Fails with
  // bUnsupported set, the spool untouched, when the file system cannot insert the head;
  // otherwise false means the save failed (strError says why). Either way the spool is
  // spent on success.
  bool FinishInPlace(std::string_view head, std::string_view tail, bool& bUnsupported, std::string& strError);
  const std::filesystem::path& Target() const { return m_file.Target(); }

  const std::string& ErrorText() const { return m_strError; }

 private:
  bool FlushBuffer();
  void Close();

  CAtomicFile m_file;
  int m_fd = -1;  // m_file's
  std::string m_strBuffer;     // lines not yet written
  std::string m_strBase64;     // one row's Base64, reused
  std::uint64_t m_nWritten = 0;
  std::size_t m_nRows = 0;
  bool m_bFailed = false;
  std::string m_strError;
};
