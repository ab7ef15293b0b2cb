// The audio recorder: WAV and MP3 files, their tags and description, and a write error.

#include <gtest/gtest.h>
#include <lame/lame.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstring>

#include "persist/XMLMgr.h"
#include "player/AudioRecorder.h"
#include "recording/RiffFile.h"
#include "recording/WaveStreamFile.h"
#include "support/TestEnvironment.h"

namespace {

std::vector<std::int16_t> Tone(std::size_t nCount, double dHz, double dAmplitude = 10000.0) {
  std::vector<std::int16_t> an(nCount);
  for (std::size_t i = 0; i < nCount; ++i)
    an[i] = static_cast<std::int16_t>(std::lround(dAmplitude * std::sin(2.0 * M_PI * dHz * i / 48000.0)));
  return an;
}

std::vector<std::int16_t> ReadWavSamples(const std::filesystem::path& path) {
  CWaveStreamFile wav;
  if (!wav.Open(path, 0, nullptr, {})) return {};
  std::vector<std::int16_t> an(wav.DataBytesLeft() / 2);
  wav.Read(an.data(), an.size() * 2);
  return an;
}

// Catches tags in the wrong slots (or slot 3 used), samples altered on the way to the
// file, and a description missing the recorder's keys.
TEST(AudioRecorder, WavHoldsTheSamplesTagsAndDescription) {
  CTempFolder folder;
  CAudioRecorder recorder;
  recorder.SetMetadata(0, "Evening news");
  recorder.SetMetadata(1, "Station");
  recorder.SetMetadata(3, "ignored");
  recorder.SetMetadata(8, "ignored too");
  recorder.SetMetadata(5, "Grüße");
  CAudioRecordingContext context;
  context.m_strSourceFile = "/rec/IQ 000.wav";
  context.m_nTuningOffset = -60000;
  context.m_nMode = 6;
  std::string strError;
  ASSERT_TRUE(recorder.Start(AUDIO_RECORD_WAV, folder.Path(), "news", context, strError)) << strError;
  EXPECT_EQ(recorder.Path(), folder / "news.wav");
  const auto anTone = Tone(30001, 1000.0);
  EXPECT_TRUE(recorder.Write(anTone.data(), 10000));
  EXPECT_TRUE(recorder.Write(anTone.data() + 10000, 20001));
  recorder.Stop();
  EXPECT_FALSE(recorder.IsRecording());
  EXPECT_EQ(recorder.Metadata(3), "");

  EXPECT_EQ(ReadWavSamples(folder / "news.wav"), anTone);
  const std::string strBytes = ReadBytes(folder / "news.wav");
  // A well-formed "LIST" chunk: its type "INFO" right after the size, the size covering it.
  const std::size_t nList = strBytes.find("LIST");
  ASSERT_NE(nList, std::string::npos);
  EXPECT_EQ(strBytes.substr(nList + 8, 8), "INFOINAM");
  std::uint32_t nListSize = 0;
  std::memcpy(&nListSize, strBytes.data() + nList + 4, 4);
  EXPECT_EQ(strBytes.substr(nList + 8 + nListSize, 4), "data");
  EXPECT_NE(strBytes.find("Evening news"), std::string::npos);
  EXPECT_EQ(strBytes.find("ignored"), std::string::npos);

  CXMLMgr xml;
  ASSERT_TRUE(xml.Load(folder / "news.xml"));
  const pugi::xml_node node = CXMLMgr::FindChild(xml.Root(), "AudioRecording");
  EXPECT_EQ(CXMLMgr::GetAttribute(node, "m_strFileName"), "news.wav");
  EXPECT_EQ(CXMLMgr::GetAttribute(node, "m_nSamples"), "30001");
  EXPECT_EQ(CXMLMgr::GetAttribute(node, "m_strMode"), "AM");
  EXPECT_EQ(CXMLMgr::GetAttribute(node, "m_nTuningOffset"), "-60000");
  EXPECT_EQ(CXMLMgr::GetAttribute(node, "m_strComment"), "Grüße");
  EXPECT_EQ(CXMLMgr::GetAttribute(node, "m_bEndedByError"), "0");
}

TEST(AudioRecorder, RefusesWmaAndNamesUnnamedRecordings) {
  CTempFolder folder;
  CAudioRecorder recorder;
  std::string strError;
  EXPECT_FALSE(recorder.Start(AUDIO_RECORD_WMA, folder.Path(), "x", {}, strError));
  EXPECT_FALSE(strError.empty());
  EXPECT_FALSE(recorder.IsRecording());
  ASSERT_TRUE(recorder.Start(AUDIO_RECORD_MP3, folder.Path(), "", {}, strError));
  const std::string strName = recorder.Path().filename().string();
  EXPECT_EQ(strName.rfind("Vexlor ", 0), 0u);
  EXPECT_EQ(strName.substr(strName.size() - 4), ".mp3");
  ASSERT_TRUE(recorder.Start(AUDIO_RECORD_MP3, folder.Path(), "Already.MP3", {}, strError));
  EXPECT_EQ(recorder.Path().filename(), "Already.MP3");
}

// Catches an MP3 that a decoder cannot read or that does not hold the recorded audio.
TEST(AudioRecorder, Mp3DecodesToTheRecordedAudio) {
  CTempFolder folder;
  CAudioRecorder recorder;
  recorder.SetMetadata(0, "Tone");
  std::string strError;
  ASSERT_TRUE(recorder.Start(AUDIO_RECORD_MP3, folder.Path(), "tone", {}, strError)) << strError;
  const auto anTone = Tone(48000, 1000.0);
  for (std::size_t i = 0; i < anTone.size(); i += 4800) recorder.Write(anTone.data() + i, 4800);
  recorder.Stop();

  std::string strBytes = ReadBytes(folder / "tone.mp3");
  ASSERT_GT(strBytes.size(), 10u);
  ASSERT_EQ(strBytes.substr(0, 3), "ID3");
  EXPECT_NE(strBytes.find("TIT2"), std::string::npos);
  const auto* pTag = reinterpret_cast<const unsigned char*>(strBytes.data());
  const std::size_t nTag = 10 + ((pTag[6] & 0x7F) << 21 | (pTag[7] & 0x7F) << 14 | (pTag[8] & 0x7F) << 7 | (pTag[9] & 0x7F));
  ASSERT_LT(nTag, strBytes.size());

  hip_t hip = hip_decode_init();
  std::vector<short> anLeft(1152 * 64), anRight(1152 * 64);
  std::vector<short> anDecoded;
  std::vector<unsigned char> abIn(strBytes.begin() + static_cast<std::ptrdiff_t>(nTag), strBytes.end());
  // Fed in pieces, as a player reads a file; each call gives at most one frame.
  for (std::size_t nAt = 0; nAt < abIn.size(); nAt += 1024) {
    unsigned char* pIn = abIn.data() + nAt;
    std::size_t nLen = std::min<std::size_t>(1024, abIn.size() - nAt);
    int n = 0;
    do {
      n = hip_decode1(hip, pIn, nLen, anLeft.data(), anRight.data());
      if (n > 0) anDecoded.insert(anDecoded.end(), anLeft.begin(), anLeft.begin() + n);
      pIn = nullptr;
      nLen = 0;
    } while (n > 0);
  }
  hip_decode_exit(hip);
  // The encoder adds its delay and pads the last frame: at most a few frames more.
  ASSERT_GE(anDecoded.size(), 47000u);
  EXPECT_LE(anDecoded.size(), 48000u + 4 * 1152u);
  // 1000 Hz: 2000 zero crossings a second.
  int nCrossings = 0;
  for (std::size_t i = 4000; i < 44000; ++i) nCrossings += (anDecoded[i - 1] < 0) != (anDecoded[i] < 0);
  EXPECT_NEAR(nCrossings, 40000 / 24, 20);
}

// A write error (here a file-size limit of 64 KiB, in a child process so that the limit
// stays there) must end the recording with a complete WAV file of what reached the disk.
TEST(AudioRecorder, AWriteErrorEndsTheRecordingWithAReadableFile) {
  CTempFolder folder;
  const auto anTone = Tone(100000, 440.0);
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit{65536, 65536};
    setrlimit(RLIMIT_FSIZE, &limit);
    CAudioRecorder recorder;
    std::string strError;
    if (!recorder.Start(AUDIO_RECORD_WAV, folder.Path(), "cut", {}, strError)) _exit(2);
    for (std::size_t i = 0; i < anTone.size(); i += 4800) {
      if (!recorder.Write(anTone.data() + i, std::min<std::size_t>(4800, anTone.size() - i))) break;
    }
    _exit(!recorder.IsRecording() && recorder.EndedByError() ? 0 : 3);
  }
  int nStatus = 0;
  waitpid(pid, &nStatus, 0);
  ASSERT_TRUE(WIFEXITED(nStatus));
  ASSERT_EQ(WEXITSTATUS(nStatus), 0) << "the recorder did not end on the write error";

  const std::string strBytes = ReadBytes(folder / "cut.wav");
  ASSERT_LE(strBytes.size(), 65536u);
  std::uint32_t nRiffSize = 0;
  std::memcpy(&nRiffSize, strBytes.data() + 4, 4);
  EXPECT_EQ(nRiffSize, strBytes.size() - 8);
  CWaveStreamFile wav;
  ASSERT_TRUE(wav.Open(folder / "cut.wav", 0, nullptr, {}));
  EXPECT_EQ(wav.DataChunk().dwDataOffset + wav.DataChunk().cksize, strBytes.size());
  const auto anRead = ReadWavSamples(folder / "cut.wav");
  ASSERT_GT(anRead.size(), 20000u);
  EXPECT_TRUE(std::equal(anRead.begin(), anRead.end(), anTone.begin()));
  EXPECT_NE(ReadBytes(folder / "cut.xml").find("m_bEndedByError=\"1\""), std::string::npos);
}

}  // namespace
