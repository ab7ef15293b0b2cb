#pragma once
// CAnalysisThreadPool: the long-lived analysis workers, made once at start and kept until
// the program ends: the FFT workers ("FFT 1" ... at idle priority), then "File Reader" and
// "File Forwarder" (below normal). The GUI's application object and the command-line tool
// both own one; analyses reuse the workers, with PKT_RELEASE and new options between runs.

#include <memory>
#include <vector>

#include "analysis/BackgroundThreadFFT.h"
#include "analysis/BackgroundThreadReader.h"
#include "analysis/AnalysisTimeSplit.h"

class CMessageTarget;
class CMySettingsStore;

class CAnalysisThreadPool {
 public:
  CAnalysisThreadPool() = default;
  ~CAnalysisThreadPool();
  CAnalysisThreadPool(const CAnalysisThreadPool&) = delete;
  CAnalysisThreadPool& operator=(const CAnalysisThreadPool&) = delete;

  // Creates and starts the workers with pMainFrame as their log window. nFFTWorkers <= 0
  // takes the usable processor count (processors − 1, at least 1). The FFT workers run at
  // idle priority so that the rest of the machine stays responsive; a tool that wants its
  // result regardless of other load may ask for another. False when a thread could not be
  // started: that is logged, nothing waits for it and no further thread is started.
  bool Create(CMessageTarget* pMainFrame, int nFFTWorkers = 0, int nFFTPriority = THREAD_PRIORITY_IDLE);
  // Orderly stop: waits for each worker's queue to drain (at most 10000 ms each), then ends
  // the reader, the forwarder and every FFT worker in that order.
  void Shutdown();

  int FFTWorkerCount() const { return static_cast<int>(m_apFFT.size()); }
  CBackgroundThreadFFT& FFTWorker(int i) { return *m_apFFT[static_cast<std::size_t>(i)]; }
  CBackgroundThreadReader& Reader() { return m_reader; }
  CBackgroundThreadReader& Forwarder() { return m_forwarder; }
  std::vector<CBackgroundThreadFFT*> FFTWorkers() const;
  // Workers busy at the moment (processing a packet or with packets queued): the status
  // bar's "Threads".
  int BusyThreadCount() const;
  // The large blocks that the reader and the forwarder reuse from run to run.
  CBlockCache& BlockCache() { return m_blockCache; }
  // Where the time of the current (or last) run went; the workers add to it.
  CAnalysisTimeSplit& TimeSplit() { return m_timeSplit; }

  // "CMainFrame::MaxThreads": the FFT workers an analysis may use; the stored value, or
  // min(workers, 4) when none is stored, clamped to 1 .. workers.
  static int MaxThreads(CMySettingsStore& settings, int nFFTWorkers);
  // The same from a stored value (−1: none stored).
  static int MaxThreads(int nStoredMaxThreads, int nFFTWorkers);
  // The stored value of "CMainFrame::MaxThreads", −1 when none is stored.
  static int StoredMaxThreads(CMySettingsStore& settings);
  // "CMainFrame::FFTHint": 1 "Fast" (the default) or 2 "Best".
  static int FFTHint(CMySettingsStore& settings);

 private:
  CBlockCache m_blockCache;
  CAnalysisTimeSplit m_timeSplit;
  std::vector<std::unique_ptr<CBackgroundThreadFFT>> m_apFFT;
  CBackgroundThreadReader m_reader;
  CBackgroundThreadReader m_forwarder;
  bool m_bCreated = false;
};
