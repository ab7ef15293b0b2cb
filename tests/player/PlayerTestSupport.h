#pragma once
// Helpers shared by the player tests.

#include <chrono>
#include <functional>
#include <thread>

// Polls a condition every millisecond until it holds or 10 s have passed. The limit only
// keeps a broken build from hanging; no test depends on how soon the condition holds.
inline bool WaitFor(const std::function<bool()>& condition,
                    std::chrono::milliseconds limit = std::chrono::seconds(10)) {
  const auto tEnd = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > tEnd) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

#include <cstdint>
#include <filesystem>
#include <string>

#include "player/PlayerControl.h"
#include "recording/RecordingDescription.h"

// Writes a series of nFiles IQ recordings ("<stem> 000.wav" ...) of dSecondsPerFile each:
// a complex tone at dToneHz from the centre, of amplitude dAmplitude (1.0 = full scale of
// the 16-bit range; a 24-bit file holds exactly the same 16-bit values times 256),
// continuous across the files, plus with bCarrier an unmodulated carrier of the same
// amplitude at the centre (so that AM hears the tone). Returns the description the
// recording reader would give.
CRecordingDescription WriteToneSeries(const std::filesystem::path& folder, const std::string& strStem, int nFiles,
                                      double dSecondsPerFile, std::uint32_t nRateHz, int nBits, double dToneHz,
                                      double dAmplitude, bool bCarrier = false);

// A click in a 480 x 300 picture of 48 kHz around the recording's centre and 3 s (top) to
// 0 s (bottom): at x 250 (+1000 Hz) and y 50 (2.5 s).
CPictureClick ClickAtPlusOneKilohertzTwoAndAHalfSeconds(const CRecordingDescription& desc);
