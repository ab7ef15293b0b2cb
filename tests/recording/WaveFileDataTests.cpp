// CWaveFileData: the header scan of every source, chaining by time and by number, and the
// real HDSDR recordings.

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <thread>

#include <gtest/gtest.h>

#include "RecordingFixtures.h"
#include "recording/DescriptionFile.h"
#include "recording/RecordingCaches.h"
#include "recording/WaveFileData.h"
#include "support/TestEnvironment.h"

using namespace fixture;
namespace fs = std::filesystem;

namespace {

std::vector<std::string> Names(const CRecordingDescription& d) {
  std::vector<std::string> names;
  for (const std::string& p : d.m_astrFileNames) names.push_back(fs::path(p).filename().string());
  return names;
}

CRecordingDescription Info(const fs::path& path, bool bWholeSeries = true) {
  CWaveFileData reader;
  CRecordingDescription desc;
  EXPECT_TRUE(reader.GetInformation(path, bWholeSeries, desc)) << reader.FailureText();
  return desc;
}

const SYSTEMTIME kT0 = Utc(2024, 3, 10, 12, 0, 0);
constexpr std::int64_t kT0Seconds = 1710072000;

SYSTEMTIME At(int nSecondsAfterT0) { return SecondsToSystemTime(kT0Seconds + nSecondsAfterT0); }

// The shared real recordings.
fs::path RealRecordings() {
  const fs::path dir = TestDataDir();
  return dir.empty() ? fs::path() : dir / "hdsdr";
}

}  // namespace

