#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "analysis/AnalysisOptions.h"
#include "analysis/Base64.h"
#include "analysis/ProjectFile.h"
#include "persist/TagDefinitions.h"
#include "support/TestEnvironment.h"

namespace {

class CRecordingProgress final : public CProjectProgress {
 public:
  void SetCaption(const std::string& strCaption) override { m_astrCaptions.push_back(strCaption); }
  void SetRange(int, int) override {}
  void SetPos(int) override {}
  std::vector<std::string> m_astrCaptions;
};

CAnalysisOptions SampleOptions() {
  CAnalysisOptions o;
  o.m_astrRecordingFilenames = {"/rec/a 1.wav", "/rec/b&<\"2\".wav"};
  o.m_anRecordingFileSizes = {4000000000u, 17};
  o.m_bTimeFormatLocal = 1;
  o.m_bRecordingWinradio = 1;
  o.m_dRecordingSizeMB = 4000.000017;
  o.m_nRecordingBandwidth = 2000000;
  o.m_nRecordingBitsPerSample = 24;
  o.m_nRecordingCenterFreq = 4000000000u;
  o.m_nRecordingSeconds = 3600;
  o.m_tRecordingEndUTC = 1700003600;
  o.m_tRecordingStartUTC = 1700000000;
  o.m_dAnalysisRBW = 1.9073486328125;
  o.m_eAnalysisWindow = 999;
  o.m_nAnalysisDataLength = 12345678901234;
  o.m_nAnalysisDataOffset = 98765432109;
  o.m_nAnalysisDisplayWidth = 640;
  o.m_nAnalysisDisplayHeight = 480;
  o.m_nAnalysisDisplayRows = 4321;
  o.m_nAnalysisFFTSize = 65536;
  o.m_nAnalysisOverlap = 50;
  o.m_nAnalysisTimeOffset = 60;
  o.m_nAnalysisTimeRange = 1200;
  o.m_nAnalysisBandwidth = 1500000;
  o.m_nAnalysisCenterFreq = 3999999999u;
  o.m_bAnalysisWholeRange = 0;
  o.m_bAnalysisShowGrid = 1;
  o.m_bAnalysisSwapIQ = 1;
  o.m_tAnalysisEndUTC = 1700001260;
  o.m_tAnalysisStartUTC = 1700000060;
  return o;
}

void ExpectSameOptions(const CAnalysisOptions& a, const CAnalysisOptions& b) {
  EXPECT_EQ(a.m_astrRecordingFilenames, b.m_astrRecordingFilenames);
  EXPECT_EQ(a.m_anRecordingFileSizes, b.m_anRecordingFileSizes);
  EXPECT_EQ(a.m_bRecordingWinradio, b.m_bRecordingWinradio);
  EXPECT_EQ(a.m_dRecordingSizeMB, b.m_dRecordingSizeMB);
  EXPECT_EQ(a.m_nRecordingBandwidth, b.m_nRecordingBandwidth);
  EXPECT_EQ(a.m_nRecordingBitsPerSample, b.m_nRecordingBitsPerSample);
  EXPECT_EQ(a.m_nRecordingCenterFreq, b.m_nRecordingCenterFreq);
  EXPECT_EQ(a.m_nRecordingSeconds, b.m_nRecordingSeconds);
  EXPECT_EQ(a.m_tRecordingEndUTC, b.m_tRecordingEndUTC);
  EXPECT_EQ(a.m_tRecordingStartUTC, b.m_tRecordingStartUTC);
  EXPECT_EQ(a.m_dAnalysisRBW, b.m_dAnalysisRBW);
  EXPECT_EQ(a.m_eAnalysisWindow, b.m_eAnalysisWindow);
  EXPECT_EQ(a.m_nAnalysisDataLength, b.m_nAnalysisDataLength);
  EXPECT_EQ(a.m_nAnalysisDataOffset, b.m_nAnalysisDataOffset);
  EXPECT_EQ(a.m_nAnalysisDisplayWidth, b.m_nAnalysisDisplayWidth);
  EXPECT_EQ(a.m_nAnalysisDisplayHeight, b.m_nAnalysisDisplayHeight);
  EXPECT_EQ(a.m_nAnalysisDisplayRows, b.m_nAnalysisDisplayRows);
  EXPECT_EQ(a.m_nAnalysisFFTSize, b.m_nAnalysisFFTSize);
  EXPECT_EQ(a.m_nAnalysisOverlap, b.m_nAnalysisOverlap);
  EXPECT_EQ(a.m_nAnalysisTimeOffset, b.m_nAnalysisTimeOffset);
  EXPECT_EQ(a.m_nAnalysisTimeRange, b.m_nAnalysisTimeRange);
  EXPECT_EQ(a.m_nAnalysisBandwidth, b.m_nAnalysisBandwidth);
  EXPECT_EQ(a.m_nAnalysisCenterFreq, b.m_nAnalysisCenterFreq);
  EXPECT_EQ(a.m_bAnalysisWholeRange, b.m_bAnalysisWholeRange);
  EXPECT_EQ(a.m_bAnalysisShowGrid, b.m_bAnalysisShowGrid);
  EXPECT_EQ(a.m_bAnalysisSwapIQ, b.m_bAnalysisSwapIQ);
  EXPECT_EQ(a.m_tAnalysisEndUTC, b.m_tAnalysisEndUTC);
  EXPECT_EQ(a.m_tAnalysisStartUTC, b.m_tAnalysisStartUTC);
}

// Rows of several widths holding values a text format would lose: -0, denormals,
// infinities, a NaN payload and the float just below 1.
CImageRows SampleRows() {
  CImageRows rows;
  std::mt19937 rng(7);
  std::uniform_real_distribution<float> level(-190.0f, 6.0f);
  for (std::uint32_t r = 0; r < 37; ++r) {
    std::vector<float> line(r == 5 ? 0 : 100 + r % 3);
    for (float& v : line) v = level(rng);
    if (line.size() > 4) {
      line[0] = -0.0f;
      line[1] = std::numeric_limits<float>::denorm_min();
      line[2] = -std::numeric_limits<float>::infinity();
      line[3] = std::nextafter(1.0f, 0.0f);
      std::uint32_t nanBits = 0x7FC01234u;
      std::memcpy(&line[4], &nanBits, 4);
    }
    rows.Append(std::move(line), r * 3, r == 9 ? 0u : 1u);
  }
  return rows;
}

bool SameBits(const CImageRows& a, const CImageRows& b) {
  if (a.Count() != b.Count() || a.m_anWidths != b.m_anWidths || a.m_anTimes != b.m_anTimes ||
      a.m_anFlags != b.m_anFlags) {
    return false;
  }
  for (std::size_t r = 0; r < a.Count(); ++r) {
    if (a.m_aLines[r].size() != b.m_aLines[r].size()) return false;
    if (!a.m_aLines[r].empty() &&
        std::memcmp(a.m_aLines[r].data(), b.m_aLines[r].data(), a.m_aLines[r].size() * 4) != 0) {
      return false;
    }
  }
  return true;
}

struct SLoaded {
  bool bOk = false;
  CAnalysisOptions options;
  CImageRows rows;
  int nWidth = -1;
  int nHeight = -1;
  std::string strTags = "untouched";
  std::string strMessage;
};

SLoaded LoadText(const std::string& text) {
  SLoaded l;
  l.bOk = CProjectFile::LoadFromBuffer(l.options, text.data(), text.size(), l.rows, l.nWidth, l.nHeight,
                                       l.strTags, nullptr, l.strMessage);
  return l;
}

std::string Entry(std::uint32_t nSize, const std::string& data, std::uint32_t nTime = 0) {
  return "<Entry Flag=\"1\" Size=\"" + std::to_string(nSize) + "\" Time=\"" + std::to_string(nTime) +
         "\" Data=\"" + data + "\"/>";
}

std::string Project(const std::string& dataAttributes, const std::string& entries) {
  return "<?xml version='1.0'?><Brannock-Vexlor xml:lang=\"EN\">"
         "<AnalysisOptions m_nAnalysisFFTSize=\"4096\"/><Tags XML=\"\"/>"
         "<Data " + dataAttributes + ">" + entries + "</Data></Brannock-Vexlor>";
}

std::string FloatsBase64(const std::vector<float>& v) { return CBase64::Encode(v.data(), v.size() * 4); }

}  // namespace

