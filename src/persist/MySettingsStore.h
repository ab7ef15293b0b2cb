#pragma once
// CMySettingsStore: the per-user settings that the program keeps between runs.
//
// The values live in one XML file, $XDG_CONFIG_HOME/Brannock (V2)/Vexlor/Settings.xml,
// written through CXMLMgr. Values are named by the caller; class-scoped names such as
// "CMainFrame::MaxThreads" are plain names, and lists of like records use indexed names
// ("%03d-%s": index 3 and "Width" give "003-Width").
//
// Every write is written through at once: the whole file goes to a temporary file that is
// renamed into place, so a crash or a kill mid-write leaves the previous settings whole.
// Reads compare the file with what this object last loaded and reload when it changed, so
// several store objects (and several processes) see each other's writes. Writers take an
// advisory lock on "Settings.xml.lock" so that two read-modify-write cycles do not lose
// each other's values.
//
// A missing value (or one stored as another kind) leaves the caller's variable unchanged
// and reads as false; callers keep their defaults. A flag is stored as an integer and reads
// back as true when nonzero. The object may be used from several threads.

#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "persist/SettingsValueText.h"

class CMySettingsStore {
 public:
  // The store in the user's settings folder.
  CMySettingsStore();
  // A store in the given file (tests, tools).
  explicit CMySettingsStore(std::filesystem::path settingsFile);
  CMySettingsStore(const CMySettingsStore&) = delete;
  CMySettingsStore& operator=(const CMySettingsStore&) = delete;

  static std::filesystem::path DefaultFilePath();
  const std::filesystem::path& FilePath() const { return m_path; }

  // "%03d-%s": the name of value strName of record nIndex.
  static std::string IndexedName(int nIndex, std::string_view strName);

  bool Read(std::string_view strName, bool& bValue);
  bool Read(std::string_view strName, int& nValue);
  bool Read(std::string_view strName, unsigned& nValue);
  bool Read(std::string_view strName, std::int64_t& nValue);
  bool Read(std::string_view strName, std::uint64_t& nValue);
  bool Read(std::string_view strName, double& dValue);
  bool Read(std::string_view strName, std::string& strValue);
  bool Read(std::string_view strName, std::vector<std::string>& astrValue);
  bool Read(std::string_view strName, std::vector<std::uint8_t>& abValue);
  bool Read(std::string_view strName, CSettingsRect& rcValue);

  bool Write(std::string_view strName, bool bValue);
  bool Write(std::string_view strName, int nValue);
  bool Write(std::string_view strName, unsigned nValue);
  bool Write(std::string_view strName, std::int64_t nValue);
  bool Write(std::string_view strName, std::uint64_t nValue);
  bool Write(std::string_view strName, double dValue);
  bool Write(std::string_view strName, const std::string& strValue);
  // Without this a string literal would pick the bool overload.
  bool Write(std::string_view strName, const char* pszValue);
  bool Write(std::string_view strName, const std::vector<std::string>& astrValue);
  bool Write(std::string_view strName, const std::vector<std::uint8_t>& abValue);
  bool Write(std::string_view strName, const CSettingsRect& rcValue);

  template <class T>
  bool Read(int nIndex, std::string_view strName, T& value) {
    return Read(IndexedName(nIndex, strName), value);
  }
  template <class T>
  bool Write(int nIndex, std::string_view strName, const T& value) {
    return Write(IndexedName(nIndex, strName), value);
  }

  // Why the last write failed, naming the file and the system's reason; empty after a
  // write that succeeded. The first failure of each kind is also reported once to the
  // user (core/EngineFaults.h).
  std::string LastError();

  // Removes a value; true when it existed.
  bool DeleteValue(std::string_view strName);

  // For "Open the settings in the editor": makes sure the file exists (an empty store is
  // written when there is none yet) and returns its path for the desktop to open.
  std::filesystem::path EditorFilePath();

 private:
  struct CValue {
    std::string strType;
    std::string strData;
    std::vector<std::string> astrList;
  };

  bool Find(std::string_view strName, std::string_view strType, CValue& value);
  bool Store(std::string_view strName, CValue value);
  void RefreshLocked();
  bool SaveLocked();

  std::mutex m_mutex;
  std::filesystem::path m_path;
  // The file's bytes as last loaded or written, to tell whether it changed since, and its
  // identity then (inode, size, change times): a file whose status is unchanged is not
  // read again.
  std::string m_strLoadedBytes;
  struct CFileStamp {
    unsigned long long nInode = 0, nSize = 0;
    long long nMtimeNs = 0, nCtimeNs = 0;
    bool operator==(const CFileStamp&) const = default;
  };
  CFileStamp m_stamp;
  bool m_bStampValid = false;
  std::string m_strLastError;
  bool m_bFileExists = false;
  // The file exists but does not parse: it is kept aside before being replaced.
  bool m_bFileDamaged = false;
  std::map<std::string, CValue, std::less<>> m_values;
};
