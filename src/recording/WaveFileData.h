#pragma once
// CWaveFileData: recognises which program wrote an IQ recording, finds every file of its
// series in order and fills the recording description.
//
// Sources, by how they are recognised:
//   "Brannock"         a description XML beside the ".wav" file or inside its "auxi" chunk;
//                      the series is found by number (" 000.wav", " 001.wav" ...)
//   "SDRSharp"         the file title begins with "sdrsharp_" (any case); one file
//   "SpectraVue 1/2/2.34/3.0"  an "auxi" chunk of 28, 44, 68 or 72 bytes
//   "Winrad"           an "auxi" chunk of 164 bytes (HDSDR writes this too)
//   "Perseus"          no "auxi", a "rcvr" chunk
//   "Winradio"         neither chunk, extension ".ddc"; always one file
//   "UnknownFmt"       any other valid WAVE file; one file
// SpectraVue, Winrad and Perseus series are chained by time: each file starts less than
// 3 seconds from the stop of the one before it.

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "recording/DescriptionFile.h"
#include "recording/RecordingDescription.h"
#include "recording/WaveHeader.h"

class CRiffFile;

// Why the header scan did not recognise a file. The scan raises no message; this is for
// callers that must say why (the command-line tool).
struct CWaveScanFault {
  enum EKind {
    NONE,
    CANNOT_OPEN,      // nDetail: the multimedia-file error code
    NOT_WAVE,         // no RIFF form "WAVE"
    NO_FMT,           // no "fmt " chunk
    FMT_TRUNCATED,    // the "fmt " chunk is shorter than its stated size
    FMT_SHORT,        // nDetail: the "fmt " chunk's size, below the 16 bytes of a format
    RATE_ZERO,        // the sample rate is 0
    CHANNELS,         // nDetail: the channel count, not 2 (I and Q)
    BITS,             // nDetail: the bits per sample, not 8, 16, 24 or 32
    AUXI_SIZE,        // nDetail: the unsupported "auxi" size
    AUXI_XML,         // an "auxi" chunk holding XML that cannot be loaded
    RCVR_TRUNCATED,   // the "rcvr" chunk is shorter than its stated size
    NO_DATA,          // no "data" chunk
  };
  EKind eKind = NONE;
  std::uint32_t nDetail = 0;

  // "not a RIFF/WAVE file", "no \"data\" chunk", "unsupported \"auxi\" chunk size (12 bytes)" ...
  std::string Text() const;
};

class CWaveFileData {
 public:
  // Recognises the recording the file at path belongs to and fills desc. With bWholeSeries
  // off a "Brannock" recording is its first file only. False when not recognised (then
  // FailureText() says why).
  bool GetInformation(const std::filesystem::path& path, bool bWholeSeries, CRecordingDescription& desc);
  const std::string& FailureText() const { return m_strFailure; }

  // The header scan of one file: true when recognised. The second form scans a file already
  // opened (from memory, for instance); namePath supplies the name, title and extension.
  static bool ScanHeader(const std::filesystem::path& path, CWaveFileHeader& header,
                         CWaveScanFault* pFault = nullptr);
  static bool ScanHeader(CRiffFile& file, const std::filesystem::path& namePath, CWaveFileHeader& header,
                         CWaveScanFault* pFault = nullptr);

  // The source code of a stored source name: the first of "SDRSharp" 1, "SpectraVue" 2,
  // "Winrad" 3, "Perseus" 4, "Winradio" 5, "UnknownFmt" 6 that begins the name, else 0.
  static int SourceCode(std::string_view strSource);

  // The 'data' chunk size of a WAV file, 0 when it cannot be opened or has none; cached. A
  // chunk that claims more than the file holds ends at the end of the file.
  static std::uint32_t WaveDataSize(const std::filesystem::path& path);

  // Seconds since 1970 of a UTC calendar time; a time the calendar cannot hold (cleared
  // fields, month 13, year beyond 30827) reads as 0.
  static std::int64_t TimeToSeconds(const SYSTEMTIME& st);

  // The regular files of a folder in the order Windows file systems list them (names
  // compared case-insensitively), so that the first-match rules of chaining pick the same
  // series on every machine.
  static std::vector<std::filesystem::path> ListFolder(const std::filesystem::path& folder);

  // Why a format cannot be an IQ recording ("1 channel; an IQ recording has 2 (I and Q)",
  // "7 bits per sample; 8, 16, 24 or 32 are supported", "the sample rate is 0 Hz"); empty
  // when it can. nChannels -1 means the channel count is not known (and not checked).
  static std::string FormatFault(int nChannels, std::uint32_t nRateHz, std::uint32_t nBits);

  // Whether file, once links are followed, lies in folder: members of a series and
  // "FirstFile" must not lead elsewhere.
  static bool IsInsideFolder(const std::filesystem::path& file, const std::filesystem::path& folder);

  // Whether a "FirstFile" value names a file of the recording's own folder: no folder
  // separators, not "." or "..", not empty, not absolute.
  static bool IsPlainFileName(std::string_view strName);

  // The description reader used by GetInformation (its last "auxi" error).
  const CDescriptionFile& DescriptionReader() const { return m_description; }

 private:
  bool SingleFile(const std::filesystem::path& path, const CWaveFileHeader& header, int nCode,
                  CRecordingDescription& desc);
  bool SeriesByTime(const std::filesystem::path& path, const CWaveFileHeader& header, int nCode,
                    CRecordingDescription& desc);
  bool SeriesByNumber(const std::filesystem::path& path, const std::string& strDescription,
                      bool bWholeSeries, CRecordingDescription& desc);

  CDescriptionFile m_description;
  std::string m_strFailure;
};
