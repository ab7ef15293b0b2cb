#include "analysis/AnalysisSession.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "analysis/AnalysisRecords.h"
#include "analysis/AnalysisRun.h"
#include "analysis/AnalysisThreadPool.h"
#include "analysis/HeadlessAnalysis.h"
#include "analysis/ProjectFile.h"
#include "analysis/SelectionModel.h"
#include "core/Log.h"
#include "core/ProcessFigures.h"
#include "recording/SeriesPosition.h"
#include "recording/WaveFileData.h"

// What the run controller hands over, turned into the session's picture and state.
class CAnalysisSession::CRunBinding final : public IAnalysisRowConsumer, public IAnalysisStatus {
 public:
  explicit CRunBinding(CAnalysisSession& session) : m_session(session) {}

  void ResetForRun(const CAnalysisOptions& options) override {
    m_session.m_image.Reset(options, options.m_nAnalysisDisplayWidth, options.m_nAnalysisDisplayHeight);
    if (m_session.m_pSpool) m_session.m_pSpool->Clear();
    m_session.MarkAll();
  }
  void AddRow(std::uint32_t nRow, const CRowRecord& record) override {
    m_session.m_image.AddRow(record.Values(), record.FFTSize());
    if (CProjectRowSpool* pSpool = m_session.m_pSpool.get()) {
      const CImageRows& rows = m_session.m_image.Rows();
      const std::size_t r = rows.Count() - 1;
      pSpool->Add(rows.m_aLines[r].data(), rows.m_aLines[r].size(), rows.m_anTimes[r], rows.m_anFlags[r]);
      if (m_session.m_bRowsOnlyInProject) m_session.m_image.DropLevels(r);
    }
    m_session.MarkRow(static_cast<int>(nRow));
  }
  void CompleteRun() override {}

  void RunStarted() override {
    m_session.m_tRunStart = std::chrono::steady_clock::now();
    if (m_session.m_pListener) m_session.m_pListener->RunStarted();
  }
  void FileOpened(bool bSuccess) override {
    if (bSuccess) return;
    m_session.m_state.bOpenFailed = true;
    if (m_session.m_bAbortWhenOpenFails) m_session.RequestAbort();
    if (m_session.m_pListener) m_session.m_pListener->FileOpenFailed();
  }
  void ProgressChanged(const CAnalysisProgress& progress) override {
    SAnalysisRunState& s = m_session.m_state;
    s.dPercent = progress.dPercent;
    s.nProgress = progress.nProgressBar;
    s.strRate = progress.strRate;
    s.strRemaining = progress.strRemaining;
    m_session.UpdateState();
    if (m_session.m_pListener) {
      m_session.m_pListener->RunProgress(s);
      m_session.m_pListener->PictureChanged();
    }
  }
  void RunFinished() override {
    m_session.UpdateState();
    SAnalysisRunState& s = m_session.m_state;
    s.bFinished = true;
    s.bAborted = m_session.m_bAbortRequested;
    s.bAborting = false;
    if (m_session.m_pListener) {
      m_session.m_pListener->PictureChanged();
      m_session.m_pListener->RunFinished(s);
    }
  }

 private:
  CAnalysisSession& m_session;
};

CAnalysisSession::CAnalysisSession(CAnalysisThreadPool& pool, CMySettingsStore& settings, CMessageTarget& view,
                                   CMessageTarget& mainFrame)
    : m_pPool(&pool),
      m_settings(settings),
      m_pOwnedRun(std::make_unique<CAnalysisRun>(pool, settings, view, mainFrame)),
      m_pRun(m_pOwnedRun.get()) {
  Bind();
}

CAnalysisSession::CAnalysisSession(CHeadlessAnalysis& engine, CMySettingsStore& settings)
    : m_pPool(&engine.Pool()), m_settings(settings), m_pRun(&engine.Run()), m_pHeadless(&engine) {
  Bind();
}

CAnalysisSession::CAnalysisSession(CMySettingsStore& settings) : m_settings(settings) { Bind(); }

CAnalysisSession::~CAnalysisSession() {
  m_faultSubscription.Reset();
  if (m_pRun) {
    m_pRun->SetRowConsumer(nullptr);
    m_pRun->SetStatus(nullptr);
  }
}

