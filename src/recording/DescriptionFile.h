#pragma once
// The recording description of the program's own ("Brannock") recordings: a small XML
// document beside each ".wav" file, or inside the WAV file's "auxi" chunk as UTF-16 text
// beginning with "<?xml", that states the first file of the series, the UTC start, the
// radio's centre frequency, the sample rate and the data size.
//
//   <Brannock-Vexlor Description="Saved recording data" Created="01-Jun-2025 12:00">
//     <Definition FirstFile="Name 000.wav" UTC="..." UTCSeconds="..." BytesPerSecond="..."
//                 SampleRate="..." RadioCenterFreq="..." BitsPerSample="16"/>
//     <Size SizeInBytes="..."/>
//   </Brannock-Vexlor>

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class CXMLMgr;

// The (name, value) list of a description: the attributes of "Definition" in document
// order, followed by those of "Size".
class CDescriptionValues {
 public:
  using Items = std::vector<std::pair<std::string, std::string>>;

  // A text that cannot be parsed gives an empty list.
  static CDescriptionValues Parse(const std::string& strText);

  // The value of the first pair named strName; empty when there is none.
  std::string Value(std::string_view strName) const;
  const Items& List() const { return m_items; }
  bool IsEmpty() const { return m_items.empty(); }

 private:
  Items m_items;
};

// Finds, completes and caches the description text of WAV files. Keeps the multimedia-file
// error of its last failed "auxi" lookup.
class CDescriptionFile {
 public:
  // The description file beside a WAV file: the same path with ".xml" in place of the
  // extension; empty when the extension is not ".wav" in any letter case.
  static std::filesystem::path SidePath(const std::filesystem::path& wavPath);

  // The description XML text of a WAV file (UTF-8), empty when it has none; cached per path
  // for the life of the process. A description without a data size ("Size"/"SizeInBytes"
  // missing or 0) is completed with the WAV file's 'data' chunk size and saved back to the
  // side file; a description found in the "auxi" chunk is always saved beside the WAV, so
  // the first reading of such a file leaves a separate description file behind.
  std::string Text(const std::filesystem::path& wavPath);

  // The largest description accepted, beside the file or in the chunk: real ones are a
  // few hundred bytes.
  static constexpr std::size_t kMaxBytes = 1 << 20;

  // Whether the bytes of an "auxi" chunk begin like a description: "<?xml" in UTF-16 (either
  // byte order, with or without a byte-order mark) or UTF-8 (with or without one).
  static bool BeginsLikeDescription(const unsigned char* p, std::size_t nBytes);
  // The description held in the bytes of an "auxi" chunk: UTF-8 text of the document when
  // the chunk begins like one and it loads; else empty (and *pstrFailure, when given, says
  // why a chunk that began like a description was refused).
  static std::string TextFromAuxiChunk(const std::vector<unsigned char>& chunk, std::string* pstrFailure = nullptr);

  // Why the last description that was found could not be loaded (too large, nested too
  // deep, not XML); empty when it loaded.
  const std::string& LoadFailure() const { return m_strLoadFailure; }

  // The multimedia-file error code of the last failed "auxi" lookup (0 when none) and its text.
  std::uint32_t LastError() const { return m_nLastError; }
  std::string LastErrorText() const;

 private:
  std::string ReadUncached(const std::filesystem::path& wavPath);
  // Adds the data size when missing, saves to savePath (when not empty) if anything changed
  // or bAlwaysSave, and returns the document's text. A failed save never fails the read.
  // A description that cannot be written back is still used; the user is told once
  // (core/EngineFaults.h).
  static std::string Complete(CXMLMgr& xml, const std::filesystem::path& wavPath,
                              const std::filesystem::path& savePath, bool bAlwaysSave);

  std::uint32_t m_nLastError = 0;
  std::string m_strLoadFailure;
};
