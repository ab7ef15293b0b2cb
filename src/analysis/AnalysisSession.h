#pragma once
// CAnalysisSession: the analysis document, the one way in to the analysis engine.
//
// Front ends (the desktop GUI, vexlor-cli, kelmorth) reach the engine only through the
// session classes: CAnalysisSession and CSelectionModel here, CPlayerSession for the
// player, CStatusFigures for the status bar, and the log sink and engine faults of core.
// A front end parses input, calls these and shows what they return; a computation that a
// front end needs belongs in a session class, where every front end and the tests reach it.
//
// The session owns the recording description, the analysis options, the picture
// (CAnalysisImage), the tags and the binding to the run controller (CAnalysisRun). It opens
// recordings, loads and saves projects and "CurrentAnalysisOptions.xml", starts and aborts
// runs (any number, one after the other, on one session), and holds the picture's geometry
// in one place: pixel column <-> frequency, picture row <-> recording time, a tag -> its
// rectangle, a point -> CPictureClick.
//
// Threads: every call comes on one thread, the one that pumps the workers' answers. The
// workers post to a message target; the GUI's target posts a Qt event and hands each
// message to HandleMessage() on the GUI thread, and calls OnTimer() every 100 ms while a
// run is busy (kTimerMs). A headless owner (CHeadlessAnalysis: the CLI, tests, benchmarks)
// uses PumpUntilFinished(), which does both. Results reach the front end as calls of its
// IAnalysisSessionListener on that same thread, and as state it can read at any time.
//
// Picture rows: row 0 is the first row of a run and the bottom line of the picture; pixel
// y of row r is Height() - 1 - r. Times are UTC seconds since 1970.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "analysis/AnalysisImage.h"
#include "analysis/AnalysisOptions.h"
#include "analysis/AnalysisRunInterfaces.h"
#include "analysis/PictureClick.h"
#include "analysis/ProjectRowSpool.h"
#include "analysis/SelectionModel.h"
#include "analysis/SignalHistory.h"
#include "core/EngineFaults.h"
#include "persist/TagDefinitions.h"
#include "recording/RecordingDescription.h"

class CAnalysisRun;
class CAnalysisThreadPool;
class CHeadlessAnalysis;
class CMessageTarget;
class CMySettingsStore;
class CProjectProgress;
struct CMessage;

// The state of the current (or last) run, as a status dialog and a status bar show it.
struct SAnalysisRunState {
  bool bBusy = false;
  bool bAborting = false;    // the abort was asked for; the run is still ending
  bool bFinished = false;    // the run has ended (completed or aborted)
  bool bAborted = false;     // ... and it was aborted
  bool bOpenFailed = false;  // the first file could not be opened: only an abort ends the run
  int nProgress = 0;         // 0 .. 1000 (the status dialog's bar)
  double dPercent = 0.0;     // 0 .. 100, in tenths
  double dSeconds = 0.0;             // the run's time so far
  double dMegabytesPerSecond = 0.0;  // bytes read over the run's time, 1,000,000 bytes per MB
  std::string strRate;       // "%.1f MB/s", "Initialising" before the first bytes
  std::string strRemaining;  // "%d:%02d" or "%d:%02d:%02d", "--:--:--" before an estimate
  std::int64_t nBytesRead = 0;
  std::uint32_t nRowsDone = 0;   // rows in the picture
  int nThreadsInUse = 0;         // FFT workers the run uses
};

// What changed in the picture since a view last asked: either everything (a new run, a
// loaded project, a new colouring) or the picture rows [nFirstRow, nEndRow).
struct SPictureChange {
  std::uint64_t nGeneration = 0;  // goes up with every change
  bool bAll = false;
  int nFirstRow = 0;
  int nEndRow = 0;  // exclusive; equal to nFirstRow when nothing changed
  bool Empty() const { return !bAll && nEndRow <= nFirstRow; }
};

// A rectangle of the picture in pixels, right and bottom exclusive, clipped to the picture.
struct SPictureRect {
  int nLeft = 0;
  int nTop = 0;
  int nRight = 0;
  int nBottom = 0;
  bool bVisible = false;  // some of it lies in the picture
};

