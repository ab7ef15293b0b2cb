#include "recording/RecordingCaches.h"

std::optional<std::uint32_t> CRecordingCaches::FindDataSize(const std::string& strPath) const {
  std::lock_guard lock(m_mutex);
  auto it = m_dataSizes.find(strPath);
  if (it == m_dataSizes.end()) return std::nullopt;
  return it->second;
}

void CRecordingCaches::StoreDataSize(const std::string& strPath, std::uint32_t nSize) {
  std::lock_guard lock(m_mutex);
  m_dataSizes[strPath] = nSize;
}

std::optional<std::string> CRecordingCaches::FindDescription(const std::string& strPath) const {
  std::lock_guard lock(m_mutex);
  auto it = m_descriptions.find(strPath);
  if (it == m_descriptions.end()) return std::nullopt;
  return it->second;
}

void CRecordingCaches::StoreDescription(const std::string& strPath, const std::string& strText) {
  std::lock_guard lock(m_mutex);
  m_descriptions[strPath] = strText;
}

void CRecordingCaches::Clear() {
  std::lock_guard lock(m_mutex);
  m_dataSizes.clear();
  m_descriptions.clear();
}

CRecordingCaches& RecordingCaches() {
  static CRecordingCaches caches;
  return caches;
}
