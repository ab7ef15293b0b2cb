// The one IQ sample converter and the series reader built on it.

#include <complex>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "RecordingFixtures.h"
#include "recording/IQSampleConverter.h"
#include "recording/IQSeriesReader.h"
#include "recording/RecordingDescription.h"
#include "recording/SeriesPosition.h"
#include "support/TestEnvironment.h"

using namespace fixture;
namespace fs = std::filesystem;

namespace {

std::string Le24(std::int32_t v) {
  const auto u = static_cast<std::uint32_t>(v);
  return std::string{static_cast<char>(u & 0xFF), static_cast<char>((u >> 8) & 0xFF),
                     static_cast<char>((u >> 16) & 0xFF)};
}

std::string FloatBytes(float f) {
  std::string s(4, '\0');
  std::memcpy(s.data(), &f, 4);
  return s;
}

const std::uint8_t* Bytes(const std::string& s) { return reinterpret_cast<const std::uint8_t*>(s.data()); }

}  // namespace

// Catches a wrong 24-bit sign extension or scale (the player's 16-bit scale against the
// analysis's word scale), a lost I/Q swap and float samples altered on the way.
TEST(IQSampleConverter, EveryFormatAndScale) {
  const std::string s16 = Le16(static_cast<std::uint16_t>(-1234)) + Le16(32767);
  std::complex<float> out[2];
  CIQSampleConverter c16(1, 16);
  ASSERT_TRUE(c16.IsValid());
  EXPECT_EQ(c16.BytesPerComplex(), 4u);
  c16.Convert(Bytes(s16), 1, out);
  EXPECT_EQ(out[0], std::complex<float>(-1234.0f, 32767.0f));

  const std::string s24 = Le24(-256 * 1000) + Le24(512) + Le24(-1) + Le24(8388607);
  CIQSampleConverter c24(1, 24);
  c24.Convert(Bytes(s24), 2, out);
  EXPECT_EQ(out[0], std::complex<float>(-1000.0f, 2.0f));
  EXPECT_FLOAT_EQ(out[1].real(), -1.0f / 256.0f);
  float words[4];
  CIQSampleConverter(1, 24, false, CIQSampleConverter::E24BitScale::WORD).ConvertValues(Bytes(s24), 4, words);
  EXPECT_EQ(words[0], -256.0f * 1000 * 256);
  EXPECT_EQ(words[3], 8388607.0f * 256);

  const std::string sf = FloatBytes(0.25f) + FloatBytes(-7.5f);
  CIQSampleConverter cf(3, 32, true);
  cf.Convert(Bytes(sf), 1, out);
  EXPECT_EQ(out[0], std::complex<float>(-7.5f, 0.25f));
  EXPECT_TRUE(CIQSampleConverter(0xFFFE, 32).IsValid());
  EXPECT_TRUE(CIQSampleConverter(0xFFFE, 24).IsValid());

  EXPECT_FALSE(CIQSampleConverter(1, 8).IsValid());
  EXPECT_FALSE(CIQSampleConverter(3, 16).IsValid());
  EXPECT_FALSE(CIQSampleConverter(2, 16).IsValid());
  EXPECT_EQ(CIQSampleConverter::FormatText(2, 16), "format tag 2, 16 bits");
}

// Catches a walk that stops in an empty file, loses the end clamp, or miscounts the bytes
// before a named file.
TEST(SeriesPosition, WalksFilesBySize) {
  const std::vector<std::string> files{"a", "b", "c"};
  const std::vector<std::uint32_t> sizes{100, 0, 50};
  CSeriesPosition p;
  EXPECT_TRUE(FindSeriesPosition(files, sizes, 3, 99, p));
  EXPECT_EQ(p.m_strFile, "a");
  EXPECT_EQ(p.m_nOffset, 99u);
  EXPECT_TRUE(FindSeriesPosition(files, sizes, 3, 100, p));
  EXPECT_EQ(p.m_strFile, "c");
  EXPECT_EQ(p.m_nIndex, 2u);
  EXPECT_EQ(p.m_nOffset, 0u);
  EXPECT_FALSE(FindSeriesPosition(files, sizes, 3, 1000, p));
  EXPECT_EQ(p.m_strFile, "c");
  EXPECT_EQ(p.m_nOffset, 50u);
  EXPECT_FALSE(FindSeriesPosition(files, sizes, 0, 0, p));
  EXPECT_TRUE(p.m_strFile.empty());
  EXPECT_EQ(SeriesBytesBefore(files, sizes, "c"), 100u);
  EXPECT_EQ(SeriesBytesBefore(files, sizes, "none"), 150u);
}