// The front end's side: every call comes on the session's thread.
class IAnalysisSessionListener {
 public:
  virtual ~IAnalysisSessionListener() = default;
  virtual void RunStarted() {}
  // Progress, at the run controller's pace (about every 100 ms).
  virtual void RunProgress(const SAnalysisRunState& /*state*/) {}
  // New rows, or a redraw of the whole picture (TakePictureChange() says which).
  virtual void PictureChanged() {}
  // The first file of the run could not be opened: the run waits for RequestAbort().
  virtual void FileOpenFailed() {}
  virtual void RunFinished(const SAnalysisRunState& /*state*/) {}
  // A fault the user must see (an FFT plan or buffer that cannot be made ...).
  virtual void EngineFault(const CEngineFault& /*fault*/) {}
};

class CAnalysisSession {
 public:
  // The period at which the owner calls OnTimer() while a run is busy.
  static constexpr int kTimerMs = 100;

  // The GUI's session: the application's shared workers, the settings store, the target the
  // workers answer to (the view; its owner hands each message to HandleMessage) and the one
  // that receives their log lines (the main frame).
  CAnalysisSession(CAnalysisThreadPool& pool, CMySettingsStore& settings, CMessageTarget& view,
                   CMessageTarget& mainFrame);
  // A headless session over the run of engine (whose queue PumpUntilFinished() pumps).
  CAnalysisSession(CHeadlessAnalysis& engine, CMySettingsStore& settings);
  // A document without workers: recordings, projects, the picture and its geometry; it
  // cannot run an analysis (StartAnalysis says so).
  explicit CAnalysisSession(CMySettingsStore& settings);
  ~CAnalysisSession();
  CAnalysisSession(const CAnalysisSession&) = delete;
  CAnalysisSession& operator=(const CAnalysisSession&) = delete;

  void SetListener(IAnalysisSessionListener* pListener) { m_pListener = pListener; }
  void SetSound(IAnalysisSound* pSound);

  // --- The recording ---------------------------------------------------------------------
  // Recognises and measures the recording path belongs to (the whole series) and makes it
  // the document's: the options take its files, timing and format, the analysed band
  // becomes the recording's band and the range its whole length; the analysis choices
  // (FFT size, overlap, window, picture size) stay. On failure returns false with strError
  // "<path>: <reason>" and leaves the document as it was.
  bool OpenRecording(const std::filesystem::path& path, std::string& strError);
  // The same with a description already read (and perhaps completed by the user).
  void UseRecording(CRecordingDescription desc);
  // Recognises and measures a recording without opening it in a session (the whole series,
  // as OpenRecording). False with strError "<path>: <reason>": "File not found", a folder,
  // "File format not supported" or the reader's own reason.
  static bool ReadRecording(const std::filesystem::path& path, CRecordingDescription& desc, std::string& strError);
  bool HasRecording() const { return m_bHaveRecording; }
  const CRecordingDescription& Recording() const { return m_desc; }

  // --- Options ---------------------------------------------------------------------------
  const CAnalysisOptions& Options() const { return m_options; }
  // Changed between runs; call UpdateDerivedValues() after a change of FFT size, overlap
  // or range (StartAnalysis does it too).
  CAnalysisOptions& MutableOptions() { return m_options; }
  void SetOptions(const CAnalysisOptions& options);
  // The New/Edit Project dialog: a model of the open recording and the current options
  // (empty without a recording), and its acceptance: on success the model's recording and
  // options become the document's and "CurrentAnalysisOptions.xml" is saved; on refusal
  // the message box's title and text.
  CSelectionModel SelectionModel() const;
  bool ApplySelection(const CSelectionModel& model, std::string& strTitle, std::string& strMessage);
  void UpdateDerivedValues();
  // The recording's bytes per second: the description's when a recording is open, else the
  // options' own figure (a loaded project).
  std::uint32_t BytesPerSecond() const;
  // "CurrentAnalysisOptions.xml" in folder (the data folder when empty).
  bool LoadCurrentOptions(const std::filesystem::path& folder = {});
  bool SaveCurrentOptions(const std::filesystem::path& folder = {}) const;

