#include "analysis/AnalysisOptions.h"

#include "analysis/SelectionModel.h"

#include <algorithm>
#include <ctime>

#include "core/Log.h"
#include "core/Paths.h"
#include "core/SystemTime.h"
#include "persist/XMLMgr.h"
#include "recording/RecordingDescription.h"

void CAnalysisOptions::Reset() {
  m_astrRecordingFilenames.clear();
  m_anRecordingFileSizes.clear();
  m_bTimeFormatLocal = 0;
  m_bRecordingWinradio = 0;
  m_dRecordingSizeMB = 0.0;
  m_nRecordingBandwidth = 0;
  m_nRecordingBitsPerSample = 0;
  m_nRecordingCenterFreq = 0;
  m_nRecordingSeconds = 0;
  m_tRecordingEndUTC = 0;
  m_tRecordingStartUTC = 0;
  m_dAnalysisRBW = 0.0;
  m_eAnalysisWindow = ANALYSIS_WINDOW_DEFAULT;
  m_nAnalysisDataLength = 0;
  m_nAnalysisDataOffset = 0;
  m_nAnalysisDisplayWidth = 0;
  m_nAnalysisDisplayHeight = 0;
  // These defaults look odd (a 1 M FFT, 100 Hz around 1 MHz) and are kept as they are:
  // stored option files and projects without the keys rely on them.
  m_nAnalysisDisplayRows = 5000;
  m_nAnalysisFFTSize = 1048576;
  m_nAnalysisOverlap = 0;
  m_nAnalysisTimeOffset = 0;
  m_nAnalysisTimeRange = 0;
  m_nAnalysisBandwidth = 100;
  m_nAnalysisCenterFreq = 1000000;
  m_bAnalysisWholeRange = 1;
  m_bAnalysisShowGrid = 0;
  m_bAnalysisSwapIQ = 0;
  m_tAnalysisEndUTC = 0;
  m_tAnalysisStartUTC = 0;
  m_nFFTHint = FFT_HINT_BEST;
}

void CAnalysisOptions::SetFromRecording(const CRecordingDescription& desc) {
  // A recording is walked by its file count, which is its true size: an SDRSharp
  // description lists its one file twice.
  const std::size_t nFiles = std::min<std::size_t>(desc.m_nFiles, desc.m_astrFileNames.size());
  m_astrRecordingFilenames.assign(desc.m_astrFileNames.begin(), desc.m_astrFileNames.begin() + nFiles);
  m_anRecordingFileSizes.assign(desc.m_anFileSizes.begin(),
                                desc.m_anFileSizes.begin() + std::min(nFiles, desc.m_anFileSizes.size()));
  m_bRecordingWinradio = desc.m_strSource.rfind("Winradio", 0) == 0 ? 1 : 0;
  m_dRecordingSizeMB = desc.m_nTotalMillions + desc.m_nTotalRemainder / 1'000'000.0;
  m_nRecordingBandwidth = desc.m_nSampleRate;
  m_nRecordingBitsPerSample = static_cast<int>(desc.m_nBitsPerSample);
  m_nRecordingCenterFreq = desc.m_nCenterFrequency;
  m_nRecordingSeconds = static_cast<int>(desc.m_tEnd - desc.m_tStart);
  m_tRecordingStartUTC = desc.m_tStart;
  m_tRecordingEndUTC = desc.m_tEnd;
  UpdateDerivedValues(desc.m_nBytesPerSecond);
}

std::uint32_t CAnalysisOptions::RecordingBytesPerSecond() const {
  return static_cast<std::uint32_t>(m_nRecordingBitsPerSample / 8) * 2u * m_nRecordingBandwidth;
}

std::uint32_t CAnalysisOptions::BytesPerSample(std::uint32_t nBytesPerSecond, std::uint32_t nSampleRate) {
  return nSampleRate == 0 ? 0 : nBytesPerSecond / nSampleRate;
}

std::uint32_t CAnalysisOptions::StepSamples(std::uint32_t nFFTSize, std::uint32_t nOverlapPercent) {
  if (nOverlapPercent >= 100) return 0;
  return static_cast<std::uint32_t>(std::uint64_t{nFFTSize} * (100u - nOverlapPercent) / 100u);
}

