#pragma once
// CRecordingCutter: cuts a time range and a band out of a recording into a new, small
// recording in the program's own format. The whole series of the input is read as one
// stream (CIQSeriesReader); the band is shifted to 0 Hz, filtered and brought to an output
// rate just wider than itself (CBandCutChain) and written as a numbered series with its
// description files (CIQSeriesWriter), whose centre frequency is the band's centre and
// whose start time is the cut's first sample.
//
// The front ends (kelmorth's command line and window) fill a CCutRequest, call Prepare()
// for the checks and the plan, then Run(); every failure is a return value with a message
// that names the file or value at fault. An abort request ends the run between blocks and
// leaves a valid, shorter recording.

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "recording/IQSeriesWriter.h"
#include "recording/RecordingDescription.h"

struct CCutRequest {
  std::filesystem::path input;     // any file of the recording
  double dCentreHz = 0.0;          // the band's centre, absolute
  double dBandwidthHz = 0.0;
  double dStartSeconds = 0.0;      // from the recording's start
  double dEndSeconds = -1.0;       // from the recording's start; below 0: to the end
  std::uint32_t nOutputRate = 0;   // Hz; 0: CBandCutChain::DefaultRate
  CIQSeriesWriter::ESampleFormat eFormat = CIQSeriesWriter::ESampleFormat::INT16;
  std::filesystem::path output;    // ".../NAME 000.wav"
  std::uint64_t nMaxFileBytes = CIQSeriesWriter::kMaxDataBytes;
};

// What Prepare() decided.
struct CCutPlan {
  std::uint32_t nInputRate = 0;
  std::uint32_t nOutputRate = 0;
  std::int64_t nStartSample = 0;    // first input sample of the cut
  std::int64_t nEndSample = 0;      // one past the last
  std::uint64_t nOutputSamples = 0;
  double dOffsetHz = 0.0;           // band centre relative to the recording's centre
  double dStartUtc = 0.0;           // the cut's first sample, seconds since 1970
  int nDecimation = 1;              // half-band stages' total
  std::vector<std::filesystem::path> aOutputFiles;  // WAV files the cut will write
};

struct CCutProgress {
  double dFraction = 0.0;           // 0 .. 1
  std::uint64_t nInputBytes = 0;    // read so far
  double dElapsedSeconds = 0.0;
  double dMegabytesPerSecond = 0.0; // input
  double dRemainingSeconds = 0.0;
};

class CRecordingCutter {
 public:
  using ProgressFunction = std::function<void(const CCutProgress&)>;

  // Recognises the recording the file belongs to. False (Error()) when it is not one.
  bool OpenInput(const std::filesystem::path& input);
  const CRecordingDescription& Input() const { return m_desc; }
  // The rate the samples were written at, Hz, and the recording's length in seconds.
  std::uint32_t InputRate() const { return m_desc.m_nFmtSampleRate; }
  double InputSeconds() const;
  // The output rate a cut of bandwidthHz gets when none is asked for (0 without an input).
  std::uint32_t DefaultRate(double bandwidthHz) const;

  // Opens the input when it differs from the one open, checks the request (band and range
  // inside the recording, a reachable rate, an output that overwrites no file of the
  // recording) and plans the cut. False with Error() naming what is wrong.
  bool Prepare(const CCutRequest& request);
  const CCutPlan& Plan() const { return m_plan; }

  // Runs the prepared cut. pAbort (may be null) is polled between blocks; progress (may be
  // empty) is called after every block. False on a read or write failure; true when the
  // cut was written, whole or (WasAborted()) up to the abort.
  bool Run(const std::atomic<bool>* pAbort = nullptr, const ProgressFunction& progress = {});
  bool WasAborted() const { return m_bAborted; }
  std::uint64_t OutputSamplesWritten() const { return m_nWritten; }
  // The WAV and XML files written, in order.
  const std::vector<std::filesystem::path>& Written() const { return m_aWritten; }
  const std::string& Error() const { return m_strError; }

 private:
  bool Fail(const std::string& strError);

  std::filesystem::path m_input;
  CRecordingDescription m_desc;
  CCutRequest m_request;
  CCutPlan m_plan;
  bool m_bPrepared = false;
  bool m_bAborted = false;
  std::uint64_t m_nWritten = 0;
  std::vector<std::filesystem::path> m_aWritten;
  std::string m_strError;
};

// The recording, time range and band of a saved project as a cut request (output, rate and
// format left at their defaults). False with strError when the project cannot be read.
bool CutRequestFromProject(const std::filesystem::path& project, CCutRequest& request, std::string& strError);
