// Damaged and hostile recordings: sizes the files do not hold, formats that are not IQ,
// times out of range, links out of the folder, descriptions that are too deep or in an
// unexpected encoding, and WAV writes that are cut short. Each input is the smallest that
// showed the fault.

#include <unistd.h>

#include <csignal>

#include <gtest/gtest.h>

#include "RecordingFixtures.h"
#include "core/EngineFaults.h"
#include "recording/DescriptionFile.h"
#include "recording/RecordingCaches.h"
#include "recording/WaveFileData.h"
#include "recording/WaveFileWriter.h"
#include "support/TestEnvironment.h"

using namespace fixture;
namespace fs = std::filesystem;

namespace {

// A 'fmt ' chunk with every field chosen by the test.
std::string FmtOf(std::uint16_t nChannels, std::uint32_t nRateHz, std::uint16_t nBits) {
  const std::uint16_t nAlign = static_cast<std::uint16_t>(nChannels * (nBits / 8));
  return Chunk("fmt ", Le16(1) + Le16(nChannels) + Le32(nRateHz) + Le32(nRateHz * nAlign) + Le16(nAlign) + Le16(nBits));
}

std::string FailureOf(const fs::path& path) {
  CWaveFileData data;
  CRecordingDescription desc;
  EXPECT_FALSE(data.GetInformation(path, true, desc)) << path;
  return data.FailureText();
}

// A description whose start, rate and sizes the test chooses.
std::string Description(const std::string& strFirst, const std::string& strUtcSeconds, const std::string& strSize,
                        const std::string& strBits = "16") {
  return "<?xml version='1.0'?><Brannock-Vexlor><Definition FirstFile=\"" + strFirst + "\" UTCSeconds=\"" +
         strUtcSeconds + "\" BytesPerSecond=\"400\" SampleRate=\"100\" RadioCenterFreq=\"7100000\" BitsPerSample=\"" +
         strBits + "\"/><Size SizeInBytes=\"" + strSize + "\"/></Brannock-Vexlor>";
}

}  // namespace

// ---- Memory bounds: a size is what the file holds, whatever a header claims.

TEST(HostileMemory, ADataChunkClaimingFourGigabytesEndsAtTheEndOfTheFile) {
  CTempFolder dir;
  // A recorder that never patched its sizes: the form and the 'data' chunk both claim
  // 0xFFFFFFFF bytes, in front of 400 real ones.
  WriteBytes(dir / "cut.wav",
             "RIFF" + Le32(0xFFFFFFFFu) + "WAVE" + Fmt(100) + "data" + Le32(0xFFFFFFFFu) + std::string(400, '\0'));
  CWaveFileData data;
  CRecordingDescription desc;
  ASSERT_TRUE(data.GetInformation(dir / "cut.wav", true, desc)) << data.FailureText();
  EXPECT_EQ(desc.TotalBytes(), 400u);
  ASSERT_EQ(desc.m_anFileSizes.size(), 1u);
  EXPECT_EQ(desc.m_anFileSizes[0], 400u);
  EXPECT_EQ(desc.m_tEnd - desc.m_tStart, 1);
  ASSERT_EQ(desc.m_astrWarnings.size(), 1u);
  EXPECT_NE(desc.m_astrWarnings[0].find("cut.wav"), std::string::npos);
  EXPECT_EQ(CWaveFileData::WaveDataSize(dir / "cut.wav"), 400u);
}

TEST(HostileMemory, AnAbsurdSizeInBytesIsCutToTheData) {
  CTempFolder dir;
  WritePlain(dir / "rec 000.wav", 800);
  WriteBytes(dir / "rec 000.xml", Description("rec 000.wav", "1700000000", "99999999999999999999"));
  CWaveFileData data;
  CRecordingDescription desc;
  ASSERT_TRUE(data.GetInformation(dir / "rec 000.wav", true, desc)) << data.FailureText();
  EXPECT_EQ(desc.TotalBytes(), 800u);
  EXPECT_EQ(desc.m_tEnd - desc.m_tStart, 2);
  ASSERT_EQ(desc.m_astrWarnings.size(), 1u);
  EXPECT_NE(desc.m_astrWarnings[0].find("SizeInBytes"), std::string::npos);
}

