// The picture as an image: the time labels on a copy, never on the picture's own buffer;
// files written in the format of their extension, or refused with the reason.

#include <gtest/gtest.h>

#include <QImage>
#include <QString>

#include "analysis/AnalysisImage.h"
#include "analysis/AnalysisOptions.h"
#include "render/PictureRenderer.h"
#include "support/TestEnvironment.h"

namespace {

// 300 rows over 25 minutes (labels at 10:10 and 10:20, rows 120 and 240), a ramp of
// levels across 64 bins.
void Fill(CAnalysisImage& image) {
  CAnalysisOptions o;
  o.m_nAnalysisFFTSize = 64;
  o.m_nRecordingBandwidth = 64000;
  o.m_nRecordingCenterFreq = 10'000'000;
  o.m_nAnalysisBandwidth = 64000;
  o.m_nAnalysisCenterFreq = 10'000'000;
  o.m_tAnalysisStartUTC = 36000;
  o.m_tAnalysisEndUTC = 36000 + 1500;
  o.m_nAnalysisDisplayRows = 300;
  image.Reset(o, 200, 300);
  std::vector<float> record(CAnalysisImage::kRowHeaderFloats + 64);
  for (int r = 0; r < 300; ++r) {
    for (int j = 0; j < 64; ++j) record[CAnalysisImage::kRowHeaderFloats + j] = -120.0f + j + (r % 7);
    image.AddRow(record.data(), 64);
  }
}

TEST(PictureRenderer, LabelsAreDrawnOnACopyAtTheLeftEdge) {
  CAnalysisImage image;
  Fill(image);
  ASSERT_EQ(image.TimeLabels().size(), 2u);
  const std::vector<std::uint32_t> before(image.Pixels(), image.Pixels() + 200 * 300);
  const QImage picture = CPictureRenderer::Render(image);
  ASSERT_EQ(picture.width(), 200);
  ASSERT_EQ(picture.height(), 300);
  // The picture's own buffer is untouched.
  EXPECT_TRUE(std::equal(before.begin(), before.end(), image.Pixels()));
  int nChangedLeft = 0, nChangedRight = 0;
  for (int y = 0; y < 300; ++y) {
    for (int x = 0; x < 200; ++x) {
      const bool bChanged = picture.pixel(x, y) != image.Pixel(x, y);
      (x < 100 ? nChangedLeft : nChangedRight) += bChanged ? 1 : 0;
    }
  }
  EXPECT_GT(nChangedLeft, 0);   // ticks and texts
  EXPECT_EQ(nChangedRight, 0);  // the rest of the picture as drawn
}

TEST(PictureRenderer, SavesInTheFormatOfTheExtensionOrSaysWhyNot) {
  CTempFolder dir;
  CAnalysisImage image;
  Fill(image);
  std::string strError;
  ASSERT_TRUE(CPictureRenderer::Save(image, dir / "p.png", strError)) << strError;
  QImage loaded;
  ASSERT_TRUE(loaded.load(QString::fromStdString((dir / "p.png").string())));
  EXPECT_EQ(loaded.size(), QSize(200, 300));
  EXPECT_EQ(loaded.pixel(150, 60), image.Pixel(150, 60));
  ASSERT_TRUE(CPictureRenderer::Save(image, dir / "p.JPG", strError)) << strError;

  EXPECT_FALSE(CPictureRenderer::FormatSupported(dir / "p.xyz", strError));
  EXPECT_EQ(strError.rfind("Error saving file as " + (dir / "p.xyz").string() + " - unsupported image format \"xyz\"", 0),
            0u)
      << strError;
  EXPECT_FALSE(CPictureRenderer::Save(image, dir / "missing" / "p.png", strError));
  EXPECT_EQ(strError.rfind("Error saving file as " + (dir / "missing" / "p.png").string() + " - ", 0), 0u) << strError;
}

}  // namespace
