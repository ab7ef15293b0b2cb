#pragma once
// The WAVE opener shared by the analysis reader thread and the player: opens one file of a
// series, checks its RIFF/WAVE structure, reads its 'fmt ' record and leaves the file
// positioned a given number of bytes into the 'data' chunk, ready for streaming. The owner
// window is told the outcome by a posted message (wParam = bits per sample, lParam = 1 on
// success, 0 on failure).
//
// Lines are logged through a function the caller supplies: a worker thread posts them to
// its window rather than writing the log itself.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "core/RegisteredMessages.h"
#include "recording/RiffFile.h"
#include "recording/WaveHeader.h"

class CMessageTarget;

class CWaveStreamFile {
 public:
  using LogFunction = std::function<void(const std::string&)>;

  CWaveStreamFile() = default;
  CWaveStreamFile(const CWaveStreamFile&) = delete;
  CWaveStreamFile& operator=(const CWaveStreamFile&) = delete;

  // Opens path and skips nSkipBytes past the start of its data. Logs "<path>> Opening" and
  // on failure one of "Error: %s", "'WAVE' header not found", "'fmt' chunk not found",
  // "'data' chunk not found", "Error seeking - %s"; a short 'fmt ' chunk logs "'fmt' chunk
  // not read" and is used as far as it was read; 0 bits per sample fails without a line.
  // Posts nNotifyMsg to pNotify (when given) in every case. On failure the file is closed.
  bool Open(const std::filesystem::path& path, std::uint32_t nSkipBytes, CMessageTarget* pNotify,
            const LogFunction& log, unsigned nNotifyMsg = RegMsgSDR::nMsgFileOpen);
  // The same over a block of memory that stays alive while the file is open (fuzzing, tests).
  bool OpenMemory(const void* pData, std::size_t nSize, std::uint32_t nSkipBytes, CMessageTarget* pNotify,
                  const LogFunction& log, unsigned nNotifyMsg = RegMsgSDR::nMsgFileOpen);
  void Close();
  bool IsOpen() const { return m_file.IsOpen(); }

  // Reads on from the current position, as the multimedia-file read does: up to nBytes,
  // 0 at the end of the file, -1 on error. A 'data' chunk is normally the last chunk; bytes
  // of a chunk after it are read as they come.
  std::int64_t Read(void* pBuffer, std::size_t nBytes) { return m_file.Read(pBuffer, nBytes); }

  const CWaveFormat& Format() const { return m_fmt; }
  // Bytes of one I or Q value: bits per sample / 8.
  std::uint32_t BytesPerSample() const { return m_nBytesPerSample; }
  // The 'data' chunk as stored (its size may claim more than the file holds).
  const MMCKINFO& DataChunk() const { return m_data; }
  // Bytes of the 'data' chunk that are left from the current position, within the file.
  std::uint64_t DataBytesLeft() const;
  const std::filesystem::path& Path() const { return m_path; }
  CRiffFile& File() { return m_file; }

 private:
  bool Position(std::uint32_t nSkipBytes, const LogFunction& log);

  CRiffFile m_file;
  std::filesystem::path m_path;
  CWaveFormat m_fmt;
  MMCKINFO m_data;
  std::uint32_t m_nBytesPerSample = 0;
};