namespace {

// A series of 16-bit files whose sample k is (k, -k), split at the given sample counts;
// with bOddSplit the first file ends two bytes into a sample.
CRecordingDescription WriteRamp(const fs::path& dir, const std::vector<int>& anCounts, bool bOddSplit = false) {
  CRecordingDescription desc;
  std::string all;
  int k = 0;
  for (const int n : anCounts)
    for (int i = 0; i < n; ++i, ++k) all += Le16(static_cast<std::uint16_t>(k)) + Le16(static_cast<std::uint16_t>(-k));
  std::size_t at = 0;
  for (std::size_t f = 0; f < anCounts.size(); ++f) {
    std::size_t bytes = static_cast<std::size_t>(anCounts[f]) * 4;
    if (bOddSplit && f == 0) bytes += 2;
    if (bOddSplit && f == 1) bytes -= 2;
    const fs::path path = dir / ("r" + std::to_string(f) + ".wav");
    WriteBytes(path, Wave({Fmt(1000), Chunk("data", all.substr(at, bytes)), Chunk("LIST", "trailer!")}));
    desc.m_astrFileNames.push_back(path.string());
    desc.m_anFileSizes.push_back(static_cast<std::uint32_t>(bytes));
    desc.m_anFileStartTimes.push_back(0);
    at += bytes;
  }
  desc.m_nFiles = static_cast<std::uint32_t>(anCounts.size());
  desc.m_nFmtSampleRate = 1000;
  desc.m_nSampleRate = 2000;  // as a Perseus code may say: the reader keeps to the 'fmt ' rate
  desc.m_nBitsPerSample = 16;
  desc.m_bValid = true;
  return desc;
}

}  // namespace

// Catches a reader that stops at a file boundary, drops or garbles a sample split between
// two files, reads the chunk after 'data' as samples, or seeks at the wrong rate.
TEST(IQSeriesReader, ReadsTheSeriesAsOneStream) {
  CTempFolder dir;
  const CRecordingDescription desc = WriteRamp(dir.Path(), {300, 200, 500}, true);
  CIQSeriesReader reader;
  ASSERT_TRUE(reader.Open(desc)) << reader.Error();
  EXPECT_EQ(reader.SampleRate(), 1000u);
  EXPECT_EQ(reader.TotalSamples(), 1000u);
  std::vector<std::complex<float>> out(1200);
  std::size_t got = 0;
  for (;;) {  // uneven pieces
    const std::int64_t n = reader.Read(out.data() + got, 77);
    ASSERT_GE(n, 0) << reader.Error();
    if (n == 0) break;
    got += static_cast<std::size_t>(n);
  }
  ASSERT_EQ(got, 1000u);
  for (std::size_t k = 0; k < got; ++k) ASSERT_EQ(out[k], std::complex<float>(float(k), -float(k))) << k;

  ASSERT_TRUE(reader.SeekToTime(0.45));
  EXPECT_EQ(reader.SamplePosition(), 450u);
  EXPECT_EQ(reader.Position().m_nIndex, 1u);
  EXPECT_EQ(reader.Read(out.data(), 2), 2);
  EXPECT_EQ(out[0], std::complex<float>(450.0f, -450.0f));
  ASSERT_TRUE(reader.SeekToByte(4 * 999 + 3));
  EXPECT_EQ(reader.Read(out.data(), 10), 1);
  EXPECT_EQ(out[0], std::complex<float>(999.0f, -999.0f));
  EXPECT_FALSE(reader.SeekToTime(5.0));
  EXPECT_NE(reader.Error().find("beyond the end"), std::string::npos);
}

// Catches a missing file or an unreadable format read as silence instead of failing with the
// file's name.
TEST(IQSeriesReader, FailsWithTheFileAndTheReason) {
  CTempFolder dir;
  CRecordingDescription desc = WriteRamp(dir.Path(), {10, 10});
  fs::remove(desc.m_astrFileNames[1]);
  CIQSeriesReader reader;
  ASSERT_TRUE(reader.Open(desc));
  std::vector<std::complex<float>> out(40);
  EXPECT_EQ(reader.Read(out.data(), 40), -1);
  EXPECT_NE(reader.Error().find("r1.wav"), std::string::npos);

  WriteBytes(desc.m_astrFileNames[0], Wave({Fmt(1000, 8), Data(40)}));
  EXPECT_FALSE(reader.Open(desc));
  EXPECT_NE(reader.Error().find("unsupported sample format (format tag 1, 8 bits)"), std::string::npos);
  EXPECT_FALSE(reader.Open(CRecordingDescription{}));
}
