#include "core/AtomicFile.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <system_error>

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kTag = ".vexlor-";

std::string ErrnoText(int nErrno) {
  char buffer[256] = {};
  // The GNU strerror_r may return a static text instead of filling the buffer.
  const char* psz = strerror_r(nErrno, buffer, sizeof buffer);
  return psz && *psz ? psz : "Unknown error " + std::to_string(nErrno);
}

fs::path FolderOf(const fs::path& target) {
  const fs::path folder = target.parent_path();
  return folder.empty() ? fs::path(".") : folder;
}

// The pid in ".<name>.vexlor-<pid>-XXXXXX", 0 when the name is not of this scheme.
pid_t PidOfTemporary(const std::string& strName) {
  if (strName.empty() || strName[0] != '.') return 0;
  const std::size_t nTag = strName.rfind(kTag);
  if (nTag == std::string::npos) return 0;
  const char* p = strName.c_str() + nTag + kTag.size();
  char* pEnd = nullptr;
  const long nPid = std::strtol(p, &pEnd, 10);
  if (pEnd == p || *pEnd != '-' || std::strlen(pEnd) != 7 || nPid <= 0) return 0;
  return static_cast<pid_t>(nPid);
}

}  // namespace

CAtomicFile::~CAtomicFile() { Discard(); }

bool CAtomicFile::Fail(const char* pszWhat, int nErrno) {
  m_nErrno = nErrno;
  m_strError = std::string(pszWhat) + " \"" + m_target.string() + "\": " + ErrnoText(nErrno);
  return false;
}

std::string CAtomicFile::TemporaryName() const {
  return "." + m_target.filename().string() + std::string(kTag) + std::to_string(::getpid()) + "-XXXXXX";
}

void CAtomicFile::RemoveStaleTemporaries(const fs::path& folder) {
  std::error_code ec;
  for (fs::directory_iterator it(folder, ec); !ec && it != fs::directory_iterator(); it.increment(ec)) {
    const pid_t pid = PidOfTemporary(it->path().filename().string());
    if (pid == 0 || pid == ::getpid()) continue;
    if (::kill(pid, 0) != 0 && errno == ESRCH) {
      std::error_code ecRemove;
      fs::remove(it->path(), ecRemove);
    }
  }
}

bool CAtomicFile::Open(const fs::path& target) {
  Discard();
  m_target = target;
  m_nErrno = 0;
  m_strError.clear();
  const fs::path folder = FolderOf(target);
  m_fd = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0666);
  if (m_fd >= 0) return true;
  const int nErrno = errno;
  // Only a file system without unnamed files falls back to a named one; a missing or
  // read-only folder fails here with its own reason.
  if (nErrno != EOPNOTSUPP && nErrno != EISDIR && nErrno != EINVAL) return Fail("cannot write", nErrno);
  RemoveStaleTemporaries(folder);
  std::string strTemplate = (folder / TemporaryName()).string();
  m_fd = ::mkostemp(strTemplate.data(), O_CLOEXEC);
  if (m_fd < 0) return Fail("cannot write", errno);
  m_namedTemporary = strTemplate;
  // mkostemp creates 0600; the file becomes an ordinary user file.
  ::fchmod(m_fd, 0644);
  return true;
}

bool CAtomicFile::Write(const void* pData, std::size_t nBytes) {
  if (m_fd < 0) return Fail("cannot write", EBADF);
  const char* p = static_cast<const char*>(pData);
  while (nBytes > 0) {
    const ssize_t n = ::write(m_fd, p, nBytes);
    if (n < 0) {
      if (errno == EINTR) continue;
      return Fail("cannot write", errno);
    }
    if (n == 0) return Fail("cannot write", ENOSPC);
    p += n;
    nBytes -= static_cast<std::size_t>(n);
  }
  return true;
}

bool CAtomicFile::Commit() {
  if (m_fd < 0) return Fail("cannot write", EBADF);
  const auto failAndDiscard = [this](const char* pszWhat, int nErrno) {
    Fail(pszWhat, nErrno);
    const std::string strError = m_strError;
    Discard();
    m_strError = strError;
    m_nErrno = nErrno;
    return false;
  };
  struct stat st {};
  if (::stat(m_target.c_str(), &st) == 0 && S_ISREG(st.st_mode)) ::fchmod(m_fd, st.st_mode & 07777);
  if (::fsync(m_fd) != 0) return failAndDiscard("cannot write", errno);

  if (m_namedTemporary.empty()) {
    // The unnamed file gets a name beside the target, then takes the target's place: a
    // kill between the two steps leaves a named temporary that the next write removes.
    std::string strTemplate = (FolderOf(m_target) / TemporaryName()).string();
    const int nProbe = ::mkstemp(strTemplate.data());
    if (nProbe < 0) return failAndDiscard("cannot write", errno);
    ::close(nProbe);
    ::unlink(strTemplate.c_str());
    const std::string strProc = "/proc/self/fd/" + std::to_string(m_fd);
    if (::linkat(AT_FDCWD, strProc.c_str(), AT_FDCWD, strTemplate.c_str(), AT_SYMLINK_FOLLOW) != 0 &&
        ::linkat(m_fd, "", AT_FDCWD, strTemplate.c_str(), AT_EMPTY_PATH) != 0)
      return failAndDiscard("cannot write", errno);
    m_namedTemporary = strTemplate;
  }
  if (::rename(m_namedTemporary.c_str(), m_target.c_str()) != 0) return failAndDiscard("cannot replace", errno);
  m_namedTemporary.clear();
  const int nFd = m_fd;
  m_fd = -1;
  if (::close(nFd) != 0) return Fail("cannot write", errno);
  return true;
}

void CAtomicFile::Discard() {
  if (m_fd >= 0) ::close(m_fd);
  m_fd = -1;
  if (!m_namedTemporary.empty()) ::unlink(m_namedTemporary.c_str());
  m_namedTemporary.clear();
}

bool WriteFileAtomically(const fs::path& path, const void* data, std::size_t size, std::string* pstrError) {
  CAtomicFile file;
  const bool bOk = file.Open(path) && file.Write(data, size) && file.Commit();
  if (!bOk) {
    if (pstrError) *pstrError = file.ErrorText();
    errno = file.ErrorNumber();
  }
  return bOk;
}