TEST(HostileMemory, ADeeplyNestedDescriptionIsRefusedAndNeverWrittenBackLarger) {
  CTempFolder dir;
  // Nested far beyond any real description, in the "auxi" chunk as UTF-16: refused, no crash.
  const int nDepth = 60000;  // within the size limit as UTF-16
  std::string strDeep = "<?xml version='1.0'?>";
  for (int i = 0; i < nDepth; ++i) strDeep += "<a>";
  for (int i = 0; i < nDepth; ++i) strDeep += "</a>";
  WriteBytes(dir / "deep.wav", Wave({Fmt(100), Chunk("auxi", Utf16(strDeep)), Data(400)}));
  const std::string strFailure = FailureOf(dir / "deep.wav");
  EXPECT_NE(strFailure.find("nested"), std::string::npos) << strFailure;
  EXPECT_FALSE(fs::exists(dir / "deep.xml"));

  // A shallow one with no size is completed and written back without indentation: the
  // file written is hardly larger than the text read.
  std::string strWide = "<?xml version='1.0'?><Brannock-Vexlor><Definition FirstFile=\"w 000.wav\" "
                        "UTCSeconds=\"1700000000\" BytesPerSecond=\"400\" SampleRate=\"100\"/>";
  for (int i = 0; i < 20; ++i) strWide += "<x><y><z><q/></z></y></x>";
  strWide += "</Brannock-Vexlor>";
  WritePlain(dir / "w 000.wav", 400);
  WriteBytes(dir / "w 000.xml", strWide);
  CDescriptionFile reader;
  ASSERT_FALSE(reader.Text(dir / "w 000.wav").empty());
  EXPECT_LT(ReadBytes(dir / "w 000.xml").size(), strWide.size() + 200);
}

// ---- Folder confinement: the series is the files of the chosen file's folder.

TEST(HostileFolder, ASeriesMemberLinkedToAFileElsewhereIsRefused) {
  CTempFolder dir, elsewhere;
  WritePlain(dir / "a 000.wav", 400);
  WriteBytes(dir / "a 000.xml", Description("a 000.wav", "1700000000", "400"));
  WritePlain(elsewhere / "secret 001.wav", 4000);
  WriteBytes(elsewhere / "secret 001.xml", Description("a 000.wav", "1700000000", "4000"));
  fs::create_symlink(elsewhere / "secret 001.wav", dir / "a 001.wav");
  const std::string strFailure = FailureOf(dir / "a 000.wav");
  EXPECT_NE(strFailure.find("a 001.wav"), std::string::npos) << strFailure;
  EXPECT_NE(strFailure.find("out of the recording's folder"), std::string::npos) << strFailure;

  // A link that stays in the folder is an ordinary member.
  fs::remove(dir / "a 001.wav");
  WritePlain(dir / "copy.wav", 400);
  fs::create_symlink("copy.wav", dir / "a 001.wav");
  CWaveFileData data;
  CRecordingDescription desc;
  ASSERT_TRUE(data.GetInformation(dir / "a 000.wav", true, desc)) << data.FailureText();
  EXPECT_EQ(desc.m_nFiles, 2u);
}

TEST(HostileFolder, ATimeSeriesNeverChainsALinkToAFileElsewhere) {
  CTempFolder dir, elsewhere;
  const SYSTEMTIME t0 = Utc(2024, 5, 1, 12, 0, 0);
  WriteWinrad(dir / "first.wav", t0, 10);
  WriteWinrad(elsewhere / "next.wav", Utc(2024, 5, 1, 12, 0, 10), 10);
  fs::create_symlink(elsewhere / "next.wav", dir / "next.wav");
  CWaveFileData data;
  CRecordingDescription desc;
  ASSERT_TRUE(data.GetInformation(dir / "first.wav", true, desc)) << data.FailureText();
  EXPECT_EQ(desc.m_nFiles, 1u);
}

// ---- Range checks: what is not an IQ recording is said so, naming the fault.

TEST(HostileRange, FormatsThatAreNotIQAreRefusedWithTheirFault) {
  CTempFolder dir;
  struct SCase {
    std::uint16_t nChannels;
    std::uint32_t nRate;
    std::uint16_t nBits;
    const char* pszExpected;
  };
  const SCase cases[] = {{2, 100, 7, "7 bits per sample"},   {2, 100, 33, "33 bits per sample"},
                         {2, 100, 64, "64 bits per sample"}, {0, 100, 16, "0 channels"},
                         {1, 100, 16, "1 channel;"},         {3, 100, 16, "3 channels"},
                         {2, 0, 16, "sample rate is 0"},     {2, 100, 0, "0 bits per sample"}};
  for (const SCase& c : cases) {
    const fs::path path = dir / ("f" + std::to_string(c.nChannels) + "_" + std::to_string(c.nRate) + "_" +
                                 std::to_string(c.nBits) + ".wav");
    WriteBytes(path, Wave({FmtOf(c.nChannels, c.nRate, c.nBits), Data(400)}));
    EXPECT_NE(FailureOf(path).find(c.pszExpected), std::string::npos) << path << ": " << FailureOf(path);
  }
  WriteBytes(dir / "short.wav", Wave({Chunk("fmt ", Le16(1) + Le16(2)), Data(400)}));
  EXPECT_NE(FailureOf(dir / "short.wav").find("4 bytes"), std::string::npos) << FailureOf(dir / "short.wav");

  // A description stating a format that is not IQ is refused the same way, naming the file.
  WritePlain(dir / "d 000.wav", 400);
  WriteBytes(dir / "d 000.xml", Description("d 000.wav", "1700000000", "400", "12"));
  const std::string strFailure = FailureOf(dir / "d 000.wav");
  EXPECT_NE(strFailure.find("d 000.wav\": 12 bits per sample"), std::string::npos) << strFailure;
}

