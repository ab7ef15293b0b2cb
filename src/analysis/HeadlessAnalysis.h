#pragma once
// CHeadlessAnalysis: the analysis without a window, for the command-line tool, the tests
// and the benchmarks. One message queue stands in for both the main frame (log lines) and
// the view (the workers' answers); PumpUntilFinished() is the message loop with the view's
// 100-millisecond timer.

#include <atomic>
#include <functional>

#include "analysis/AnalysisRun.h"
#include "analysis/AnalysisThreadPool.h"
#include "core/MessageQueue.h"

class CMySettingsStore;

class CHeadlessAnalysis {
 public:
  // nFFTWorkers <= 0: the usable processor count, as at application start.
  explicit CHeadlessAnalysis(CMySettingsStore& settings, int nFFTWorkers = 0,
                             int nFFTPriority = THREAD_PRIORITY_IDLE);
  ~CHeadlessAnalysis();

  CAnalysisRun& Run() { return m_run; }
  CAnalysisThreadPool& Pool() { return m_pool; }
  CMessageQueue& Queue() { return m_queue; }
  bool Created() const { return m_bCreated; }

  // Handles messages until the run is no longer busy. When *pbAbort turns true the abort
  // request is made (once). onTick runs with every timer tick. With bReturnOnAbort, an
  // aborted run is left as soon as every row analysed before the abort has been handled
  // (the run goes on ending in the engine; a front end about to quit need not wait for it).
  void PumpUntilFinished(const std::atomic<bool>* pbAbort = nullptr, const std::function<void()>& onTick = {},
                         bool bReturnOnAbort = false);
  // Handles whatever is queued now.
  void PumpPending();

 private:
  void Handle(CMessage& msg);

  CMessageQueue m_queue;
  CAnalysisThreadPool m_pool;
  bool m_bCreated;
  CAnalysisRun m_run;
};
