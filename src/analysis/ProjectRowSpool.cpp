#include "analysis/ProjectRowSpool.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "analysis/Base64.h"
#include "analysis/ProjectFile.h"
#include "core/Log.h"

namespace {

constexpr std::size_t kBufferBytes = 4u << 20;

bool WriteAll(int fd, const char* p, std::size_t n) {
  while (n > 0) {
    const ssize_t w = ::write(fd, p, n);
    if (w < 0 && errno == EINTR) continue;
    if (w <= 0) return false;
    p += w;
    n -= static_cast<std::size_t>(w);
  }
  return true;
}

}  // namespace

CProjectRowSpool::~CProjectRowSpool() { Close(); }

void CProjectRowSpool::Close() {
  if (m_fd >= 0) ::close(m_fd);
  m_fd = -1;
}

bool CProjectRowSpool::Open(const std::filesystem::path& project) {
  Close();
  m_folder = project.parent_path().empty() ? std::filesystem::path(".") : project.parent_path();
  m_fd = ::open(m_folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (m_fd < 0) {
    // A file system without unnamed files: a named one, unlinked at once.
    std::string strName = (m_folder / ".vexlor-rows-XXXXXX").string();
    m_fd = ::mkostemp(strName.data(), O_CLOEXEC);
    if (m_fd >= 0) ::unlink(strName.c_str());
  }
  if (m_fd < 0) {
    m_strError = StrFormat("cannot spool the project's rows in \"%s\": %s", m_folder.c_str(), std::strerror(errno));
    return false;
  }
  m_strBuffer.reserve(kBufferBytes + (1u << 20));
  Clear();
  return true;
}

void CProjectRowSpool::Clear() {
  m_strBuffer.clear();
  m_nWritten = 0;
  m_nRows = 0;
  m_bFailed = m_fd < 0;
  if (m_fd >= 0 && ::ftruncate(m_fd, 0) != 0) m_bFailed = true;
  if (m_fd >= 0) ::lseek(m_fd, 0, SEEK_SET);
}

void CProjectRowSpool::Add(const float* pValues, std::size_t nValues, std::uint32_t nTime, std::uint32_t nFlag) {
  if (m_bFailed) return;
  CBase64::Encode(pValues, nValues * sizeof(float), m_strBase64);
  CProjectFile::AppendEntry(m_strBuffer, nFlag, static_cast<std::uint32_t>(nValues), nTime, m_strBase64);
  ++m_nRows;
  if (m_strBuffer.size() >= kBufferBytes) FlushBuffer();
}

bool CProjectRowSpool::FlushBuffer() {
  if (m_bFailed) return false;
  if (!WriteAll(m_fd, m_strBuffer.data(), m_strBuffer.size())) {
    m_strError = StrFormat("cannot spool the project's rows in \"%s\": %s", m_folder.c_str(), std::strerror(errno));
    LogLine(m_strError);
    m_bFailed = true;
    return false;
  }
  m_nWritten += m_strBuffer.size();
  m_strBuffer.clear();
  return true;
}

bool CProjectRowSpool::CopyTo(int fdOut) {
  if (!FlushBuffer()) return false;
  // Inside the file system when it can (no copy through this process), else by reading.
  loff_t nOffset = 0;
  while (static_cast<std::uint64_t>(nOffset) < m_nWritten) {
    const ssize_t n = ::copy_file_range(m_fd, &nOffset, fdOut, nullptr, m_nWritten - static_cast<std::uint64_t>(nOffset), 0);
    if (n > 0) continue;
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && errno != EXDEV && errno != ENOSYS && errno != EINVAL && errno != EOPNOTSUPP) return false;
    std::vector<char> chunk(kBufferBytes);
    while (static_cast<std::uint64_t>(nOffset) < m_nWritten) {
      const ssize_t r = ::pread(m_fd, chunk.data(), chunk.size(), nOffset);
      if (r < 0 && errno == EINTR) continue;
      if (r <= 0) return false;
      if (!WriteAll(fdOut, chunk.data(), static_cast<std::size_t>(r))) return false;
      nOffset += r;
    }
  }
  return true;
}