void CAnalysisSession::Bind() {
  m_pBinding = std::make_unique<CRunBinding>(*this);
  if (m_pRun) {
    m_pRun->SetRowConsumer(m_pBinding.get());
    m_pRun->SetStatus(m_pBinding.get());
  }
  m_options.m_nFFTHint = CAnalysisThreadPool::FFTHint(m_settings);
  m_faultSubscription.Subscribe([this](const CEngineFault& fault) {
    std::lock_guard lock(m_faultMutex);
    m_aPendingFaults.push_back(fault);
  });
}

void CAnalysisSession::SetSound(IAnalysisSound* pSound) {
  if (m_pRun) m_pRun->SetSound(pSound);
}

// --- The recording ---------------------------------------------------------------------

bool CAnalysisSession::ReadRecording(const std::filesystem::path& path, CRecordingDescription& desc,
                                     std::string& strError) {
  std::error_code ec;
  const std::filesystem::file_status status = std::filesystem::status(path, ec);
  if (!std::filesystem::exists(status)) {
    strError = path.string() + ": " + CSelectionModel::kFileNotFoundText;
    return false;
  }
  if (std::filesystem::is_directory(status)) {
    strError = path.string() + ": is a folder, not a recording file";
    return false;
  }
  CWaveFileData reader;
  if (!reader.GetInformation(path.string(), true, desc)) {
    strError = path.string() + ": " +
               (reader.FailureText().empty() ? CSelectionModel::kFormatNotSupportedText : reader.FailureText());
    return false;
  }
  if (desc.m_nFiles == 0) {
    strError = path.string() + ": the description's \"FirstFile\" names no file ending in \" 000.wav\"";
    return false;
  }
  return true;
}

bool CAnalysisSession::OpenRecording(const std::filesystem::path& path, std::string& strError) {
  CRecordingDescription desc;
  if (!ReadRecording(path, desc, strError)) return false;
  UseRecording(std::move(desc));
  return true;
}

void CAnalysisSession::UseRecording(CRecordingDescription desc) {
  m_desc = std::move(desc);
  m_bHaveRecording = true;
  m_options.SetFromRecording(m_desc);
  m_options.m_nAnalysisCenterFreq = m_options.m_nRecordingCenterFreq;
  m_options.m_nAnalysisBandwidth = m_options.m_nRecordingBandwidth;
  m_options.m_bAnalysisWholeRange = 1;
  UpdateDerivedValues();
}

// --- Options ---------------------------------------------------------------------------

bool CAnalysisSession::ApplySelection(const CSelectionModel& model, std::string& strTitle, std::string& strMessage) {
  if (IsBusy()) {
    strTitle = "New Project";
    strMessage = "An analysis is running.";
    return false;
  }
  if (!model.Accept(strTitle, strMessage)) return false;
  m_desc = *model.Recording();
  m_bHaveRecording = true;
  const int nHint = m_options.m_nFFTHint;
  m_options = model.Options();
  m_options.m_nFFTHint = nHint;
  if (!SaveCurrentOptions()) LogF("Cannot save %s", CAnalysisOptions::CurrentOptionsPath().c_str());
  return true;
}

CSelectionModel CAnalysisSession::SelectionModel() const {
  CSelectionModel model;
  if (m_bHaveRecording) model.SetFromOptions(m_desc, m_options);
  return model;
}

void CAnalysisSession::SetOptions(const CAnalysisOptions& options) { m_options.CopyFrom(options); }

std::uint32_t CAnalysisSession::BytesPerSecond() const {
  return m_bHaveRecording ? m_desc.m_nBytesPerSecond : m_options.RecordingBytesPerSecond();
}

void CAnalysisSession::UpdateDerivedValues() { m_options.UpdateDerivedValues(BytesPerSecond()); }

bool CAnalysisSession::LoadCurrentOptions(const std::filesystem::path& folder) {
  const int nHint = m_options.m_nFFTHint;
  if (!m_options.LoadCurrent(folder)) return false;
  // The hint is the application's setting, never stored with options.
  m_options.m_nFFTHint = nHint;
  return true;
}

bool CAnalysisSession::SaveCurrentOptions(const std::filesystem::path& folder) const {
  return m_options.SaveCurrent(folder);
}

