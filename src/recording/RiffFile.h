#pragma once
// A small RIFF file reader and writer with the semantics of the multimedia-file API: open,
// descend into the RIFF form by form type and into chunks by id, ascend, read, seek, write
// and create chunks. Failures are reported with the multimedia-file error codes 257-272, so
// that the error texts shown by the reader thread and the player stay exactly as they are.
//
// Chunk sizes come from the file and may lie (truncated recordings, recorders that never
// patched their headers): a search never looks past the end of the file or of the parent
// chunk, and reads stop at the end of the file.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

class CAtomicFile;

// The multimedia-file error codes.
enum EMmioError : std::uint32_t {
  MMSYSERR_NOERROR = 0,
  MMIOERR_FILENOTFOUND = 257,
  MMIOERR_OUTOFMEMORY = 258,
  MMIOERR_CANNOTOPEN = 259,
  MMIOERR_CANNOTCLOSE = 260,
  MMIOERR_CANNOTREAD = 261,
  MMIOERR_CANNOTWRITE = 262,
  MMIOERR_CANNOTSEEK = 263,
  MMIOERR_CANNOTEXPAND = 264,
  MMIOERR_CHUNKNOTFOUND = 265,
  MMIOERR_UNBUFFERED = 266,
  MMIOERR_PATHNOTFOUND = 267,
  MMIOERR_ACCESSDENIED = 268,
  MMIOERR_SHARINGVIOLATION = 269,
  MMIOERR_NETWORKERROR = 270,
  MMIOERR_TOOMANYOPENFILES = 271,
  MMIOERR_INVALIDFILE = 272,
};

// The text of a multimedia-file error code ("Unknown error code %d" for any other code).
std::string MmioErrorText(std::uint32_t nCode);

constexpr std::uint32_t MakeFourCC(char a, char b, char c, char d) {
  return static_cast<std::uint32_t>(static_cast<unsigned char>(a)) |
         static_cast<std::uint32_t>(static_cast<unsigned char>(b)) << 8 |
         static_cast<std::uint32_t>(static_cast<unsigned char>(c)) << 16 |
         static_cast<std::uint32_t>(static_cast<unsigned char>(d)) << 24;
}
// "fmt " -> the chunk id.
constexpr std::uint32_t FourCC(const char (&id)[5]) { return MakeFourCC(id[0], id[1], id[2], id[3]); }
// The chunk id as four characters (non-printable bytes as '?').
std::string FourCCText(std::uint32_t fcc);

// Descend flags.
inline constexpr std::uint32_t MMIO_FINDCHUNK = 0x0010;  // a chunk with the given id
inline constexpr std::uint32_t MMIO_FINDRIFF = 0x0020;   // a "RIFF" chunk with the given form type
inline constexpr std::uint32_t MMIO_FINDLIST = 0x0040;   // a "LIST" chunk with the given list type
// Create flags.
inline constexpr std::uint32_t MMIO_CREATERIFF = 0x0020;
inline constexpr std::uint32_t MMIO_CREATELIST = 0x0040;
// Set in a chunk record by CreateChunk: its size is written when the chunk is ascended.
inline constexpr std::uint32_t MMIO_DIRTY = 0x10000000;

// One chunk: id, size of its data as stored, form or list type (RIFF/LIST only), the file
// offset of its data (for RIFF/LIST: of the form type) and flags.
struct MMCKINFO {
  std::uint32_t ckid = 0;
  std::uint32_t cksize = 0;
  std::uint32_t fccType = 0;
  std::uint64_t dwDataOffset = 0;
  std::uint32_t dwFlags = 0;
};

class CRiffFile {
 public:
  enum class EMode { Read, Create };

  CRiffFile();
  ~CRiffFile();
  CRiffFile(const CRiffFile&) = delete;
  CRiffFile& operator=(const CRiffFile&) = delete;
  CRiffFile(CRiffFile&& other) noexcept;
  CRiffFile& operator=(CRiffFile&& other) noexcept;