// Catches any loss in a save/load cycle: rows bit for bit (special values included),
// sizes, times and flags, every option, and the tag text; and the progress captions.
TEST(ProjectFile, RoundTripIsBitExact) {
  CTempFolder folder;
  CTagDefinitions tags;
  tags.Tags().push_back({"Beacon", "a \"quoted\" <note> & more", 7039400, 500, 1700000100, 30});
  tags.Tags().push_back({"", "", 1, 2, 3, 4});
  const CAnalysisOptions options = SampleOptions();
  const CImageRows rows = SampleRows();
  const auto path = folder / "round (Project).xml";

  CRecordingProgress saveProgress;
  std::string strError;
  ASSERT_TRUE(CProjectFile::Save(options, path, rows, 102, 480, tags.SaveToText(), &saveProgress, strError))
      << strError;
  EXPECT_EQ(saveProgress.m_astrCaptions,
            (std::vector<std::string>{"Encoding data...", "Saving project...", "Writing file..."}));

  CAnalysisOptions loaded;
  CImageRows back;
  int nWidth = 0;
  int nHeight = 0;
  std::string strTags;
  CRecordingProgress loadProgress;
  ASSERT_TRUE(CProjectFile::Load(loaded, path, back, nWidth, nHeight, strTags, &loadProgress, strError));
  EXPECT_EQ(strError, "");
  EXPECT_EQ(loadProgress.m_astrCaptions,
            (std::vector<std::string>{"Opening project...", "Loading project...", "Decoding"}));
  EXPECT_TRUE(SameBits(rows, back));
  ExpectSameOptions(options, loaded);
  EXPECT_EQ(nWidth, 102);
  EXPECT_EQ(nHeight, 480);
  CTagDefinitions tagsBack;
  ASSERT_TRUE(tagsBack.LoadFromText(strTags));
  EXPECT_EQ(tagsBack.Tags(), tags.Tags());

  // Written as m_bTimeFormatLocal, read as m_nTimeFormatLocal: the flag comes back 0.
  EXPECT_EQ(loaded.m_bTimeFormatLocal, 0);
  EXPECT_NE(ReadBytes(path).find("m_bTimeFormatLocal=\"1\""), std::string::npos);
  // The save went through a temporary file that is gone now.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 1);
}

