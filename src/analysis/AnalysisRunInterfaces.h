#pragma once
// What the run controller hands to whoever drives it: rows to the picture, progress to a
// status display, and the "finished" sound to a sound player. The GUI view and the
// command-line tool each supply their own; all calls come on the controlling thread.

#include <cstdint>
#include <filesystem>
#include <string>

class CAnalysisOptions;
struct CRowRecord;

// The picture side of a run.
class IAnalysisRowConsumer {
 public:
  virtual ~IAnalysisRowConsumer() = default;
  // Before the first row of a run.
  virtual void ResetForRun(const CAnalysisOptions& options) = 0;
  // Each row of the run, in row order, exactly once.
  virtual void AddRow(std::uint32_t nRow, const CRowRecord& record) = 0;
  // The run has ended (finished or aborted): draw what remains, keep the rows.
  virtual void CompleteRun() = 0;
};

// Progress as the status dialog shows it.
struct CAnalysisProgress {
  double dPercent = 0.0;        // 0 .. 100, in tenths
  int nProgressBar = 0;         // 0 .. 1000: ⌊percent⌋ · 10
  int nTaskbarPercent = 0;      // ⌈percent⌉
  std::string strRate;          // "%.1f MB/s", "Initialising" before the first bytes
  std::string strRemaining;     // "%d:%02d" or "%d:%02d:%02d", "--:--:--" before an estimate
  std::int64_t nBytesRead = 0;
};

class IAnalysisStatus {
 public:
  virtual ~IAnalysisStatus() = default;
  virtual void RunStarted() {}
  // The reader's answer to opening the first file (false: the run reads nothing).
  virtual void FileOpened(bool /*bSuccess*/) {}
  virtual void ProgressChanged(const CAnalysisProgress& /*progress*/) {}
  virtual void RunFinished() {}
};

// Plays a sound file. The player fills this in; until then nothing is heard.
class IAnalysisSound {
 public:
  virtual ~IAnalysisSound() = default;
  // Starts the file playing and returns at once; a new call replaces what is playing.
  virtual void PlayAsync(const std::filesystem::path& path) = 0;
};

class CNullAnalysisSound final : public IAnalysisSound {
 public:
  void PlayAsync(const std::filesystem::path&) override {}
};
