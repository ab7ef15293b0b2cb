// The program's sounds through the audio backend.

#include <gtest/gtest.h>

#include <cctype>
#include <cmath>

#include "player/LibraryVersions.h"
#include "player/NullAudioBackend.h"
#include "player/SoundPlayer.h"
#include "recording/WaveFileWriter.h"
#include "support/TestEnvironment.h"

namespace {

// A 0.25 s stereo 16-bit sound at 24 000 Hz: left +8000, right +4000 (mono mix 6000).
std::filesystem::path WriteChime(const CTempFolder& folder) {
  const CWaveFormat fmt = CWaveFormat::Linear(1, 2, 24000, 16);
  std::vector<std::int16_t> an;
  for (int i = 0; i < 6000; ++i) {
    an.push_back(8000);
    an.push_back(4000);
  }
  const std::filesystem::path path = folder / "chime.wav";
  CWaveFileWriter writer;
  writer.Create(path, fmt);
  writer.Write(an.data(), an.size() * 2);
  writer.Close();
  return path;
}

// Catches a sound played at its own rate (too fast or slow), channels not mixed, or one
// that never starts because fewer than 6 buffers were queued.
TEST(SoundPlayer, PlaysAFileThroughTheBackendAt48kHzMono) {
  CTempFolder folder;
  const auto path = WriteChime(folder);
  std::vector<std::int16_t> an;
  ASSERT_TRUE(CSoundPlayer::LoadSound(path, an));
  EXPECT_NEAR(static_cast<double>(an.size()), 12000.0, 2.0);
  EXPECT_EQ(an[100], 6000);

  auto pNull = std::make_shared<CNullAudioBackend>();
  pNull->EnableCapture(true);
  CSoundPlayer sound(pNull);
  ASSERT_TRUE(sound.PlaySync(path));
  const auto captured = pNull->Captured();
  ASSERT_GE(captured.size(), an.size());
  EXPECT_TRUE(std::equal(an.begin(), an.end(), captured.begin()));

  // A missing file is silence, not a failure of the caller.
  sound.PlayAsync(folder / "missing.wav");
  EXPECT_FALSE(sound.PlaySync(folder / "missing.wav"));
  sound.PlayAsync(path);
  sound.Stop();
}

}  // namespace

// Catches a library reporting nothing (a stub or an unlinked symbol would show "" in the
// About window) and the FFTW prefix left on its number.
TEST(LibraryVersions, EveryLibraryNamesAVersionNumber) {
  const auto versions = EngineLibraryVersions();
  ASSERT_EQ(versions.size(), 4u);
  for (const auto& [strName, strVersion] : versions) {
    EXPECT_FALSE(strVersion.empty()) << strName;
    EXPECT_NE(strVersion.find_first_of("0123456789"), std::string::npos) << strName << ": " << strVersion;
  }
  EXPECT_TRUE(std::isdigit(static_cast<unsigned char>(versions[0].second[0]))) << versions[0].second;
}
