#include "support/SyntheticProject.h"

#include <algorithm>
#include <cmath>

#include "analysis/ProjectFile.h"

CAnalysisOptions SSyntheticProject::Options() const {
  CAnalysisOptions o;
  o.m_astrRecordingFilenames = {"/recordings/synthetic.wav"};
  o.m_anRecordingFileSizes = {static_cast<std::uint32_t>(std::min<std::int64_t>(nSeconds * nSpanHz * 4, 0xFFFFFFFF))};
  o.m_nRecordingBandwidth = nSpanHz;
  o.m_nRecordingBitsPerSample = 16;
  o.m_nRecordingCenterFreq = nCentreHz;
  o.m_nRecordingSeconds = static_cast<int>(nSeconds);
  o.m_tRecordingStartUTC = tStartUTC;
  o.m_tRecordingEndUTC = tStartUTC + nSeconds;
  o.m_tAnalysisStartUTC = tStartUTC;
  o.m_tAnalysisEndUTC = tStartUTC + nSeconds;
  o.m_nAnalysisTimeRange = static_cast<std::uint32_t>(nSeconds);
  o.m_nAnalysisFFTSize = 4096;
  o.m_nAnalysisBandwidth = nSpanHz;
  o.m_nAnalysisCenterFreq = nCentreHz;
  o.m_nAnalysisDisplayWidth = nWidth;
  o.m_nAnalysisDisplayHeight = nRows;
  o.m_nAnalysisDisplayRows = nRows;
  return o;
}

CImageRows SSyntheticProject::Rows() const {
  CImageRows rows;
  for (int r = 0; r < nRows; ++r) {
    std::vector<float> line(static_cast<std::size_t>(nWidth), fFloor);
    // A little texture, so that automatic scaling has a range to work with.
    for (int c = 0; c < nWidth; ++c) line[static_cast<std::size_t>(c)] += static_cast<float>((c * 7 + r * 3) % 11);
    line[static_cast<std::size_t>(nCarrierColumn)] = fCarrier;
    const double t = std::trunc(static_cast<double>(nSeconds) * r / nRows + 0.5);
    rows.Append(std::move(line), static_cast<std::uint32_t>(t));
  }
  return rows;
}

bool SSyntheticProject::Write(const std::filesystem::path& path, std::string& strError) const {
  return CProjectFile::Save(Options(), path, Rows(), nWidth, nRows, "", nullptr, strError);
}