std::int64_t CAnalysisOptions::Rows(std::int64_t nDataLength, std::uint32_t nBytesPerSample,
                                    std::uint32_t nFFTSize, std::uint32_t nOverlapPercent) {
  const std::int64_t nStepBytes = std::int64_t{nBytesPerSample} * StepSamples(nFFTSize, nOverlapPercent);
  if (nStepBytes <= 0 || nDataLength <= 0) return 0;
  const std::int64_t nFrameBytes = std::int64_t{nBytesPerSample} * nFFTSize;
  if (nDataLength > nFrameBytes) return 1 + (nDataLength - nFrameBytes) / nStepBytes;
  return nDataLength / nStepBytes;
}

std::int64_t CAnalysisOptions::BytesToAnalyse() const {
  if (!m_bAnalysisWholeRange) return std::max<std::int64_t>(m_nAnalysisDataLength, 0);
  std::int64_t nBytes = 0;
  for (std::uint32_t nSize : m_anRecordingFileSizes) nBytes += nSize;
  return std::max<std::int64_t>(nBytes - std::max<std::int64_t>(m_nAnalysisDataOffset, 0), 0);
}

std::int64_t CAnalysisOptions::RowsToAnalyse(std::uint32_t nBytesPerSample) const {
  const std::int64_t nStepBytes = std::int64_t{nBytesPerSample} * StepSamples(m_nAnalysisFFTSize, m_nAnalysisOverlap);
  const std::int64_t nFrameBytes = std::int64_t{nBytesPerSample} * m_nAnalysisFFTSize;
  const std::int64_t nBytes = BytesToAnalyse();
  if (nStepBytes <= 0 || nFrameBytes <= 0 || nBytes < nFrameBytes) return 0;
  return 1 + (nBytes - nFrameBytes) / nStepBytes;
}

std::uint32_t CAnalysisOptions::FFTSizeForRows(std::int64_t nDataLength, std::uint32_t nBytesPerSample,
                                              std::uint32_t nOverlapPercent, std::int64_t nMaxRows) {
  constexpr std::uint32_t kSmallest = 64;
  constexpr std::uint32_t kLargest = 1u << 26;
  std::uint32_t nSize = kSmallest;
  while (nSize < kLargest && Rows(nDataLength, nBytesPerSample, nSize, nOverlapPercent) > nMaxRows) nSize *= 2;
  return nSize;
}

void CAnalysisOptions::UpdateDerivedValues(std::uint32_t nBytesPerSecond) {
  m_dAnalysisRBW = m_nAnalysisFFTSize == 0 ? 0.0
                                           : static_cast<double>(m_nRecordingBandwidth) / m_nAnalysisFFTSize;
  if (m_bAnalysisWholeRange) {
    m_tAnalysisStartUTC = m_tRecordingStartUTC;
    m_tAnalysisEndUTC = m_tRecordingEndUTC;
  } else if (m_tAnalysisEndUTC < m_tAnalysisStartUTC) {
    std::swap(m_tAnalysisStartUTC, m_tAnalysisEndUTC);
  }
  m_nAnalysisTimeOffset = static_cast<std::uint32_t>(m_tAnalysisStartUTC - m_tRecordingStartUTC);
  m_nAnalysisTimeRange = static_cast<std::uint32_t>(m_tAnalysisEndUTC - m_tAnalysisStartUTC);
  m_nAnalysisDataOffset = std::int64_t{nBytesPerSecond} * m_nAnalysisTimeOffset;
  m_nAnalysisDataLength = std::int64_t{nBytesPerSecond} * m_nAnalysisTimeRange;
  const std::int64_t nRows = Rows(m_nAnalysisDataLength, BytesPerSample(nBytesPerSecond, m_nRecordingBandwidth),
                                  m_nAnalysisFFTSize, m_nAnalysisOverlap);
  m_nAnalysisDisplayRows = static_cast<int>(std::min<std::int64_t>(nRows, 0x7FFFFFFF));
}

std::string CAnalysisOptions::ResolutionBandwidthText() const { return StrFormat("%.3f Hz", m_dAnalysisRBW); }

std::string CAnalysisOptions::RecordingSizeGBText() const {
  return StrFormat("%.3f GB", m_dRecordingSizeMB / 1000.0);
}

