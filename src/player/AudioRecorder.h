#pragma once
// CAudioRecorder: records the played audio (16-bit mono, 48 000 samples/s, exactly the
// samples handed to the output device before its volume) to a WAV or MP3 file.
//
// Beside the audio it writes a description, "<name>.xml", holding the recorder's keys: the
// file, format, start and end, sample count, what was played (recording file, tuning offset,
// mode, pass band) and the text slots. Owned and used by the player thread only.
//
// Text slots (command 16): 0 title, 1 artist, 2 album, 4 year, 5 comment, 6 genre, 7 track.
// Slot 3 is not used, and texts for it or for slots above 7 are ignored.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "player/AudioFileWriter.h"

enum EAudioRecordFormat : int {
  AUDIO_RECORD_WAV = 0,
  AUDIO_RECORD_WMA = 1,  // no encoder on this platform: refused
  AUDIO_RECORD_MP3 = 2,
};

// What was being played when the recording started.
struct CAudioRecordingContext {
  std::string m_strSourceFile;
  int m_nTuningOffset = 0;  // Hz
  int m_nMode = 0;
  int m_nFilterLow = 0;     // Hz
  int m_nFilterHigh = 0;    // Hz
};

class CAudioRecorder {
 public:
  static constexpr int kMetadataSlots = 8;
  static constexpr int kUnusedSlot = 3;

  CAudioRecorder() = default;
  ~CAudioRecorder();
  CAudioRecorder(const CAudioRecorder&) = delete;
  CAudioRecorder& operator=(const CAudioRecorder&) = delete;

  void SetMetadata(int nSlot, const std::string& strText);
  std::string Metadata(int nSlot) const;

  // Starts a recording in folder under strFileName (the format's extension is added when
  // missing; an empty name gives "Vexlor <UTC date and time>"). A recording in progress is
  // stopped first. False with the reason in strError.
  bool Start(int eFormat, const std::filesystem::path& folder, const std::string& strFileName,
             const CAudioRecordingContext& context, std::string& strError);
  // Appends samples. A write error ends the recording (the file is completed and the
  // description written) and returns false.
  bool Write(const std::int16_t* pSamples, std::size_t nCount);
  // What is being played, for the description (the thread gives it again at the first
  // audio, when the play it belongs to has been set up).
  void SetContext(const CAudioRecordingContext& context) { m_context = context; }
  // Completes the file and writes the description. Nothing when not recording.
  void Stop();

  bool IsRecording() const { return m_pWriter != nullptr; }
  // Whether the last recording was ended by a write error.
  bool EndedByError() const { return m_bEndedByError; }
  const std::filesystem::path& Path() const { return m_path; }
  std::uint64_t SamplesWritten() const { return m_nSamples; }

  // The description beside an audio file: the same path with ".xml" as its extension.
  static std::filesystem::path DescriptionPath(const std::filesystem::path& audioPath);

 private:
  void Finish(bool bError);
  void WriteDescription() const;
  CAudioTags Tags() const;

  std::string m_astrSlots[kMetadataSlots];
  std::unique_ptr<CAudioFileWriter> m_pWriter;
  std::filesystem::path m_path;
  std::string m_strFormat;
  CAudioRecordingContext m_context;
  std::int64_t m_tStart = 0;
  std::int64_t m_tEnd = 0;
  std::uint64_t m_nSamples = 0;
  bool m_bEndedByError = false;
};
