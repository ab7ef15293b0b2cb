// Runs and projects whose options would exhaust memory or overflow time arithmetic: the
// memory a run needs is known before it starts and a run that does not fit is refused with
// what would fit; a project with times out of range is refused, not shown as nonsense.

#include <gtest/gtest.h>

#include <string>

#include "analysis/AnalysisImage.h"
#include "analysis/AnalysisOptions.h"
#include "analysis/ProjectFile.h"

namespace {

CAnalysisOptions OptionsWithRows(int nRows) {
  CAnalysisOptions options;
  options.m_nAnalysisDisplayRows = nRows;
  options.m_tAnalysisStartUTC = 1'700'000'000;
  options.m_tAnalysisEndUTC = 1'700'000'000 + 3600;
  return options;
}

TEST(HostileMemory, ARunThatDoesNotFitIsRefusedWithWhatWouldFit) {
  // FFT 4K over a 2 GB recording: 244 141 rows at 5000 columns, about 5 GB.
  const CAnalysisOptions options = OptionsWithRows(244141);
  const std::uint64_t nNeeded = CAnalysisImage::RunMemoryBytes(244141, 5000, 1000, false);
  EXPECT_GT(nNeeded, 244141ull * 5000 * 4);
  std::string strMessage;
  EXPECT_TRUE(CAnalysisImage::CheckRunMemory(options, 5000, 1000, false, nNeeded, strMessage));
  EXPECT_TRUE(strMessage.empty());

  const std::uint64_t nAvailable = 2'000'000'000;
  EXPECT_FALSE(CAnalysisImage::CheckRunMemory(options, 5000, 1000, false, nAvailable, strMessage));
  EXPECT_NE(strMessage.find("rows fit"), std::string::npos) << strMessage;
  // The narrower picture it proposes does fit.
  const std::string strProposal = "a picture at most ";
  const std::size_t nAt = strMessage.find(strProposal);
  ASSERT_NE(nAt, std::string::npos) << strMessage;
  const int nWidthFit = std::stoi(strMessage.substr(nAt + strProposal.size()));
  EXPECT_GT(nWidthFit, 0);
  EXPECT_LE(CAnalysisImage::RunMemoryBytes(244141, nWidthFit, 1000, false), nAvailable);
  EXPECT_GT(CAnalysisImage::RunMemoryBytes(244141, nWidthFit + 1, 1000, false), nAvailable);

  // A project to be written adds the writer's block of row texts, not a copy of every row
  // (its whole text once took 5 GB for a 384 KB recording).
  const std::uint64_t nWithProject = CAnalysisImage::RunMemoryBytes(244141, 5000, 1000, true);
  EXPECT_EQ(nWithProject - nNeeded, CProjectFile::WriterMemoryBytes(5000));
  EXPECT_LT(CProjectFile::WriterMemoryBytes(5000), 100'000'000u);
}

TEST(HostileMemory, APictureLargerThanMemoryIsRefusedBeforeAnythingIsAllocated) {
  // --width 100000 --height 100000 asked for 40 GB at once.
  std::string strMessage;
  EXPECT_FALSE(CAnalysisImage::CheckRunMemory(OptionsWithRows(10), 100000, 100000, false, 8'000'000'000ull, strMessage));
  EXPECT_NE(strMessage.find("The picture alone does not fit"), std::string::npos) << strMessage;
  // Sizes that overflow 64 bits are still refused.
  EXPECT_EQ(CAnalysisImage::RunMemoryBytes(INT64_MAX, 2'000'000'000, 2'000'000'000, true), UINT64_MAX);
}

TEST(HostileRange, AProjectWithATimeOutOfRangeIsRefused) {
  for (const char* pszTime : {"9223372036854775807", "-1", "253402300800"}) {
    const std::string strProject = std::string("<Brannock-Vexlor><AnalysisOptions m_tRecordingStartUTC='") + pszTime +
                                   "'/><Data Count='0' Width='1' Height='1'/></Brannock-Vexlor>";
    CAnalysisOptions options;
    CImageRows rows;
    int nWidth = 0, nHeight = 0;
    std::string strTags, strMessage;
    EXPECT_FALSE(CProjectFile::LoadFromBuffer(options, strProject.data(), strProject.size(), rows, nWidth, nHeight,
                                              strTags, nullptr, strMessage))
        << pszTime;
    EXPECT_NE(strMessage.find("not a time from 1970 to 9999"), std::string::npos) << strMessage;
  }
}

}  // namespace
