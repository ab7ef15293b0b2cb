// The RIFF reader/writer: exact error texts, chunk search with pad bytes, robustness to
// lying sizes, and the writer's size patching.

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "RecordingFixtures.h"
#include "recording/RiffFile.h"
#include "recording/WaveFileWriter.h"
#include "support/TestEnvironment.h"

using namespace fixture;

// Catches an edited or renumbered error text: the reader thread and the player show these.
TEST(RiffFile, ErrorTextsAreExact) {
  const char* const kTexts[] = {"File not found", "Out of memory", "Cannot open", "Cannot close", "Cannot read",
                                "Cannot write", "Cannot seek", "Cannot expand file", "Chunk not found", "Unbuffered",
                                "Path incorrect", "File was protected", "File in use", "Network not responding",
                                "No more file handles ", "Default error file error"};
  for (std::uint32_t code = 257; code <= 272; ++code) EXPECT_EQ(MmioErrorText(code), kTexts[code - 257]) << code;
  EXPECT_EQ(MmioErrorText(256), "Unknown error code 256");
  EXPECT_EQ(MmioErrorText(0), "Unknown error code 0");
}

// Catches a search that ignores the pad byte after an odd-sized chunk, or that matches a
// RIFF form of the wrong type.
TEST(RiffFile, DescendSkipsOddChunksAndFindsByTypeAndId) {
  const std::string bytes = "RIFF" + Le32(4) + "AVI " +  // a first form of another type
                            Wave({Chunk("odd ", "abc"), Chunk("fmt ", std::string(16, 'f')), Chunk("data", "xy")});
  CRiffFile file;
  ASSERT_EQ(file.OpenMemory(bytes.data(), bytes.size()), 0u);
  MMCKINFO riff, fmt, data;
  riff.fccType = FourCC("WAVE");
  ASSERT_EQ(file.Descend(riff, nullptr, MMIO_FINDRIFF), 0u);
  EXPECT_EQ(riff.dwDataOffset, 20u);
  data.ckid = FourCC("data");
  ASSERT_EQ(file.Descend(data, &riff, MMIO_FINDCHUNK), 0u);
  EXPECT_EQ(data.cksize, 2u);
  char xy[2];
  EXPECT_EQ(file.Read(xy, 2), 2);
  EXPECT_EQ(std::string(xy, 2), "xy");
  // After the data a search finds nothing more, and the earlier chunk is found again once
  // the position is moved back.
  fmt.ckid = FourCC("fmt ");
  EXPECT_EQ(file.Descend(fmt, &riff, MMIO_FINDCHUNK), static_cast<std::uint32_t>(MMIOERR_CHUNKNOTFOUND));
  file.Seek(static_cast<std::int64_t>(riff.dwDataOffset + 4), SEEK_SET);
  ASSERT_EQ(file.Descend(fmt, &riff, MMIO_FINDCHUNK), 0u);
  EXPECT_EQ(fmt.cksize, 16u);
}

// Catches reads past the end and endless or huge work on sizes that lie: a truncated file,
// a chunk claiming 4 GiB, a form claiming more than the file, a header cut in half.
TEST(RiffFile, LyingSizesNeverLeadPastTheFile) {
  const std::string full = Wave({Chunk("big ", "") , Chunk("data", "1234")});
  std::string lying = full;
  lying.replace(16, 4, Le32(0xFFFFFFF0u));  // "big " now claims almost 4 GiB
  for (const std::string& bytes : {lying, full.substr(0, 10), full.substr(0, 18), std::string("RIFF")}) {
    CRiffFile file;
    ASSERT_EQ(file.OpenMemory(bytes.data(), bytes.size()), 0u);
    MMCKINFO riff, data;
    riff.fccType = FourCC("WAVE");
    data.ckid = FourCC("data");
    if (file.Descend(riff, nullptr, MMIO_FINDRIFF) == 0) {
      EXPECT_EQ(file.Descend(data, &riff, MMIO_FINDCHUNK), static_cast<std::uint32_t>(MMIOERR_CHUNKNOTFOUND));
    }
    char buf[8];
    file.Seek(0, SEEK_END);
    EXPECT_EQ(file.Read(buf, sizeof buf), 0);
  }
  // A 'data' chunk longer than the file is found; reading stops at the end of the file.
  std::string shortData = full;
  shortData.replace(shortData.size() - 8, 4, Le32(1000));
  CRiffFile file;
  file.OpenMemory(shortData.data(), shortData.size());
  MMCKINFO riff, data;
  riff.fccType = FourCC("WAVE");
  data.ckid = FourCC("data");
  ASSERT_EQ(file.Descend(riff, nullptr, MMIO_FINDRIFF), 0u);
  ASSERT_EQ(file.Descend(data, &riff, MMIO_FINDCHUNK), 0u);
  char buf[100];
  EXPECT_EQ(file.Read(buf, sizeof buf), 4);
}

// Catches wrong open error codes and a FIFO or folder opened as a recording (which would
// hang or fail later with a misleading text).
TEST(RiffFile, OpenReportsTheMultimediaCodes) {
  CTempFolder dir;
  CRiffFile file;
  EXPECT_EQ(file.Open(dir / "missing.wav"), static_cast<std::uint32_t>(MMIOERR_FILENOTFOUND));
  EXPECT_EQ(file.Open(dir / "missing" / "x.wav"), static_cast<std::uint32_t>(MMIOERR_FILENOTFOUND));
  EXPECT_EQ(file.Open(dir.Path()), static_cast<std::uint32_t>(MMIOERR_CANNOTOPEN));
  ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
  EXPECT_EQ(file.Open(dir / "fifo"), static_cast<std::uint32_t>(MMIOERR_CANNOTOPEN));
  WriteBytes(dir / "plain", "x");
  EXPECT_EQ(file.Open(dir / "plain" / "x.wav"), static_cast<std::uint32_t>(MMIOERR_PATHNOTFOUND));
  if (::geteuid() != 0) {
    WriteBytes(dir / "locked.wav", "RIFF");
    ::chmod((dir / "locked.wav").c_str(), 0);
    EXPECT_EQ(file.Open(dir / "locked.wav"), static_cast<std::uint32_t>(MMIOERR_ACCESSDENIED));
  }
}

// Catches unpatched sizes and a missing pad byte in written files: the writer's output must
// read back with the reader and with a byte-level check.
TEST(RiffFile, WriterPatchesSizesAndPads) {
  CTempFolder dir;
  const CWaveFormat fmt = CWaveFormat::Linear(1, 2, 48000, 16);
  CWaveFileWriter writer;
  ASSERT_EQ(writer.Create(dir / "w.wav", fmt, {{FourCC("auxi"), "odd"}}), 0u);
  ASSERT_TRUE(writer.Write("abcdef", 6));
  ASSERT_EQ(writer.Close(), 0u);
  EXPECT_EQ(ReadBytes(dir / "w.wav"),
            Wave({Chunk("fmt ", Le16(1) + Le16(2) + Le32(48000) + Le32(192000) + Le16(4) + Le16(16)),
                  Chunk("auxi", "odd"), Chunk("data", "abcdef")}));
}