  // Opens a file for buffered reading, or starts a new one for writing. Returns 0 or an error
  // code (257 file not found, 267 path incorrect, 268 protected, 271 no handles ...). A
  // created file is written atomically: it replaces the file at path only when Close()
  // succeeds, and a write error or a kill leaves the previous file as it was.
  std::uint32_t Open(const std::filesystem::path& path, EMode eMode = EMode::Read);
  // Reads from a block of memory that the caller keeps alive while the file is open.
  std::uint32_t OpenMemory(const void* pData, std::size_t nSize);
  // Closes the file; 260 when buffered writes could not be flushed. A created file is put in
  // place here unless a write failed (then 262 and the previous file stays).
  std::uint32_t Close();
  // A created file is normally all or nothing: after a failed write, Close() drops it. A
  // recorder that would rather keep what reached the disk (the audio before the disk
  // filled) asks for that here; its file is then put in place whatever happened.
  void SetKeepPartialOnError(bool bKeep) { m_bKeepPartial = bKeep; }
  // Drops a created file without putting it in place.
  void Abandon();
  // Why the last write, flush or replacement failed, naming the file and the system's
  // reason ("cannot write \"/x.wav\": No space left on device"); empty when none did.
  const std::string& WriteErrorText() const { return m_strWriteError; }
  bool IsOpen() const { return m_pFile != nullptr || m_pMemory != nullptr; }

  // Searches, from the current position, for the chunk named by ck.ckid (MMIO_FINDCHUNK) or
  // the RIFF/LIST chunk whose type is ck.fccType (MMIO_FINDRIFF/MMIO_FINDLIST), within the
  // parent's data when a parent is given, else within the file; with no flag the chunk at
  // the current position is taken. On success ck is filled and the position is at the
  // chunk's data (after the form type for RIFF/LIST). Returns 0 or 265 (chunk not found).
  std::uint32_t Descend(MMCKINFO& ck, const MMCKINFO* pParent, std::uint32_t nFlags);
  // Moves to the end of the chunk (past its pad byte). A chunk made by CreateChunk gets its
  // size written first. Returns 0, 262 or 263.
  std::uint32_t Ascend(MMCKINFO& ck);
  // Writes a chunk header at the current position (ck.ckid, ck.cksize; "RIFF"/"LIST" and
  // ck.fccType with the create flags) and leaves the position at its data.
  std::uint32_t CreateChunk(MMCKINFO& ck, std::uint32_t nFlags);

  // Reads up to nBytes; returns the count read (0 at the end of the file) or -1 on error.
  std::int64_t Read(void* pBuffer, std::size_t nBytes);
  // Writes nBytes; returns the count written or -1 on error.
  std::int64_t Write(const void* pBuffer, std::size_t nBytes);
  // SEEK_SET, SEEK_CUR or SEEK_END; returns the new position or -1 (a position before the
  // start of the file is refused).
  std::int64_t Seek(std::int64_t nOffset, int nOrigin);

  std::uint64_t Position() const { return m_nPosition; }
  // The current length of the file (bytes written so far when creating).
  std::uint64_t Size() const { return m_nSize; }
  // The error code of the last failed call, 0 when none failed.
  std::uint32_t LastError() const { return m_nLastError; }

 private:
  std::uint32_t Fail(std::uint32_t nCode) {
    m_nLastError = nCode;
    return nCode;
  }
  bool ReadExact(void* pBuffer, std::size_t nBytes);
  bool SeekTo(std::uint64_t nPosition);
  void Reset();

  void NoteWriteError(int nErrno);

  std::FILE* m_pFile = nullptr;
  std::unique_ptr<CAtomicFile> m_pCreated;
  std::string m_strWriteError;
  bool m_bKeepPartial = false;
  const unsigned char* m_pMemory = nullptr;
  bool m_bWritable = false;
  std::uint64_t m_nPosition = 0;
  std::uint64_t m_nSize = 0;
  std::uint32_t m_nLastError = 0;
};
