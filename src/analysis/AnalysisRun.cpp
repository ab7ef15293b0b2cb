#include "analysis/AnalysisRun.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "analysis/AnalysisRecords.h"
#include "analysis/AnalysisThreadPool.h"
#include "analysis/AnalysisWindow.h"
#include "core/Log.h"
#include "core/MessageTarget.h"
#include "core/RegisteredMessages.h"
#include "persist/MySettingsStore.h"
#include "recording/SeriesPosition.h"

namespace {

// wParam of the PKT_STATUS that the controller queues behind the last forwarded buffer
// (lParam = the run's serial). Worker numbers are small, and all ones is the view's own.
constexpr std::uintptr_t kForwarderDrainedMarker = 0xFFFFFFFEu;
constexpr std::uintptr_t kOwnStateMarker = 0xFFFFFFFFu;
// FFT sizes from here on are read one buffer at a time.
constexpr std::uint32_t kLargeFFTSize = 33'554'432;

}  // namespace

CAnalysisRun::CAnalysisRun(CAnalysisThreadPool& pool, CMySettingsStore& settings, CMessageTarget& view,
                           CMessageTarget& mainFrame)
    : m_pool(pool), m_settings(settings), m_view(view), m_mainFrame(mainFrame) {}

CAnalysisRun::~CAnalysisRun() {
  // The reader and the forwarder may still hold buffers of this controller (reads asked
  // for after the end): close the file so they come back at once, and wait for them.
  if (m_pool.Reader().IsRunning()) m_pool.Reader().QueuePacket(std::make_unique<CBkgPacket>(PKT_RELEASE));
  WaitForFileThreads();
  for (int i = 0; i < m_pool.FFTWorkerCount(); ++i)
    if (m_pool.FFTWorker(i).IsRunning()) m_pool.FFTWorker(i).WaitUntilIdle(10000);
}

void CAnalysisRun::WaitForFileThreads() {
  if (m_pool.Reader().IsRunning()) m_pool.Reader().WaitUntilIdle(10000);
  if (m_pool.Forwarder().IsRunning()) m_pool.Forwarder().WaitUntilIdle(10000);
}

void CAnalysisRun::Analyse(const CAnalysisOptions& options) {
  if (m_bBusy)
    RequestAbort();
  else
    Start(options);
}

void CAnalysisRun::RequestAbort() {
  if (!m_bBusy) return;
  m_bAbort = true;
  LogLine("Aborting...");
}

CAnalysisRun::CStartPoint CAnalysisRun::FindStart(const CAnalysisOptions& options) {
  const auto& names = options.m_astrRecordingFilenames;
  if (options.m_nAnalysisDataOffset <= 0) return {names.empty() ? std::string() : names.front(), 0};
  CSeriesPosition position;
  const std::size_t nFiles = std::min(names.size(), options.m_anRecordingFileSizes.size());
  if (!FindSeriesPosition(names, options.m_anRecordingFileSizes, nFiles,
                          static_cast<std::uint64_t>(options.m_nAnalysisDataOffset), position))
    return {};
  return {position.m_strFile, position.m_nOffset};
}

void CAnalysisRun::PrepareBuffers() {
  // A buffer still out with the reader (asked for after the last run's end) must outlive
  // its read; it is retired and freed when it comes back.
  for (auto& pBuffer : m_apBuffers) {
    if (pBuffer->m_bInUse.load(std::memory_order_acquire))
      m_apRetiredBuffers.push_back(std::move(pBuffer));
  }
  m_apBuffers.clear();
  for (int i = 0; i < kFileBuffers; ++i) {
    auto pBuffer = std::make_unique<CFileIOBuffer>();
    pBuffer->Prepare(static_cast<std::uint32_t>(i), m_options.m_nAnalysisFFTSize);
    m_apBuffers.push_back(std::move(pBuffer));
  }
  LogF("Initialising %d file I/O buffers, %d MB per buffer", kFileBuffers,
       static_cast<int>(m_apBuffers.front()->m_nAllocationSize / 1'048'576u));
}

void CAnalysisRun::PurgeRetiredBuffers() {
  std::erase_if(m_apRetiredBuffers,
                [](const auto& p) { return !p->m_bInUse.load(std::memory_order_acquire); });
}

