#pragma once
// CSignalHistory: the level at one picture column over the time of the recording.
//
// Filled from the kept rows of the picture, so it needs no new pass over the recording.
// A row's level is the largest of the values at the column and its two neighbours, so a
// carrier that drifts by one column is still followed. Over long ranges (more than 1200
// seconds) the rows of each minute are averaged into one point. Groups whose levels sum to
// -1.0 or more are dropped: rows the analysis did not fill (zeros) must not pull the line
// up to 0 dB.

#include <cstdint>
#include <string>
#include <vector>

#include "analysis/ImageRows.h"

class CSignalHistory {
 public:
  static constexpr std::int64_t kMinuteModeSeconds = 1200;
  static constexpr double kFixedLow = -150.0;
  static constexpr double kFixedHigh = 0.0;

  struct SPoint {
    std::int64_t tSeconds = 0;  // UTC seconds since 1970
    double dLevel = 0.0;        // dB
  };

  struct SScale {
    double dLow = kFixedLow;
    double dHigh = kFixedHigh;
    const char* pszFormat = "%.0f";  // of the level axis labels
  };

  // Fills the series for picture column nColumn (clamped to the last column of a picture
  // nWidth wide). tRecordingStartUTC is added to each row's time; nAnalysedSeconds (the
  // analysed time range) decides minute mode.
  void Fill(const CImageRows& rows, int nWidth, int nColumn, std::int64_t tRecordingStartUTC,
            std::int64_t nAnalysedSeconds);
  void Clear();

  const std::vector<SPoint>& Points() const { return m_aPoints; }
  bool MinuteMode() const { return m_bMinuteMode; }
  int Column() const { return m_nColumn; }
  // Running minimum and maximum of the point levels (both 0 with no points).
  double Minimum() const { return m_dMinimum; }
  double Maximum() const { return m_dMaximum; }

  // The level axis range: fixed -150..0, or following the points with a margin of a
  // twentieth of their span (at least 0.01 / 20), within -150..0.
  SScale Scale(bool bFixed) const;

  // The points as CSV: a header line "time_utc,level_db", then one line per point with the
  // time in ISO 8601 UTC ("YYYY-MM-DDTHH:MM:SSZ") and the level in dB ("%.3f").
  std::string CsvText() const;
  // The same points as JSON: {"frequency_hz": ..., "points": [{"time_utc": ..., "level_db": ...}]}.
  std::string JsonText(double dFrequencyHz) const;

 private:
  void AddPoint(std::int64_t tSeconds, double dLevel);

  std::vector<SPoint> m_aPoints;
  bool m_bMinuteMode = false;
  int m_nColumn = 0;
  double m_dMinimum = 0.0;
  double m_dMaximum = 0.0;
};