CAnalysisSession::SPictureSize CAnalysisSession::PictureSizeFor(const CAnalysisOptions& options) const {
  SPictureSize size;
  if (options.m_nAnalysisDisplayWidth > 0) {
    size.nWidth = options.m_nAnalysisDisplayWidth;
  } else {
    size.nWidth = static_cast<int>(std::max<std::uint32_t>(CAnalysisImage::SelectBins(options).nCount, 1));
  }
  if (options.m_nAnalysisDisplayHeight > 0) {
    size.nHeight = options.m_nAnalysisDisplayHeight;
  } else {
    // The rows the data really holds: the display-row figure counts whole seconds of the
    // range, which can be a few rows short of (or past) the bytes of the files.
    std::int64_t nDataBytes = options.m_nAnalysisDataLength;
    if (options.m_bAnalysisWholeRange) {
      if (m_bHaveRecording) {
        nDataBytes = static_cast<std::int64_t>(m_desc.TotalBytes());
      } else {
        nDataBytes = 0;
        for (std::uint32_t n : options.m_anRecordingFileSizes) nDataBytes += n;
      }
    }
    const std::uint32_t nSampleRate = m_bHaveRecording ? m_desc.m_nSampleRate : options.m_nRecordingBandwidth;
    const std::int64_t nRows =
        CAnalysisOptions::Rows(nDataBytes, CAnalysisOptions::BytesPerSample(BytesPerSecond(), nSampleRate),
                               options.m_nAnalysisFFTSize, options.m_nAnalysisOverlap);
    size.nHeight = static_cast<int>(std::clamp<std::int64_t>(nRows, 1, 1'000'000));
  }
  return size;
}

// --- Projects and tags -----------------------------------------------------------------

bool CAnalysisSession::LoadProject(const std::filesystem::path& path, std::string& strMessage,
                                   CProjectProgress* pProgress) {
  if (IsBusy()) {
    strMessage = "An analysis is running.";
    return false;
  }
  CAnalysisOptions options;
  CImageRows rows;
  int nStatedWidth = 0;
  int nStatedHeight = 0;
  std::string strTags;
  if (!CProjectFile::Load(options, path, rows, nStatedWidth, nStatedHeight, strTags, pProgress, strMessage))
    return false;
  const int nHint = m_options.m_nFFTHint;
  m_options = options;
  m_options.m_nFFTHint = nHint;
  m_desc.Clear();
  m_bHaveRecording = false;
  if (!strTags.empty()) m_tags.LoadFromText(strTags);
  int nWidth = 1;
  int nHeight = 1;
  CAnalysisImage::FitToRows(rows, nStatedWidth, nStatedHeight, nWidth, nHeight);
  m_image.Reset(m_options, nWidth, nHeight);
  m_image.SetRows(std::move(rows));
  m_projectPath = path;
  m_state = SAnalysisRunState{};
  m_state.nRowsDone = static_cast<std::uint32_t>(m_image.Rows().Count());
  MarkAll();
  return true;
}

bool CAnalysisSession::SaveProject(const std::filesystem::path& path, std::string& strError,
                                   CProjectProgress* pProgress) const {
  const std::string strTags = m_tags.Tags().empty() ? std::string() : m_tags.SaveToText();
  if (m_bRowsOnlyInProject && m_pSpool && m_pSpool->Rows() != m_image.Rows().Count()) {
    strError = StrFormat("Cannot write project %s: its rows were kept only in a spool that failed (%s)",
                         path.string().c_str(), m_pSpool->ErrorText().c_str());
    return false;
  }
  if (!CProjectFile::Save(m_options, path, m_image.Rows(), m_image.Width(), m_image.Height(), strTags, pProgress,
                          strError, m_pSpool.get()))
    return false;
  const_cast<CAnalysisSession*>(this)->m_projectPath = path;
  return true;
}

bool CAnalysisSession::SpoolProjectRows(const std::filesystem::path& path, std::string& strError) {
  auto pSpool = std::make_unique<CProjectRowSpool>();
  if (!pSpool->Open(path)) {
    strError = pSpool->ErrorText();
    return false;
  }
  m_pSpool = std::move(pSpool);
  return true;
}

bool CAnalysisSession::LoadDefaultTags() {
  std::error_code ec;
  if (!std::filesystem::exists(CTagDefinitions::DefaultFilePath(), ec)) return false;
  return m_tags.LoadDefault();
}

// --- Runs ------------------------------------------------------------------------------

