#include "analysis/SelectionModel.h"

#include <array>
#include <type_traits>

#include "core/Log.h"
#include "core/SystemTime.h"

namespace {

CSelectionModel::SOptionList MakeFFTSizes() {
  CSelectionModel::SOptionList list;
  for (std::uint32_t n = 1u << 12; n <= 1u << 26; n <<= 1) {
    list.aEntries.push_back({n < 1048576u ? StrFormat("%u K", n / 1024u) : StrFormat("%u M", n / 1048576u), n});
  }
  list.nDefault = list.IndexOf(1048576);
  return list;
}

CSelectionModel::SOptionList MakeOverlaps() {
  CSelectionModel::SOptionList list;
  list.aEntries.push_back({"None", 0});
  for (int n = 1; n <= 99; ++n) list.aEntries.push_back({StrFormat("%d %%", n), n});
  return list;
}

CSelectionModel::SOptionList MakeBandwidths() {
  static constexpr std::uint32_t kHz[] = {
      1,       2,       5,       10,      20,      30,      40,      50,      60,      80,      100,     200,
      300,     400,     500,     600,     800,     1000,    2000,    3000,    4000,    5000,    6000,    8000,
      10000,   20000,   30000,   40000,   50000,   60000,   80000,   100000,  200000,  300000,  400000,  500000,
      600000,  800000,  1000000, 1200000, 1400000, 1600000, 1800000, 2000000, 2500000, 3000000, 3500000, 4000000,
      4500000, 5000000, 6000000, 7000000, 8000000, 9000000, 10000000};
  CSelectionModel::SOptionList list;
  for (std::uint32_t n : kHz) list.aEntries.push_back({CSelectionModel::BandwidthLabel(n), n});
  list.nDefault = list.IndexOf(10000);
  return list;
}

CSelectionModel::SOptionList MakeWindows() {
  CSelectionModel::SOptionList list;
  for (std::uint32_t e : {ANALYSIS_WINDOW_DEFAULT, ANALYSIS_WINDOW_BARTLETT, ANALYSIS_WINDOW_BLACKMAN_STD,
                          ANALYSIS_WINDOW_BLACKMAN_OPT, ANALYSIS_WINDOW_HAMMING, ANALYSIS_WINDOW_HANN,
                          ANALYSIS_WINDOW_NONE})
    list.aEntries.push_back({AnalysisWindowName(e), e});
  return list;
}

// "Full", then runs of (first, last, step) pixels.
CSelectionModel::SOptionList MakeSizes(std::initializer_list<std::array<int, 3>> runs, std::int64_t nDefault) {
  CSelectionModel::SOptionList list;
  list.aEntries.push_back({"Full", CSelectionModel::kFull});
  for (const auto& run : runs)
    for (int n = run[0]; n <= run[1]; n += run[2]) list.aEntries.push_back({StrFormat("%d", n), n});
  list.nDefault = list.IndexOf(nDefault);
  return list;
}

std::string ClockDuration(std::int64_t nSeconds) {
  const std::int64_t n = nSeconds > 0 ? nSeconds : 0;
  return StrFormat("%d:%02d:%02d", static_cast<int>(n / 3600), static_cast<int>(n / 60 % 60),
                   static_cast<int>(n % 60));
}

}  // namespace

std::size_t CSelectionModel::SOptionList::IndexOf(std::int64_t nValue) const {
  for (std::size_t i = 0; i < aEntries.size(); ++i)
    if (aEntries[i].nValue == nValue) return i;
  return std::string::npos;
}

const CSelectionModel::SOptionList& CSelectionModel::FFTSizes() {
  static const SOptionList list = MakeFFTSizes();
  return list;
}
const CSelectionModel::SOptionList& CSelectionModel::Overlaps() {
  static const SOptionList list = MakeOverlaps();
  return list;
}
const CSelectionModel::SOptionList& CSelectionModel::Bandwidths() {
  static const SOptionList list = MakeBandwidths();
  return list;
}
const CSelectionModel::SOptionList& CSelectionModel::Windows() {
  static const SOptionList list = MakeWindows();
  return list;
}
const CSelectionModel::SOptionList& CSelectionModel::DisplayWidths() {
  static const SOptionList list =
      MakeSizes({{500, 2000, 100}, {2500, 5000, 500}, {6000, 20000, 1000}, {25000, 100000, 5000}}, 5000);
  return list;
}
const CSelectionModel::SOptionList& CSelectionModel::DisplayHeights() {
  static const SOptionList list = MakeSizes({{500, 10000, 500}}, kFull);
  return list;
}

