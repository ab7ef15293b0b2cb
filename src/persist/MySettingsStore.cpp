#include "persist/MySettingsStore.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <fstream>
#include <iterator>
#include <limits>
#include <system_error>

#include "core/Log.h"
#include "core/Paths.h"
#include "core/EngineFaults.h"
#include "persist/XMLMgr.h"

namespace {

constexpr const char* kRootName = "Brannock-Vexlor";
constexpr const char* kValueElement = "Value";
constexpr const char* kListKey = "Item";

constexpr const char* kTypeInt = "Int";
constexpr const char* kTypeDouble = "Double";
constexpr const char* kTypeText = "Text";
constexpr const char* kTypeTextList = "TextList";
constexpr const char* kTypeBinary = "Binary";
constexpr const char* kTypeRect = "Rect";

// Holds an advisory lock on "<settings file>.lock" for one read-modify-write cycle.
// flock locks belong to the open file, so two store objects in one process exclude each
// other just as two processes do. Without the lock (read-only folder) the write goes ahead
// and the rename still keeps the file whole.
class CSettingsFileLock {
 public:
  explicit CSettingsFileLock(const std::filesystem::path& settingsFile) {
    const std::string lockPath = settingsFile.string() + ".lock";
    m_fd = ::open(lockPath.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0644);
    if (m_fd >= 0) {
      while (::flock(m_fd, LOCK_EX) != 0 && errno == EINTR) {
      }
    }
  }
  ~CSettingsFileLock() {
    if (m_fd >= 0) ::close(m_fd);
  }
  CSettingsFileLock(const CSettingsFileLock&) = delete;
  CSettingsFileLock& operator=(const CSettingsFileLock&) = delete;

 private:
  int m_fd = -1;
};

bool ReadWholeFile(const std::filesystem::path& path, std::string& bytes) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return !in.bad();
}

}  // namespace

CMySettingsStore::CMySettingsStore() : CMySettingsStore(DefaultFilePath()) {}

CMySettingsStore::CMySettingsStore(std::filesystem::path settingsFile) : m_path(std::move(settingsFile)) {
  std::lock_guard lock(m_mutex);
  RefreshLocked();
}

std::filesystem::path CMySettingsStore::DefaultFilePath() { return SettingsFolder() / "Settings.xml"; }

std::string CMySettingsStore::IndexedName(int nIndex, std::string_view strName) {
  return StrFormat("%03d-%.*s", nIndex, static_cast<int>(strName.size()), strName.data());
}

void CMySettingsStore::RefreshLocked() {
  // Every read comes here: a stat tells whether anyone wrote the file since, so that a
  // large store is not read and compared on every value.
  struct stat st {};
  CFileStamp stamp;
  const bool bStat = ::stat(m_path.c_str(), &st) == 0;
  if (bStat) {
    stamp.nInode = st.st_ino;
    stamp.nSize = static_cast<unsigned long long>(st.st_size);
    stamp.nMtimeNs = static_cast<long long>(st.st_mtim.tv_sec) * 1'000'000'000 + st.st_mtim.tv_nsec;
    stamp.nCtimeNs = static_cast<long long>(st.st_ctim.tv_sec) * 1'000'000'000 + st.st_ctim.tv_nsec;
    if (m_bStampValid && m_bFileExists && stamp == m_stamp) return;
  }
  m_bStampValid = false;
  std::string bytes;
  if (!bStat || !ReadWholeFile(m_path, bytes)) {
    m_values.clear();
    m_strLoadedBytes.clear();
    m_bFileExists = false;
    m_bFileDamaged = false;
    return;
  }
  m_stamp = stamp;
  m_bStampValid = true;
  if (m_bFileExists && bytes == m_strLoadedBytes) return;

  m_values.clear();
  m_strLoadedBytes = std::move(bytes);
  m_bFileExists = true;
  m_bFileDamaged = false;
  CXMLMgr xml;
  if (!xml.LoadFromBuffer(m_strLoadedBytes.data(), m_strLoadedBytes.size())) {
    m_bFileDamaged = true;
    LogF("CMySettingsStore> %s cannot be read, the settings start empty: %s", m_path.c_str(),
         xml.LastError().c_str());
    return;
  }
  for (pugi::xml_node element = CXMLMgr::FindChild(xml.Root(), kValueElement); element;
       element = CXMLMgr::NextSibling(element, kValueElement)) {
    CValue value;
    value.strType = CXMLMgr::GetAttribute(element, "Type");
    if (value.strType == kTypeTextList) {
      value.astrList = CXMLMgr::GetStringArray(element, kListKey);
    } else {
      value.strData = CXMLMgr::GetAttribute(element, "Data");
    }
    m_values.insert_or_assign(CXMLMgr::GetAttribute(element, "Name"), std::move(value));
  }
}

