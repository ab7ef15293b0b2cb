#include "analysis/BackgroundThreadReader.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "analysis/AnalysisRecords.h"
#include "analysis/AnalysisThreadPool.h"
#include "analysis/BackgroundThreadFFT.h"
#include "core/AppState.h"
#include "core/ProcessFigures.h"
#include "core/RegisteredMessages.h"

namespace {

constexpr std::size_t kReadPieceBytes = 1'048'576;
constexpr std::uint32_t kMinForwardSamples = 16'777'216;

}  // namespace

CBackgroundThreadReader::~CBackgroundThreadReader() { StopThread(); }

void CBackgroundThreadReader::SetFFTWorkers(std::vector<CBackgroundThreadFFT*> apWorkers, int nMaxThreadsSetting) {
  m_apWorkers = std::move(apWorkers);
  m_nMaxThreadsSetting = nMaxThreadsSetting;
}

void CBackgroundThreadReader::ProcessPacket(CBkgPacket& packet, int) {
  switch (packet.m_nType) {
    case PKT_OPEN_FILE:
      // A new run starts with no leftover bytes in the forwarder. Queued before the reply,
      // so it reaches the forwarder ahead of any buffer of the run.
      if (m_pForwarder) m_pForwarder->QueuePacket(std::make_unique<CBkgPacket>(PKT_FORWARD));
      OpenFile(packet.m_str1, packet.m_nParam1, packet.m_pReplyWnd);
      break;
    case PKT_READ:
      if (auto* pBuffer = static_cast<CFileIOBuffer*>(packet.m_pPayload)) ReadBuffer(*pBuffer, packet.m_pReplyWnd);
      break;
    case PKT_FORWARD:
      Forward(static_cast<CFileIOBuffer*>(packet.m_pPayload), packet.m_pReplyWnd);
      break;
    case PKT_STATUS:
      EchoStatus(packet);
      break;
    case PKT_RELEASE:
      CloseFile();
      FreeStaging();
      break;
    default:
      break;
  }
}

// ---------------------------------------------------------------------------------------
// Reader

void CBackgroundThreadReader::CloseFile() {
  if (m_file.IsOpen()) m_file.Close();
}

bool CBackgroundThreadReader::OpenFile(const std::string& strPath, std::uint32_t nSkipBytes,
                                       CMessageTarget* pReplyWnd) {
  CloseFile();
  m_strPath = strPath;
  const bool bOk = m_file.Open(strPath, nSkipBytes, pReplyWnd, [this](const std::string& strLine) {
    Log("%s", strLine.c_str());
  });
  m_fmtLast = m_file.Format();
  if (!bOk) return false;
  // Reading stops at the end of the 'data' chunk, so that a chunk after it never passes
  // for samples; a size that a recorder never patched (0) reads to the end of the file.
  const MMCKINFO& data = m_file.DataChunk();
  const std::uint64_t nFileSize = m_file.File().Size();
  m_nDataEnd = data.cksize == 0 ? nFileSize : std::min<std::uint64_t>(data.dwDataOffset + data.cksize, nFileSize);
  return true;
}

std::int64_t CBackgroundThreadReader::ReadPiece(std::uint8_t* pDst, std::size_t nBytes) {
  const std::uint64_t nPos = m_file.File().Position();
  if (nPos >= m_nDataEnd) return 0;
  nBytes = static_cast<std::size_t>(std::min<std::uint64_t>(nBytes, m_nDataEnd - nPos));
  return m_file.Read(pDst, nBytes);
}