std::string CSelectionModel::BandwidthLabel(std::uint32_t nHz) {
  if (nHz == 0 || nHz % 1000 != 0) return StrFormat("%u Hz", nHz);
  std::string digits = StrFormat("%u", nHz / 1000);
  for (int i = static_cast<int>(digits.size()) - 3; i > 0; i -= 3) digits.insert(static_cast<std::size_t>(i), ",");
  return digits + " kHz";
}

std::vector<CSelectionModel::SSummaryRow> CSelectionModel::RecordingRows(const CRecordingDescription& d) {
  std::vector<SSummaryRow> rows = {
      {"Files", StrFormat("%u", d.m_nFiles), "Recording: Total files"},
      {"Size", StrFormat("%.3f GB", static_cast<double>(d.TotalBytes()) / 1e9), "Recording: Total file size in GB"},
      {"Source", d.m_strSource, "Recording: Program which made the recording"},
      {"Center Freq", StrFormat("%u Hz", d.m_nCenterFrequency), "Recording: Center frequency in Hz"},
      {"Bandwidth", StrFormat("%u Hz", d.m_nSampleRate), "Recording: Bandwidth in Hz"},
      {"Bits per sample", StrFormat("%u", d.m_nBitsPerSample), "Recording: Bits per sample"},
      {"Start (UTC)", FormatUtcSeconds(d.m_tStart), "Recording: Start time (UTC)"},
      {"End (UTC)", FormatUtcSeconds(d.m_tEnd), "Recording: End time (UTC)"},
      {"Duration", ClockDuration(static_cast<std::int64_t>(d.m_dDuration)), "Recording: Duration"},
  };
  // Where a header claimed more than its file holds: the figures above are what is there.
  for (const std::string& strWarning : d.m_astrWarnings)
    rows.push_back({"Warning", strWarning, "Recording: a file states more than it holds"});
  return rows;
}

std::vector<CSelectionModel::SSummaryRow> CSelectionModel::AnalysisRows(const CAnalysisOptions& o) {
  return {
      {"FFT Size", StrFormat("%u", o.m_nAnalysisFFTSize), "Analysis: FFT size in bins"},
      {"Overlap", StrFormat("%u %%", o.m_nAnalysisOverlap), "Analysis: FFT overlap in percent"},
      {"Swap IQ", o.m_bAnalysisSwapIQ ? "Yes" : "No", "Analysis: Swap IQ (invert frequency)"},
      {"Res. Bandwidth", o.ResolutionBandwidthText(), "Analysis: Resolution bandwidth (FFT bins per Hz)"},
      {"Start (UTC)", FormatUtcSeconds(o.m_tAnalysisStartUTC), "Analysis: Start time (UTC)"},
      {"End (UTC)", FormatUtcSeconds(o.m_tAnalysisEndUTC), "Analysis: End time (UTC)"},
      {"Time Range", ClockDuration(o.m_nAnalysisTimeRange), "Analysis: Time range"},
      {"Start Offset", ClockDuration(o.m_nAnalysisTimeOffset), "Analysis: Time offset from start of recording"},
      {"Data Offset", StrFormat("%lld", static_cast<long long>(o.m_nAnalysisDataOffset)),
       "Analysis: Data offset from start of recording"},
      {"Data Length", StrFormat("%lld", static_cast<long long>(o.m_nAnalysisDataLength)),
       "Analysis: Data length in bytes"},
      {"Display Rows", StrFormat("%d rows", o.m_nAnalysisDisplayRows), "Analysis: Rows plotted in display"},
  };
}

void CSelectionModel::SetRecording(const CRecordingDescription& desc) {
  m_desc = desc;
  m_bHaveRecording = true;
  m_choices = SChoices{};
  m_choices.nFFTSize = static_cast<std::uint32_t>(FFTSizes().Default().nValue);
  m_choices.nOverlap = static_cast<std::uint32_t>(Overlaps().Default().nValue);
  m_choices.nBandwidth = static_cast<std::uint32_t>(Bandwidths().Default().nValue);
  m_choices.eWindow = static_cast<std::uint32_t>(Windows().Default().nValue);
  m_choices.nDisplayWidth = DisplayWidths().Default().nValue;
  m_choices.nDisplayHeight = DisplayHeights().Default().nValue;
  m_choices.nCenterFreq = desc.m_nCenterFrequency;
  m_choices.tStartUTC = desc.m_tStart;
  m_choices.tEndUTC = desc.m_tEnd;
}