bool CAnalysisSession::StartAnalysis(std::string& strError) {
  if (!m_pRun) {
    strError = "This document has no analysis workers.";
    return false;
  }
  if (IsBusy()) {
    strError = "An analysis is running.";
    return false;
  }
  UpdateDerivedValues();
  if (!m_options.Check(strError)) return false;
  const SPictureSize size = PictureSizeFor(m_options);
  CAnalysisOptions options = m_options;
  options.m_nAnalysisDisplayWidth = size.nWidth;
  options.m_nAnalysisDisplayHeight = size.nHeight;
  // The picture keeps every row of the run: a run that cannot fit in memory is refused
  // now, with what would fit, instead of failing after it has filled the machine. Every
  // front end may save the rows as a project, so the project writer's share is counted.
  if (!CAnalysisImage::CheckRunMemory(options, size.nWidth, size.nHeight, true, AvailableMemoryBytes() / 10 * 9,
                                      strError))
    return false;
  m_state = SAnalysisRunState{};
  m_bAbortRequested = false;
  m_state.bBusy = true;
  m_tRunStart = std::chrono::steady_clock::now();
  if (!m_pRun->Start(options)) {
    m_state.bBusy = false;
    strError = "An analysis is running.";
    return false;
  }
  // The picture's size as made, which a project stores.
  m_options.m_nAnalysisDisplayWidth = size.nWidth;
  m_options.m_nAnalysisDisplayHeight = size.nHeight;
  UpdateState();
  return true;
}

void CAnalysisSession::RequestAbort() {
  if (!IsBusy()) return;
  m_bAbortRequested = true;
  m_state.bAborting = true;
  m_pRun->RequestAbort();
}

void CAnalysisSession::SetMaxThreadsOverride(int nMaxThreads) {
  if (m_pRun) m_pRun->SetMaxThreadsOverride(nMaxThreads);
}

bool CAnalysisSession::IsBusy() const { return m_pRun && m_pRun->IsBusy(); }

int CAnalysisSession::BusyWorkerThreads() const { return m_pPool ? m_pPool->BusyThreadCount() : 0; }

void CAnalysisSession::UpdateState() {
  if (!m_pRun) return;
  m_state.bBusy = m_pRun->IsBusy();
  m_state.nBytesRead = m_pRun->BytesRead();
  m_state.nRowsDone = static_cast<std::uint32_t>(m_image.Rows().Count());
  m_state.nThreadsInUse = m_pRun->ThreadsInUse();
  m_state.dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - m_tRunStart).count();
  m_state.dMegabytesPerSecond =
      m_state.dSeconds > 0.0 ? static_cast<double>(m_state.nBytesRead) / m_state.dSeconds / 1e6 : 0.0;
}

bool CAnalysisSession::HandleMessage(CMessage& msg) {
  const bool bHandled = m_pRun && m_pRun->HandleMessage(msg);
  DeliverFaults();
  return bHandled;
}

void CAnalysisSession::OnTimer() {
  if (IsBusy()) m_pRun->OnTimer();
  DeliverFaults();
}

void CAnalysisSession::PumpUntilFinished(const std::atomic<bool>* pbAbort, const std::function<void()>& onTick,
                                         bool bReturnOnAbort) {
  if (!m_pHeadless) return;
  bool bAbortSent = false;
  m_pHeadless->PumpUntilFinished(nullptr, [&] {
    if (pbAbort && pbAbort->load() && !bAbortSent) {
      bAbortSent = true;
      RequestAbort();
    }
    DeliverFaults();
    if (onTick) onTick();
  }, bReturnOnAbort);
  DeliverFaults();
}

void CAnalysisSession::DeliverFaults() {
  std::vector<CEngineFault> faults;
  {
    std::lock_guard lock(m_faultMutex);
    faults.swap(m_aPendingFaults);
  }
  if (!m_pListener) return;
  for (const CEngineFault& fault : faults) m_pListener->EngineFault(fault);
}

// --- The picture -----------------------------------------------------------------------

void CAnalysisSession::SetColouring(int nPalette, bool bAutomatic, int nContrast, int nManualFirst,
                                    int nManualSecond) {
  m_image.SetColouring(nPalette, bAutomatic, nContrast, nManualFirst, nManualSecond);
  MarkAll();
}

void CAnalysisSession::FitPictureHeight(int nHeight) {
  m_image.FitRowsToHeight(nHeight);
  MarkAll();
}

int CAnalysisSession::PixelYOfRow(int nRow) const {
  return Height() - 1 - static_cast<int>(std::floor(m_image.PictureRowOf(nRow)));
}

void CAnalysisSession::MarkAll() {
  ++m_nGeneration;
  m_change.bAll = true;
  m_change.nGeneration = m_nGeneration;
}