bool CAnalysisOptions::Check(std::string& strMessage) const {
  const std::uint32_t n = m_nAnalysisFFTSize;
  if (m_astrRecordingFilenames.empty()) {
    strMessage = "No recording is selected.";
    return false;
  }
  if (n < 2 || n > 67108864u || (n & (n - 1)) != 0) {
    strMessage = StrFormat("The FFT size %u is not a power of two from 2 to 67108864.", n);
    return false;
  }
  if (m_nAnalysisOverlap > 99) {
    strMessage = StrFormat("The FFT overlap of %u %% is not between 0 and 99 %%.", m_nAnalysisOverlap);
    return false;
  }
  if (StepSamples(n, m_nAnalysisOverlap) == 0) {
    strMessage = StrFormat(
        "An FFT overlap of %u %% at an FFT size of %u gives a step of 0 samples between FFT blocks; "
        "choose a smaller overlap or a larger FFT size.",
        m_nAnalysisOverlap, n);
    return false;
  }
  if (!CSelectionModel::CentreFrequencyValid(m_nRecordingCenterFreq, m_nRecordingBandwidth)) {
    strMessage = CSelectionModel::kInvalidRecordingText;
    return false;
  }
  if (!m_bAnalysisWholeRange &&
      (m_tAnalysisStartUTC < m_tRecordingStartUTC || m_tAnalysisEndUTC > m_tRecordingEndUTC ||
       m_tAnalysisStartUTC >= m_tAnalysisEndUTC)) {
    strMessage = StrFormat("The analysed range %s to %s lies outside the recording, %s to %s (UTC).",
                           FormatUtcSeconds(m_tAnalysisStartUTC).c_str(), FormatUtcSeconds(m_tAnalysisEndUTC).c_str(),
                           FormatUtcSeconds(m_tRecordingStartUTC).c_str(),
                           FormatUtcSeconds(m_tRecordingEndUTC).c_str());
    return false;
  }
  const double dRecLow = m_nRecordingCenterFreq - m_nRecordingBandwidth * 0.5;
  const double dRecHigh = m_nRecordingCenterFreq + m_nRecordingBandwidth * 0.5;
  const double dAnaLow = m_nAnalysisCenterFreq - m_nAnalysisBandwidth * 0.5;
  const double dAnaHigh = m_nAnalysisCenterFreq + m_nAnalysisBandwidth * 0.5;
  if (m_nAnalysisBandwidth == 0 || dAnaHigh <= dRecLow || dAnaLow >= dRecHigh) {
    strMessage = StrFormat("The analysed band %.0f to %.0f Hz lies outside the recording's band, %.0f to %.0f Hz.",
                           dAnaLow, dAnaHigh, dRecLow, dRecHigh);
    return false;
  }
  if (m_nAnalysisDisplayRows <= 0) {
    strMessage = StrFormat("The analysed data (%lld bytes) is shorter than one FFT block of %u samples.",
                           static_cast<long long>(m_nAnalysisDataLength), n);
    return false;
  }
  strMessage.clear();
  return true;
}

namespace {

std::string Int64Text(std::int64_t v) { return StrFormat("%lld", static_cast<long long>(v)); }

}  // namespace

