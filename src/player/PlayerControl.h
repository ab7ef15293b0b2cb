#pragma once
// The view's side of the player, free of any GUI: starting the "Demod" thread, starting play
// at the start of the play range or at a clicked point of the analysis picture, and the
// repeat range. The GUI view and the command-line tool call these; they only queue packets,
// write the thread's view-side fields and log through the function they are given.

#include <cstdint>
#include <functional>
#include <string>

#include "analysis/PictureClick.h"
#include "dsp/DSPDemodMain.h"
#include "player/DemodBackgroundThread.h"
#include "recording/RecordingDescription.h"
#include "recording/SeriesPosition.h"

class CMySettingsStore;

using PlayerLogFunction = std::function<void(const std::string&)>;

// The player options, as saved.
struct CPlayerOptions {
  std::uint32_t m_nOutputID = WAVE_MAPPER;    // "DemodPlayerOutputID"
  std::string m_strOutputName = "Default";    // "DemodPlayerOutputName"
  int m_nFFTLinesPerSecond = 0;               // "DemodPlayerFFT", 0 = 20
  std::string m_strMode = "USB";              // "DemodPlayerMode"
  int m_nFilterLow = 200;                     // "DemodPlayerFilterLow", Hz
  int m_nFilterHigh = 3000;                   // "DemodPlayerFilterHigh", Hz
  int m_nAudioLevel = 100;                    // "DemodPlayerAudioLevel", percent
  bool m_bFreqSnapEnable = false;             // "DemodPlayerFreqSnapEnable"
  std::string m_strFreqSnap;                  // "DemodPlayerFreqSnap", "5k", "9000" ...
  bool m_bSquelchEnable = false;              // "DemodPlayerSquelchEnable"
  int m_nSquelchLevel = 20;                   // "DemodPlayerSquelchLevel", 0-100
  bool m_bNoiseBlanker = false;               // "DemodPlayerNoiseBlanker"
  int m_nNoiseReduction = 0;                  // "DemodPlayerNoiseReduction", 0-3 (off, Ephraim-Malah,
                                              // FIR LMS, spectral subtraction)

  // The squelch, blanker and noise reduction as the chain takes them.
  CDemodNoiseSettings NoiseSettings() const {
    return {m_bSquelchEnable ? m_nSquelchLevel : -1, m_bNoiseBlanker, m_nNoiseReduction};
  }
};

// Reads the options; values missing from the store keep their defaults.
CPlayerOptions ReadPlayerOptions(CMySettingsStore& store);

// The first of modes 0-17 whose short or long name equals the text exactly; 5 (CW-U) for
// "cw" in any case; otherwise 1 (USB).
int PlayerModeNumber(const std::string& strMode);

// The display FFT for a recording rate: display rate in lines per second (20 for 0),
// samples per line P = rate / lines, N the smallest power of two from 2 that holds P, and
// overlap 100 - (P x 100 / N) percent in integers. (The spectrum taps round otherwise.)
struct CDisplayFFTSetup {
  int m_nLinesPerSecond = 20;
  std::uint32_t m_nSize = 2;
  int m_nOverlap = 0;
};
CDisplayFFTSetup DisplayFFTForRate(std::uint32_t nRateHz, int nLinesPerSecondSetting);

// tSeconds is counted from the recording's start. The byte position (whole sample frames
// of the 'fmt ' rate) walks the series list, subtracting each file's size, until it falls
// inside a file; beyond the last file it is the end of the last file.
CSeriesPosition SeriesPositionAt(const CRecordingDescription& desc, double tSeconds);

// The rate the player and the demodulator feed the chain at: the 'fmt ' rate of the files
// (a Perseus recording's analysis rate can differ), and the recording's length at it.
std::uint32_t PlayRate(const CRecordingDescription& desc);
// The inverse walk: seconds from the recording's start of a point of its series (the file's
// index in the series and the byte offset into its data), in whole sample frames.
double SeriesSecondsAt(const CRecordingDescription& desc, std::size_t nFileIndex, std::uint32_t nOffset);
// The pass band a mode hears around the tuned frequency, as frequencies: lower sideband
// modes tuned - high .. tuned - low, upper ones tuned + low .. tuned + high, the others
// tuned - high .. tuned + high.
void PassBandFrequencies(int nMode, int nFilterLow, int nFilterHigh, double dTunedHz, double& dLowHz,
                         double& dHighHz);
double PlayDurationSeconds(const CRecordingDescription& desc);
// Whether a channel at dFrequencyHz can be played from tStart (seconds from the start):
// the recording has a rate, the frequency lies inside its band and the start inside it.
// False with the message in strError.
bool CheckPlayRequest(const CRecordingDescription& desc, double dFrequencyHz, double tStart, std::string& strError);

// Starts the "Demod" thread: name, main frame for its log lines, start, "Below normal",
// wait until idle (at most 5 s), and the saved repeat flag.
bool StartPlayerThread(CDemodBackgroundThread& thread, CMessageTarget* pMainFrame, bool bRepeat);

// Starts play at tPlayStart (seconds from the recording's start: the start of the play
// range). False, with the text to show the user in strMessage, when the first file cannot
// be read. pSetup receives the display FFT (its lines per second go to the waterfalls).
// planAhead, when given, is called with the file's rate and the display FFT before any
// command is queued (the player session plans the FFT sizes there).
bool StartPlay(CDemodBackgroundThread& thread, const CRecordingDescription& desc, double tPlayStart, bool bSwapIQ,
               const CPlayerOptions& options, CMessageTarget* pView, std::uint64_t nDisplayDestination,
               const PlayerLogFunction& log, std::string& strMessage, CDisplayFFTSetup* pSetup = nullptr,
               const std::function<void(std::uint32_t, const CDisplayFFTSetup&)>& planAhead = {});

// The frequency of a click: centre - span/2 + x / width x span, then the CW shift (CW-L up,
// CW-U down by the mean of the two filter edges) or, for the other modes, the snap.
double ClickFrequency(const CPictureClick& click, const CPlayerOptions& options);
// The recording time of the clicked row, counted down from the top over the time range.
double ClickTime(const CPictureClick& click);

// Moves play to a clicked point: the tuning offset (click frequency - recording centre)
// takes effect at once; the position moves only while a file is open. False for a click
// outside the picture. dFrequencyHz receives the tuned frequency for the tuning bar.
bool PlayAtPoint(CDemodBackgroundThread& thread, const CRecordingDescription& desc, const CPictureClick& click,
                 const CPlayerOptions& options, CMessageTarget* pView, const PlayerLogFunction& log,
                 double& dFrequencyHz);

// Converts the range (seconds from the recording's start) and writes it into the thread;
// the logged times are those of the recording (its start plus the seconds), in UTC.
void SetPlayerRepeatRange(CDemodBackgroundThread& thread, const CRecordingDescription& desc, double tStart,
                          double tEnd, const PlayerLogFunction& log);
// Flips "CVexlorView::m_bPlayerRepeat", saves it and writes it into the thread.
bool TogglePlayerRepeat(CDemodBackgroundThread& thread, CMySettingsStore& store);
