#pragma once
// CAnalysisImageFeed: hands a run's rows to a CAnalysisImage as they arrive, so that each
// row is reduced to the picture's columns at once and the spectrum itself is freed.

#include "analysis/AnalysisImage.h"
#include "analysis/AnalysisRecords.h"
#include "analysis/AnalysisRunInterfaces.h"

class CAnalysisImageFeed final : public IAnalysisRowConsumer {
 public:
  // The picture is nWidth × nHeight pixels.
  CAnalysisImageFeed(CAnalysisImage& image, int nWidth, int nHeight)
      : m_image(image), m_nWidth(nWidth), m_nHeight(nHeight) {}

  void ResetForRun(const CAnalysisOptions& options) override { m_image.Reset(options, m_nWidth, m_nHeight); }
  void AddRow(std::uint32_t, const CRowRecord& record) override {
    m_image.AddRow(record.Values(), record.FFTSize());
  }
  void CompleteRun() override {}

 private:
  CAnalysisImage& m_image;
  int m_nWidth;
  int m_nHeight;
};
