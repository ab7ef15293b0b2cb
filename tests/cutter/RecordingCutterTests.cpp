// The cutter end to end on synthesised recordings: what it writes is a "Brannock"
// recording with the cut's start, centre, rate and length; a cut across the input's file
// boundaries equals the same cut of one long file; an interrupted cut is a valid, shorter
// recording; every bad request is refused before anything is written.

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <complex>
#include <functional>
#include <numbers>
#include <vector>

#include "support/TestEnvironment.h"
#include "core/Log.h"
#include "core/QuantityText.h"
#include "cutter/RecordingCutter.h"
#include "recording/DemoRecording.h"
#include "recording/IQSeriesReader.h"
#include "recording/IQSeriesWriter.h"
#include "recording/WaveFileData.h"

namespace {

using Samples = std::vector<std::complex<float>>;

std::filesystem::path WriteDemo(const std::filesystem::path& folder, int nFiles, int nSeconds) {
  std::vector<std::filesystem::path> written;
  std::string strError;
  CDemoOptions options;
  options.nFiles = nFiles;
  options.nSecondsPerFile = nSeconds;
  EXPECT_TRUE(WriteDemoRecording(folder, written, strError, options)) << strError;
  return folder / DemoFileName(0);
}

CRecordingDescription Describe(const std::filesystem::path& file) {
  CRecordingDescription desc;
  CWaveFileData data;
  EXPECT_TRUE(data.GetInformation(file, true, desc)) << file;
  return desc;
}

Samples ReadAll(const std::filesystem::path& file) {
  const CRecordingDescription desc = Describe(file);
  CIQSeriesReader reader;
  EXPECT_TRUE(reader.Open(desc)) << reader.Error();
  Samples all(reader.TotalSamples());
  EXPECT_EQ(reader.Read(all.data(), all.size()), static_cast<std::int64_t>(all.size()));
  return all;
}

CCutRequest AmRequest(const std::filesystem::path& input, const std::filesystem::path& output) {
  CCutRequest request;
  request.input = input;
  request.dCentreHz = kDemoCenterFreqHz + kDemoSignals[0].nOffsetHz;  // the AM station
  request.dBandwidthHz = 12'000;
  request.output = output;
  return request;
}

std::size_t FileCount(const std::filesystem::path& folder) {
  std::size_t n = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++n;
  return n;
}

}  // namespace

