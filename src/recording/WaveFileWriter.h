#pragma once
// Writes a WAVE file: the RIFF/WAVE form, a 16-byte 'fmt ' chunk, any further chunks the
// caller gives (an "auxi" description, for instance), then the 'data' chunk, whose size and
// the form's size are written when the file is closed. Used by the demonstration recording
// and the player's audio recorder.

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "recording/RiffFile.h"
#include "recording/WaveHeader.h"

class CWaveFileWriter {
 public:
  // A chunk written between 'fmt ' and 'data': its id and its bytes.
  using ExtraChunk = std::pair<std::uint32_t, std::string>;

  CWaveFileWriter() = default;
  ~CWaveFileWriter();
  CWaveFileWriter(const CWaveFileWriter&) = delete;
  CWaveFileWriter& operator=(const CWaveFileWriter&) = delete;

  // Starts a file that replaces path when it is closed, ready for sample data. Returns 0 or
  // a multimedia-file error code. Until Close() succeeds the previous file at path stays as
  // it was (a kill, a full disk or a write error never leaves a truncated file there).
  std::uint32_t Create(const std::filesystem::path& path, const CWaveFormat& fmt,
                       const std::vector<ExtraChunk>& extraChunks = {});
  // A recorder keeps the audio that reached the disk when a write fails (see CRiffFile);
  // by default a failed file never replaces the previous one. Set before Create.
  void SetKeepPartialOnError(bool bKeep) { m_file.SetKeepPartialOnError(bKeep); }
  // Appends sample bytes. False on a write error or when the data would pass 4 GiB.
  bool Write(const void* pData, std::size_t nBytes);
  // Writes the chunk sizes and puts the file in place; returns 0 or an error code. After a
  // failed write nothing replaces the previous file. Also run by the destructor.
  std::uint32_t Close();
  // Why creating, writing or closing failed: the file and the system's reason.
  const std::string& ErrorText() const { return m_file.WriteErrorText(); }

  std::uint64_t DataBytes() const { return m_nDataBytes; }
  bool IsOpen() const { return m_file.IsOpen(); }

 private:
  CRiffFile m_file;
  MMCKINFO m_riff;
  MMCKINFO m_data;
  std::uint64_t m_nDataBytes = 0;
};
