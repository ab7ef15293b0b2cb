#include "analysis/ProjectRowSpool.h"

#include <fcntl.h>
#include <linux/falloc.h>
#include <sys/stat.h>
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
  m_file.Discard();
  m_fd = -1;
}

bool CProjectRowSpool::Open(const std::filesystem::path& project) {
  Close();
  if (!m_file.Open(project)) {
    m_strError = "cannot spool the project's rows: " + m_file.ErrorText();
    return false;
  }
  m_fd = m_file.Descriptor();
  m_strBuffer.reserve(kBufferBytes + (1u << 20));
  Clear();
  return true;
}

void CProjectRowSpool::Clear() {
  m_strBuffer.clear();
  m_nWritten = 0;
  m_nRows = 0;
  // A spool spent on a saved project starts a new file for the same project.
  if (m_fd < 0 && !m_file.Target().empty() && m_file.Open(m_file.Target())) m_fd = m_file.Descriptor();
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
    m_strError = StrFormat("cannot spool the rows of \"%s\": %s", m_file.Target().c_str(), std::strerror(errno));
    LogLine(m_strError);
    m_bFailed = true;
    return false;
  }
  // The lines go to disk while the run goes on, so that saving waits for little.
  ::sync_file_range(m_fd, static_cast<off_t>(m_nWritten), static_cast<off_t>(m_strBuffer.size()),
                    SYNC_FILE_RANGE_WRITE);
  m_nWritten += m_strBuffer.size();
  m_strBuffer.clear();
  return true;
}

bool CProjectRowSpool::FinishInPlace(std::string_view head, std::string_view tail, bool& bUnsupported,
                                     std::string& strError) {
  bUnsupported = false;
  if (!FlushBuffer() || m_nWritten == 0) {
    bUnsupported = true;
    return false;
  }
  struct stat st {};
  const std::uint64_t nBlock = ::fstat(m_fd, &st) == 0 && st.st_blksize > 0 ? static_cast<std::uint64_t>(st.st_blksize) : 4096;
  const std::uint64_t nGap = (head.size() + nBlock - 1) / nBlock * nBlock;
  if (::fallocate(m_fd, FALLOC_FL_INSERT_RANGE, 0, static_cast<off_t>(nGap)) != 0) {
    bUnsupported = true;
    return false;
  }
  // Blanks between the "Data" element's start tag and its first row are no content.
  std::string strHead(head);
  if (nGap > strHead.size()) {
    strHead.append(nGap - strHead.size() - 1, ' ');
    strHead.push_back('\n');
  }
  const auto fail = [&] {
    strError = StrFormat("cannot write \"%s\": %s", m_file.Target().c_str(), std::strerror(errno));
    Close();
    m_bFailed = true;
    return false;
  };
  if (::pwrite(m_fd, strHead.data(), strHead.size(), 0) != static_cast<ssize_t>(strHead.size())) return fail();
  if (::lseek(m_fd, 0, SEEK_END) < 0 || !WriteAll(m_fd, tail.data(), tail.size())) return fail();
  const bool bCommitted = m_file.Commit();
  if (!bCommitted) strError = m_file.ErrorText();
  m_fd = -1;
  m_bFailed = true;  // spent
  m_nRows = 0;
  return bCommitted;
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
