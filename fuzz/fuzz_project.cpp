// Arbitrary bytes as a project file: the loader (options, tag text, "Count", "Width",
// "Size" and Base64 row data, all untrusted), then the picture and the signal history drawn
// from whatever it loaded. A crash, a sanitizer report or an allocation beyond libFuzzer's
// memory limit is a finding.

#include <cstddef>
#include <cstdint>
#include <string>

#include "analysis/AnalysisImage.h"
#include "analysis/AnalysisOptions.h"
#include "analysis/ProjectFile.h"
#include "analysis/SignalHistory.h"
#include "core/Log.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  SetLogFilePath({});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CAnalysisOptions options;
  CImageRows rows;
  int nStatedWidth = 0;
  int nStatedHeight = 0;
  std::string strTags;
  std::string strMessage;
  if (!CProjectFile::LoadFromBuffer(options, data, size, rows, nStatedWidth, nStatedHeight, strTags, nullptr,
                                    strMessage)) {
    return 0;
  }
  for (std::size_t r = 0; r < rows.Count(); ++r) {
    if (rows.m_anWidths[r] != rows.m_aLines[r].size()) __builtin_trap();
  }

  int nWidth = 0;
  int nHeight = 0;
  CAnalysisImage::FitToRows(rows, nStatedWidth, nStatedHeight, nWidth, nHeight);
  CSignalHistory history;
  history.Fill(rows, nWidth, nWidth / 2, options.m_tRecordingStartUTC, options.m_nAnalysisTimeRange);
  (void)history.Scale(false);
  (void)CAnalysisImage::FrequencyColumn(options, nWidth, options.m_nAnalysisCenterFreq);

  // One picture for every input: building its 65 536-entry colour table took most of each
  // run, and Reset() leaves nothing of the previous input behind.
  static CAnalysisImage image;
  image.Reset(options, nWidth, nHeight);
  image.SetRows(std::move(rows));
  image.SetScaleAutomatic(false);
  (void)image.TimeLabels();
  return 0;
}