void CSelectionModel::SetFromOptions(const CRecordingDescription& desc, const CAnalysisOptions& options) {
  SetRecording(desc);
  m_choices.nFFTSize = options.m_nAnalysisFFTSize;
  m_choices.nOverlap = options.m_nAnalysisOverlap;
  m_choices.nBandwidth = options.m_nAnalysisBandwidth;
  m_choices.eWindow = options.m_eAnalysisWindow;
  m_choices.nDisplayWidth = options.m_nAnalysisDisplayWidth;
  m_choices.nDisplayHeight = options.m_nAnalysisDisplayHeight;
  m_choices.nCenterFreq = options.m_nAnalysisCenterFreq;
  m_choices.bSwapIQ = options.m_bAnalysisSwapIQ != 0;
  m_choices.bWholeRange = options.m_bAnalysisWholeRange != 0;
  m_choices.tStartUTC = options.m_tAnalysisStartUTC;
  m_choices.tEndUTC = options.m_tAnalysisEndUTC;
}

void CSelectionModel::TakeAnalysisChoices(const CAnalysisOptions& earlier) {
  const auto take = [](const SOptionList& list, std::int64_t nValue, auto& choice) {
    if (list.IndexOf(nValue) != std::string::npos) choice = static_cast<std::remove_reference_t<decltype(choice)>>(nValue);
  };
  take(FFTSizes(), earlier.m_nAnalysisFFTSize, m_choices.nFFTSize);
  take(Overlaps(), earlier.m_nAnalysisOverlap, m_choices.nOverlap);
  take(Windows(), earlier.m_eAnalysisWindow, m_choices.eWindow);
  take(DisplayWidths(), earlier.m_nAnalysisDisplayWidth, m_choices.nDisplayWidth);
  take(DisplayHeights(), earlier.m_nAnalysisDisplayHeight, m_choices.nDisplayHeight);
}

CAnalysisOptions CSelectionModel::Options() const {
  CAnalysisOptions o;
  if (m_bHaveRecording) o.SetFromRecording(m_desc);
  o.m_nAnalysisFFTSize = m_choices.nFFTSize;
  o.m_nAnalysisOverlap = m_choices.nOverlap;
  o.m_nAnalysisBandwidth = m_choices.nBandwidth;
  o.m_eAnalysisWindow = m_choices.eWindow;
  o.m_nAnalysisDisplayWidth = static_cast<int>(m_choices.nDisplayWidth);
  o.m_nAnalysisDisplayHeight = static_cast<int>(m_choices.nDisplayHeight);
  o.m_nAnalysisCenterFreq = m_choices.nCenterFreq ? m_choices.nCenterFreq : o.m_nRecordingCenterFreq;
  o.m_bAnalysisSwapIQ = m_choices.bSwapIQ ? 1 : 0;
  o.m_bAnalysisWholeRange = m_choices.bWholeRange ? 1 : 0;
  o.m_tAnalysisStartUTC = m_choices.tStartUTC;
  o.m_tAnalysisEndUTC = m_choices.tEndUTC;
  o.UpdateDerivedValues(m_desc.m_nBytesPerSecond);
  return o;
}

std::vector<CSelectionModel::SSummaryRow> CSelectionModel::SummaryRows() const {
  std::vector<SSummaryRow> rows;
  if (!m_bHaveRecording) return rows;
  rows = RecordingRows(m_desc);
  rows.push_back({kSeparatorLabel, "", ""});
  for (SSummaryRow& row : AnalysisRows(Options())) rows.push_back(std::move(row));
  return rows;
}

bool CSelectionModel::CentreFrequencyValid(std::uint32_t nCenterHz, std::uint32_t nSampleRateHz) {
  return nCenterHz >= nSampleRateHz / 2;
}

bool CSelectionModel::Accept(std::string& strTitle, std::string& strMessage) const {
  strTitle.clear();
  strMessage.clear();
  if (!m_bHaveRecording) {
    strTitle = "New Project";
    strMessage = "No recording is selected.";
    return false;
  }
  if (!CentreFrequencyValid(m_desc.m_nCenterFrequency, m_desc.m_nSampleRate)) {
    strTitle = kInvalidRecordingTitle;
    strMessage = kInvalidRecordingText;
    return false;
  }
  // What the dialog's lists cannot rule out (a range outside the recording, a band beside
  // it, data shorter than one FFT block) is refused before a run could start.
  if (!Options().Check(strMessage)) {
    strTitle = "Analysis Options";
    return false;
  }
  return true;
}
