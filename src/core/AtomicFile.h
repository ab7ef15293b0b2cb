#pragma once
// CAtomicFile: every file the program writes goes through here, so that a reader never sees
// a half-written file and a killed process, a full disk or a write error never costs the
// previous file.
//
// The data is written to an unnamed temporary file in the target's folder (O_TMPFILE); a
// process killed while writing leaves nothing behind, because the file has no name until
// Commit() links it in under a temporary name and renames that over the target. On file
// systems without O_TMPFILE a named temporary file ".<name>.vexlor-<pid>-XXXXXX" is used;
// such files left by a process that no longer runs are removed by the next write into the
// same folder. Failures name the file and the system's reason (strerror).

#include <cstddef>
#include <filesystem>
#include <string>

class CAtomicFile {
 public:
  CAtomicFile() = default;
  // Discards whatever was not committed.
  ~CAtomicFile();
  CAtomicFile(const CAtomicFile&) = delete;
  CAtomicFile& operator=(const CAtomicFile&) = delete;

  // Starts a new file that will replace target on Commit(). False (ErrorText() says why)
  // when the folder cannot take a file.
  bool Open(const std::filesystem::path& target);
  // The descriptor of the temporary file, open for reading and writing (-1 when not open).
  // The caller may write, seek and read through it but must not close it.
  int Descriptor() const { return m_fd; }
  bool IsOpen() const { return m_fd >= 0; }

  // Appends at the descriptor's position; false on a short write.
  bool Write(const void* pData, std::size_t nBytes);
  // Flushes the data to the disk and puts the file in place of the target (keeping the
  // target's permissions when it existed). False when anything failed; the target is then
  // as it was and the temporary file is gone.
  bool Commit();
  // Drops the temporary file; the target is untouched.
  void Discard();

  const std::filesystem::path& Target() const { return m_target; }
  // "cannot write \"/x/y.png\": No space left on device"; empty when nothing failed.
  const std::string& ErrorText() const { return m_strError; }
  // The errno of the last failure (0 when none).
  int ErrorNumber() const { return m_nErrno; }

  // Removes named temporary files of this scheme in folder whose process no longer runs.
  static void RemoveStaleTemporaries(const std::filesystem::path& folder);

 private:
  bool Fail(const char* pszWhat, int nErrno);
  std::string TemporaryName() const;

  std::filesystem::path m_target;
  std::filesystem::path m_namedTemporary;  // empty with O_TMPFILE
  int m_fd = -1;
  int m_nErrno = 0;
  std::string m_strError;
};

// Writes size bytes to path through CAtomicFile. On failure the previous file is untouched,
// false is returned and *pstrError (when given) names the file and the cause.
bool WriteFileAtomically(const std::filesystem::path& path, const void* data, std::size_t size,
                         std::string* pstrError = nullptr);