bool CMySettingsStore::SaveLocked() {
  std::error_code ec;
  std::filesystem::create_directories(m_path.parent_path(), ec);
  if (m_bFileDamaged) {
    // A hand edit that broke the file is kept for the user rather than overwritten.
    std::filesystem::rename(m_path, m_path.string() + ".bad", ec);
    if (!ec) LogF("CMySettingsStore> Unreadable settings kept as %s.bad", m_path.c_str());
    m_bFileDamaged = false;
  }

  CXMLMgr xml;
  xml.SetEncodingUTF8(true);
  xml.AddProcessingInstruction();
  xml.AddHeaderComment(m_path.string(), __FILE_NAME__, __LINE__);
  const pugi::xml_node root = xml.CreateRootElement(kRootName, {}, true);
  for (const auto& [name, value] : m_values) {
    pugi::xml_node element = xml.CreateElement(root, kValueElement, {{"Name", name}, {"Type", value.strType}});
    if (value.strType == kTypeTextList) {
      CXMLMgr::SetStringArray(element, kListKey, value.astrList);
    } else {
      CXMLMgr::SetAttribute(element, "Data", value.strData);
    }
  }
  std::string text = xml.GetXML();
  std::string strError;
  if (!WriteFileAtomically(m_path, text.data(), text.size(), &strError)) {
    m_strLastError = strError;
    ReportEngineFaultOnce(EEngineFault::FileWrite, "The settings could not be saved: " + strError);
    return false;
  }
  m_strLastError.clear();
  m_strLoadedBytes = std::move(text);
  m_bFileExists = true;
  // The next read takes the new status as its reference without reading the file back.
  m_bStampValid = false;
  return true;
}

bool CMySettingsStore::Find(std::string_view strName, std::string_view strType, CValue& value) {
  std::lock_guard lock(m_mutex);
  RefreshLocked();
  const auto it = m_values.find(strName);
  if (it == m_values.end() || it->second.strType != strType) return false;
  value = it->second;
  return true;
}

bool CMySettingsStore::Store(std::string_view strName, CValue value) {
  std::lock_guard lock(m_mutex);
  CSettingsFileLock fileLock(m_path);
  RefreshLocked();
  auto it = m_values.find(strName);
  CValue previous;
  const bool bExisted = it != m_values.end();
  if (bExisted) {
    previous = std::move(it->second);
    it->second = std::move(value);
  } else {
    it = m_values.emplace(std::string(strName), std::move(value)).first;
  }
  if (SaveLocked()) return true;
  // The file still holds the old state; so must this object.
  if (bExisted) {
    it->second = std::move(previous);
  } else {
    m_values.erase(it);
  }
  return false;
}

bool CMySettingsStore::DeleteValue(std::string_view strName) {
  std::lock_guard lock(m_mutex);
  CSettingsFileLock fileLock(m_path);
  RefreshLocked();
  const auto it = m_values.find(strName);
  if (it == m_values.end()) return false;
  CValue previous = std::move(it->second);
  m_values.erase(it);
  if (SaveLocked()) return true;
  m_values.emplace(std::string(strName), std::move(previous));
  return false;
}

std::string CMySettingsStore::LastError() {
  std::lock_guard lock(m_mutex);
  return m_strLastError;
}

std::filesystem::path CMySettingsStore::EditorFilePath() {
  std::lock_guard lock(m_mutex);
  CSettingsFileLock fileLock(m_path);
  RefreshLocked();
  if (!m_bFileExists) SaveLocked();
  return m_path;
}