void CAnalysisSession::MarkRow(int nRow) {
  ++m_nGeneration;
  m_change.nGeneration = m_nGeneration;
  if (m_change.bAll) return;
  if (m_change.nEndRow <= m_change.nFirstRow) {
    m_change.nFirstRow = nRow;
    m_change.nEndRow = nRow + 1;
  } else {
    m_change.nFirstRow = std::min(m_change.nFirstRow, nRow);
    m_change.nEndRow = std::max(m_change.nEndRow, nRow + 1);
  }
}

SPictureChange CAnalysisSession::TakePictureChange() {
  SPictureChange change = m_change;
  change.nGeneration = m_nGeneration;
  m_change = SPictureChange{};
  m_change.nGeneration = m_nGeneration;
  return change;
}

// --- Geometry --------------------------------------------------------------------------

double CAnalysisSession::ColumnFrequency(int nColumn) const {
  return CAnalysisImage::ColumnFrequency(m_options, Width(), nColumn);
}

int CAnalysisSession::FrequencyColumn(double dFrequencyHz) const {
  return CAnalysisImage::FrequencyColumn(m_options, Width(), dFrequencyHz);
}

CAnalysisImage::SBinRange CAnalysisSession::ColumnBins(int nColumn) const {
  const CAnalysisImage::SBinRange band = CAnalysisImage::SelectBins(m_options);
  int nFirst = 0, nEnd = 0;
  CColumnReducer::SourceOf(static_cast<int>(band.nCount), Width(), nColumn, nFirst, nEnd);
  return {band.nFirst + static_cast<std::uint32_t>(nFirst), static_cast<std::uint32_t>(nEnd - nFirst)};
}

double CAnalysisSession::FrequencyAtX(double dX) const {
  const double dSpan = m_options.m_nAnalysisBandwidth;
  return m_options.m_nAnalysisCenterFreq - dSpan / 2.0 + dX / Width() * dSpan;
}

double CAnalysisSession::XAtFrequency(double dFrequencyHz) const {
  const double dSpan = m_options.m_nAnalysisBandwidth;
  if (dSpan <= 0.0) return 0.0;
  return (dFrequencyHz - (m_options.m_nAnalysisCenterFreq - dSpan / 2.0)) / dSpan * Width();
}

double CAnalysisSession::TimeAtRow(double dRow) const {
  const double dRange = static_cast<double>(m_options.m_tAnalysisEndUTC - m_options.m_tAnalysisStartUTC);
  if (m_options.m_nAnalysisDisplayRows <= 0) return static_cast<double>(m_options.m_tAnalysisStartUTC);
  return static_cast<double>(m_options.m_tAnalysisStartUTC) + dRange * dRow / m_options.m_nAnalysisDisplayRows;
}

std::int64_t CAnalysisSession::RowAtTime(double tSeconds) const {
  const double dRange = static_cast<double>(m_options.m_tAnalysisEndUTC - m_options.m_tAnalysisStartUTC);
  if (dRange <= 0.0 || m_options.m_nAnalysisDisplayRows <= 0) return 0;
  return std::llround((tSeconds - static_cast<double>(m_options.m_tAnalysisStartUTC)) *
                      m_options.m_nAnalysisDisplayRows / dRange);
}

SPictureRect CAnalysisSession::TagRect(const CTagDefinition& tag) const {
  SPictureRect rect;
  const double dLow = tag.m_nFrequency - tag.m_nBandwidth / 2.0;
  const double dHigh = tag.m_nFrequency + tag.m_nBandwidth / 2.0;
  const double dLeft = std::floor(XAtFrequency(dLow));
  const double dRight = std::ceil(XAtFrequency(dHigh));
  const std::int64_t nFirstRow = RowAtTime(static_cast<double>(tag.m_tStartTime));
  const std::int64_t nLastRow = RowAtTime(static_cast<double>(tag.m_tStartTime) + tag.m_nDuration);
  // Rows grow upward: the tag's last row is its top edge.
  const double dTop =
      static_cast<double>(Height() - 1) - std::floor(m_image.PictureRowOf(static_cast<double>(std::max(nFirstRow, nLastRow))));
  const double dBottom =
      static_cast<double>(Height()) - std::floor(m_image.PictureRowOf(static_cast<double>(std::min(nFirstRow, nLastRow))));
  const auto clip = [](double v, int nMax) { return static_cast<int>(std::clamp(v, 0.0, static_cast<double>(nMax))); };
  rect.nLeft = clip(dLeft, Width());
  rect.nRight = clip(std::max(dRight, dLeft + 1.0), Width());
  rect.nTop = clip(dTop, Height());
  rect.nBottom = clip(dBottom, Height());
  rect.bVisible = rect.nRight > rect.nLeft && rect.nBottom > rect.nTop;
  return rect;
}

