#include "recording/RiffFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "core/AtomicFile.h"
#include "core/Log.h"
#include "recording/LittleEndian.h"

namespace {

constexpr std::uint32_t kRiff = FourCC("RIFF");
constexpr std::uint32_t kList = FourCC("LIST");
constexpr std::size_t kIoBufferBytes = 64 * 1024;

std::uint32_t ErrnoToMmioError(int nErrno) {
  switch (nErrno) {
    case ENOENT:
      return MMIOERR_FILENOTFOUND;
    case ENOTDIR:
    case ENAMETOOLONG:
    case ELOOP:
      return MMIOERR_PATHNOTFOUND;
    case EACCES:
    case EPERM:
    case EROFS:
      return MMIOERR_ACCESSDENIED;
    case EBUSY:
    case ETXTBSY:
      return MMIOERR_SHARINGVIOLATION;
    case EMFILE:
    case ENFILE:
      return MMIOERR_TOOMANYOPENFILES;
    case ENOMEM:
      return MMIOERR_OUTOFMEMORY;
    default:
      return MMIOERR_CANNOTOPEN;
  }
}

}  // namespace

std::string MmioErrorText(std::uint32_t nCode) {
  switch (nCode) {
    case MMIOERR_FILENOTFOUND: return "File not found";
    case MMIOERR_OUTOFMEMORY: return "Out of memory";
    case MMIOERR_CANNOTOPEN: return "Cannot open";
    case MMIOERR_CANNOTCLOSE: return "Cannot close";
    case MMIOERR_CANNOTREAD: return "Cannot read";
    case MMIOERR_CANNOTWRITE: return "Cannot write";
    case MMIOERR_CANNOTSEEK: return "Cannot seek";
    case MMIOERR_CANNOTEXPAND: return "Cannot expand file";
    case MMIOERR_CHUNKNOTFOUND: return "Chunk not found";
    case MMIOERR_UNBUFFERED: return "Unbuffered";
    case MMIOERR_PATHNOTFOUND: return "Path incorrect";
    case MMIOERR_ACCESSDENIED: return "File was protected";
    case MMIOERR_SHARINGVIOLATION: return "File in use";
    case MMIOERR_NETWORKERROR: return "Network not responding";
    // The trailing blank is part of the text as the system has always shown it.
    case MMIOERR_TOOMANYOPENFILES: return "No more file handles ";
    case MMIOERR_INVALIDFILE: return "Default error file error";
    default: return StrFormat("Unknown error code %d", static_cast<int>(nCode));
  }
}

std::string FourCCText(std::uint32_t fcc) {
  std::string s(4, '?');
  for (int i = 0; i < 4; ++i) {
    const unsigned char c = static_cast<unsigned char>(fcc >> (8 * i));
    if (c >= 0x20 && c < 0x7F) s[static_cast<std::size_t>(i)] = static_cast<char>(c);
  }
  return s;
}

CRiffFile::CRiffFile() = default;

CRiffFile::~CRiffFile() { Close(); }

CRiffFile::CRiffFile(CRiffFile&& other) noexcept { *this = std::move(other); }

CRiffFile& CRiffFile::operator=(CRiffFile&& other) noexcept {
  if (this != &other) {
    Close();
    m_pFile = std::exchange(other.m_pFile, nullptr);
    m_pCreated = std::move(other.m_pCreated);
    m_bKeepPartial = other.m_bKeepPartial;
    m_strWriteError = other.m_strWriteError;
    m_pMemory = std::exchange(other.m_pMemory, nullptr);
    m_bWritable = other.m_bWritable;
    m_nPosition = other.m_nPosition;
    m_nSize = other.m_nSize;
    m_nLastError = other.m_nLastError;
    other.Reset();
  }
  return *this;
}

void CRiffFile::Reset() {
  m_pFile = nullptr;
  m_pMemory = nullptr;
  m_bWritable = false;
  m_nPosition = 0;
  m_nSize = 0;
}

std::uint32_t CRiffFile::Open(const std::filesystem::path& path, EMode eMode) {
  Close();
  m_nLastError = 0;
  m_strWriteError.clear();
  if (eMode == EMode::Create) {
    auto pCreated = std::make_unique<CAtomicFile>();
    if (!pCreated->Open(path)) {
      m_strWriteError = pCreated->ErrorText();
      return Fail(ErrnoToMmioError(pCreated->ErrorNumber()));
    }
    const int fd = ::dup(pCreated->Descriptor());
    std::FILE* f = fd >= 0 ? ::fdopen(fd, "w+b") : nullptr;
    if (!f) {
      const int nErrno = errno;
      if (fd >= 0) ::close(fd);
      return Fail(ErrnoToMmioError(nErrno));
    }
    m_pFile = f;
    m_pCreated = std::move(pCreated);
    m_bWritable = true;
    std::setvbuf(m_pFile, nullptr, _IOFBF, kIoBufferBytes);
    return 0;
  }
  // Opened without blocking and checked to be a regular file before any read: a FIFO or a
  // device named as a recording must not hang the caller or stream for ever.
  const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return Fail(ErrnoToMmioError(errno));
  struct stat st {};
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(fd);
    return Fail(MMIOERR_CANNOTOPEN);
  }
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
  std::FILE* f = ::fdopen(fd, "rb");
  if (!f) {
    const int nErrno = errno;
    ::close(fd);
    return Fail(ErrnoToMmioError(nErrno));
  }
  m_pFile = f;
  m_nSize = static_cast<std::uint64_t>(st.st_size);
  std::setvbuf(m_pFile, nullptr, _IOFBF, kIoBufferBytes);
  return 0;
}