  // The picture size a run makes: display width and height from the options, where 0
  // ("Full") gives one column per FFT bin of the band and one line per row the data holds
  // (never less than 1, never more than 1,000,000 lines).
  struct SPictureSize {
    int nWidth = 1;
    int nHeight = 1;
  };
  SPictureSize PictureSizeFor(const CAnalysisOptions& options) const;

  // --- Projects and tags -----------------------------------------------------------------
  // Loads a project: options, rows (the picture, sized to the stated size within its rows)
  // and tags. Fails (false, strMessage the reason) when the file is no project; otherwise
  // true with strMessage empty or telling what damage was worked around. The recording
  // description is the project's own (no recording is opened).
  bool LoadProject(const std::filesystem::path& path, std::string& strMessage, CProjectProgress* pProgress = nullptr);
  // Saves options, rows and tags; false with strError on failure.
  bool SaveProject(const std::filesystem::path& path, std::string& strError,
                   CProjectProgress* pProgress = nullptr) const;
  // The coming runs encode their rows as they arrive, for a project to be saved at path
  // (its folder holds them meanwhile), so that saving after the run only copies them.
  // False (strError says why) when the folder cannot take them; saving then encodes.
  bool SpoolProjectRows(const std::filesystem::path& path, std::string& strError);
  // With a spool, the coming runs keep their rows' levels only there: the picture counts
  // its rows (their times and flags stay) but holds no levels, so memory does not grow with
  // the recording's length. For a run whose only result is the project.
  void KeepRowsOnlyInProject(bool bOnlyInProject) { m_bRowsOnlyInProject = bOnlyInProject; }
  std::size_t SpooledRows() const { return m_pSpool ? m_pSpool->Rows() : 0; }
  const std::filesystem::path& ProjectPath() const { return m_projectPath; }
  CTagDefinitions& Tags() { return m_tags; }
  const CTagDefinitions& Tags() const { return m_tags; }
  // The user's tag list ("Vexlor_TagDefinitions.xml"), when it exists.
  bool LoadDefaultTags();

  // --- Runs ------------------------------------------------------------------------------
  // Starts a run with the current options (derived values brought up to date, checked,
  // picture size resolved and stored in the options). False with strError while a run is
  // busy or when the options cannot be analysed.
  bool StartAnalysis(std::string& strError);
  // The abort request: the run ends through its normal finish, keeping its rows.
  void RequestAbort();
  // A run whose first file cannot be opened waits for the abort (the GUI's status dialog);
  // with this set the session asks for it at once (a front end nobody watches).
  void SetAbortWhenOpenFails(bool bAbort) { m_bAbortWhenOpenFails = bAbort; }
  // FFT workers the runs may use in place of the "CMainFrame::MaxThreads" setting; -1 the setting.
  void SetMaxThreadsOverride(int nMaxThreads);
  bool IsBusy() const;
  const SAnalysisRunState& RunState() const { return m_state; }
  // Worker threads busy at the moment (the status bar's "Threads").
  int BusyWorkerThreads() const;

  // The GUI's message loop: hands a message of the workers to the run (true when it was
  // one), and the 100-ms timer.
  bool HandleMessage(CMessage& msg);
  void OnTimer();
  // Headless sessions only: handles messages until the run is no longer busy; when
  // *pbAbort turns true the abort is asked for. onTick runs with every timer tick. With
  // bReturnOnAbort an aborted run is left once the picture holds every row analysed
  // before the abort, without waiting for the run to end (a front end about to quit).
  void PumpUntilFinished(const std::atomic<bool>* pbAbort = nullptr, const std::function<void()>& onTick = {},
                         bool bReturnOnAbort = false);