void CAnalysisOptions::WriteAttributes(pugi::xml_node e) const {
  CXMLMgr::SetStringArray(e, "m_astrRecordingFilenames", m_astrRecordingFilenames);
  CXMLMgr::SetUIntArray(e, "m_anRecordingFileSizes", m_anRecordingFileSizes);
  CXMLMgr::SetAttribute(e, "m_bTimeFormatLocal", StrFormat("%d", m_bTimeFormatLocal));
  CXMLMgr::SetAttribute(e, "m_bRecordingWinradio", StrFormat("%d", m_bRecordingWinradio));
  CXMLMgr::SetAttribute(e, "m_dRecordingSizeMB", StrFormat("%.20f", m_dRecordingSizeMB));
  CXMLMgr::SetAttribute(e, "m_nRecordingBandwidth", StrFormat("%u", m_nRecordingBandwidth));
  CXMLMgr::SetAttribute(e, "m_nRecordingBitsPerSample", StrFormat("%d", m_nRecordingBitsPerSample));
  CXMLMgr::SetAttribute(e, "m_nRecordingCenterFreq", StrFormat("%u", m_nRecordingCenterFreq));
  CXMLMgr::SetAttribute(e, "m_nRecordingSeconds", StrFormat("%d", m_nRecordingSeconds));
  CXMLMgr::SetAttribute(e, "m_tRecordingEndUTC", Int64Text(m_tRecordingEndUTC));
  CXMLMgr::SetAttribute(e, "m_tRecordingStartUTC", Int64Text(m_tRecordingStartUTC));
  CXMLMgr::SetAttribute(e, "m_dAnalysisRBW", StrFormat("%.20f", m_dAnalysisRBW));
  CXMLMgr::SetAttribute(e, "m_eAnalysisWindow", StrFormat("%u", m_eAnalysisWindow));
  CXMLMgr::SetAttribute(e, "m_nAnalysisDataLength", Int64Text(m_nAnalysisDataLength));
  CXMLMgr::SetAttribute(e, "m_nAnalysisDataOffset", Int64Text(m_nAnalysisDataOffset));
  CXMLMgr::SetAttribute(e, "m_nAnalysisDisplayWidth", StrFormat("%d", m_nAnalysisDisplayWidth));
  CXMLMgr::SetAttribute(e, "m_nAnalysisDisplayHeight", StrFormat("%d", m_nAnalysisDisplayHeight));
  CXMLMgr::SetAttribute(e, "m_nAnalysisDisplayRows", StrFormat("%d", m_nAnalysisDisplayRows));
  CXMLMgr::SetAttribute(e, "m_nAnalysisFFTSize", StrFormat("%u", m_nAnalysisFFTSize));
  CXMLMgr::SetAttribute(e, "m_nAnalysisOverlap", StrFormat("%u", m_nAnalysisOverlap));
  CXMLMgr::SetAttribute(e, "m_nAnalysisTimeOffset", StrFormat("%u", m_nAnalysisTimeOffset));
  CXMLMgr::SetAttribute(e, "m_nAnalysisTimeRange", StrFormat("%u", m_nAnalysisTimeRange));
  CXMLMgr::SetAttribute(e, "m_nAnalysisBandwidth", StrFormat("%u", m_nAnalysisBandwidth));
  CXMLMgr::SetAttribute(e, "m_nAnalysisCenterFreq", StrFormat("%u", m_nAnalysisCenterFreq));
  CXMLMgr::SetAttribute(e, "m_bAnalysisShowGrid", StrFormat("%d", m_bAnalysisShowGrid));
  CXMLMgr::SetAttribute(e, "m_bAnalysisWholeRange", StrFormat("%d", m_bAnalysisWholeRange));
  CXMLMgr::SetAttribute(e, "m_bAnalysisSwapIQ", StrFormat("%d", m_bAnalysisSwapIQ));
  CXMLMgr::SetAttribute(e, "m_tAnalysisEndUTC", Int64Text(m_tAnalysisEndUTC));
  CXMLMgr::SetAttribute(e, "m_tAnalysisStartUTC", Int64Text(m_tAnalysisStartUTC));
}

