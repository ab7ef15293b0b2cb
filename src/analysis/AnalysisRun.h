#pragma once
// CAnalysisRun: one analysis of a recording, driven from one thread (the GUI's user-
// interface thread, or the command-line tool's pump).
//
// The controller prepares the workers, feeds the file reader with buffers while the FFT
// workers' queues are short, passes filled buffers to the forwarder, puts rows that
// arrive out of order back in order and hands them to the picture, reports progress, and
// finishes or aborts the run. Workers answer with registered messages posted to the
// controller's "view" target; whoever pumps that target hands each message to
// HandleMessage() and calls OnTimer() every 100 ms while the run is busy. This is the only
// way in: the GUI view and vexlor-cli drive exactly this class.

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "analysis/AnalysisOptions.h"
#include "analysis/AnalysisRunInterfaces.h"

class CAnalysisThreadPool;
class CMessageTarget;
class CMySettingsStore;
struct CFileIOBuffer;
struct CMessage;
struct CRowRecord;

class CAnalysisRun {
 public:
  static constexpr int kFileBuffers = 10;

  // view receives the workers' answers; mainFrame their log lines.
  CAnalysisRun(CAnalysisThreadPool& pool, CMySettingsStore& settings, CMessageTarget& view,
               CMessageTarget& mainFrame);
  ~CAnalysisRun();
  CAnalysisRun(const CAnalysisRun&) = delete;
  CAnalysisRun& operator=(const CAnalysisRun&) = delete;

  void SetRowConsumer(IAnalysisRowConsumer* pConsumer) { m_pConsumer = pConsumer; }
  void SetStatus(IAnalysisStatus* pStatus) { m_pStatus = pStatus; }
  void SetSound(IAnalysisSound* pSound) { m_pSound = pSound; }
  // Uses nMaxThreads in place of the stored "CMainFrame::MaxThreads" (a command-line
  // choice that is not to be stored); −1 goes back to the setting.
  void SetMaxThreadsOverride(int nMaxThreads) { m_nMaxThreadsOverride = nMaxThreads; }

  // The "Analyse" command: starts a run, or, while a run is busy, asks it to abort.
  void Analyse(const CAnalysisOptions& options);
  // Starts a run with options (checked by the caller); false while a run is busy. When
  // the reader cannot open the first file (IAnalysisStatus::FileOpened(false)) the run
  // reads nothing and stays busy until the abort request ends it.
  bool Start(const CAnalysisOptions& options);
  // The abort request (logged each time it is made): no more reads are asked for by the
  // message handlers and no filled buffer is forwarded. The 100-ms timer, however, goes on asking for reads while the run
  // is busy, so the reader runs on (its buffers thrown away) until the recording's end;
  // every row already dispatched is still applied, and the run ends through the normal
  // finish. This way of stopping is deliberate: a run never ends with rows in flight.
  void RequestAbort();

  // True when msg was one of the analysis messages (and has been handled).
  bool HandleMessage(CMessage& msg);
  // The view's 100-millisecond timer.
  void OnTimer();

  bool IsBusy() const { return m_bBusy; }
  bool IsAborting() const { return m_bAbort; }
  // For a front end that leaves an aborted run without waiting for its end. First the
  // buffers still queued for forwarding are dropped (DropQueuedForwards); once the
  // forwarder is idle (ForwarderIdle) and the rows already posted have been handled,
  // DropBlocksBeyondComputedRows cancels the FFT workers' blocks that have not begun and whose rows all lie beyond
  // every row computed so far: the rows computed before the abort are kept (the blocks
  // below them stay, so no gap is left), and nothing more is computed.
  void DropQueuedForwards();
  void DropBlocksBeyondComputedRows();
  bool ForwarderIdle() const;
  // True once the forwarder and the FFT workers are idle: every row they will post has been
  // posted. Handle what is queued, then the rows applied are the run's contiguous rows.
  bool WorkersIdle() const;
  int ThreadsInUse() const { return m_nThreadsInUse; }
  std::uint32_t RowsApplied() const { return m_nNextRow; }
  std::int64_t RowsDispatched() const { return m_nRowsDispatched; }
  std::int64_t BytesRead() const { return m_nBytesRead; }
  std::size_t PendingRows() const { return m_pendingRows.size(); }
  // The most rows held back at once in this run, waiting for an earlier row.
  std::size_t PeakPendingRows() const { return m_nPeakPendingRows; }
  const CAnalysisOptions& Options() const { return m_options; }

  // Where reading starts: the file of the recording that holds the data offset and the
  // bytes to skip in it. A recording shorter than the offset gives an empty path.
  struct CStartPoint {
    std::string strPath;
    std::uint32_t nSkipBytes = 0;
  };
  static CStartPoint FindStart(const CAnalysisOptions& options);

  // Progress after nBytesRead of nDataLength bytes, nElapsedMs after the start.
  static CAnalysisProgress ComputeProgress(std::int64_t nBytesRead, std::int64_t nDataLength,
                                           std::int64_t nElapsedMs);
  // "%d:%02d" (minutes, seconds), or from one hour on "%d:%02d:%02d".
  static std::string FormatRemaining(std::int64_t nSeconds);

 private:
  void OnFileOpen(std::uint32_t nBits, bool bSuccess);
  void OnFileRead(std::intptr_t nBuffer);
  void OnFFTOutput(std::uint32_t nRow, std::unique_ptr<CRowRecord> pRecord);
  void OnFFTBuff();
  void OnThreadStatus(std::uintptr_t w, std::intptr_t l);
  void RequestRead();
  void ApplyRow(std::uint32_t nRow, const CRowRecord& record);
  void CheckFinished();
  void Finish();
  void PrepareBuffers();
  void PurgeRetiredBuffers();
  void WaitForFileThreads();
  std::int64_t ElapsedMs() const;

  CAnalysisThreadPool& m_pool;
  CMySettingsStore& m_settings;
  CMessageTarget& m_view;
  CMessageTarget& m_mainFrame;
  IAnalysisRowConsumer* m_pConsumer = nullptr;
  IAnalysisStatus* m_pStatus = nullptr;
  IAnalysisSound* m_pSound = nullptr;
  int m_nMaxThreadsOverride = -1;

  CAnalysisOptions m_options;
  bool m_bBusy = false;
  bool m_bAbort = false;
  bool m_bEndOfData = false;
  bool m_bReadFinished = false;
  // Set when the forwarder has cut every buffer forwarded before read-finished: only then
  // is the count of dispatched rows final. The forwarder answers a PKT_STATUS queued
  // behind those buffers.
  bool m_bForwarderDrained = false;
  bool m_bDrainQueued = false;
  // The reader could not open the first file: only the abort ends the run.
  bool m_bOpenFailed = false;
  std::uint32_t m_nRunSerial = 0;
  std::int64_t m_nBytesRead = 0;
  std::chrono::steady_clock::time_point m_tStart;
  int m_nThreadsInUse = 1;
  std::vector<std::intptr_t> m_anWorkerStates;
  std::intptr_t m_nOwnState = 0;
  std::int64_t m_nRowsDispatched = -1;
  std::uint32_t m_nNextRow = 0;
  std::map<std::uint32_t, std::unique_ptr<CRowRecord>> m_pendingRows;
  std::size_t m_nPeakPendingRows = 0;

  std::vector<std::unique_ptr<CFileIOBuffer>> m_apBuffers;
  // Buffers of an earlier run still out with the reader; freed once they come back.
  std::vector<std::unique_ptr<CFileIOBuffer>> m_apRetiredBuffers;
  // The window table the FFT workers share; unchanged while a run may use it.
  std::vector<float> m_afWindow;
};