bool CMySettingsStore::Read(std::string_view strName, bool& bValue) {
  std::int64_t n = 0;
  if (!Read(strName, n)) {
    std::uint64_t u = 0;
    if (!Read(strName, u)) return false;
    bValue = u != 0;
    return true;
  }
  bValue = n != 0;
  return true;
}

bool CMySettingsStore::Read(std::string_view strName, int& nValue) {
  CValue value;
  return Find(strName, kTypeInt, value) && CSettingsValueText::ReadInteger(value.strData, nValue);
}

bool CMySettingsStore::Read(std::string_view strName, unsigned& nValue) {
  CValue value;
  return Find(strName, kTypeInt, value) && CSettingsValueText::ReadInteger(value.strData, nValue);
}

bool CMySettingsStore::Read(std::string_view strName, std::int64_t& nValue) {
  CValue value;
  return Find(strName, kTypeInt, value) && CSettingsValueText::ReadInteger(value.strData, nValue);
}

bool CMySettingsStore::Read(std::string_view strName, std::uint64_t& nValue) {
  CValue value;
  return Find(strName, kTypeInt, value) && CSettingsValueText::ReadInteger(value.strData, nValue);
}

bool CMySettingsStore::Read(std::string_view strName, double& dValue) {
  CValue value;
  return Find(strName, kTypeDouble, value) && CSettingsValueText::ReadDouble(value.strData, dValue);
}

bool CMySettingsStore::Read(std::string_view strName, std::string& strValue) {
  CValue value;
  if (!Find(strName, kTypeText, value)) return false;
  strValue = std::move(value.strData);
  return true;
}

bool CMySettingsStore::Read(std::string_view strName, std::vector<std::string>& astrValue) {
  CValue value;
  if (!Find(strName, kTypeTextList, value)) return false;
  astrValue = std::move(value.astrList);
  return true;
}

bool CMySettingsStore::Read(std::string_view strName, std::vector<std::uint8_t>& abValue) {
  CValue value;
  return Find(strName, kTypeBinary, value) && CSettingsValueText::ReadHex(value.strData, abValue);
}

bool CMySettingsStore::Read(std::string_view strName, CSettingsRect& rcValue) {
  CValue value;
  return Find(strName, kTypeRect, value) && CSettingsValueText::ReadRect(value.strData, rcValue);
}

bool CMySettingsStore::Write(std::string_view strName, bool bValue) {
  return Write(strName, static_cast<int>(bValue ? 1 : 0));
}

bool CMySettingsStore::Write(std::string_view strName, int nValue) {
  return Store(strName, CValue{kTypeInt, std::to_string(nValue), {}});
}

bool CMySettingsStore::Write(std::string_view strName, unsigned nValue) {
  return Store(strName, CValue{kTypeInt, std::to_string(nValue), {}});
}

bool CMySettingsStore::Write(std::string_view strName, std::int64_t nValue) {
  return Store(strName, CValue{kTypeInt, std::to_string(nValue), {}});
}

bool CMySettingsStore::Write(std::string_view strName, std::uint64_t nValue) {
  return Store(strName, CValue{kTypeInt, std::to_string(nValue), {}});
}

bool CMySettingsStore::Write(std::string_view strName, double dValue) {
  std::string strText = CSettingsValueText::DoubleText(dValue);
  if (strText.empty()) return false;
  return Store(strName, CValue{kTypeDouble, std::move(strText), {}});
}

bool CMySettingsStore::Write(std::string_view strName, const std::string& strValue) {
  return Store(strName, CValue{kTypeText, strValue, {}});
}

bool CMySettingsStore::Write(std::string_view strName, const char* pszValue) {
  return Write(strName, std::string(pszValue != nullptr ? pszValue : ""));
}

bool CMySettingsStore::Write(std::string_view strName, const std::vector<std::string>& astrValue) {
  return Store(strName, CValue{kTypeTextList, {}, astrValue});
}

bool CMySettingsStore::Write(std::string_view strName, const std::vector<std::uint8_t>& abValue) {
  return Store(strName, CValue{kTypeBinary, CSettingsValueText::HexText(abValue), {}});
}

bool CMySettingsStore::Write(std::string_view strName, const CSettingsRect& rcValue) {
  return Store(strName, CValue{kTypeRect, CSettingsValueText::RectText(rcValue), {}});
}