void CBackgroundThreadReader::ReadBuffer(CFileIOBuffer& buffer, CMessageTarget* pReplyWnd) {
  CAnalysisTimeSplit::CTimer timer(m_pTimeSplit);
  timer.Until(CAnalysisTimeSplit::READ);
  // The format of the file last opened: after the last file of the series has closed, its
  // format stays, and the read below finds no file and returns nothing.
  buffer.m_nFormatTag = m_fmtLast.wFormatTag;
  buffer.m_nBitsPerSample = m_fmtLast.wBitsPerSample;
  buffer.m_nBytesRead = 0;
  buffer.m_bSuccess = 0;
  const std::uint64_t nToRead =
      std::min<std::uint64_t>(std::uint64_t{m_fmtLast.wBitsPerSample / 8u} * buffer.m_nValuesToRead, buffer.m_nAllocationSize);
  buffer.m_pData = TakeBlock(buffer.m_nAllocationSize);
  std::uint8_t* pData = buffer.m_pData.get();

  while (buffer.m_nBytesRead < nToRead) {
    if (!m_file.IsOpen()) break;
    std::uint64_t nGot = 0;
    bool bError = false;
    while (buffer.m_nBytesRead + nGot < nToRead) {
      const std::size_t nPiece =
          static_cast<std::size_t>(std::min<std::uint64_t>(kReadPieceBytes, nToRead - buffer.m_nBytesRead - nGot));
      const std::int64_t n = ReadPiece(pData + buffer.m_nBytesRead + nGot, nPiece);
      if (n < 0) bError = true;
      if (n <= 0) break;
      nGot += static_cast<std::uint64_t>(n);
    }
    if (nGot > 0) {
      buffer.m_nBytesRead += static_cast<std::uint32_t>(nGot);
      continue;
    }
    if (bError) {
      Log("Read");
      Log("Error reading: %s", MmioErrorText(m_file.File().LastError()).c_str());
    }
    // The file has ended: go on with the next file of the series, if there is one.
    const std::string strClosed = m_strPath;
    CloseFile();
    const auto& names = m_options.m_astrRecordingFilenames;
    const auto itEnd = names.empty() ? names.end() : names.end() - 1;
    const auto it = std::find(names.begin(), itEnd, strClosed);
    if (it == itEnd || (it + 1)->empty()) break;
    // A file that cannot be opened (it vanished mid-run) is logged by OpenFile; the stream
    // then ends here as if the recording ended.
    OpenFile(*(it + 1), 0, nullptr);
  }
  buffer.m_bSuccess = m_file.IsOpen() ? 1 : 0;
  if (pReplyWnd)
    pReplyWnd->Post(RegMsgSDR::nMsgFileRead, 0, reinterpret_cast<std::intptr_t>(&buffer));
}

// ---------------------------------------------------------------------------------------
// Forwarder

CBlock CBackgroundThreadReader::TakeBlock(std::size_t nSize) {
  return m_pBlockCache ? m_pBlockCache->Take(nSize) : CBlockCache::Allocate(nSize);
}

void CBackgroundThreadReader::FreeStaging() {
  m_pStaging.reset();
  m_nStagingCapacity = 0;
  m_nStagingFill = 0;
}

void CBackgroundThreadReader::ReleaseBuffer(CFileIOBuffer& buffer) {
  buffer.FreeData();
  buffer.m_nBytesRead = 0;
  buffer.m_nReserved = 0;
  // Last: from here on the controller may reuse the buffer.
  buffer.m_bInUse.store(0, std::memory_order_release);
}

int CBackgroundThreadReader::ChooseWorker(const std::vector<int>& anQueueLengths, int nMaxThreadsSetting) {
  const int nCount = static_cast<int>(anQueueLengths.size());
  int m = nMaxThreadsSetting < 0 ? 4 : nMaxThreadsSetting;
  if (m > nCount - 1)
    m = nCount - 1;
  else
    m = std::max(m, 1);
  for (int nLength = 0; nLength < 100; ++nLength) {
    for (int i = 0; i < m; ++i) {
      if (anQueueLengths[static_cast<std::size_t>(i)] == nLength) return i;
    }
  }
  return 0;
}

std::uint64_t CBackgroundThreadReader::FFTWorkingMemoryBytes(int nOrder) {
  // Two complex work vectors (8 bytes a point each) and FFTW's plan: twiddle tables and
  // scratch of about one more complex vector, twice over for safety.
  const std::uint64_t n = std::uint64_t{1} << std::clamp(nOrder, 0, 40);
  return n * 8u * 4u;
}

