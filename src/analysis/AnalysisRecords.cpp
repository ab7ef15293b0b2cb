#include "analysis/AnalysisRecords.h"

#include <algorithm>
#include <cstring>

void CFileIOBuffer::Prepare(std::uint32_t nNumber, std::uint32_t nFFTSize) {
  m_pData.reset();
  m_nFormatTag = 0;
  m_nBitsPerSample = 0;
  m_nBufferNumber = nNumber;
  m_nReserved = 0;
  m_nForwardSize = std::max<std::uint32_t>(nFFTSize, 16'777'216u) * 8u;
  m_nAllocationSize = std::max<std::uint32_t>(nFFTSize, 8'388'608u) * 8u;
  m_nBytesRead = 0;
  m_nValuesToRead = std::max<std::uint32_t>(nFFTSize, 8'388'608u) * 2u;
  m_bInUse = 0;
  m_bSuccess = 0;
}

CRowRecord::CRowRecord(std::uint32_t nFFTSize, CBlockCache* pCache)
    : m_nValues(nFFTSize + kHeaderFloats) {
  const std::size_t nBytes = std::size_t{m_nValues} * sizeof(float);
  // new[] storage is aligned for any fundamental type, floats included.
  m_pStorage = pCache ? pCache->Take(nBytes) : CBlockCache::Allocate(nBytes);
  std::memset(m_pStorage.get(), 0, kHeaderFloats * sizeof(float));
}