// Catches misplaced fields or wrong source names for any "auxi" size, a recording whose
// rate is taken from the chunk instead of 'fmt ', and an unlisted size being accepted.
TEST(WaveFileData, AuxiSizesSelectSourceAndFieldOffsets) {
  CTempFolder dir;
  const struct {
    std::uint32_t nSize;
    const char* pszSource;
    std::uint32_t nExpectedAD;
  } kCases[] = {{28, "SpectraVue 1", 1234}, {44, "SpectraVue 2", 1234}, {68, "SpectraVue 2.34", 1234},
                {72, "SpectraVue 3.0", 1234}, {164, "Winrad", 66'666'667}};
  for (const auto& c : kCases) {
    const fs::path path = dir / ("sv" + std::to_string(c.nSize) + ".wav");
    WriteBytes(path, Wave({Fmt(100), Auxi(c.nSize, Utc(1890, 1, 1, 0, 0, 0), Utc(1890, 1, 1, 0, 0, 0), 7'050'000, 1234),
                           Data(4000)}));
    CWaveFileHeader h;
    ASSERT_TRUE(CWaveFileData::ScanHeader(path, h)) << c.nSize;
    EXPECT_EQ(h.m_strSource, c.pszSource);
    EXPECT_EQ(h.m_nCenterFreq, 7'050'000u) << c.nSize;
    EXPECT_EQ(h.m_nADFreq, c.nExpectedAD) << c.nSize;
    EXPECT_EQ(h.m_nBandwidth, 100u);
    EXPECT_EQ(h.m_nDataSize, 4000u);
    EXPECT_DOUBLE_EQ(h.m_dDuration, 10.0);
  }
  // The later SpectraVue layouts: IF at 40, IQ offset at 48, unused at 52; the word at 44 is
  // read by neither. The older layouts have none of these.
  for (const std::uint32_t nSize : {44u, 68u, 72u}) {
    std::string body = Auxi(nSize, kT0, kT0, 1);
    body.replace(8 + 40, 16, Le32(455'000) + Le32(99) + Le32(12) + Le32(34));
    WriteBytes(dir / "if.wav", Wave({Fmt(100), body.substr(0, 8 + nSize), Data(4)}));
    CWaveFileHeader h;
    ASSERT_TRUE(CWaveFileData::ScanHeader(dir / "if.wav", h)) << nSize;
    const bool bLater = nSize != 44;
    EXPECT_EQ(h.m_nIFFreq, bLater ? 455'000u : 0u) << nSize;
    EXPECT_EQ(h.m_nIQOffset, bLater ? 12u : 0u) << nSize;
    EXPECT_EQ(h.m_nUnused, bLater ? 34u : 0u) << nSize;
  }

  WriteBytes(dir / "odd.wav", Wave({Fmt(100), Auxi(100, kT0, kT0, 1), Data(4)}));
  CWaveFileHeader h;
  CWaveScanFault fault;
  EXPECT_FALSE(CWaveFileData::ScanHeader(dir / "odd.wav", h, &fault));
  EXPECT_EQ(fault.Text(), "unsupported \"auxi\" chunk size (100 bytes)");
  CWaveFileData reader;
  CRecordingDescription desc;
  EXPECT_FALSE(reader.GetInformation(dir / "odd.wav", true, desc));
}

// Catches a missing local-to-UTC conversion for SpectraVue 2.34 (and one applied to 3.0).
TEST(WaveFileData, SpectraVue234TimesAreLocal) {
  const char* pszOldTz = std::getenv("TZ");
  const std::string strOldTz = pszOldTz ? pszOldTz : "";
  ::setenv("TZ", "EST5", 1);  // five hours behind UTC, no daylight saving
  ::tzset();
  CTempFolder dir;
  WriteSpectraVue(dir / "a.wav", 68, Utc(2024, 3, 10, 7, 0, 0), 10);
  WriteSpectraVue(dir / "b.wav", 72, Utc(2024, 3, 10, 7, 0, 0), 10);
  CWaveFileHeader h234, h30;
  ASSERT_TRUE(CWaveFileData::ScanHeader(dir / "a.wav", h234));
  ASSERT_TRUE(CWaveFileData::ScanHeader(dir / "b.wav", h30));
  if (pszOldTz) ::setenv("TZ", strOldTz.c_str(), 1); else ::unsetenv("TZ");
  ::tzset();
  EXPECT_EQ(CWaveFileData::TimeToSeconds(h234.m_stStart), kT0Seconds);
  EXPECT_EQ(CWaveFileData::TimeToSeconds(h234.m_stStop), kT0Seconds + 10);
  EXPECT_EQ(CWaveFileData::TimeToSeconds(h30.m_stStart), kT0Seconds - 5 * 3600);
}

// Catches a wrong rate table (code 7 must fall back to 125 kHz), a duration from the header's
// own bytes-per-second, and Perseus series that fail to chain.
TEST(WaveFileData, PerseusRateCodesAndChaining) {
  CTempFolder dir;
  // 16-bit at code 1 (250 kHz): 1,000,000 bytes per second whatever 'fmt ' says.
  const auto write = [&](const std::string& name, std::uint32_t code, std::int64_t t, std::uint32_t nBytes) {
    WriteBytes(dir / name, Wave({Fmt(100), Chunk("rcvr", Le32(7'100'000) + Le32(code) +
                                                            Le32(static_cast<std::uint32_t>(t)) + std::string(20, '\0')),
                                 Data(nBytes)}));
  };
  write("p1.wav", 1, kT0Seconds, 2'000'000);
  write("p2.wav", 1, kT0Seconds + 2, 1'000'000);
  write("p7.wav", 7, kT0Seconds + 1000, 500'000);
  CWaveFileHeader h;
  ASSERT_TRUE(CWaveFileData::ScanHeader(dir / "p1.wav", h));
  EXPECT_EQ(h.m_strSource, "Perseus");
  EXPECT_EQ(h.m_nBandwidth, 250'000u);
  EXPECT_EQ(h.m_nADFreq, 80'000'000u);
  EXPECT_DOUBLE_EQ(h.m_dDuration, 2.0);
  const CRecordingDescription d = Info(dir / "p2.wav");
  EXPECT_EQ(Names(d), (std::vector<std::string>{"p1.wav", "p2.wav"}));
  EXPECT_EQ(d.m_nSampleRate, 250'000u);
  EXPECT_EQ(d.m_nFmtSampleRate, 100u);
  EXPECT_EQ(d.m_tEnd - d.m_tStart, 3);
  EXPECT_EQ(Info(dir / "p7.wav").m_nSampleRate, 125'000u);
}

// Catches the SDRSharp prefix matched anywhere in the title, a centre frequency not taken
// as kHz with 32-bit wrap, and the single-file quirks: the file listed twice with a count of
// 1, and the whole size kept in the remainder.
TEST(WaveFileData, SdrSharpNameParsingAndSingleFileQuirks) {
  CTempFolder dir;
  WritePlain(dir / "SDRSharp_20240310_120000Z_7100kHz_IQ.wav", 3'500'000);
  WritePlain(dir / "SDRSharp_20240310_120000Z_7100000Hz_IQ.wav", 4);
  WritePlain(dir / "my_sdrsharp_20240310_120000Z_7100kHz_IQ.wav", 4);
  const CRecordingDescription d = Info(dir / "SDRSharp_20240310_120000Z_7100kHz_IQ.wav");
  EXPECT_EQ(d.m_strSource, "SDRSharp");
  EXPECT_EQ(d.m_nCenterFrequency, 7'100'000u);
  EXPECT_EQ(d.m_tStart, kT0Seconds);
  EXPECT_EQ(d.m_tEnd, kT0Seconds + 8750);  // 3,500,000 bytes at 400 bytes/s
  EXPECT_EQ(d.m_nFiles, 1u);
  ASSERT_EQ(d.m_astrFileNames.size(), 2u);
  EXPECT_EQ(d.m_astrFileNames[0], d.m_astrFileNames[1]);
  EXPECT_EQ(d.m_anFileSizes, (std::vector<std::uint32_t>{3'500'000, 3'500'000}));
  EXPECT_EQ(d.m_nTotalRemainder, 3'500'000u);
  EXPECT_EQ(d.m_nTotalMillions, 3u);
  EXPECT_EQ(d.TotalBytes(), 3'500'000u);
  EXPECT_EQ(Info(dir / "SDRSharp_20240310_120000Z_7100000Hz_IQ.wav").m_nCenterFrequency,
            static_cast<std::uint32_t>(7'100'000ull * 1000 % (1ull << 32)));
  const CRecordingDescription other = Info(dir / "my_sdrsharp_20240310_120000Z_7100kHz_IQ.wav");
  EXPECT_EQ(other.m_strSource, "UnknownFmt");
  EXPECT_EQ(other.m_nFiles, 1u);
  EXPECT_EQ(other.m_astrFileNames.size(), 1u);
  EXPECT_EQ(other.m_nCenterFrequency, 10'000'000u);
  EXPECT_EQ(other.m_nBytesPerSecond, 400u);
  // What was assumed is said, not passed off as read from the file.
  ASSERT_EQ(other.m_astrNotes.size(), 1u);
  EXPECT_NE(other.m_astrNotes[0].find("no centre frequency or start time"), std::string::npos);
  EXPECT_TRUE(d.m_astrNotes.empty());
}

// Catches a wrong Winradio title parse and a Winradio recording that chains (its source name
// begins with "Winrad", whose files do chain).
TEST(WaveFileData, WinradioTitleAndNoChaining) {
  CTempFolder dir;
  WritePlain(dir / "rx-2024-7.125MHz.ddc", 400);
  WritePlain(dir / "rx-2024-7.125MHz-b.ddc", 400);
  WritePlain(dir / "14.2.DDC", 400);
  WritePlain(dir / "mhz-5.ddc", 400);
  const CRecordingDescription d = Info(dir / "rx-2024-7.125MHz.ddc");
  EXPECT_EQ(d.m_strSource, "Winradio");
  EXPECT_EQ(d.m_nCenterFrequency, 7'125'000u);
  EXPECT_EQ(d.m_nFiles, 1u);
  EXPECT_EQ(CWaveFileData::SourceCode("Winradio"), 5);
  EXPECT_EQ(CWaveFileData::SourceCode("Winrad"), 3);
  EXPECT_EQ(CWaveFileData::SourceCode("SpectraVue 2.34"), 2);
  EXPECT_EQ(CWaveFileData::SourceCode("Brannock"), 0);
  EXPECT_EQ(Info(dir / "14.2.DDC").m_nCenterFrequency, 14'200'000u);
  EXPECT_EQ(Info(dir / "mhz-5.ddc").m_nCenterFrequency, 5'000'000u);  // "mhz" at 0 is not cut
}

// Catches chaining by name instead of time, a gap of 3 s accepted, a middle file that does
// not lead back to the earliest, and totals not carried into millions.
TEST(WaveFileData, TimeChainOrderGapAndMiddleFile) {
  CTempFolder dir;
  // Names in the opposite order of the times; 2 s between files; c.wav 3 s after b.wav.
  WriteSpectraVue(dir / "z.wav", 44, At(0), 1000);      // 400,000 bytes each
  WriteSpectraVue(dir / "y.wav", 44, At(1002), 1000);
  WriteSpectraVue(dir / "x.wav", 44, At(2004), 1000);
  WriteSpectraVue(dir / "c.wav", 44, At(3007), 1000);
  WriteSpectraVue(dir / "w.wav", 28, At(2997), 10);     // SpectraVue 1: also code 2
  WriteWinrad(dir / "v.wav", At(3004), 10);             // another source: never taken
  WritePlain(dir / "notes.txt", 4);
  const CRecordingDescription d = Info(dir / "y.wav");
  EXPECT_EQ(Names(d), (std::vector<std::string>{"z.wav", "y.wav", "x.wav"}));
  EXPECT_EQ(d.m_nFiles, 3u);
  EXPECT_EQ(d.m_tStart, kT0Seconds);
  EXPECT_EQ(d.m_tEnd, kT0Seconds + 3004);
  EXPECT_EQ(d.m_anFileStartTimes[2], static_cast<std::uint32_t>(kT0Seconds + 2004));
  EXPECT_EQ(d.m_nTotalMillions, 1u);
  EXPECT_EQ(d.m_nTotalRemainder, 200'000u);
  EXPECT_EQ(d.m_strSource, "SpectraVue 2");
  EXPECT_EQ(Names(Info(dir / "c.wav")), (std::vector<std::string>{"w.wav", "c.wav"}));
}

// Catches a byte-order folder listing: when two files could follow, the one first in
// case-insensitive name order is taken, on every machine.
TEST(WaveFileData, ListingOrderIsCaseInsensitive) {
  CTempFolder dir;
  WriteWinrad(dir / "first.wav", At(0), 10);
  WriteWinrad(dir / "a_next.wav", At(10), 10);
  WriteWinrad(dir / "B_next.wav", At(11), 10);
  EXPECT_EQ(Names(Info(dir / "first.wav")), (std::vector<std::string>{"first.wav", "a_next.wav"}));
  const auto listed = CWaveFileData::ListFolder(dir.Path());
  ASSERT_EQ(listed.size(), 3u);
  EXPECT_EQ(listed[0].filename(), "a_next.wav");
  EXPECT_EQ(listed[1].filename(), "B_next.wav");
}

// Catches an endless walk: files shorter than the 3 s tolerance match themselves and each
// other. Each is taken once, in time order; a long series beside them is unchanged.
TEST(WaveFileData, ShortFilesNeverLoop) {
  CTempFolder dir;
  WriteWinrad(dir / "s1.wav", At(0), 1);
  WriteWinrad(dir / "s2.wav", At(1), 1);
  WriteWinrad(dir / "s3.wav", At(2), 1);
  WriteWinrad(dir / "long1.wav", At(100), 60);
  WriteWinrad(dir / "long2.wav", At(161), 60);
  const CRecordingDescription d = Info(dir / "s2.wav");
  EXPECT_EQ(Names(d), (std::vector<std::string>{"s1.wav", "s2.wav", "s3.wav"}));
  EXPECT_EQ(Names(Info(dir / "long2.wav")), (std::vector<std::string>{"long1.wav", "long2.wav"}));
}

// The program's own series by number: catches a series that does not stop at the first gap,
// the whole-series flag ignored, end times not from the byte total, a missing size not
// completed and saved, ".WAV" not finding its description, and a "FirstFile" that leads out
// of the folder.
TEST(WaveFileData, BrannockSeriesByNumber) {
  CTempFolder dir;
  for (int n : {0, 1, 2, 4}) {
    const std::string name = "Rec " + std::string(n < 10 ? "00" : "0") + std::to_string(n) + ".wav";
    WritePlain(dir / name, n == 2 ? 800 : 4000);
    WriteBytes((dir / name).replace_extension(".xml"),
               DescriptionXml("Rec 000.wav", kT0Seconds + n * 10, 400, n == 0 ? 4000 : 0));
  }
  const CRecordingDescription d = Info(dir / "Rec 001.wav");
  EXPECT_EQ(d.m_strSource, "Brannock");
  EXPECT_EQ(Names(d), (std::vector<std::string>{"Rec 000.wav", "Rec 001.wav", "Rec 002.wav"}));
  EXPECT_EQ(d.m_anFileSizes, (std::vector<std::uint32_t>{4000, 4000, 800}));
  EXPECT_EQ(d.m_anFileStartTimes, (std::vector<std::uint32_t>{0, 0, 0}));
  EXPECT_EQ(d.m_tStart, kT0Seconds);
  EXPECT_EQ(d.m_tEnd, kT0Seconds + 22);
  EXPECT_EQ(d.m_nCenterFrequency, 7'100'000u);
  EXPECT_EQ(d.m_nBitsPerSample, 16u);
  EXPECT_EQ(d.TotalBytes(), 8800u);
  // File 002 has a different length, so its description was read and completed on disk.
  EXPECT_EQ(CDescriptionValues::Parse(ReadBytes(dir / "Rec 002.xml")).Value("SizeInBytes"), "800");
  EXPECT_EQ(Info(dir / "Rec 002.wav", false).m_nFiles, 1u);

  fs::rename(dir / "Rec 000.wav", dir / "Up 000.WAV");
  WriteBytes(dir / "Up 000.xml", DescriptionXml("Up 000.WAV", kT0Seconds, 400, 4000));
  EXPECT_EQ(Info(dir / "Up 000.WAV").m_nFiles, 1u);

  for (const char* pszBad : {"../Rec 000.wav", "/tmp/Rec 000.wav", "sub\\Rec 000.wav", ".."}) {
    WriteBytes(dir / "Bad 000.xml", DescriptionXml(pszBad, kT0Seconds, 400, 4000));
    WritePlain(dir / "Bad 000.wav", 4000);
    RecordingCaches().Clear();
    CWaveFileData reader;
    CRecordingDescription bad;
    EXPECT_FALSE(reader.GetInformation(dir / "Bad 000.wav", true, bad)) << pszBad;
  }
}

// Catches a description inside "auxi" that is not recognised as UTF-16 XML, not completed
// or not left beside the file; and a non-".wav" file looking for a side description.
TEST(WaveFileData, DescriptionInsideAuxi) {
  CTempFolder dir;
  const std::string xml = DescriptionXml("In 000.wav", kT0Seconds, 400, 0);
  WriteBytes(dir / "In 000.wav", Wave({Fmt(100), Chunk("auxi", Utf16(xml) + std::string(6, '\0')), Data(1200)}));
  const CRecordingDescription d = Info(dir / "In 000.wav");
  EXPECT_EQ(d.m_strSource, "Brannock");
  EXPECT_EQ(d.m_anFileSizes, (std::vector<std::uint32_t>{1200}));
  EXPECT_EQ(d.m_tEnd, kT0Seconds + 3);
  EXPECT_EQ(CDescriptionValues::Parse(ReadBytes(dir / "In 000.xml")).Value("SizeInBytes"), "1200");
  // The file left behind is one the program wrote: it carries the warning block.
  EXPECT_NE(ReadBytes(dir / "In 000.xml").find("===================== WARNING"), std::string::npos);

  WritePlain(dir / "plain.dat", 400);
  WriteBytes(dir / "plain.xml", DescriptionXml("plain.dat", kT0Seconds, 400, 400));
  EXPECT_EQ(Info(dir / "plain.dat").m_strSource, "UnknownFmt");
}

// The real HDSDR recordings: catches a wrong Winrad layout, the rate taken from anything but
// 'fmt ', and the two files recorded 2 s apart not forming one series.
TEST(WaveFileData, RealHdsdrRecordings) {
  const fs::path data = RealRecordings();
  if (data.empty() || !fs::is_directory(data)) GTEST_SKIP() << "no HDSDR test recordings";
  CWaveFileHeader h;
  ASSERT_TRUE(CWaveFileData::ScanHeader(data / "HDSDR_20250806_140927Z_3333kHz_RF.wav", h));
  EXPECT_EQ(h.m_strSource, "Winrad");
  EXPECT_EQ(h.m_fmt.nSamplesPerSec, 48000u);
  EXPECT_EQ(h.m_nCenterFreq, 3'333'333u);  // the chunk, not the name
  EXPECT_EQ(h.m_nDataSize, 3'966'976u);
  ASSERT_TRUE(CWaveFileData::ScanHeader(data / "HDSDR_20250724_020642Z_1468kHz_RF.wav", h));
  EXPECT_EQ(h.m_nBandwidth, 12000u);
  EXPECT_EQ(h.m_nCenterFreq, 1'468'000u);

  CTempFolder dir;
  for (const auto& entry : fs::directory_iterator(data)) fs::copy_file(entry.path(), dir / entry.path().filename().string());
  WritePlain(dir / "unrelated.wav", 400);
  WriteBytes(dir / "readme.txt", "x");
  for (const char* pszChosen : {"HDSDR_20250809_100956Z_7468kHz_RF.wav", "HDSDR_20250809_101015Z_7468kHz_RF.wav"}) {
    const CRecordingDescription d = Info(dir / pszChosen);
    EXPECT_EQ(Names(d), (std::vector<std::string>{"HDSDR_20250809_100956Z_7468kHz_RF.wav",
                                                  "HDSDR_20250809_101015Z_7468kHz_RF.wav"}));
    EXPECT_EQ(d.m_strSource, "Winrad");
    EXPECT_EQ(d.m_nSampleRate, 48000u);
    EXPECT_EQ(d.m_nCenterFrequency, 7'468'000u);
    EXPECT_EQ(FormatUtcSeconds(d.m_tStart), "2025-08-09 10:09:56");
    EXPECT_EQ(FormatUtcSeconds(d.m_tEnd), "2025-08-09 10:10:31");
    EXPECT_EQ(d.TotalBytes(), 3'266'560u + 3'260'416u);
  }
  EXPECT_EQ(Info(dir / "HDSDR_20250724_020818Z_7468kHz_RF.wav").m_nFiles, 1u);

  // The receiver re-configured between the parts: a 176.4 kHz file and a 24 kHz one written
  // where the series continues, listed before its real second part. They are a separate
  // recording, and the description says so.
  const auto foreign = [&](const char* pszName, const SYSTEMTIME& start, std::uint32_t nRate) {
    WriteBytes(dir / pszName, Wave({Fmt(nRate), Auxi(164, start, start, 7'468'000), Data(nRate * 4)}));
  };
  foreign("HDSDR_20250809_101013Z_7468kHz_RF.wav", Utc(2025, 8, 9, 10, 10, 13), 176'400);
  foreign("HDSDR_20250809_101014Z_7468kHz_RF.wav", Utc(2025, 8, 9, 10, 10, 14), 24'000);
  const CRecordingDescription d = Info(dir / "HDSDR_20250809_100956Z_7468kHz_RF.wav");
  EXPECT_EQ(Names(d), (std::vector<std::string>{"HDSDR_20250809_100956Z_7468kHz_RF.wav",
                                                "HDSDR_20250809_101015Z_7468kHz_RF.wav"}));
  EXPECT_EQ(d.m_nSampleRate, 48000u);
  EXPECT_EQ(FormatUtcSeconds(d.m_tEnd), "2025-08-09 10:10:31");
  EXPECT_EQ(d.m_astrNotes,
            (std::vector<std::string>{"HDSDR_20250809_101013Z_7468kHz_RF.wav: 176400 Hz, not 48000 Hz: a separate recording",
                                      "HDSDR_20250809_101014Z_7468kHz_RF.wav: 24000 Hz, not 48000 Hz: a separate recording"}));
  // Chosen, a foreign file is a recording of its own.
  EXPECT_EQ(Info(dir / "HDSDR_20250809_101013Z_7468kHz_RF.wav").m_nFiles, 1u);
}

// Catches a series that mixes formats or tunings: only files with the chosen file's format
// tag, channels, rate, bits and centre frequency continue it, wherever they are listed;
// each one left out beside the series is named with the reason.
TEST(WaveFileData, TimeChainKeepsToOneFormatAndTuning) {
  CTempFolder dir;
  const auto write = [&](const std::string& name, int nStart, std::uint32_t nRate, std::uint16_t nBits,
                         std::uint32_t nCentre) {
    const std::uint32_t nBytes = nRate * 2u * (nBits / 8u) * 10u;  // 10 s
    WriteBytes(dir / name, Wave({Fmt(nRate, nBits), Auxi(164, At(nStart), At(nStart), nCentre), Data(nBytes)}));
  };
  write("a1.wav", 0, 100, 16, 1'468'000);
  write("a2_rate.wav", 10, 441, 16, 1'468'000);
  write("a3_bits.wav", 10, 100, 24, 1'468'000);
  write("a4_tuned.wav", 11, 100, 16, 7'100'000);
  write("a5.wav", 11, 100, 16, 1'468'000);
  write("a6.wav", 21, 100, 16, 1'468'000);
  const CRecordingDescription d = Info(dir / "a6.wav");
  EXPECT_EQ(Names(d), (std::vector<std::string>{"a1.wav", "a5.wav", "a6.wav"}));
  EXPECT_EQ(d.m_tEnd - d.m_tStart, 31);
  EXPECT_EQ(d.m_astrNotes, (std::vector<std::string>{"a2_rate.wav: 441 Hz, not 100 Hz: a separate recording",
                                                     "a3_bits.wav: 24 bits per sample, not 16: a separate recording",
                                                     "a4_tuned.wav: centre 7100000 Hz, not 1468000 Hz: a separate recording"}));
  EXPECT_EQ(Names(Info(dir / "a2_rate.wav")), (std::vector<std::string>{"a2_rate.wav"}));
}

// Catches walks that go backwards in time or take the first listed neighbour instead of the
// nearest: 1-s files abut several others, and listed in reverse or shuffled order they once
// chained with the end before the start and a negative duration.
TEST(WaveFileData, OneSecondFilesChainInTimeOrderWhateverTheNames) {
  for (const std::vector<std::string>& names :
       {std::vector<std::string>{"d.wav", "c.wav", "b.wav", "a.wav"}, std::vector<std::string>{"c.wav", "a.wav", "d.wav", "b.wav"}}) {
    CTempFolder dir;
    for (int n = 0; n < 4; ++n) WriteWinrad(dir / names[static_cast<std::size_t>(n)], At(n), 1);
    for (const std::string& chosen : names) {
      const CRecordingDescription d = Info(dir / chosen);
      EXPECT_EQ(Names(d), names) << chosen;
      EXPECT_EQ(d.m_tStart, kT0Seconds) << chosen;
      EXPECT_EQ(d.m_tEnd, kT0Seconds + 4) << chosen;
      EXPECT_DOUBLE_EQ(d.m_dDuration, 4.0) << chosen;
      EXPECT_TRUE(d.m_astrNotes.empty());
    }
  }
}

// Catches unguarded process-wide caches: readers on several threads (the selection dialog,
// the analysis reader, the player) measure the same recordings at once. Run under tsan.
TEST(WaveFileData, ConcurrentReadersAgree) {
  CTempFolder dir;
  for (int n = 0; n < 4; ++n) WriteWinrad(dir / ("w" + std::to_string(n) + ".wav"), At(10 * n), 10);
  WritePlain(dir / "Own 000.wav", 800);
  WriteBytes(dir / "Own 000.xml", DescriptionXml("Own 000.wav", kT0Seconds, 400, 0));
  std::vector<std::thread> threads;
  std::atomic<int> nGood{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      CWaveFileData reader;
      CRecordingDescription a, b;
      if (reader.GetInformation(dir / "w2.wav", true, a) && a.m_nFiles == 4 &&
          reader.GetInformation(dir / "Own 000.wav", true, b) && b.m_anFileSizes == std::vector<std::uint32_t>{800})
        ++nGood;
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(nGood.load(), 4);
}
