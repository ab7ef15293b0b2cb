#include "analysis/SignalHistory.h"

#include <algorithm>

#include "core/Log.h"
#include "core/SystemTime.h"

void CSignalHistory::Clear() {
  m_aPoints.clear();
  m_bMinuteMode = false;
  m_nColumn = 0;
  m_dMinimum = 0.0;
  m_dMaximum = 0.0;
}

void CSignalHistory::AddPoint(std::int64_t tSeconds, double dLevel) {
  if (m_aPoints.empty()) {
    m_dMinimum = m_dMaximum = dLevel;
  } else {
    m_dMinimum = std::min(m_dMinimum, dLevel);
    m_dMaximum = std::max(m_dMaximum, dLevel);
  }
  m_aPoints.push_back({tSeconds, dLevel});
}

void CSignalHistory::Fill(const CImageRows& rows, int nWidth, int nColumn, std::int64_t tRecordingStartUTC,
                          std::int64_t nAnalysedSeconds) {
  Clear();
  m_nColumn = std::clamp(nColumn, 0, std::max(nWidth - 1, 0));
  m_bMinuteMode = nAnalysedSeconds > kMinuteModeSeconds;

  bool bGroupOpen = false;
  std::int64_t tGroup = 0;
  double dSum = 0.0;
  std::size_t nInGroup = 0;
  auto closeGroup = [&] {
    if (bGroupOpen && nInGroup > 0 && dSum < -1.0) AddPoint(tGroup, dSum / static_cast<double>(nInGroup));
  };

  for (std::size_t r = 0; r < rows.Count(); ++r) {
    const std::vector<float>& line = rows.m_aLines[r];
    std::int64_t t = std::int64_t{rows.m_anTimes[r]} + tRecordingStartUTC;
    if (m_bMinuteMode) t = t / 60 * 60;

    // The row may be narrower than the picture (a loaded project); only existing values count.
    bool bAny = false;
    float fLevel = 0.0f;
    for (int c = m_nColumn - 1; c <= m_nColumn + 1; ++c) {
      if (c < 0 || static_cast<std::size_t>(c) >= line.size()) continue;
      fLevel = bAny ? std::max(fLevel, line[static_cast<std::size_t>(c)]) : line[static_cast<std::size_t>(c)];
      bAny = true;
    }

    // In minute mode a group is every row of one minute; otherwise each row is its own group.
    if (!bGroupOpen || t != tGroup || !m_bMinuteMode) {
      closeGroup();
      bGroupOpen = true;
      tGroup = t;
      dSum = 0.0;
      nInGroup = 0;
    }
    if (bAny) {
      dSum += fLevel;
      ++nInGroup;
    }
  }
  closeGroup();
}

CSignalHistory::SScale CSignalHistory::Scale(bool bFixed) const {
  SScale scale;
  if (bFixed) return scale;
  const double dMargin = std::max(0.01, m_dMaximum - m_dMinimum) / 20.0;
  scale.dLow = std::max(kFixedLow, m_dMinimum - dMargin);
  scale.dHigh = std::min(kFixedHigh, m_dMaximum + dMargin);
  scale.pszFormat = "%.2f";
  return scale;
}

namespace {
constexpr const char* kIso8601 = "%Y-%m-%dT%H:%M:%SZ";
}

std::string CSignalHistory::CsvText() const {
  std::string str = "time_utc,level_db\n";
  for (const SPoint& point : m_aPoints)
    str += StrFormat("%s,%.3f\n", FormatUtcSeconds(point.tSeconds, kIso8601).c_str(), point.dLevel);
  return str;
}

std::string CSignalHistory::JsonText(double dFrequencyHz) const {
  std::string str = StrFormat("{\n  \"frequency_hz\": %.0f,\n  \"points\": [", dFrequencyHz);
  for (std::size_t i = 0; i < m_aPoints.size(); ++i)
    str += StrFormat("%s\n    {\"time_utc\": \"%s\", \"level_db\": %.3f}", i ? "," : "",
                     FormatUtcSeconds(m_aPoints[i].tSeconds, kIso8601).c_str(), m_aPoints[i].dLevel);
  str += m_aPoints.empty() ? "]\n}\n" : "\n  ]\n}\n";
  return str;
}