CTagDefinition CAnalysisSession::TagOfRect(int nX0, int nY0, int nX1, int nY1) const {
  const int nLeft = std::min(nX0, nX1), nRight = std::max(nX0, nX1);
  const int nTop = std::min(nY0, nY1), nBottom = std::max(nY0, nY1);
  const double dLow = FrequencyAtX(nLeft);
  const double dHigh = FrequencyAtX(std::max(nRight, nLeft + 1));
  // The inverse of TagRect: the bottom edge is the first row, the top line the last.
  const double tStart = std::round(TimeAtRow(Height() - nBottom));
  const double tEnd = std::round(TimeAtRow(Height() - 1 - nTop));
  CTagDefinition tag;
  const auto hertz = [](double d) { return static_cast<std::uint32_t>(std::clamp(std::llround(d), 0LL, 0xFFFFFFFFLL)); };
  tag.m_nFrequency = hertz((dLow + dHigh) / 2.0);
  tag.m_nBandwidth = hertz(dHigh - dLow);
  tag.m_tStartTime = static_cast<std::int64_t>(tStart);
  tag.m_nDuration = static_cast<std::uint32_t>(std::max(1.0, tEnd - tStart));
  return tag;
}

CPictureClick CAnalysisSession::Click(int nX, int nY) const {
  CPictureClick click;
  const double tRecordingStart = static_cast<double>(m_options.m_tRecordingStartUTC);
  click.m_dCentreHz = m_options.m_nAnalysisCenterFreq;
  click.m_dSpanHz = m_options.m_nAnalysisBandwidth;
  click.m_nX = nX;
  click.m_nY = nY;
  click.m_nWidth = Width();
  click.m_nHeight = Height();
  // Counting y down from the top over Height() rows lands on row Height() - 1 - y.
  click.m_tTop = TimeAtRow(Height() - 1) - tRecordingStart;
  click.m_tBottom = TimeAtRow(-1) - tRecordingStart;
  click.m_bInside = nX >= 0 && nX < Width() && nY >= 0 && nY < Height();
  if (!click.m_bInside) return click;
  click.m_nColumn = nX;
  click.m_nRow = RowOfPixelY(nY);
  click.m_dFrequencyHz = FrequencyAtX(nX);
  click.m_tTime = TimeAtRow(click.m_nRow);
  const CImageRows& rows = m_image.Rows();
  if (static_cast<std::size_t>(click.m_nRow) < rows.Count() &&
      static_cast<std::size_t>(nX) < rows.m_aLines[static_cast<std::size_t>(click.m_nRow)].size()) {
    click.m_bHasLevel = true;
    click.m_fLevel = rows.m_aLines[static_cast<std::size_t>(click.m_nRow)][static_cast<std::size_t>(nX)];
  }
  // The row's time as a file of the series and a byte offset in its data: whole sample
  // frames from the recording's start, beyond the last file its end.
  const std::uint32_t nFrameBytes =
      CAnalysisOptions::BytesPerSample(BytesPerSecond(), m_options.m_nRecordingBandwidth);
  const double dSamples = std::max(0.0, std::floor((click.m_tTime - tRecordingStart) * m_options.m_nRecordingBandwidth));
  CSeriesPosition position;
  const auto& names = m_options.m_astrRecordingFilenames;
  FindSeriesPosition(names, m_options.m_anRecordingFileSizes, names.size(),
                     static_cast<std::uint64_t>(dSamples) * nFrameBytes, position);
  click.m_strFile = position.m_strFile;
  click.m_nFileOffset = position.m_nOffset;
  return click;
}

CSignalHistory CAnalysisSession::SignalHistoryOfColumn(int nColumn) const {
  // A whole-range analysis may leave the range's length 0 in the options.
  std::int64_t nAnalysedSeconds = m_options.m_nAnalysisTimeRange;
  if (nAnalysedSeconds == 0) nAnalysedSeconds = m_options.m_tAnalysisEndUTC - m_options.m_tAnalysisStartUTC;
  CSignalHistory history;
  history.Fill(m_image.Rows(), Width(), nColumn, m_options.m_tRecordingStartUTC, nAnalysedSeconds);
  return history;
}
