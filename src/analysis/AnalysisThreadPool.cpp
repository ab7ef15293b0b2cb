#include "analysis/AnalysisThreadPool.h"

#include <algorithm>

#include "core/Log.h"
#include "core/ProcessFigures.h"
#include "persist/MySettingsStore.h"

CAnalysisThreadPool::~CAnalysisThreadPool() { Shutdown(); }

bool CAnalysisThreadPool::Create(CMessageTarget* pMainFrame, int nFFTWorkers, int nFFTPriority) {
  if (m_bCreated) return true;
  m_bCreated = true;
  m_reader.SetForwarder(&m_forwarder);
  m_reader.SetBlockCache(&m_blockCache);
  m_forwarder.SetBlockCache(&m_blockCache);
  m_reader.SetTimeSplit(&m_timeSplit);
  m_forwarder.SetTimeSplit(&m_timeSplit);
  // A worker that cannot start is logged by Start and never waited for; the pool is then
  // unusable, so no further thread is started.
  const auto start = [&](CBackgroundThreadBase& thread, const std::string& strName, int nPriority) {
    thread.SetThreadName(strName);
    thread.SetTargetWindow(pMainFrame);
    if (!thread.Start()) return false;
    thread.SetPriority(nPriority);
    thread.WaitUntilIdle(0);
    return true;
  };
  const int nCount = nFFTWorkers > 0 ? nFFTWorkers : UsableProcessors();
  for (int i = 0; i < nCount; ++i) {
    auto pWorker = std::make_unique<CBackgroundThreadFFT>(i);
    pWorker->SetTimeSplit(&m_timeSplit);
    const bool bStarted = start(*pWorker, StrFormat("FFT %d", i + 1), nFFTPriority);
    m_apFFT.push_back(std::move(pWorker));
    if (!bStarted) return false;
  }
  return start(m_reader, "File Reader", THREAD_PRIORITY_BELOW_NORMAL) &&
         start(m_forwarder, "File Forwarder", THREAD_PRIORITY_BELOW_NORMAL);
}

void CAnalysisThreadPool::Shutdown() {
  if (!m_bCreated) return;
  m_bCreated = false;
  m_reader.WaitUntilIdle(10000);
  m_forwarder.WaitUntilIdle(10000);
  for (auto& pWorker : m_apFFT) pWorker->WaitUntilIdle(10000);
  m_reader.StopThread();
  m_forwarder.StopThread();
  for (auto& pWorker : m_apFFT) pWorker->StopThread();
}

std::vector<CBackgroundThreadFFT*> CAnalysisThreadPool::FFTWorkers() const {
  std::vector<CBackgroundThreadFFT*> ap;
  for (const auto& p : m_apFFT) ap.push_back(p.get());
  return ap;
}

int CAnalysisThreadPool::StoredMaxThreads(CMySettingsStore& settings) {
  int n = -1;
  if (!settings.Read("CMainFrame::MaxThreads", n)) return -1;
  return n;
}

int CAnalysisThreadPool::MaxThreads(CMySettingsStore& settings, int nFFTWorkers) {
  return MaxThreads(StoredMaxThreads(settings), nFFTWorkers);
}

int CAnalysisThreadPool::MaxThreads(int nStoredMaxThreads, int nFFTWorkers) {
  int n = nStoredMaxThreads;
  if (n < 0) n = std::min(nFFTWorkers, 4);
  return std::clamp(n, 1, std::max(nFFTWorkers, 1));
}

int CAnalysisThreadPool::FFTHint(CMySettingsStore& settings) {
  int n = 1;
  settings.Read("CMainFrame::FFTHint", n);
  return n;
}

int CAnalysisThreadPool::BusyThreadCount() const {
  int n = (m_reader.IsBusy() ? 1 : 0) + (m_forwarder.IsBusy() ? 1 : 0);
  for (const auto& pWorker : m_apFFT) n += pWorker->IsBusy() ? 1 : 0;
  return n;
}