// Catches rows lost, doubled or misordered where the writer moves from one block of rows
// to the next.
TEST(ProjectFile, RowsAcrossTheWritersBlocksComeBackInOrder) {
  CTempFolder folder;
  CImageRows rows;
  const std::size_t nRows = 2 * CProjectFile::kRowsPerWrite + 3;
  for (std::size_t r = 0; r < nRows; ++r)
    rows.Append(std::vector<float>(3 + r % 2, static_cast<float>(r)), static_cast<std::uint32_t>(r));
  std::string strError;
  ASSERT_TRUE(CProjectFile::Save(SampleOptions(), folder / "p.xml", rows, 4, 100, "", nullptr, strError)) << strError;
  CAnalysisOptions loaded;
  CImageRows back;
  int nWidth = 0, nHeight = 0;
  std::string strTags;
  ASSERT_TRUE(CProjectFile::Load(loaded, folder / "p.xml", back, nWidth, nHeight, strTags, nullptr, strError));
  EXPECT_TRUE(SameBits(rows, back));
}

// Catches a Count of 0 producing garbage or a failure instead of an empty picture.
TEST(ProjectFile, EmptyProjectLoadsToNoRows) {
  CTempFolder folder;
  std::string strError;
  ASSERT_TRUE(CProjectFile::Save(SampleOptions(), folder / "e.xml", CImageRows{}, 10, 10, "", nullptr, strError));
  const SLoaded l = LoadText(ReadBytes(folder / "e.xml"));
  ASSERT_TRUE(l.bOk) << l.strMessage;
  EXPECT_TRUE(l.rows.Empty());
  EXPECT_EQ(l.strMessage, "");
}

// Catches a loader that fails (or overwrites the caller's data) on files that are not
// projects, instead of leaving everything as it was.
TEST(ProjectFile, NotAProjectFailsAndLeavesOutputsUntouched) {
  for (const std::string& text : {std::string("<Brannock-Vexlor><Data Count=\"1\"/></Brannock-Vexlor>"),
                                  std::string("not xml at all <"), std::string()}) {
    const SLoaded l = LoadText(text);
    EXPECT_FALSE(l.bOk);
    EXPECT_FALSE(l.strMessage.empty());
    EXPECT_EQ(l.strTags, "untouched");
    EXPECT_EQ(l.nWidth, -1);
  }
  CAnalysisOptions options;
  CImageRows rows;
  int w = 0, h = 0;
  std::string tags, message;
  CTempFolder folder;
  EXPECT_FALSE(CProjectFile::Load(options, folder / "missing.xml", rows, w, h, tags, nullptr, message));
  EXPECT_NE(message.find("missing.xml"), std::string::npos);
}

