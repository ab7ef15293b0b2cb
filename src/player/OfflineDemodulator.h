#pragma once
// COfflineDemodulator: demodulates one channel of a recording, as fast as the machine
// allows, through the chain the player uses, into 48 kHz 16-bit mono audio. It reads the
// recording with the series reader at the 'fmt ' rate (the rate the player takes), converts
// the chain's output as the player does, and at the end pushes silence through the chain so
// that the audio lasts exactly as long as the recording read. Used by `vexlor-cli demod`,
// the tests and the benchmarks.

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "dsp/DSPDemodMain.h"
#include "recording/RecordingDescription.h"

// What to demodulate.
// The squelch, noise blanker and noise reduction come from CDemodNoiseSettings.
struct COfflineDemodSettings : CDemodNoiseSettings {
  double m_dFrequencyHz = 0.0;   // the channel, Hz (the recording's centre frequency plus the offset)
  int m_nMode = 1;               // 0-17
  bool m_bDefaultPassBand = true;
  int m_nFilterLow = 0;          // Hz, when not the default
  int m_nFilterHigh = 0;
  double m_dStartSeconds = 0.0;  // from the recording's start
  double m_dSeconds = -1.0;      // how much; below 0: to the end
  bool m_bSwapIQ = false;
};

// How a caller steers a run in progress.
struct COfflineDemodControl {
  // Set: the run ends after the block in hand; the audio so far is kept and completed.
  const std::atomic<bool>* m_pStop = nullptr;
  // After each block: the part of the range to demodulate that has been read, 0..1.
  std::function<void(double)> m_progress;
};

// What was done.
struct COfflineDemodResult {
  double m_dOffsetHz = 0.0;
  int m_nFilterLow = 0;
  int m_nFilterHigh = 0;
  std::uint32_t m_nSampleRate = 0;
  std::uint64_t m_nSamplesIn = 0;
  std::uint64_t m_nSamplesOut = 0;
  double m_dInputSeconds = 0.0;
  double m_dCpuSeconds = 0.0;   // in the chain, on the calling thread
  double m_dWallSeconds = 0.0;  // the whole run
  bool m_bStopped = false;      // ended early by the control's stop flag
};

class COfflineDemodulator {
 public:
  // Receives each piece of audio; false stops the run (its message is the caller's).
  using AudioSink = std::function<bool(const std::int16_t* pSamples, std::size_t nCount)>;

  // Checks the settings against the recording (band, start, duration, mode, rate). False
  // with the message to show in strError.
  static bool Check(const CRecordingDescription& desc, const COfflineDemodSettings& settings, std::string& strError);

  // Demodulates into sink. False with a message (a read error, or the sink refused).
  static bool Run(const CRecordingDescription& desc, const COfflineDemodSettings& settings, const AudioSink& sink,
                  COfflineDemodResult& result, std::string& strError, const COfflineDemodControl& control = {});
  // Demodulates into a 16-bit mono WAV file at 48 kHz, written atomically; a stopped run
  // leaves a valid file of what was demodulated. "-" writes to standard output instead, with
  // the sizes of the header set to their largest (the length is not known in advance).
  static bool RunToWav(const CRecordingDescription& desc, const COfflineDemodSettings& settings,
                       const std::string& strOutput, COfflineDemodResult& result, std::string& strError,
                       const COfflineDemodControl& control = {});
};