  // --- The picture -----------------------------------------------------------------------
  const CAnalysisImage& Image() const { return m_image; }
  int Width() const { return m_image.Width(); }
  int Height() const { return m_image.Height(); }
  // Palette, scaling and contrast; the picture is redrawn from its rows.
  void SetColouring(int nPalette, bool bAutomatic, int nContrast, int nManualFirst, int nManualSecond);
  // Draws every row into nHeight lines, each the maximum of the rows that fall on it (a
  // whole recording on one screen); the geometry below follows the fitted lines.
  void FitPictureHeight(int nHeight);
  // Changes since the last call (a view repaints only those rows).
  SPictureChange TakePictureChange();
  std::uint64_t Generation() const { return m_nGeneration; }

  // --- Geometry (over the picture's current size and the options) ------------------------
  // The frequency at the centre of the bins a column shows, and the column of a frequency
  // (-1 outside the picture): the mapping of the rows' values.
  double ColumnFrequency(int nColumn) const;
  int FrequencyColumn(double dFrequencyHz) const;
  // The linear scale of the analysed band over the picture's width: x = 0 is the band's low
  // edge, x = Width() its high edge (the frequency scale, tags, clicks).
  double FrequencyAtX(double dX) const;
  // The FFT bins (indices 0 .. N - 1 of the spectrum) a column's values come from.
  CAnalysisImage::SBinRange ColumnBins(int nColumn) const;
  double XAtFrequency(double dFrequencyHz) const;
  // Recording time (UTC seconds) of a picture row, and the row nearest a time (not clipped).
  double TimeAtRow(double dRow) const;
  std::int64_t RowAtTime(double tSeconds) const;
  int PixelYOfRow(int nRow) const;
  int RowOfPixelY(int nY) const { return Height() - 1 - nY; }
  // A tag's band and time span as a rectangle of the picture.
  SPictureRect TagRect(const CTagDefinition& tag) const;
  // The tag a rectangle of the picture marks (pixels, right and bottom exclusive, in any
  // corner order): the band between its left and right edges (frequency its centre, both
  // in whole hertz) and the time from its bottom row to its top row (whole seconds, at
  // least 1). TagRect() of it gives the rectangle back where rows are a second or more apart.
  CTagDefinition TagOfRect(int nX0, int nY0, int nX1, int nY1) const;
  // A point of the picture (pixels from its top-left corner).
  CPictureClick Click(int nX, int nY) const;

  // The signal history of a picture column (its level over the time of the recording).
  // The analysed time range decides minute mode. Row times count from the start of the
  // analysed range, yet the history adds the recording's start to them, as its chart always
  // has: for a range that begins later in the recording the times read early by that offset.
  CSignalHistory SignalHistoryOfColumn(int nColumn) const;

 private:
  class CRunBinding;
  void Bind();
  void DeliverFaults();
  void MarkAll();
  void MarkRow(int nRow);
  void UpdateState();

  CAnalysisThreadPool* m_pPool = nullptr;
  CMySettingsStore& m_settings;
  std::unique_ptr<CAnalysisRun> m_pOwnedRun;
  CAnalysisRun* m_pRun = nullptr;  // null: a document without workers
  CHeadlessAnalysis* m_pHeadless = nullptr;
  std::unique_ptr<CRunBinding> m_pBinding;
  std::unique_ptr<CProjectRowSpool> m_pSpool;
  bool m_bRowsOnlyInProject = false;
  IAnalysisSessionListener* m_pListener = nullptr;
  bool m_bAbortWhenOpenFails = false;

  CRecordingDescription m_desc;
  bool m_bHaveRecording = false;
  CAnalysisOptions m_options;
  CAnalysisImage m_image;
  CTagDefinitions m_tags;
  std::filesystem::path m_projectPath;

  SAnalysisRunState m_state;
  bool m_bAbortRequested = false;
  std::chrono::steady_clock::time_point m_tRunStart;
  std::uint64_t m_nGeneration = 0;
  SPictureChange m_change;

  // Faults arrive on any thread; they are handed on from the session's thread.
  std::mutex m_faultMutex;
  std::vector<CEngineFault> m_aPendingFaults;
  CEngineFaultSubscription m_faultSubscription;
};
