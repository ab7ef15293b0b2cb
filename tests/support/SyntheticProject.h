#pragma once
// A project file with made-up rows, for tests that need a picture of a given length without
// analysing hours of recording: nRows rows of nWidth levels spread evenly over nSeconds,
// with a steady carrier at one column over a flat floor.

#include <cstdint>
#include <filesystem>
#include <string>

#include "analysis/AnalysisOptions.h"
#include "analysis/ImageRows.h"

struct SSyntheticProject {
  std::int64_t tStartUTC = 1700000000;  // the recording's and the range's start
  std::int64_t nSeconds = 1200;
  int nRows = 200;
  int nWidth = 400;
  std::uint32_t nCentreHz = 7100000;
  std::uint32_t nSpanHz = 100000;
  int nCarrierColumn = 100;
  float fCarrier = -40.0f;  // dB
  float fFloor = -110.0f;   // dB

  CAnalysisOptions Options() const;
  CImageRows Rows() const;
  // Writes the project (no tags); false with strError on failure.
  bool Write(const std::filesystem::path& path, std::string& strError) const;
};