bool CAnalysisRun::Start(const CAnalysisOptions& options) {
  if (m_bBusy) return false;
  m_options.CopyFrom(options);
  const std::uint32_t n = m_options.m_nAnalysisFFTSize;

  m_bAbort = false;
  m_bEndOfData = false;
  m_bReadFinished = false;
  m_bForwarderDrained = false;
  m_bDrainQueued = false;
  m_bOpenFailed = false;
  ++m_nRunSerial;
  m_nBytesRead = 0;
  m_nRowsDispatched = -1;
  m_nNextRow = 0;
  m_pendingRows.clear();
  m_nPeakPendingRows = 0;
  m_tStart = std::chrono::steady_clock::now();
  m_pool.TimeSplit().Reset();

  const int nWorkers = m_pool.FFTWorkerCount();
  const int nStoredMaxThreads =
      m_nMaxThreadsOverride >= 0 ? m_nMaxThreadsOverride : CAnalysisThreadPool::StoredMaxThreads(m_settings);
  m_nThreadsInUse = CAnalysisThreadPool::MaxThreads(nStoredMaxThreads, nWorkers);
  LogLine("Analyse");
  LogF("Max threads %d", m_nThreadsInUse);
  if (m_pStatus) m_pStatus->RunStarted();

  // Stale reads of the last run must be back before the buffers and options change.
  WaitForFileThreads();
  m_pool.BlockCache().Trim();
  PrepareBuffers();

  if (m_pConsumer) m_pConsumer->ResetForRun(m_options);
  m_anWorkerStates.assign(static_cast<std::size_t>(nWorkers), 0);
  m_nOwnState = 0;
  if (CAnalysisThreadPool::FFTHint(m_settings) != m_options.m_nFFTHint)
    m_settings.Write("CMainFrame::FFTHint", m_options.m_nFFTHint);

  m_afWindow = BuildAnalysisWindow(m_options.m_eAnalysisWindow, n);

  for (CBackgroundThreadReader* pThread : {&m_pool.Reader(), &m_pool.Forwarder()}) {
    pThread->SetTargetWindow(&m_mainFrame);
    pThread->SetOptions(m_options);
  }
  m_pool.Forwarder().SetFFTWorkers(m_pool.FFTWorkers(), nStoredMaxThreads);
  for (int i = 0; i < nWorkers; ++i) {
    CBackgroundThreadFFT& worker = m_pool.FFTWorker(i);
    // The release queued when the last run finished may still be running on the worker;
    // its options and FFT state change only while it is idle.
    worker.WaitUntilIdle(5000);
    worker.SetTargetWindow(&m_mainFrame);
    worker.SetOptions(m_options);
    worker.QueuePacket(std::make_unique<CBkgPacket>(PKT_WINDOW, nullptr, n, 0, m_afWindow.data()));
    // Each analysis starts from a fresh plan.
    worker.QueuePacket(std::make_unique<CBkgPacket>(PKT_RELEASE));
    worker.WaitUntilIdle(5000);
  }

  const CStartPoint start = FindStart(m_options);
  m_tStart = std::chrono::steady_clock::now();
  m_nBytesRead = 0;
  m_bBusy = true;
  m_bAbort = false;
  auto pOpen = std::make_unique<CBkgPacket>(PKT_OPEN_FILE, &m_view, start.nSkipBytes);
  pOpen->m_str1 = start.strPath;
  m_pool.Reader().QueuePacket(std::move(pOpen));
  return true;
}

bool CAnalysisRun::HandleMessage(CMessage& msg) {
  const unsigned id = msg.nMsg;
  if (id == 0) return false;
  if (id == RegMsgSDR::nMsgFileOpen) {
    OnFileOpen(static_cast<std::uint32_t>(msg.wParam), msg.lParam != 0);
  } else if (id == RegMsgSDR::nMsgFileRead) {
    OnFileRead(msg.lParam);
  } else if (id == RegMsgSDR::nMsgFFTOutput) {
    if (auto pRecord = msg.TakePayload<CRowRecord>())
      OnFFTOutput(static_cast<std::uint32_t>(msg.wParam), std::move(pRecord));
  } else if (id == RegMsgSDR::nMsgFFTBuff) {
    // The sample block goes with the message.
    OnFFTBuff();
  } else if (id == RegMsgSDR::nMsgFFTFinal) {
    m_nRowsDispatched = msg.lParam;
  } else if (id == RegMsgSDR::nMsgFFTInUse) {
    m_nThreadsInUse = static_cast<int>(msg.lParam);
  } else if (id == RegMsgSDR::nMsgThreadStatus) {
    OnThreadStatus(msg.wParam, msg.lParam);
  } else {
    return false;
  }
  return true;
}

void CAnalysisRun::OnTimer() {
  if (m_bBusy) RequestRead();
}

void CAnalysisRun::OnFileOpen(std::uint32_t, bool bSuccess) {
  if (m_pStatus) m_pStatus->FileOpened(bSuccess);
  if (!m_bBusy) return;
  if (!bSuccess) {
    m_bOpenFailed = true;
    return;
  }
  for (int i = 0; i < 3; ++i) RequestRead();
}

