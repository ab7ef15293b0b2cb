#pragma once
// The two process-wide caches of the recording reader, keyed by full path (case-sensitive):
// the 'data' chunk size of a WAV file (0 is cached too when the file could not be opened)
// and the recording description text of a WAV file (empty when it has none). Opening a
// recording scans every file of its folder, and the selection dialog does so on every
// change; the caches keep that to one read per file for the life of the process.
//
// Thread-safe: the analysis reader, the player and the user-interface thread share them.

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

class CRecordingCaches {
 public:
  std::optional<std::uint32_t> FindDataSize(const std::string& strPath) const;
  void StoreDataSize(const std::string& strPath, std::uint32_t nSize);

  std::optional<std::string> FindDescription(const std::string& strPath) const;
  void StoreDescription(const std::string& strPath, const std::string& strText);

  // Forgets everything (for tests that rewrite files under the same path).
  void Clear();

 private:
  mutable std::mutex m_mutex;
  std::map<std::string, std::uint32_t> m_dataSizes;
  std::map<std::string, std::string> m_descriptions;
};

// The one cache of the process.
CRecordingCaches& RecordingCaches();
