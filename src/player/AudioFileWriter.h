#pragma once
// The file formats of the audio recorder: 16-bit mono audio at 48 000 samples/s written as a
// WAV file or encoded as MP3 through LAME. A writer that fails a write stops accepting
// audio; Close() then still leaves a complete, playable file of what was written.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

// The text slots of a recording (title, artist ...), stored as tags in the file.
struct CAudioTags {
  std::string m_strTitle;
  std::string m_strArtist;
  std::string m_strAlbum;
  std::string m_strYear;
  std::string m_strComment;
  std::string m_strGenre;
  std::string m_strTrack;
};

class CAudioFileWriter {
 public:
  virtual ~CAudioFileWriter() = default;
  // Creates (replaces) the file; false with the reason in strError.
  virtual bool Create(const std::filesystem::path& path, const CAudioTags& tags, std::string& strError) = 0;
  // Appends samples; false on a write error (nothing more is written after one).
  virtual bool Write(const std::int16_t* pSamples, std::size_t nCount) = 0;
  // Completes and closes the file. Safe to call more than once.
  virtual void Close() = 0;
  // The file's extension with its dot: ".wav", ".mp3".
  virtual const char* Extension() const = 0;
};

std::unique_ptr<CAudioFileWriter> CreateWavAudioWriter();
std::unique_ptr<CAudioFileWriter> CreateMp3AudioWriter();
