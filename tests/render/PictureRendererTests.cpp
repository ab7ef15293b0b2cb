// The picture as an annotated image: the picture's pixels unchanged inside title, frequency
// scale, time labels and colour bar; files written atomically in the format of their
// extension (GIF too), or refused with the reason.

#include <gtest/gtest.h>

#include <QImage>
#include <QString>

#include "analysis/AnalysisImage.h"
#include "analysis/AnalysisOptions.h"
#include "analysis/AnalysisSession.h"
#include "analysis/ProjectFile.h"
#include "persist/MySettingsStore.h"
#include "render/PictureAnnotations.h"
#include "render/PictureRenderer.h"
#include "support/TestEnvironment.h"

namespace {

// A session showing 300 rows over 25 minutes (labels at 10:10 and 10:20, rows 120 and 240)
// of a ramp of levels across 64 bins, loaded from a project as the GUI and the CLI do.
class CRenderedSession {
 public:
  CRenderedSession() : m_settings(m_dir / "Settings.xml"), m_session(m_settings) {
    CAnalysisOptions o;
    o.m_nAnalysisFFTSize = 64;
    o.m_nRecordingBandwidth = 64000;
    o.m_nRecordingCenterFreq = 10'000'000;
    o.m_nAnalysisBandwidth = 64000;
    o.m_nAnalysisCenterFreq = 10'000'000;
    o.m_tRecordingStartUTC = o.m_tAnalysisStartUTC = 36000;
    o.m_tRecordingEndUTC = o.m_tAnalysisEndUTC = 36000 + 1500;
    o.m_nAnalysisDisplayRows = 300;
    CAnalysisImage image;
    image.Reset(o, 200, 300);
    std::vector<float> record(CAnalysisImage::kRowHeaderFloats + 64);
    for (int r = 0; r < 300; ++r) {
      for (int j = 0; j < 64; ++j) record[CAnalysisImage::kRowHeaderFloats + j] = -120.0f + j + (r % 7);
      image.AddRow(record.data(), 64);
    }
    std::string strError;
    EXPECT_TRUE(CProjectFile::Save(o, m_dir / "p.xml", image.Rows(), 200, 300, "", nullptr, strError)) << strError;
    EXPECT_TRUE(m_session.LoadProject(m_dir / "p.xml", strError)) << strError;
  }
  const CAnalysisSession& Session() const { return m_session; }
  const CTempFolder& Dir() const { return m_dir; }

 private:
  CTempFolder m_dir;
  CMySettingsStore m_settings;
  CAnalysisSession m_session;
};

constexpr int kTop = CPictureRenderer::kTitleHeight + CPictureRenderer::kScaleHeight;

// Pixels in a rectangle of the image that differ from the background: text and ticks.
int Drawn(const QImage& image, const QRect& rc) {
  int n = 0;
  for (int y = rc.top(); y <= rc.bottom(); ++y)
    for (int x = rc.left(); x <= rc.right(); ++x)
      n += image.pixel(x, y) != CPictureAnnotations::kBackground.rgba() ? 1 : 0;
  return n;
}

TEST(PictureRenderer, ThePictureSitsUnchangedInsideItsScalesAndTitle) {
  CRenderedSession fixture;
  const CAnalysisSession& session = fixture.Session();
  ASSERT_EQ(session.Image().TimeLabels().size(), 2u);
  const QImage image = CPictureRenderer::Render(session);
  ASSERT_EQ(image.width(), CPictureRenderer::kTimeWidth + 200 + CPictureRenderer::kBarWidth);
  ASSERT_EQ(image.height(), kTop + 300 + CPictureRenderer::kBottomMargin);
  for (int y = 0; y < 300; ++y)
    for (int x = 0; x < 200; ++x)
      ASSERT_EQ(image.pixel(CPictureRenderer::kTimeWidth + x, kTop + y), session.Image().Pixel(x, y)) << x << "," << y;
  EXPECT_GT(Drawn(image, QRect(0, 0, image.width(), CPictureRenderer::kTitleHeight)), 100);  // title
  EXPECT_GT(Drawn(image, QRect(CPictureRenderer::kTimeWidth, CPictureRenderer::kTitleHeight, 200,
                               CPictureRenderer::kScaleHeight)),
            50);  // frequency scale
  EXPECT_GT(Drawn(image, QRect(0, kTop, CPictureRenderer::kTimeWidth - 1, 300)), 50);  // time labels
  EXPECT_GT(Drawn(image, QRect(CPictureRenderer::kTimeWidth + 200, kTop, CPictureRenderer::kBarWidth - 1, 300)),
            300);  // colour bar
  const QString strTitle = CPictureAnnotations::TitleText(session);
  EXPECT_TRUE(strTitle.startsWith("Centre 10.000.000 MHz, span 64.000 kHz, RBW ")) << strTitle.toStdString();
  EXPECT_TRUE(strTitle.endsWith("1970-01-01 10:00:00 to 10:25:00 UTC")) << strTitle.toStdString();
}

TEST(PictureRenderer, SavesInTheFormatOfTheExtensionOrSaysWhyNot) {
  CRenderedSession fixture;
  const CTempFolder& dir = fixture.Dir();
  const CAnalysisSession& session = fixture.Session();
  std::string strError;
  ASSERT_TRUE(CPictureRenderer::Save(session, dir / "p.png", strError)) << strError;
  QImage loaded;
  ASSERT_TRUE(loaded.load(QString::fromStdString((dir / "p.png").string())));
  EXPECT_EQ(loaded.pixel(CPictureRenderer::kTimeWidth + 150, kTop + 60), session.Image().Pixel(150, 60));
  for (const char* pszName : {"p.JPG", "p.bmp", "p.gif"}) {
    ASSERT_TRUE(CPictureRenderer::Save(session, dir / pszName, strError)) << pszName << ": " << strError;
    ASSERT_TRUE(loaded.load(QString::fromStdString((dir / pszName).string()))) << pszName;
    EXPECT_EQ(loaded.size(), QSize(CPictureRenderer::kTimeWidth + 200 + CPictureRenderer::kBarWidth,
                                   kTop + 300 + CPictureRenderer::kBottomMargin));
  }
  EXPECT_EQ(ReadBytes(dir / "p.gif").substr(0, 3), "GIF");

  EXPECT_FALSE(CPictureRenderer::FormatSupported(dir / "p.xyz", strError));
  EXPECT_EQ(strError.rfind("Error saving file as " + (dir / "p.xyz").string() + " - unsupported image format \"xyz\"", 0),
            0u)
      << strError;
  EXPECT_FALSE(CPictureRenderer::Save(session, dir / "missing" / "p.png", strError));
  EXPECT_EQ(strError.rfind("Error saving file as " + (dir / "missing" / "p.png").string() + " - ", 0), 0u) << strError;
}

}  // namespace