std::uint32_t CBackgroundThreadReader::InFlightLimit(std::uint64_t nPhysicalBytes, std::uint64_t nPrivateBytes,
                                                     std::uint32_t nFFTSize, std::uint32_t nBytesPerValue,
                                                     int nWorkers) {
  const double dReserve = std::max(2'000'000'000.0, 0.2 * static_cast<double>(nPhysicalBytes));
  const double dAvailable = static_cast<double>(nPhysicalBytes) - static_cast<double>(nPrivateBytes) - dReserve;
  const int nOrder = static_cast<int>(std::log2(static_cast<double>(std::max<std::uint32_t>(nFFTSize, 1))) + 0.0001);
  const double dCost = static_cast<double>(FFTWorkingMemoryBytes(nOrder)) +
                       static_cast<double>(std::max(nFFTSize, kMinForwardSamples)) * nBytesPerValue * 8.0;
  double dLimit = dAvailable > 0 ? std::floor(dAvailable / dCost) : 0.0;
  dLimit = std::min(dLimit, static_cast<double>(std::max(nWorkers, 0)));
  return static_cast<std::uint32_t>(std::max(dLimit, 1.0));
}

void CBackgroundThreadReader::Dispatch(std::unique_ptr<CSampleBlock> pBlock, CMessageTarget* pReplyWnd) {
  m_nBlockCounter += pBlock->m_nBlockCount;
  if (m_apWorkers.empty() || AppState::bShuttingDown) return;
  std::vector<int> anQueueLengths(m_apWorkers.size());
  for (std::size_t i = 0; i < m_apWorkers.size(); ++i) anQueueLengths[i] = m_apWorkers[i]->CurrentQueueLength();
  CBackgroundThreadFFT* pWorker = m_apWorkers[static_cast<std::size_t>(ChooseWorker(anQueueLengths, m_nMaxThreadsSetting))];
  pWorker->QueuePacket(std::make_unique<CFFTPacket>(std::move(pBlock), pReplyWnd));
  if (pReplyWnd) {
    pReplyWnd->Post(RegMsgSDR::nMsgFFTFinal, 0, m_nBlockCounter);
    pReplyWnd->Post(RegMsgSDR::nMsgFFTInUse, 0, m_nInFlightLimit);
  }
}

void CBackgroundThreadReader::Forward(CFileIOBuffer* pBuffer, CMessageTarget* pReplyWnd) {
  if (!pBuffer) {
    FreeStaging();
    return;
  }
  CAnalysisTimeSplit::CTimer timer(m_pTimeSplit);
  timer.Until(CAnalysisTimeSplit::FORWARD);
  CFileIOBuffer& buffer = *pBuffer;
  const std::uint32_t nCapacity = 2u * buffer.m_nForwardSize;
  if (m_nStagingCapacity != nCapacity) FreeStaging();
  if (!m_pStaging) {
    m_pStaging = CBlockCache::Allocate(nCapacity);
    m_nStagingCapacity = nCapacity;
    m_nStagingFill = 0;
    m_nBlockCounter = 0;
    m_bInFlightLimitComputed = false;
  }
  const std::uint32_t n = m_options.m_nAnalysisFFTSize;
  const std::uint32_t b = buffer.m_nBitsPerSample / 8u;
  const std::uint64_t nBlockBytes = std::uint64_t{b} * n * 2u;
  const std::uint64_t nStepBytes = std::uint64_t{CAnalysisOptions::StepSamples(n, m_options.m_nAnalysisOverlap)} * b * 2u;
  // A step of 0 is refused by the option checks; here it would never leave the loop.
  if (nBlockBytes == 0 || nStepBytes == 0 || nBlockBytes > m_nStagingCapacity / 2) {
    ReleaseBuffer(buffer);
    return;
  }
  const std::uint8_t* pIn = buffer.m_pData ? buffer.m_pData.get() : nullptr;
  const std::uint64_t nIn = pIn ? buffer.m_nBytesRead : 0;
  if (!m_bInFlightLimitComputed && m_nStagingFill + nIn >= nBlockBytes) {
    m_nInFlightLimit = InFlightLimit(PhysicalMemoryBytes(), PrivateMemoryBytes(), n, b,
                                     static_cast<int>(m_apWorkers.size()));
    m_bInFlightLimitComputed = true;
  }

  // The FFT blocks follow one another every step bytes through the stream. The staging
  // buffer holds the stream from the start of the next block up to the end of the last
  // buffer, less than one block. The blocks that start there are completed with the head
  // of this buffer and copied whole into sample blocks; every block that lies wholly
  // inside this buffer is transformed from the buffer's own bytes, which go to the FFT
  // worker as they are; the tail from the next block's start is kept for the next buffer.
  std::uint64_t nStart = 0;  // of the first block not yet sent, in this buffer
  if (m_nStagingFill > 0) {
    const std::uint64_t nHeld = m_nStagingFill;
    const std::uint64_t nLastStart = (nHeld - 1) / nStepBytes * nStepBytes;
    const std::uint64_t nHead = std::min(nIn, nLastStart + nBlockBytes - nHeld);
    if (nHead) std::memcpy(m_pStaging.get() + nHeld, pIn, nHead);
    m_nStagingFill = static_cast<std::uint32_t>(nHeld + nHead);
    const std::uint64_t nBlockCapacity = std::uint64_t{std::max(n, kMinForwardSamples)} * b * 2u;
    std::uint64_t p = 0;
    while (p < nHeld && m_nStagingFill - p >= nBlockBytes) {
      auto pBlock = std::make_unique<CSampleBlock>();
      pBlock->m_nFormatTag = buffer.m_nFormatTag;
      pBlock->m_nBitsPerSample = buffer.m_nBitsPerSample;
      pBlock->m_nFirstRow = m_nBlockCounter;
      pBlock->m_nStepBytes = static_cast<std::uint32_t>(nBlockBytes);
      pBlock->m_pData = TakeBlock(nBlockCapacity);
      for (std::uint64_t nUsed = 0;
           nUsed + nBlockBytes <= nBlockCapacity && p < nHeld && m_nStagingFill - p >= nBlockBytes;
           nUsed += nBlockBytes, p += nStepBytes) {
        std::memcpy(pBlock->m_pData.get() + nUsed, m_pStaging.get() + p, nBlockBytes);
        ++pBlock->m_nBlockCount;
      }
      Dispatch(std::move(pBlock), pReplyWnd);
    }
    if (p < nHeld) {
      // This buffer ended before the next block could be completed.
      const std::uint64_t nLeft = m_nStagingFill - p;
      std::memmove(m_pStaging.get(), m_pStaging.get() + p, nLeft);
      m_nStagingFill = static_cast<std::uint32_t>(nLeft);
      ReleaseBuffer(buffer);
      return;
    }
    nStart = p - nHeld;
    m_nStagingFill = 0;
  }
  std::uint32_t nBlocks = 0;
  if (nIn >= nStart + nBlockBytes) nBlocks = static_cast<std::uint32_t>((nIn - nStart - nBlockBytes) / nStepBytes + 1);
  const std::uint64_t nNext = nStart + std::uint64_t{nBlocks} * nStepBytes;
  if (nIn > nNext) std::memcpy(m_pStaging.get(), pIn + nNext, nIn - nNext);
  m_nStagingFill = static_cast<std::uint32_t>(nIn > nNext ? nIn - nNext : 0);
  if (nBlocks > 0) {
    auto pBlock = std::make_unique<CSampleBlock>();
    pBlock->m_nFormatTag = buffer.m_nFormatTag;
    pBlock->m_nBitsPerSample = buffer.m_nBitsPerSample;
    pBlock->m_nFirstRow = m_nBlockCounter;
    pBlock->m_nOffset = static_cast<std::uint32_t>(nStart);
    pBlock->m_nStepBytes = static_cast<std::uint32_t>(nStepBytes);
    pBlock->m_nBlockCount = nBlocks;
    pBlock->m_pData = std::move(buffer.m_pData);
    Dispatch(std::move(pBlock), pReplyWnd);
  }
  ReleaseBuffer(buffer);
}