std::uint32_t CRiffFile::OpenMemory(const void* pData, std::size_t nSize) {
  Close();
  m_nLastError = 0;
  static const unsigned char kEmpty = 0;
  m_pMemory = pData ? static_cast<const unsigned char*>(pData) : &kEmpty;
  m_nSize = pData ? nSize : 0;
  return 0;
}

void CRiffFile::NoteWriteError(int nErrno) {
  if (m_strWriteError.empty())
    m_strWriteError = StrFormat("cannot write \"%s\": %s", m_pCreated ? m_pCreated->Target().c_str() : "",
                                std::strerror(nErrno));
}

std::uint32_t CRiffFile::Close() {
  std::uint32_t nResult = 0;
  const bool bWriteFailed =
      m_pCreated && !m_bKeepPartial && (!m_strWriteError.empty() || m_nLastError == MMIOERR_CANNOTWRITE);
  if (m_pFile && std::fclose(m_pFile) != 0) {
    if (m_pCreated) NoteWriteError(errno);
    nResult = Fail(MMIOERR_CANNOTCLOSE);
  }
  if (m_pCreated) {
    if (bWriteFailed || nResult) {
      m_pCreated->Discard();
      nResult = Fail(MMIOERR_CANNOTWRITE);
    } else if (!m_pCreated->Commit()) {
      m_strWriteError = m_pCreated->ErrorText();
      nResult = Fail(MMIOERR_CANNOTWRITE);
    }
    m_pCreated.reset();
  }
  Reset();
  return nResult;
}

void CRiffFile::Abandon() {
  if (m_pCreated) m_pCreated->Discard();
  m_pCreated.reset();
  Close();
}

bool CRiffFile::SeekTo(std::uint64_t nPosition) {
  if (nPosition > static_cast<std::uint64_t>(INT64_MAX)) return false;
  if (m_pFile && ::fseeko(m_pFile, static_cast<off_t>(nPosition), SEEK_SET) != 0) {
    // Moving flushes what was buffered, so this is where a full disk shows.
    if (m_pCreated) NoteWriteError(errno);
    return false;
  }
  m_nPosition = nPosition;
  return true;
}

std::int64_t CRiffFile::Seek(std::int64_t nOffset, int nOrigin) {
  if (!IsOpen()) {
    Fail(MMIOERR_CANNOTSEEK);
    return -1;
  }
  std::int64_t nBase = 0;
  if (nOrigin == SEEK_CUR) nBase = static_cast<std::int64_t>(m_nPosition);
  else if (nOrigin == SEEK_END) nBase = static_cast<std::int64_t>(m_nSize);
  else if (nOrigin != SEEK_SET) {
    Fail(MMIOERR_CANNOTSEEK);
    return -1;
  }
  std::int64_t nTarget = 0;
  if (__builtin_add_overflow(nBase, nOffset, &nTarget) || nTarget < 0 ||
      !SeekTo(static_cast<std::uint64_t>(nTarget))) {
    Fail(MMIOERR_CANNOTSEEK);
    return -1;
  }
  return nTarget;
}

std::int64_t CRiffFile::Read(void* pBuffer, std::size_t nBytes) {
  if (!IsOpen()) {
    Fail(MMIOERR_CANNOTREAD);
    return -1;
  }
  if (m_pMemory) {
    const std::uint64_t nLeft = m_nPosition < m_nSize ? m_nSize - m_nPosition : 0;
    const std::size_t n = nBytes < nLeft ? nBytes : static_cast<std::size_t>(nLeft);
    if (n) std::memcpy(pBuffer, m_pMemory + m_nPosition, n);
    m_nPosition += n;
    return static_cast<std::int64_t>(n);
  }
  // A stream that was written to must be repositioned before it is read.
  if (m_bWritable && !SeekTo(m_nPosition)) {
    Fail(MMIOERR_CANNOTREAD);
    return -1;
  }
  const std::size_t n = std::fread(pBuffer, 1, nBytes, m_pFile);
  m_nPosition += n;
  if (n < nBytes && std::ferror(m_pFile)) {
    std::clearerr(m_pFile);
    if (n == 0) {
      Fail(MMIOERR_CANNOTREAD);
      return -1;
    }
  }
  return static_cast<std::int64_t>(n);
}

bool CRiffFile::ReadExact(void* pBuffer, std::size_t nBytes) {
  return Read(pBuffer, nBytes) == static_cast<std::int64_t>(nBytes);
}

