#include "recording/IQSeriesReader.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/Log.h"
#include "recording/RecordingDescription.h"

namespace {
// Raw bytes read at a time.
constexpr std::size_t kReadBytes = 1u << 18;
}  // namespace

bool CIQSeriesReader::Fail(const std::string& strError) {
  m_strError = strError;
  return false;
}

bool CIQSeriesReader::Open(const CRecordingDescription& desc, bool bSwapIQ, LogFunction log) {
  Close();
  m_strError.clear();
  const std::size_t nFiles = std::min<std::size_t>(desc.m_nFiles, desc.m_astrFileNames.size());
  if (nFiles == 0) return Fail("the recording has no files");
  m_astrFiles.assign(desc.m_astrFileNames.begin(), desc.m_astrFileNames.begin() + nFiles);
  m_anSizes.assign(nFiles, 0);
  for (std::size_t i = 0; i < nFiles && i < desc.m_anFileSizes.size(); ++i) m_anSizes[i] = desc.m_anFileSizes[i];
  m_nTotalBytes = 0;
  for (const std::uint32_t nSize : m_anSizes) m_nTotalBytes += nSize;
  m_nRate = desc.m_nFmtSampleRate ? desc.m_nFmtSampleRate : desc.m_nSampleRate;
  m_nBytesPerComplex = desc.m_nBitsPerSample / 8 * 2;
  if (m_nRate == 0) return Fail("the recording has no sample rate");
  if (m_nBytesPerComplex == 0) return Fail("the recording has no sample width");
  m_bSwapIQ = bSwapIQ;
  m_log = std::move(log);
  return SeekToByte(0);
}

void CIQSeriesReader::Close() {
  m_file.Close();
  m_nFileLeft = 0;
  m_nPositionBytes = 0;
  m_nFileIndex = 0;
}

bool CIQSeriesReader::OpenFile(std::size_t nIndex, std::uint32_t nOffset) {
  m_file.Close();
  m_nFileIndex = nIndex;
  m_nFileLeft = 0;
  const std::string& strPath = m_astrFiles[nIndex];
  if (!m_file.Open(strPath, nOffset, nullptr, m_log ? m_log : [](const std::string&) {}))
    return Fail(strPath + ": cannot be opened as a WAVE file");
  if (!m_converter.Setup(m_file.Format(), m_bSwapIQ)) {
    const std::string strFormat = CIQSampleConverter::FormatText(m_file.Format().wFormatTag,
                                                                 m_file.Format().wBitsPerSample);
    m_file.Close();
    return Fail(strPath + ": unsupported sample format (" + strFormat + ")");
  }
  if (m_converter.BytesPerComplex() != m_nBytesPerComplex) {
    m_file.Close();
    return Fail(strPath + ": its sample width differs from the first file's");
  }
  // The data as listed, within what the file holds.
  const std::uint64_t nListed = m_anSizes[nIndex] > nOffset ? m_anSizes[nIndex] - nOffset : 0;
  m_nFileLeft = std::min<std::uint64_t>(nListed, m_file.DataBytesLeft());
  return true;
}

bool CIQSeriesReader::SeekToByte(std::uint64_t nByte) {
  m_strError.clear();
  if (m_astrFiles.empty()) return Fail("no recording is open");
  nByte -= nByte % m_nBytesPerComplex;
  if (nByte > m_nTotalBytes) return Fail(StrFormat("byte %llu is beyond the end of the recording",
                                                   static_cast<unsigned long long>(nByte)));
  CSeriesPosition position;
  FindSeriesPosition(m_astrFiles, m_anSizes, m_astrFiles.size(), nByte, position);
  m_nPositionBytes = nByte;
  // A file's data need not hold whole samples; the offset within it is what the walk gave.
  return OpenFile(position.m_nIndex, position.m_nOffset);
}

bool CIQSeriesReader::SeekToTime(double tSeconds) {
  if (!(tSeconds >= 0.0)) return Fail("a time before the start of the recording");
  const double dSample = std::floor(tSeconds * m_nRate);
  return SeekToByte(static_cast<std::uint64_t>(dSample) * m_nBytesPerComplex);
}

CSeriesPosition CIQSeriesReader::Position() const {
  CSeriesPosition position;
  FindSeriesPosition(m_astrFiles, m_anSizes, m_astrFiles.size(), m_nPositionBytes, position);
  return position;
}

std::int64_t CIQSeriesReader::Read(std::complex<float>* pOut, std::size_t nMax) {
  std::size_t nDone = 0;
  std::size_t nCarried = 0;  // bytes of a sample split between two files
  const std::size_t nBpc = m_nBytesPerComplex;
  while (nDone < nMax) {
    if (m_nFileLeft == 0) {
      if (m_nFileIndex + 1 >= m_astrFiles.size()) break;
      if (!OpenFile(m_nFileIndex + 1, 0)) return -1;
      continue;
    }
    const std::size_t nWanted = std::min<std::uint64_t>({(nMax - nDone) * nBpc - nCarried,
                                                         kReadBytes, m_nFileLeft});
    if (m_abRaw.size() < nCarried + nWanted) m_abRaw.resize(std::max(nCarried + nWanted, kReadBytes + nBpc));
    const std::int64_t nGot = m_file.Read(m_abRaw.data() + nCarried, nWanted);
    if (nGot < 0) {
      Fail(m_astrFiles[m_nFileIndex] + ": read error");
      return -1;
    }
    if (nGot == 0) {  // the file holds less than its data size claimed
      m_nFileLeft = 0;
      continue;
    }
    m_nFileLeft -= static_cast<std::uint64_t>(nGot);
    const std::size_t nBytes = nCarried + static_cast<std::size_t>(nGot);
    const std::size_t nCount = nBytes / nBpc;
    m_converter.Convert(m_abRaw.data(), nCount, pOut + nDone);
    nDone += nCount;
    m_nPositionBytes += nCount * nBpc;
    nCarried = nBytes - nCount * nBpc;
    if (nCarried) std::memmove(m_abRaw.data(), m_abRaw.data() + nCount * nBpc, nCarried);
  }
  return static_cast<std::int64_t>(nDone);
}
