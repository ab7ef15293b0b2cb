#pragma once
// The built-in demonstration recording: a short series in the program's own ("Brannock")
// format, "Vexlor Demo 000.wav", "Vexlor Demo 001.wav" ..., each a 16-bit stereo I/Q WAV
// file with its description XML beside it, holding known signals at known offsets from the
// centre frequency. The samples are the same on every run (fixed noise seed).
//
// Levels are in dB relative to a full-scale complex sinusoid (I and Q peaking at 32767).
// The series is one continuous signal: every oscillator runs on across file boundaries.

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

inline constexpr std::uint32_t kDemoSampleRateHz = 250'000;
inline constexpr std::uint32_t kDemoCenterFreqHz = 7'100'000;
inline constexpr std::int64_t kDemoStartUtc = 1'748'779'200;  // 2025-06-01 12:00:00 UTC
inline constexpr const char* kDemoTitle = "Vexlor Demo";       // files "Vexlor Demo %03d.wav"

// One signal of the demonstration recording.
struct CDemoSignal {
  const char* pszName;
  std::int32_t nOffsetHz;  // from the centre frequency; the carrier (AM, FM, CW) or the
                           // suppressed carrier (USB) or the start of the sweep
  const char* pszMode;     // the demodulation mode that plays it
  double dLevelDb;         // carrier (AM, FM, CW, sweep) or each tone (USB), dBFS
  const char* pszContent;
};

inline constexpr CDemoSignal kDemoSignals[] = {
    {"AM station", -60'000, "AM", -30.0,
     "carrier modulated 25% by 1000 Hz and 25% by 400 Hz (50% peak)"},
    {"NFM station", 40'000, "NFM", -35.0, "1000 Hz tone at 5000 Hz deviation"},
    {"CW beacon", 15'000, "CW", -40.0,
     "carrier keyed \"VVV DE VEXLOR \" at 20 WPM (60 ms dots), 5 ms edges, repeating"},
    {"USB tones", -20'000, "USB", -45.0, "tones 500, 1200 and 1900 Hz above the suppressed carrier"},
    {"Sweep", 60'000, "CW", -50.0, "carrier sweeping up 60000 -> 110000 Hz in 60 s, then again"},
};
inline constexpr double kDemoNoiseLevelDb = -80.0;  // white Gaussian noise, total over 250 kHz
                                                    // (about -104 dBFS in 1 kHz)
inline constexpr double kDemoSweepSpanHz = 50'000.0;
inline constexpr double kDemoSweepPeriodSeconds = 60.0;

struct CDemoOptions {
  int nFiles = 3;
  int nSecondsPerFile = 22;
};

// Writes the demonstration recording into folder (created when missing): each WAV file and
// its description XML. On success the written paths are listed in order; on failure
// strError says what went wrong.
bool WriteDemoRecording(const std::filesystem::path& folder, std::vector<std::filesystem::path>& written,
                        std::string& strError, const CDemoOptions& options = {});

// The name of file n of the demonstration recording ("Vexlor Demo 000.wav").
std::string DemoFileName(int n);