void CAnalysisRun::RequestRead() {
  const std::uint32_t k = m_options.m_nAnalysisFFTSize < kLargeFFTSize ? 1 : 0;
  const int nWorkers = m_pool.FFTWorkerCount();
  int nSum = 0;
  bool bAllFull = nWorkers > 0;
  for (int i = 0; i < nWorkers; ++i) {
    const int q = m_pool.FFTWorker(i).CurrentQueueLength();
    nSum += q;
    if (q < static_cast<int>(k + 1)) bAllFull = false;
  }
  if (bAllFull) return;
  if (std::max(m_pool.Reader().CurrentQueueLength(), nSum) >= static_cast<int>(k + 1) * std::max(m_nThreadsInUse, 2))
    return;
  for (auto& pBuffer : m_apBuffers) {
    CFileIOBuffer& buffer = *pBuffer;
    if (buffer.m_bInUse.load(std::memory_order_acquire)) continue;
    buffer.m_bInUse.store(1, std::memory_order_relaxed);
    buffer.m_bSuccess = 0;
    buffer.m_nBytesRead = 0;
    buffer.m_nReserved = 0;
    m_pool.Reader().QueuePacket(std::make_unique<CBkgPacket>(PKT_READ, &m_view, 0, 0, &buffer));
    return;
  }
}

void CAnalysisRun::OnFileRead(std::intptr_t nBuffer) {
  auto* pPosted = reinterpret_cast<CFileIOBuffer*>(nBuffer);
  auto it = std::find_if(m_apBuffers.begin(), m_apBuffers.end(), [&](const auto& p) { return p.get() == pPosted; });
  if (it == m_apBuffers.end()) {
    // A read of an earlier run: nothing to do but free it.
    for (auto& pRetired : m_apRetiredBuffers) {
      if (pRetired.get() != pPosted) continue;
      pRetired->FreeData();
      pRetired->m_bInUse.store(0, std::memory_order_release);
    }
    PurgeRetiredBuffers();
    return;
  }
  CFileIOBuffer& buffer = **it;

  if (m_bReadFinished)
    buffer.m_nBytesRead = 0;
  else if (buffer.m_nBytesRead == 0)
    m_bReadFinished = true;

  if (m_bBusy && !m_bAbort && !m_bEndOfData && !m_bReadFinished) RequestRead();

  m_nBytesRead += buffer.m_nBytesRead;
  const std::int64_t nDataLength = m_options.m_nAnalysisDataLength;
  // The excess is cut from the buffer and from the count alike, so that the progress
  // ends at 100 % rather than up to a buffer beyond it.
  if (!m_options.m_bAnalysisWholeRange && nDataLength > 0 && m_nBytesRead >= nDataLength && !m_bReadFinished) {
    const std::int64_t nExcess = m_nBytesRead - nDataLength;
    buffer.m_nBytesRead -= static_cast<std::uint32_t>(nExcess);
    m_nBytesRead = nDataLength;
    m_bReadFinished = true;
  }
  const std::uint32_t nBytes = buffer.m_nBytesRead;

  if (m_bBusy && !m_bAbort && nBytes > 0) {
    m_pool.Forwarder().QueuePacket(std::make_unique<CBkgPacket>(PKT_FORWARD, &m_view, 0, 0, &buffer));
  } else {
    buffer.m_nBytesRead = 0;
    m_bEndOfData = true;
    buffer.FreeData();
    buffer.m_bInUse.store(0, std::memory_order_release);
  }

  if (m_bBusy && m_bReadFinished && !m_bDrainQueued) {
    m_bDrainQueued = true;
    m_pool.Forwarder().QueuePacket(
        std::make_unique<CBkgPacket>(PKT_STATUS, &m_view, static_cast<std::uint32_t>(kForwarderDrainedMarker), m_nRunSerial));
  }

  if (nBytes > 0 && m_bBusy && m_pStatus)
    m_pStatus->ProgressChanged(ComputeProgress(m_nBytesRead, nDataLength, ElapsedMs()));
  CheckFinished();
}

void CAnalysisRun::OnFFTOutput(std::uint32_t nRow, std::unique_ptr<CRowRecord> pRecord) {
  if (nRow == m_nNextRow) {
    ApplyRow(nRow, *pRecord);
    pRecord.reset();
    ++m_nNextRow;
    for (auto it = m_pendingRows.find(m_nNextRow); it != m_pendingRows.end(); it = m_pendingRows.find(m_nNextRow)) {
      ApplyRow(it->first, *it->second);
      m_pendingRows.erase(it);
      ++m_nNextRow;
    }
  } else if (nRow > m_nNextRow) {
    m_pendingRows.emplace(nRow, std::move(pRecord));
    m_nPeakPendingRows = std::max(m_nPeakPendingRows, m_pendingRows.size());
  }
  CheckFinished();
}

