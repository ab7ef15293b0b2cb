#pragma once
// CBackgroundThreadReader: the two workers that move a recording's bytes to the FFT workers.
//
// The same class serves as "File Reader" and as "File Forwarder"; each packet goes only to
// the worker it is meant for.
//   Reader:    PKT_OPEN_FILE opens one file of the recording and skips into its data;
//              PKT_READ fills a file I/O buffer, running straight on into the next file of
//              the series, so the series reads as one continuous stream of samples;
//              PKT_RELEASE closes the file.
//   Forwarder: PKT_FORWARD cuts a filled buffer into (overlapping) FFT blocks and queues
//              them in sample blocks to the least-loaded FFT worker: the buffer's own bytes
//              for the blocks wholly inside it, copies for the blocks that run across two
//              buffers (kept in the staging buffer meanwhile); without a buffer it empties
//              the staging buffer (the start of a run). PKT_RELEASE frees the staging buffer.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "analysis/AnalysisOptions.h"
#include "analysis/AnalysisTimeSplit.h"
#include "analysis/BlockCache.h"
#include "core/BackgroundThreadBase.h"
#include "recording/WaveHeader.h"
#include "recording/WaveStreamFile.h"

class CBackgroundThreadFFT;
struct CSampleBlock;
struct CFileIOBuffer;

class CBackgroundThreadReader final : public CBackgroundThreadBase {
 public:
  CBackgroundThreadReader() = default;
  ~CBackgroundThreadReader() override;

  // Called on the controlling thread while the worker is idle.
  void SetOptions(const CAnalysisOptions& options) { m_options.CopyFrom(options); }
  // Reader: the forwarder that is told of each new run. Forwarder: the FFT workers it feeds
  // and the stored "CMainFrame::MaxThreads" value (nMaxThreadsSetting < 0: none stored).
  void SetForwarder(CBackgroundThreadReader* pForwarder) { m_pForwarder = pForwarder; }
  void SetFFTWorkers(std::vector<CBackgroundThreadFFT*> apWorkers, int nMaxThreadsSetting);
  // Where the large blocks (buffer data, sample blocks) come from; none: fresh each time.
  void SetBlockCache(CBlockCache* pCache) { m_pBlockCache = pCache; }
  // Reading (reader) or forwarding (forwarder) time is added to pSplit.
  void SetTimeSplit(CAnalysisTimeSplit* pSplit) { m_pTimeSplit = pSplit; }

  // The least-loaded worker rule: M = the setting (4 when absent), capped at count − 1 and
  // at least 1 otherwise (count − 1 = 0 leaves M at 0); for L = 0 .. 99 the lowest-numbered
  // of the first M workers whose queue length is L; none found: worker 0. The cap of
  // count − 1 is deliberately tighter than the controller's own thread count.
  static int ChooseWorker(const std::vector<int>& anQueueLengths, int nMaxThreadsSetting);
  // Sample blocks allowed in flight: what physical memory allows after a reserve of
  // max(2,000,000,000 bytes, a fifth of it), divided by one block's cost, then at most the
  // FFT worker count and at least 1.
  static std::uint32_t InFlightLimit(std::uint64_t nPhysicalBytes, std::uint64_t nPrivateBytes,
                                     std::uint32_t nFFTSize, std::uint32_t nBytesPerValue, int nWorkers);
  // Working memory of one FFT worker for FFT order nOrder: the plan and its work vectors.
  static std::uint64_t FFTWorkingMemoryBytes(int nOrder);

 protected:
  void ProcessPacket(CBkgPacket& packet, int nQueuedBehind) override;

 private:
  bool OpenFile(const std::string& strPath, std::uint32_t nSkipBytes, CMessageTarget* pReplyWnd);
  void CloseFile();
  void ReadBuffer(CFileIOBuffer& buffer, CMessageTarget* pReplyWnd);
  std::int64_t ReadPiece(std::uint8_t* pDst, std::size_t nBytes);
  void Forward(CFileIOBuffer* pBuffer, CMessageTarget* pReplyWnd);
  // Counts the sample block's FFT blocks and queues it to the least-loaded FFT worker.
  void Dispatch(std::unique_ptr<CSampleBlock> pBlock, CMessageTarget* pReplyWnd);
  void FreeStaging();
  CBlock TakeBlock(std::size_t nSize);
  static void ReleaseBuffer(CFileIOBuffer& buffer);

  CAnalysisOptions m_options;
  CWaveStreamFile m_file;
  // The 'fmt ' record of the file opened last; it outlives the file, so a read after the
  // series has ended knows its value size and finds no file.
  CWaveFormat m_fmtLast;
  std::string m_strPath;
  // The end of the open file's samples: the end of its 'data' chunk, or of the file when
  // the chunk's stated size cannot be right (0, or past the end of the file).
  std::uint64_t m_nDataEnd = 0;
  CBackgroundThreadReader* m_pForwarder = nullptr;
  CBlockCache* m_pBlockCache = nullptr;
  CAnalysisTimeSplit* m_pTimeSplit = nullptr;

  // Forwarder only.
  CBlock m_pStaging;
  std::uint32_t m_nStagingCapacity = 0;
  std::uint32_t m_nStagingFill = 0;
  std::uint32_t m_nBlockCounter = 0;
  std::uint32_t m_nInFlightLimit = 0;
  bool m_bInFlightLimitComputed = false;
  std::vector<CBackgroundThreadFFT*> m_apWorkers;
  int m_nMaxThreadsSetting = -1;
};
