// The description text and its (name, value) list, the WAVE opener, and the demonstration
// recording.

#include <cmath>
#include <complex>

#include <gtest/gtest.h>

#include "RecordingFixtures.h"
#include "core/MessageQueue.h"
#include "core/RegisteredMessages.h"
#include "recording/DemoRecording.h"
#include "recording/DescriptionFile.h"
#include "recording/RecordingCaches.h"
#include "recording/WaveFileData.h"
#include "recording/WaveStreamFile.h"
#include "support/TestEnvironment.h"

using namespace fixture;
namespace fs = std::filesystem;

// Catches a list out of document order, "Size" read before "Definition", and an unparseable
// text that yields pairs.
TEST(DescriptionFile, ValuesInDocumentOrder) {
  const CDescriptionValues v = CDescriptionValues::Parse(
      "<r><Size SizeInBytes='9'/><Definition B='2' A='1' Two_-SPACE-_Words='x'/></r>");
  ASSERT_EQ(v.List().size(), 4u);
  EXPECT_EQ(v.List()[0].first, "B");
  EXPECT_EQ(v.List()[2].first, "Two Words");
  EXPECT_EQ(v.List()[3], (std::pair<std::string, std::string>{"SizeInBytes", "9"}));
  EXPECT_EQ(v.Value("A"), "1");
  EXPECT_EQ(v.Value("Missing"), "");
  EXPECT_TRUE(CDescriptionValues::Parse("<r><Definition A='1'>").IsEmpty());
  EXPECT_TRUE(CDescriptionValues::Parse("").IsEmpty());
}

// Catches a completed description written again on every use, a ".xml" looked for beside
// other extensions, and an unreadable side file taken as a description.
TEST(DescriptionFile, CompletionHappensOnceAndOnlyBesideWav) {
  CTempFolder dir;
  EXPECT_EQ(CDescriptionFile::SidePath("/a/b.WaV"), fs::path("/a/b.xml"));
  EXPECT_TRUE(CDescriptionFile::SidePath("/a/b.ddc").empty());
  WritePlain(dir / "r.wav", 1600);
  WriteBytes(dir / "r.xml", DescriptionXml("r 000.wav", 0, 400, 0));
  CDescriptionFile reader;
  const std::string text = reader.Text(dir / "r.wav");
  EXPECT_EQ(CDescriptionValues::Parse(text).Value("SizeInBytes"), "1600");
  const std::string saved = ReadBytes(dir / "r.xml");
  EXPECT_NE(saved.find("SizeInBytes=\"1600\""), std::string::npos);
  RecordingCaches().Clear();
  fs::last_write_time(dir / "r.xml", fs::file_time_type{});
  EXPECT_EQ(CDescriptionValues::Parse(reader.Text(dir / "r.wav")).Value("SizeInBytes"), "1600");
  EXPECT_EQ(fs::last_write_time(dir / "r.xml"), fs::file_time_type{});

  WriteBytes(dir / "broken.xml", "<Brannock-Vexlor><Definition");
  WritePlain(dir / "broken.wav", 4);
  EXPECT_EQ(reader.Text(dir / "broken.wav"), "");
  EXPECT_EQ(reader.Text(dir / "missing.wav"), "");
  EXPECT_EQ(reader.LastError(), static_cast<std::uint32_t>(MMIOERR_FILENOTFOUND));
  EXPECT_EQ(reader.LastErrorText(), "File not found");
}

namespace {

struct CLogged {
  std::vector<std::string> lines;
  CWaveStreamFile::LogFunction Fn() {
    return [this](const std::string& s) { lines.push_back(s); };
  }
};

}  // namespace