// Catches damaged rows spoiling their neighbours: a bad Base64 row, a row longer than the
// width allows and a row shorter than its Size each load as documented, the others intact.
TEST(ProjectFile, DamagedRowsLoadWhatIsSound) {
  const std::vector<float> good = {-1.0f, -2.0f, -3.0f, -4.0f};
  const std::string entries = Entry(4, FloatsBase64(good), 5) + Entry(4, "AAAA!AAA") +
                              Entry(4, FloatsBase64(std::vector<float>(4 + 64 + 2, -9.0f))) +
                              Entry(4, FloatsBase64({-7.0f, -8.0f})) + Entry(2, FloatsBase64(good)) +
                              Entry(4, FloatsBase64(good), 6);
  const SLoaded l = LoadText(Project("Count=\"6\" Width=\"4\" Height=\"3\"", entries));
  ASSERT_TRUE(l.bOk);
  ASSERT_EQ(l.rows.Count(), 6u);
  EXPECT_EQ(l.rows.m_aLines[0], good);
  EXPECT_EQ(l.rows.m_aLines[1], std::vector<float>(4, 0.0f));
  EXPECT_EQ(l.rows.m_aLines[2], std::vector<float>(4, 0.0f));
  EXPECT_EQ(l.rows.m_aLines[3], (std::vector<float>{-7.0f, -8.0f, 0.0f, 0.0f}));
  EXPECT_EQ(l.rows.m_aLines[4], (std::vector<float>{-1.0f, -2.0f}));
  EXPECT_EQ(l.rows.m_aLines[5], good);
  EXPECT_EQ(l.rows.m_anTimes[5], 6u);
  EXPECT_EQ(l.rows.m_anWidths[4], 2u);
  EXPECT_NE(l.strMessage.find("2 rows have damaged data"), std::string::npos) << l.strMessage;
}

// Catches allocation by untrusted numbers: a huge Count, Width and Size over tiny data
// must neither allocate gigabytes nor fail, and a missing Data element is no failure.
TEST(ProjectFile, UntrustedCountsNeverDecideAllocation) {
  std::string entries;
  for (int i = 0; i < 200; ++i) entries += Entry(4000000000u, i == 0 ? FloatsBase64({-5.0f}) : "");
  const SLoaded l = LoadText(Project("Count=\"9000000000000000000\" Width=\"2000000000\" Height=\"7\"", entries));
  ASSERT_TRUE(l.bOk);
  ASSERT_EQ(l.rows.Count(), 200u);
  EXPECT_EQ(l.rows.m_aLines[0], std::vector<float>{-5.0f});
  for (std::size_t r = 1; r < l.rows.Count(); ++r) EXPECT_TRUE(l.rows.m_aLines[r].empty());
  EXPECT_NE(l.strMessage.find("\"Count\" is 9000000000000000000 but 200 rows"), std::string::npos);
  EXPECT_EQ(l.nWidth, 2000000000);

  const SLoaded noData = LoadText(
      "<Brannock-Vexlor><AnalysisOptions m_nAnalysisFFTSize=\"2048\"/></Brannock-Vexlor>");
  ASSERT_TRUE(noData.bOk);
  EXPECT_TRUE(noData.rows.Empty());
  EXPECT_EQ(noData.options.m_nAnalysisFFTSize, 2048u);
  EXPECT_NE(noData.strMessage.find("no \"Data\""), std::string::npos);
}

// Catches a proposed project name that keeps the series number or the extension.
TEST(ProjectFile, ProposedPathDropsExtensionAndTrailingDigits) {
  EXPECT_EQ(CProjectFile::ProposedPath("/rec/Band 40m 0001.wav"), "/rec/Band 40m (Project).xml");
  EXPECT_EQ(CProjectFile::ProposedPath("/rec/x.WAV"), "/rec/x (Project).xml");
}