void CAnalysisRun::ApplyRow(std::uint32_t nRow, const CRowRecord& record) {
  CAnalysisTimeSplit::CTimer timer(&m_pool.TimeSplit());
  timer.Until(CAnalysisTimeSplit::ROWS);
  if (m_pConsumer) m_pConsumer->AddRow(nRow, record);
}

void CAnalysisRun::OnFFTBuff() {
  if (m_bBusy && !m_bAbort && !m_bEndOfData && !m_bReadFinished) RequestRead();
}

void CAnalysisRun::OnThreadStatus(std::uintptr_t w, std::intptr_t l) {
  if (w == kForwarderDrainedMarker) {
    if (static_cast<std::uint32_t>(l) == m_nRunSerial) {
      m_bForwarderDrained = true;
      CheckFinished();
    }
  } else if (w == kOwnStateMarker) {
    m_nOwnState = l;
  } else if (w < m_anWorkerStates.size()) {
    m_anWorkerStates[w] = l;
  }
}

void CAnalysisRun::CheckFinished() {
  if (!m_bBusy || !m_bReadFinished || !m_bForwarderDrained) return;
  // After a failed open the run stays busy (the status shows "Initialising") until the
  // user aborts it, even though the timer's reads have long found the stream empty.
  if (m_bOpenFailed && !m_bAbort) return;
  // No row at all was dispatched when the data never filled one FFT block.
  if (static_cast<std::int64_t>(m_nNextRow) == std::max<std::int64_t>(m_nRowsDispatched, 0)) Finish();
}

void CAnalysisRun::Finish() {
  m_bAbort = false;
  m_bEndOfData = true;
  m_bBusy = false;
  m_pendingRows.clear();
  if (m_pConsumer) m_pConsumer->CompleteRun();
  LogLine("Finished");
  LogLine("Time split: " + m_pool.TimeSplit().Text());
  if (m_pStatus) m_pStatus->RunFinished();

  m_pool.Reader().QueuePacket(std::make_unique<CBkgPacket>(PKT_RELEASE));
  m_pool.Forwarder().QueuePacket(std::make_unique<CBkgPacket>(PKT_RELEASE));
  for (int i = 0; i < m_pool.FFTWorkerCount(); ++i)
    m_pool.FFTWorker(i).QueuePacket(std::make_unique<CBkgPacket>(PKT_RELEASE));
  // Between runs the kept blocks go back to the system; reads still out return theirs
  // later and are given back at the next start.
  m_pool.BlockCache().Trim();

  // The setting is read and the sound started twice in a row, as it always has been; the
  // second start replaces the first, so the sound is heard once from its start.
  for (int i = 0; i < 2; ++i) {
    std::string strSound;
    if (!m_settings.Read("PROP_SND_FILE_ANALYSIS", strSound) || strSound.empty()) break;
    if (!std::ifstream(strSound, std::ios::binary).good()) break;
    if (m_pSound) m_pSound->PlayAsync(strSound);
  }
}

std::int64_t CAnalysisRun::ElapsedMs() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - m_tStart).count();
}

std::string CAnalysisRun::FormatRemaining(std::int64_t nSeconds) {
  if (nSeconds < 0) nSeconds = 0;
  const long long h = nSeconds / 3600;
  const long long m = nSeconds / 60 % 60;
  const long long s = nSeconds % 60;
  if (h > 0) return StrFormat("%lld:%02lld:%02lld", h, m, s);
  return StrFormat("%lld:%02lld", m, s);
}

CAnalysisProgress CAnalysisRun::ComputeProgress(std::int64_t nBytesRead, std::int64_t nDataLength,
                                                std::int64_t nElapsedMs) {
  CAnalysisProgress progress;
  progress.nBytesRead = nBytesRead;
  const double dSeconds = static_cast<double>(nElapsedMs) / 1000.0;
  const double dRate = nElapsedMs > 2000 ? static_cast<double>(nBytesRead) / dSeconds / 1'000'000.0 : 0.0;
  progress.strRate = StrFormat("%.1f MB/s", dRate);
  const double p = nDataLength > 0 ? static_cast<double>(nBytesRead * 1000 / nDataLength) / 10.0 : 0.0;
  progress.dPercent = p;
  progress.nProgressBar = static_cast<int>(std::floor(p)) * 10;
  progress.nTaskbarPercent = static_cast<int>(std::ceil(p));
  if (p > 0.0)
    progress.strRemaining = FormatRemaining(
        std::max<std::int64_t>(0, static_cast<std::int64_t>(std::floor((100.0 - p) * dSeconds / p + 0.5))));
  else
    progress.strRemaining = "--:--:--";
  return progress;
}