TEST(HostileRange, StartTimesOutsideTheYears1970To9999AreRefused) {
  CTempFolder dir;
  WritePlain(dir / "t 000.wav", 400);
  for (const char* pszSeconds : {"9223372036854775807", "-1", "253402300800"}) {
    RecordingCaches().Clear();
    WriteBytes(dir / "t 000.xml", Description("t 000.wav", pszSeconds, "400"));
    const std::string strFailure = FailureOf(dir / "t 000.wav");
    EXPECT_NE(strFailure.find("not a time from 1970 to 9999"), std::string::npos) << pszSeconds << ": " << strFailure;
  }
  // The last second of 9999 is a time.
  RecordingCaches().Clear();
  WriteBytes(dir / "t 000.xml", Description("t 000.wav", "253402300799", "400"));
  CWaveFileData data;
  CRecordingDescription desc;
  EXPECT_TRUE(data.GetInformation(dir / "t 000.wav", true, desc)) << data.FailureText();
}

TEST(HostileRange, DescriptionsInEveryUnicodeFormInTheAuxiChunkAreRead) {
  CTempFolder dir;
  const std::string strXml = Description("u 000.wav", "1700000000", "400");
  std::string strBe;
  for (char c : strXml) {
    strBe += '\0';
    strBe += c;
  }
  const std::pair<const char*, std::string> forms[] = {
      {"le-bom", std::string("\xFF\xFE", 2) + Utf16(strXml)},
      {"be", strBe},
      {"be-bom", std::string("\xFE\xFF", 2) + strBe},
      {"utf8", strXml},
  };
  for (const auto& [pszName, strChunk] : forms) {
    const fs::path path = dir / (std::string(pszName) + ".wav");
    WriteBytes(path, Wave({Fmt(100), Chunk("auxi", strChunk), Data(400)}));
    CDescriptionFile reader;
    const std::string strText = reader.Text(path);
    EXPECT_NE(strText.find("u 000.wav"), std::string::npos) << pszName;
  }
}

// ---- Atomic writes: a WAV write that is cut short never costs the previous file.

TEST(HostileAtomic, AWavWriteThatFailsOrIsKilledKeepsThePreviousFile) {
  CTempFolder dir;
  WriteBytes(dir / "out.wav", "previous");
  const std::string strBlock(4096, 'x');
  const auto writeMany = [&] {
    CWaveFileWriter writer;
    if (writer.Create(dir / "out.wav", CWaveFormat::Linear(1, 1, 48000, 16))) return 1;
    for (int i = 0; i < 64; ++i)
      if (!writer.Write(strBlock.data(), strBlock.size())) break;
    if (writer.Close() == 0) return 2;
    return writer.ErrorText().find("File too large") != std::string::npos ? 0 : 3;
  };
  EXPECT_EQ(RunInChild(writeMany, 65536), 0);
  EXPECT_EQ(ReadBytes(dir / "out.wav"), "previous");
  EXPECT_EQ(FolderNames(dir.Path()), std::vector<std::string>{"out.wav"});

  const int nKilled = RunInChild([&] {
    CWaveFileWriter writer;
    writer.Create(dir / "out.wav", CWaveFormat::Linear(1, 1, 48000, 16));
    writer.Write(strBlock.data(), strBlock.size());
    ::raise(SIGKILL);
    return 0;
  });
  EXPECT_EQ(nKilled, 128 + SIGKILL);
  EXPECT_EQ(ReadBytes(dir / "out.wav"), "previous");
  EXPECT_EQ(FolderNames(dir.Path()), std::vector<std::string>{"out.wav"});
}

TEST(HostileAtomic, ADescriptionThatCannotBeWrittenBackIsStillUsedAndReportedOnce) {
  CTempFolder dir;
  WritePlain(dir / "n 000.wav", 400);
  // No "Size": the reader completes the description and writes it back, which fails here.
  const std::string strXml = Description("n 000.wav", "1700000000", "0");
  WriteBytes(dir / "n 000.xml", strXml);
  const int nResult = RunInChild(
      [&] {
        std::vector<std::string> astrFaults;
        CEngineFaultSubscription subscription([&](const CEngineFault& f) { astrFaults.push_back(f.strText); });
        CWaveFileData data;
        CRecordingDescription desc;
        if (!data.GetInformation(dir / "n 000.wav", true, desc) || desc.TotalBytes() != 400) return 1;
        if (astrFaults.size() != 1 || astrFaults[0].find("File too large") == std::string::npos) return 2;
        return 0;
      },
      64);
  EXPECT_EQ(nResult, 0);
  EXPECT_EQ(ReadBytes(dir / "n 000.xml"), strXml);
  EXPECT_EQ(FolderNames(dir.Path()), (std::vector<std::string>{"n 000.wav", "n 000.xml"}));
}
