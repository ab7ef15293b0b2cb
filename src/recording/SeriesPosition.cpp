#include "recording/SeriesPosition.h"

#include <algorithm>

#include "recording/RecordingDescription.h"

bool FindSeriesPosition(const std::vector<std::string>& astrFiles, const std::vector<std::uint32_t>& anSizes,
                        std::size_t nFiles, std::uint64_t nByte, CSeriesPosition& position) {
  position = CSeriesPosition{};
  nFiles = std::min(nFiles, astrFiles.size());
  for (std::size_t i = 0; i < nFiles; ++i) {
    const std::uint64_t nSize = i < anSizes.size() ? anSizes[i] : 0;
    if (nByte < nSize || i + 1 == nFiles) {
      position.m_strFile = astrFiles[i];
      position.m_nIndex = i;
      position.m_nOffset = static_cast<std::uint32_t>(std::min(nByte, nSize));
      return nByte < nSize;
    }
    nByte -= nSize;
  }
  return false;
}

bool FindSeriesPosition(const CRecordingDescription& desc, std::uint64_t nByte, CSeriesPosition& position) {
  return FindSeriesPosition(desc.m_astrFileNames, desc.m_anFileSizes, desc.m_nFiles, nByte, position);
}

std::uint64_t SeriesBytesBefore(const std::vector<std::string>& astrFiles, const std::vector<std::uint32_t>& anSizes,
                                const std::string& strFile) {
  std::uint64_t nSum = 0;
  for (std::size_t i = 0; i < astrFiles.size() && astrFiles[i] != strFile; ++i)
    nSum += i < anSizes.size() ? anSizes[i] : 0;
  return nSum;
}