std::int64_t CRiffFile::Write(const void* pBuffer, std::size_t nBytes) {
  if (!m_pFile || !m_bWritable) {
    Fail(MMIOERR_CANNOTWRITE);
    return -1;
  }
  const std::size_t n = std::fwrite(pBuffer, 1, nBytes, m_pFile);
  m_nPosition += n;
  if (m_nPosition > m_nSize) m_nSize = m_nPosition;
  if (n < nBytes) {
    NoteWriteError(errno);
    Fail(MMIOERR_CANNOTWRITE);
    return -1;
  }
  return static_cast<std::int64_t>(n);
}

std::uint32_t CRiffFile::Descend(MMCKINFO& ck, const MMCKINFO* pParent, std::uint32_t nFlags) {
  if (!IsOpen()) return Fail(MMIOERR_CANNOTREAD);
  // The search never leaves the parent's data nor the file, whatever the sizes claim.
  std::uint64_t nEnd = m_nSize;
  if (pParent) {
    const std::uint64_t nParentEnd = pParent->dwDataOffset + pParent->cksize;
    if (nParentEnd < nEnd) nEnd = nParentEnd;
  }
  const std::uint32_t nWantedId = ck.ckid;
  const std::uint32_t nWantedType = ck.fccType;
  std::uint64_t nPos = m_nPosition;
  for (;;) {
    if (nPos + 8 > nEnd || !SeekTo(nPos)) return Fail(MMIOERR_CHUNKNOTFOUND);
    unsigned char header[12];
    if (!ReadExact(header, 8)) return Fail(MMIOERR_CHUNKNOTFOUND);
    MMCKINFO found;
    found.ckid = GetLE32(header);
    found.cksize = GetLE32(header + 4);
    found.dwDataOffset = nPos + 8;
    const bool bHasType = found.ckid == kRiff || found.ckid == kList;
    if (bHasType) {
      if (nPos + 12 > nEnd || !ReadExact(header + 8, 4)) return Fail(MMIOERR_CHUNKNOTFOUND);
      found.fccType = GetLE32(header + 8);
    }
    bool bMatch = true;
    if (nFlags & MMIO_FINDRIFF) bMatch = found.ckid == kRiff && found.fccType == nWantedType;
    else if (nFlags & MMIO_FINDLIST) bMatch = found.ckid == kList && found.fccType == nWantedType;
    else if (nFlags & MMIO_FINDCHUNK) bMatch = found.ckid == nWantedId;
    if (bMatch) {
      ck = found;
      return 0;
    }
    // Next chunk: data plus the pad byte that keeps chunks on even offsets.
    nPos = found.dwDataOffset + found.cksize + (found.cksize & 1u);
  }
}

std::uint32_t CRiffFile::Ascend(MMCKINFO& ck) {
  if (!IsOpen()) return Fail(MMIOERR_CANNOTSEEK);
  if (ck.dwFlags & MMIO_DIRTY) {
    const std::uint64_t nEnd = m_nPosition;
    if (nEnd < ck.dwDataOffset || nEnd - ck.dwDataOffset > UINT32_MAX)
      return Fail(MMIOERR_CANNOTWRITE);
    ck.cksize = static_cast<std::uint32_t>(nEnd - ck.dwDataOffset);
    if (ck.cksize & 1u) {
      const unsigned char pad = 0;
      if (Write(&pad, 1) != 1) return Fail(MMIOERR_CANNOTWRITE);
    }
    unsigned char size[4];
    PutLE32(size, ck.cksize);
    if (!SeekTo(ck.dwDataOffset - 4) || Write(size, 4) != 4) return Fail(MMIOERR_CANNOTWRITE);
    ck.dwFlags &= ~MMIO_DIRTY;
  }
  if (!SeekTo(ck.dwDataOffset + ck.cksize + (ck.cksize & 1u))) return Fail(MMIOERR_CANNOTSEEK);
  return 0;
}

std::uint32_t CRiffFile::CreateChunk(MMCKINFO& ck, std::uint32_t nFlags) {
  if (!m_pFile || !m_bWritable) return Fail(MMIOERR_CANNOTWRITE);
  if (nFlags & MMIO_CREATERIFF) ck.ckid = kRiff;
  else if (nFlags & MMIO_CREATELIST) ck.ckid = kList;
  const bool bHasType = ck.ckid == kRiff || ck.ckid == kList;
  unsigned char header[12];
  PutLE32(header, ck.ckid);
  PutLE32(header + 4, ck.cksize);
  PutLE32(header + 8, ck.fccType);
  const std::size_t nHeader = bHasType ? 12 : 8;
  const std::uint64_t nStart = m_nPosition;
  if (Write(header, nHeader) != static_cast<std::int64_t>(nHeader)) return Fail(MMIOERR_CANNOTWRITE);
  ck.dwDataOffset = nStart + 8;
  ck.dwFlags = MMIO_DIRTY;
  return 0;
}
