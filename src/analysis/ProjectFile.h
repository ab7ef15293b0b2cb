#pragma once
// CProjectFile: a finished analysis kept as one XML file, so that the picture can be shown
// again without reading the recording.
//
//   <Brannock-Vexlor xml:lang="EN">
//     <AnalysisOptions Description="Analysis options" Created="..." m_... />
//     <Tags XML="...the tag list as XML text..." />
//     <Data Count="rows" Width="values per row" Height="picture height">
//       <Entry Flag="1" Size="values" Time="seconds" Data="Base64 of Size little-endian floats" />
//       ...
//
// The same writer, given no rows and an empty path, writes "CurrentAnalysisOptions.xml" in
// the data folder. Row data is encoded and decoded on 8 threads. Saves are atomic: a
// temporary file renamed over the target. The rows are encoded and written in blocks, so a
// save needs memory for one block of row texts (WriterMemoryBytes), whatever the row count.
//
// Loading trusts nothing in the file for sizes: "Count" is a hint, a row's buffer is bounded
// by "Width" + 64 values and, overall, by the Base64 text the file really holds. Rows whose
// data does not decode are loaded as zero rows and counted in the load's message.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "analysis/ImageRows.h"

class CAnalysisOptions;
class CProjectRowSpool;

// Progress of a save or load: a caption and a bar. Calls come on the calling thread.
class CProjectProgress {
 public:
  virtual ~CProjectProgress() = default;
  virtual void SetCaption(const std::string& strCaption) = 0;
  virtual void SetRange(int nLow, int nHigh) = 0;
  virtual void SetPos(int nPos) = 0;
  // Repaint the bar and handle pending window messages, so the dialog stays alive.
  virtual void Pump() {}
};

class CProjectFile {
 public:
  static constexpr int kThreads = 8;
  // Values a loaded row may hold beyond the picture width.
  static constexpr std::size_t kRowSlack = 64;

  // The target of an empty path: "CurrentAnalysisOptions.xml" in the data folder.
  static std::filesystem::path DefaultPath();
  // The file name proposed for a new project: the first recording file's path without its
  // extension and without trailing blanks and digits, then " (Project).xml".
  static std::filesystem::path ProposedPath(const std::filesystem::path& firstRecordingFile);

  // Rows encoded and written at a time.
  static constexpr std::size_t kRowsPerWrite = 1024;
  // Text of an "Entry" besides its Base64 data: indentation, names and numbers.
  static constexpr std::size_t kEntryTextBytes = 64;
  // The memory Save needs beyond the rows themselves, for rows of nWidth values. Bytes.
  static std::uint64_t WriterMemoryBytes(int nWidth);

  // Writes options, rows and tag text. nWidth / nHeight are the picture's size. With a
  // spool that holds every row (spooled during the run into the target's folder), its
  // lines are copied instead of encoding the rows again. On failure returns false with
  // strError saying why.
  static bool Save(const CAnalysisOptions& options, const std::filesystem::path& path, const CImageRows& rows,
                   int nWidth, int nHeight, const std::string& strTagXml, CProjectProgress* pProgress,
                   std::string& strError, CProjectRowSpool* pSpool = nullptr);

  // Appends one row's line of the "Data" element, indentation and line end included:
  // <Entry Flag="1" Size="5000" Time="12" Data="...Base64..." />
  static void AppendEntry(std::string& strOut, std::uint32_t nFlag, std::uint32_t nSize, std::uint32_t nTime,
                          std::string_view base64);

  // Reads a project. Fails (false, strMessage the reason, every output untouched) when
  // the file cannot be loaded or has no "AnalysisOptions"; otherwise fills every output and
  // returns true, with strMessage empty or telling what was damaged. nWidth and nHeight
  // are the values the file states; the options' time-format flag comes back 0 (it is
  // written as m_bTimeFormatLocal but read from m_nTimeFormatLocal, as projects always were).
  static bool Load(CAnalysisOptions& options, const std::filesystem::path& path, CImageRows& rows, int& nWidth,
                   int& nHeight, std::string& strTagXml, CProjectProgress* pProgress, std::string& strMessage);

  // As Load, from the file's bytes (the fuzz target's way in).
  static bool LoadFromBuffer(CAnalysisOptions& options, const void* pData, std::size_t nSize, CImageRows& rows,
                             int& nWidth, int& nHeight, std::string& strTagXml, CProjectProgress* pProgress,
                             std::string& strMessage);
};