// Catches an opener that starts anywhere but at the requested byte of the data, posts the
// wrong bits/success, or logs other texts than the reader thread and player expect.
TEST(WaveStreamFile, OpensPositionsNotifiesAndLogs) {
  RegisterAllMessages();
  CTempFolder dir;
  std::string data;
  for (int i = 0; i < 64; ++i) data += static_cast<char>(i);
  WriteBytes(dir / "ok.wav", Wave({Fmt(100, 24), Chunk("auxi", std::string(164, '\0')), Chunk("data", data)}));
  WriteBytes(dir / "nodata.wav", Wave({Fmt(100)}));
  WriteBytes(dir / "nofmt.wav", Wave({Data(8)}));
  WriteBytes(dir / "text.wav", "hello");

  CMessageQueue queue;
  CLogged log;
  CWaveStreamFile file;
  ASSERT_TRUE(file.Open(dir / "ok.wav", 10, &queue, log.Fn()));
  EXPECT_EQ(file.BytesPerSample(), 3u);
  EXPECT_EQ(file.DataBytesLeft(), 54u);
  unsigned char b = 0;
  EXPECT_EQ(file.Read(&b, 1), 1);
  EXPECT_EQ(b, 10);
  EXPECT_EQ(log.lines, (std::vector<std::string>{(dir / "ok.wav").string() + "> Opening",
                                                  "Seeking 10 bytes from current position"}));
  auto msg = queue.TryGet();
  ASSERT_TRUE(msg);
  EXPECT_EQ(msg->nMsg, RegMsgSDR::nMsgFileOpen);
  EXPECT_EQ(msg->wParam, 24u);
  EXPECT_EQ(msg->lParam, 1);

  const struct {
    const char* pszName;
    const char* pszLine;
  } kFailures[] = {{"nodata.wav", "'data' chunk not found"},
                   {"nofmt.wav", "'fmt' chunk not found"},
                   {"text.wav", "'WAVE' header not found"},
                   {"missing.wav", "Error: File not found"}};
  for (const auto& f : kFailures) {
    log.lines.clear();
    EXPECT_FALSE(file.Open(dir / f.pszName, 0, &queue, log.Fn(), RegMsgSDR::nMsgDemodFileOpen));
    EXPECT_FALSE(file.IsOpen());
    ASSERT_EQ(log.lines.size(), 2u) << f.pszName;
    EXPECT_EQ(log.lines[1], f.pszLine);
    msg = queue.TryGet();
    ASSERT_TRUE(msg);
    EXPECT_EQ(msg->nMsg, RegMsgSDR::nMsgDemodFileOpen);
    EXPECT_EQ(msg->lParam, 0);
  }
}

namespace {

// The level in dBFS of a complex tone at offsetHz over the first nSamples of a 16-bit I/Q file.
double ToneLevelDb(const std::string& wav, double offsetHz, std::size_t nSamples) {
  const std::size_t nData = wav.find("data") + 8;
  std::complex<double> acc = 0;
  for (std::size_t k = 0; k < nSamples; ++k) {
    const auto* p = reinterpret_cast<const std::int16_t*>(wav.data() + nData + 4 * k);
    const double phase = -2.0 * M_PI * offsetHz * static_cast<double>(k) / kDemoSampleRateHz;
    acc += std::complex<double>(p[0], p[1]) * std::polar(1.0, phase);
  }
  return 20.0 * std::log10(std::abs(acc) / static_cast<double>(nSamples) / 32767.0);
}

}  // namespace

// Catches a demonstration recording the reader does not take as one "Brannock" series,
// samples that change from run to run, and signals missing from their documented offsets.
TEST(DemoRecording, ReadsBackAsSeriesWithSignalsWhereDocumented) {
  CTempFolder dir;
  std::vector<fs::path> written;
  std::string error;
  const CDemoOptions options{3, 1};
  ASSERT_TRUE(WriteDemoRecording(dir / "a", written, error, options)) << error;
  ASSERT_EQ(written.size(), 6u);
  EXPECT_EQ(written[0].filename(), "Vexlor Demo 000.wav");
  EXPECT_EQ(written[5].filename(), "Vexlor Demo 002.xml");

  CWaveFileData reader;
  CRecordingDescription d;
  ASSERT_TRUE(reader.GetInformation(dir / "a" / "Vexlor Demo 001.wav", true, d)) << reader.FailureText();
  EXPECT_EQ(d.m_strSource, "Brannock");
  EXPECT_EQ(d.m_nFiles, 3u);
  EXPECT_EQ(d.m_nSampleRate, kDemoSampleRateHz);
  EXPECT_EQ(d.m_nCenterFrequency, kDemoCenterFreqHz);
  EXPECT_EQ(d.m_tStart, kDemoStartUtc);
  EXPECT_EQ(d.m_tEnd, kDemoStartUtc + 3);
  EXPECT_EQ(d.TotalBytes(), 3u * kDemoSampleRateHz * 4);

  ASSERT_TRUE(WriteDemoRecording(dir / "b", written, error, options)) << error;
  const std::string first = ReadBytes(dir / "a" / "Vexlor Demo 001.wav");
  EXPECT_EQ(first, ReadBytes(dir / "b" / "Vexlor Demo 001.wav"));

  // 25,000 samples give 10 Hz bins: every documented steady tone lies on a bin.
  EXPECT_NEAR(ToneLevelDb(first, kDemoSignals[0].nOffsetHz, 25000), kDemoSignals[0].dLevelDb, 0.3);
  EXPECT_NEAR(ToneLevelDb(first, kDemoSignals[0].nOffsetHz + 1000, 25000), kDemoSignals[0].dLevelDb - 18.06, 0.5);
  EXPECT_NEAR(ToneLevelDb(first, kDemoSignals[3].nOffsetHz + 1200, 25000), kDemoSignals[3].dLevelDb, 0.3);
  EXPECT_LT(ToneLevelDb(first, kDemoSignals[3].nOffsetHz - 1200, 25000), kDemoSignals[3].dLevelDb - 40);
  EXPECT_LT(ToneLevelDb(first, -100'000, 25000), -90.0);
}