void CAnalysisOptions::ReadAttributes(pugi::xml_node e, const char* strTimeFormatKey) {
  Reset();
  m_astrRecordingFilenames = CXMLMgr::GetStringArray(e, "m_astrRecordingFilenames");
  m_anRecordingFileSizes = CXMLMgr::GetUIntArray(e, "m_anRecordingFileSizes");
  m_bTimeFormatLocal = CXMLMgr::GetAttributeInt32(e, strTimeFormatKey);
  m_bRecordingWinradio = CXMLMgr::GetAttributeInt32(e, "m_bRecordingWinradio");
  m_dRecordingSizeMB = CXMLMgr::GetAttributeDouble(e, "m_dRecordingSizeMB");
  m_nRecordingBandwidth = CXMLMgr::GetAttributeUInt32(e, "m_nRecordingBandwidth");
  m_nRecordingBitsPerSample = CXMLMgr::GetAttributeInt32(e, "m_nRecordingBitsPerSample");
  m_nRecordingCenterFreq = CXMLMgr::GetAttributeUInt32(e, "m_nRecordingCenterFreq");
  m_nRecordingSeconds = CXMLMgr::GetAttributeInt32(e, "m_nRecordingSeconds");
  m_tRecordingEndUTC = CXMLMgr::GetAttributeInt64(e, "m_tRecordingEndUTC");
  m_tRecordingStartUTC = CXMLMgr::GetAttributeInt64(e, "m_tRecordingStartUTC");
  m_dAnalysisRBW = CXMLMgr::GetAttributeDouble(e, "m_dAnalysisRBW");
  m_eAnalysisWindow = CXMLMgr::GetAttributeUInt32(e, "m_eAnalysisWindow");
  m_nAnalysisDataLength = CXMLMgr::GetAttributeInt64(e, "m_nAnalysisDataLength");
  m_nAnalysisDataOffset = CXMLMgr::GetAttributeInt64(e, "m_nAnalysisDataOffset");
  m_nAnalysisDisplayWidth = CXMLMgr::GetAttributeInt32(e, "m_nAnalysisDisplayWidth");
  m_nAnalysisDisplayHeight = CXMLMgr::GetAttributeInt32(e, "m_nAnalysisDisplayHeight");
  m_nAnalysisDisplayRows = CXMLMgr::GetAttributeInt32(e, "m_nAnalysisDisplayRows");
  m_nAnalysisFFTSize = CXMLMgr::GetAttributeUInt32(e, "m_nAnalysisFFTSize");
  m_nAnalysisOverlap = CXMLMgr::GetAttributeUInt32(e, "m_nAnalysisOverlap");
  m_nAnalysisTimeOffset = CXMLMgr::GetAttributeUInt32(e, "m_nAnalysisTimeOffset");
  m_nAnalysisTimeRange = CXMLMgr::GetAttributeUInt32(e, "m_nAnalysisTimeRange");
  m_nAnalysisBandwidth = CXMLMgr::GetAttributeUInt32(e, "m_nAnalysisBandwidth");
  m_nAnalysisCenterFreq = CXMLMgr::GetAttributeUInt32(e, "m_nAnalysisCenterFreq");
  m_bAnalysisWholeRange = CXMLMgr::GetAttributeInt32(e, "m_bAnalysisWholeRange");
  m_bAnalysisShowGrid = CXMLMgr::GetAttributeInt32(e, "m_bAnalysisShowGrid");
  m_bAnalysisSwapIQ = CXMLMgr::GetAttributeInt32(e, "m_bAnalysisSwapIQ");
  m_tAnalysisEndUTC = CXMLMgr::GetAttributeInt64(e, "m_tAnalysisEndUTC");
  m_tAnalysisStartUTC = CXMLMgr::GetAttributeInt64(e, "m_tAnalysisStartUTC");
}

std::filesystem::path CAnalysisOptions::CurrentOptionsPath(const std::filesystem::path& folder) {
  // Formed "%s%s" from the folder and the name.
  return (folder.empty() ? DataFolder() : folder) / kCurrentAnalysisOptionsFile;
}

bool CAnalysisOptions::SaveCurrent(const std::filesystem::path& folder) const {
  // The project writer's layout with no rows and no tags.
  CXMLMgr xml;
  xml.AddProcessingInstruction();
  xml.AddHeaderComment(kCurrentAnalysisOptionsFile);
  pugi::xml_node root = xml.CreateRootElement("Brannock-Vexlor", {}, true);
  char szCreated[64] = {};
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  std::strftime(szCreated, sizeof szCreated, "%d-%b-%Y %H:%M", &local);
  pugi::xml_node options =
      xml.CreateElement(root, "AnalysisOptions", {{"Description", "Analysis options"}, {"Created", szCreated}});
  WriteAttributes(options);
  xml.CreateElement(root, "Tags", {{"XML", ""}});
  xml.CreateElement(root, "Data", {{"Count", "0"}, {"Width", "0"}, {"Height", "0"}});
  const std::filesystem::path path = CurrentOptionsPath(folder);
  LogF("Saving %s", path.c_str());
  return xml.Save(path);
}

bool CAnalysisOptions::LoadCurrent(const std::filesystem::path& folder) {
  CXMLMgr xml;
  if (!xml.Load(CurrentOptionsPath(folder))) return false;
  pugi::xml_node options = CXMLMgr::FindChild(xml.Root(), "AnalysisOptions");
  if (!options) return false;
  ReadAttributes(options, "m_bTimeFormatLocal");
  return true;
}

const char* AnalysisWindowName(std::uint32_t eWindow) {
  switch (eWindow) {
    case ANALYSIS_WINDOW_DEFAULT: return "Default";
    case ANALYSIS_WINDOW_BARTLETT: return "Bartlett";
    case ANALYSIS_WINDOW_BLACKMAN_STD: return "Blackman Std";
    case ANALYSIS_WINDOW_BLACKMAN_OPT: return "Blackman Opt";
    case ANALYSIS_WINDOW_HAMMING: return "Hamming";
    case ANALYSIS_WINDOW_HANN: return "Hann";
    case ANALYSIS_WINDOW_NONE: return "None";
    default: return "Default";
  }
}