// Catches a description that misstates the cut (start, centre, rate, size) so that the
// program would show it at the wrong time or frequency.
TEST(RecordingCutter, WritesABrannockRecordingWithTheCutsStartCentreAndRate) {
  CTempFolder temp;
  const auto input = WriteDemo(temp / "in", 2, 3);
  std::filesystem::create_directories(temp / "out");
  CCutRequest request = AmRequest(input, temp / "out" / "AM 000.wav");
  request.dStartSeconds = 2.0;
  request.dEndSeconds = 5.0;
  CRecordingCutter cutter;
  ASSERT_TRUE(cutter.Prepare(request)) << cutter.Error();
  EXPECT_EQ(cutter.Plan().nOutputRate, 15'000u);
  ASSERT_TRUE(cutter.Run()) << cutter.Error();
  EXPECT_FALSE(cutter.WasAborted());

  const CRecordingDescription desc = Describe(request.output);
  EXPECT_EQ(desc.m_strSource, "Brannock");
  EXPECT_EQ(desc.m_nFiles, 1u);
  EXPECT_EQ(desc.m_nCenterFrequency, kDemoCenterFreqHz - 60'000u);
  EXPECT_EQ(desc.m_nSampleRate, 15'000u);
  EXPECT_EQ(desc.m_nBitsPerSample, 16u);
  EXPECT_EQ(desc.m_tStart, kDemoStartUtc + 2);
  EXPECT_EQ(desc.m_tEnd, kDemoStartUtc + 5);
  EXPECT_EQ(desc.TotalBytes(), 3u * 15'000u * 4u);
}

// Catches a shift to the wrong frequency or a lost level: the AM station's carrier (-30 dBFS
// in the demo) must sit at 0 Hz of the cut at the same level, its 1000 Hz sidebands beside it.
TEST(RecordingCutter, TheStationComesOutAtTheCentreWithItsLevel) {
  CTempFolder temp;
  const auto input = WriteDemo(temp / "in", 1, 2);
  CRecordingCutter cutter;
  const CCutRequest request = AmRequest(input, temp / "AM 000.wav");
  ASSERT_TRUE(cutter.Prepare(request)) << cutter.Error();
  ASSERT_TRUE(cutter.Run()) << cutter.Error();
  const Samples out = ReadAll(request.output);
  ASSERT_EQ(out.size(), 30'000u);
  const auto level = [&](double hz) {
    std::complex<double> sum;
    for (std::size_t k = 1000; k < 29'000; ++k)
      sum += std::complex<double>(out[k]) * std::polar(1.0, -2.0 * std::numbers::pi * hz * static_cast<double>(k) / 15'000);
    return 20.0 * std::log10(std::abs(sum) / 28'000.0 / 32767.0);
  };
  EXPECT_NEAR(level(0.0), kDemoSignals[0].dLevelDb, 0.2);
  EXPECT_NEAR(level(1000.0), kDemoSignals[0].dLevelDb - 18.1, 0.5);  // 25 % modulation: carrier - 18 dB
  EXPECT_LT(level(5000.0), kDemoSignals[0].dLevelDb - 60.0);
}

// Catches samples lost or repeated where the input's files meet.
TEST(RecordingCutter, ACutAcrossFileBoundariesEqualsTheSameCutOfOneLongFile) {
  CTempFolder temp;
  const auto series = WriteDemo(temp / "series", 3, 2);
  const auto single = WriteDemo(temp / "single", 1, 6);
  Samples results[2];
  int i = 0;
  for (const auto& input : {series, single}) {
    CCutRequest request = AmRequest(input, temp / (i == 0 ? "A 000.wav" : "B 000.wav"));
    request.dStartSeconds = 1.5;
    request.dEndSeconds = 4.5;
    CRecordingCutter cutter;
    ASSERT_TRUE(cutter.Prepare(request)) << cutter.Error();
    ASSERT_TRUE(cutter.Run()) << cutter.Error();
    results[i++] = ReadAll(request.output);
  }
  ASSERT_EQ(results[0].size(), 45'000u);
  EXPECT_EQ(results[0], results[1]);
}

// Catches a series that cannot be read back whole: split into several files it must hold
// the same samples as one file, in 24-bit and float as well as 16-bit.
TEST(RecordingCutter, SplitsIntoNumberedFilesAndKeepsLevelsInEveryFormat) {
  CTempFolder temp;
  const auto input = WriteDemo(temp / "in", 1, 3);
  CCutRequest one = AmRequest(input, temp / "one 000.wav");
  CRecordingCutter cutter;
  ASSERT_TRUE(cutter.Prepare(one));
  ASSERT_TRUE(cutter.Run()) << cutter.Error();
  const Samples reference = ReadAll(one.output);

  for (const auto eFormat : {CIQSeriesWriter::ESampleFormat::INT16, CIQSeriesWriter::ESampleFormat::INT24,
                             CIQSeriesWriter::ESampleFormat::FLOAT32}) {
    CCutRequest split = one;
    split.output = temp / StrFormat("split%d 000.wav", static_cast<int>(eFormat));
    split.eFormat = eFormat;
    split.nMaxFileBytes = 40'000;
    ASSERT_TRUE(cutter.Prepare(split)) << cutter.Error();
    ASSERT_TRUE(cutter.Run()) << cutter.Error();
    const CRecordingDescription desc = Describe(split.output);
    EXPECT_GT(desc.m_nFiles, 3u);
    EXPECT_EQ(desc.m_nBitsPerSample, CIQSeriesWriter::BitsPerSample(eFormat));
    const Samples samples = ReadAll(split.output);
    ASSERT_EQ(samples.size(), reference.size());
    double worst = 0.0;
    for (std::size_t k = 0; k < samples.size(); ++k)
      worst = std::max(worst, static_cast<double>(std::abs(samples[k] - reference[k])));
    EXPECT_LE(worst, 0.75) << "format " << static_cast<int>(eFormat);  // 16-bit rounding of the reference
  }
}

// Catches an interruption that leaves a file without sizes or description.
TEST(RecordingCutter, AnAbortedCutIsAValidShorterRecording) {
  CTempFolder temp;
  const auto input = WriteDemo(temp / "in", 2, 3);
  CCutRequest request = AmRequest(input, temp / "AM 000.wav");
  request.nMaxFileBytes = 40'000;
  CRecordingCutter cutter;
  ASSERT_TRUE(cutter.Prepare(request));
  std::atomic<bool> abort{false};
  int calls = 0;
  ASSERT_TRUE(cutter.Run(&abort, [&](const CCutProgress& p) {
    EXPECT_GE(p.dFraction, 0.0);
    if (++calls == 3) abort = true;
  })) << cutter.Error();
  EXPECT_TRUE(cutter.WasAborted());
  EXPECT_GT(cutter.OutputSamplesWritten(), 0u);
  EXPECT_LT(cutter.OutputSamplesWritten(), cutter.Plan().nOutputSamples);
  const CRecordingDescription desc = Describe(request.output);
  EXPECT_EQ(desc.TotalBytes(), cutter.OutputSamplesWritten() * 4u);
  EXPECT_EQ(ReadAll(request.output).size(), cutter.OutputSamplesWritten());
  for (const auto& entry : std::filesystem::directory_iterator(temp.Path()))
    EXPECT_EQ(entry.path().string().find(".partial"), std::string::npos) << entry.path();
}

// Catches a later file of an earlier, longer cut of the same name being read as part of
// the new one.
TEST(RecordingCutter, ANewCutReplacesAnOlderSeriesOfTheSameName) {
  CTempFolder temp;
  const auto input = WriteDemo(temp / "in", 1, 3);
  CCutRequest request = AmRequest(input, temp / "AM 000.wav");
  request.nMaxFileBytes = 50'000;
  CRecordingCutter cutter;
  ASSERT_TRUE(cutter.Prepare(request));
  ASSERT_TRUE(cutter.Run());
  ASSERT_GT(Describe(request.output).m_nFiles, 2u);
  request.nMaxFileBytes = CIQSeriesWriter::kMaxDataBytes;
  request.dEndSeconds = 1.0;
  ASSERT_TRUE(cutter.Prepare(request));
  ASSERT_TRUE(cutter.Run());
  EXPECT_EQ(Describe(request.output).m_nFiles, 1u);
  EXPECT_FALSE(std::filesystem::exists(temp / "AM 001.wav"));
}

// Catches a bad request that is not refused, or refused only after writing something.
TEST(RecordingCutter, RefusesBadRequestsWithAClearMessageAndWritesNothing) {
  CTempFolder temp;
  const auto input = WriteDemo(temp / "in", 2, 2);
  std::filesystem::create_directories(temp / "out");
  const CCutRequest good = AmRequest(input, temp / "out" / "AM 000.wav");
  struct CCase {
    const char* pszWhat;
    std::function<void(CCutRequest&)> change;
    const char* pszMessage;
  };
  const CCase cases[] = {
      {"band above the recording", [](CCutRequest& r) { r.dCentreHz = kDemoCenterFreqHz + 120'000.0; }, "outside the recording's band"},
      {"band below the recording", [](CCutRequest& r) { r.dCentreHz = 1'000'000.0; }, "outside the recording's band"},
      {"no bandwidth", [](CCutRequest& r) { r.dBandwidthHz = 0; }, "bandwidth"},
      {"start after the end of the recording", [](CCutRequest& r) { r.dStartSeconds = 4.5; }, "outside the recording"},
      {"negative start", [](CCutRequest& r) { r.dStartSeconds = -1.0; }, "outside the recording"},
      {"end beyond the recording", [](CCutRequest& r) { r.dEndSeconds = 9.0; }, "outside the recording"},
      {"end before the start", [](CCutRequest& r) { r.dStartSeconds = 2.0; r.dEndSeconds = 1.0; }, "after the start"},
      {"output onto the input", [&](CCutRequest& r) { r.output = input.parent_path() / "Vexlor Demo 000.wav"; }, "would overwrite"},
      {"output's second file onto the input", [&](CCutRequest& r) {
         r.output = input.parent_path() / "Vexlor Demo 000.wav";
         r.nMaxFileBytes = 1'000'000;
       }, "would overwrite"},
      {"output not numbered", [](CCutRequest& r) { r.output.replace_filename("AM.wav"); }, "000.wav"},
      {"missing folder", [&](CCutRequest& r) { r.output = temp / "nowhere" / "AM 000.wav"; }, "no such folder"},
      {"rate not reachable", [](CCutRequest& r) { r.nOutputRate = 15'001; }, "exactly"},
      {"rate above the input", [](CCutRequest& r) { r.nOutputRate = 500'000; }, "above the recording's rate"},
      {"rate narrower than the band", [](CCutRequest& r) { r.nOutputRate = 10'000; }, "narrower than the band"},
      {"input not a recording", [&](CCutRequest& r) {
         WriteBytes(temp / "junk.wav", "not a wave file");
         r.input = temp / "junk.wav";
       }, "junk.wav"},
  };
  const std::size_t before = FileCount(input.parent_path());
  for (const CCase& c : cases) {
    CCutRequest request = good;
    c.change(request);
    CRecordingCutter cutter;
    EXPECT_FALSE(cutter.Prepare(request)) << c.pszWhat;
    EXPECT_NE(cutter.Error().find(c.pszMessage), std::string::npos) << c.pszWhat << ": " << cutter.Error();
    EXPECT_FALSE(cutter.Run()) << c.pszWhat;
  }
  EXPECT_EQ(FileCount(temp / "out"), 0u);
  EXPECT_EQ(FileCount(input.parent_path()), before);
}

// The text forms the front ends accept for frequencies and times.
TEST(QuantityText, FrequenciesAndTimesInEveryForm) {
  double hz = 0.0;
  std::string strError;
  for (const auto& [text, value] : std::vector<std::pair<std::string, double>>{
           {"7100000", 7.1e6}, {"7100k", 7.1e6}, {"7.1M", 7.1e6}, {"7.1 MHz", 7.1e6}, {"12kHz", 12e3}, {"0.5G", 5e8}}) {
    ASSERT_TRUE(ParseFrequencyText(text, hz, strError)) << text;
    EXPECT_DOUBLE_EQ(hz, value) << text;
  }
  // Values that are no number at all, or overflow once scaled, must not reach a
  // demodulator as "nan Hz".
  for (const char* bad : {"", "k", "7.1X", "-5k", "12 k Hz x", "nan", "NaN", "inf", "-inf", "1e999", "1e308G"})
    EXPECT_FALSE(ParseFrequencyText(bad, hz, strError)) << bad;
  EXPECT_NE(strError.find("frequency"), std::string::npos);

  double seconds = 0.0;
  for (const auto& [text, value] : std::vector<std::pair<std::string, double>>{
           {"2025-06-01 12:00:30", 30.0}, {"2025-06-01T12:01:00Z", 60.0}, {"12.5", 12.5}, {"0", 0.0}}) {
    ASSERT_TRUE(ParseRecordingTimeText(text, kDemoStartUtc, seconds, strError)) << text;
    EXPECT_DOUBLE_EQ(seconds, value) << text;
  }
  // Seconds beyond the calendar would overflow whole UTC seconds.
  for (const char* bad : {"", "12s", "2025-13-01 00:00:00", "noon", "nan", "inf", "1e300", "-1e19"})
    EXPECT_FALSE(ParseRecordingTimeText(bad, kDemoStartUtc, seconds, strError)) << bad;
}
