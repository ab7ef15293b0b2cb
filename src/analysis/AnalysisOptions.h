#pragma once
// CAnalysisOptions: the record that describes one analysis.
//
// Which recording (its files, sizes, timing, frequency and sample format, copied from the
// recording description) and how to analyse it (FFT size, overlap, window, the time or
// byte range, the display size and the number of rows). The member names are the keys
// under which the options are stored in "CurrentAnalysisOptions.xml" and in projects.

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <pugixml.hpp>

struct CRecordingDescription;

// FFT window functions; the numbers are stored in options and projects, so they are fixed.
enum EAnalysisWindow : std::uint32_t {
  ANALYSIS_WINDOW_DEFAULT = 0,  // Hann
  ANALYSIS_WINDOW_BARTLETT = 1,
  ANALYSIS_WINDOW_BLACKMAN_STD = 2,
  ANALYSIS_WINDOW_BLACKMAN_OPT = 3,
  ANALYSIS_WINDOW_HAMMING = 4,
  ANALYSIS_WINDOW_HANN = 5,
  ANALYSIS_WINDOW_NONE = 999,
};

// FFT algorithm hints ("CMainFrame::FFTHint"): 0 none, 1 "Fast", 2 "Best".
enum EFFTHint : int {
  FFT_HINT_NONE = 0,
  FFT_HINT_FAST = 1,
  FFT_HINT_BEST = 2,
};

inline constexpr const char* kCurrentAnalysisOptionsFile = "CurrentAnalysisOptions.xml";

class CAnalysisOptions {
 public:
  CAnalysisOptions() { Reset(); }

  // Empties both lists and sets every field to its default.
  void Reset();
  // Every field, lists element by element (the FFT hint included, although it is never saved).
  void CopyFrom(const CAnalysisOptions& other) { *this = other; }

  // Copies the recording's part from a recording description and computes the derived
  // values (range, offsets, rows, resolution bandwidth) with its bytes per second.
  void SetFromRecording(const CRecordingDescription& desc);
  // Recomputes the derived values after a change of FFT size, overlap or range.
  void UpdateDerivedValues(std::uint32_t nBytesPerSecond);

  // Bytes per second of the recording as the options describe it (bits / 8 · 2 · rate).
  std::uint32_t RecordingBytesPerSecond() const;
  // Bytes per complex sample: bytes per second ÷ sample rate (integer division).
  static std::uint32_t BytesPerSample(std::uint32_t nBytesPerSecond, std::uint32_t nSampleRate);
  // FFT step in complex samples: N · (100 − overlap) ÷ 100, truncated.
  static std::uint32_t StepSamples(std::uint32_t nFFTSize, std::uint32_t nOverlapPercent);
  // The bytes a run of these options reads (a whole-range run reads every file to its
  // end, beyond the whole seconds the derived data length counts) and the rows it makes
  // of them: one per FFT block that the bytes hold whole. nBytesPerSample: of one complex
  // sample.
  std::int64_t BytesToAnalyse() const;
  std::int64_t RowsToAnalyse(std::uint32_t nBytesPerSample) const;
  // Rows of an analysis of nDataLength bytes.
  static std::int64_t Rows(std::int64_t nDataLength, std::uint32_t nBytesPerSample,
                           std::uint32_t nFFTSize, std::uint32_t nOverlapPercent);
  // The FFT size (a power of two from 64 up) that gives a picture of a useful height for
  // nDataLength bytes: the smallest whose rows are at most nMaxRows (so between about half
  // of nMaxRows and nMaxRows for any but the shortest recordings).
  static std::uint32_t FFTSizeForRows(std::int64_t nDataLength, std::uint32_t nBytesPerSample,
                                      std::uint32_t nOverlapPercent, std::int64_t nMaxRows);
  // "%.3f Hz" of the resolution bandwidth; "%.3f GB" of the recording size.
  std::string ResolutionBandwidthText() const;
  std::string RecordingSizeGBText() const;

  // Checks that the options can be analysed (derived values up to date); on failure
  // returns false with the message the user is shown.
  bool Check(std::string& strMessage) const;

  // Writes / reads every key as an attribute of element, in the order of the project file.
  // The reader resets first. The time-format flag is written as m_bTimeFormatLocal but
  // read from strTimeFormatKey: projects read it from "m_nTimeFormatLocal" (so it comes back
  // as 0), the current options file from "m_bTimeFormatLocal".
  void WriteAttributes(pugi::xml_node element) const;
  void ReadAttributes(pugi::xml_node element, const char* strTimeFormatKey);

  // "CurrentAnalysisOptions.xml" in folder (the data folder when empty).
  static std::filesystem::path CurrentOptionsPath(const std::filesystem::path& folder = {});
  // Saves / loads the current options file; false when it cannot be written / read.
  bool SaveCurrent(const std::filesystem::path& folder = {}) const;
  bool LoadCurrent(const std::filesystem::path& folder = {});

  std::vector<std::string> m_astrRecordingFilenames;
  std::vector<std::uint32_t> m_anRecordingFileSizes;
  int m_bTimeFormatLocal;
  int m_bRecordingWinradio;
  double m_dRecordingSizeMB;
  std::uint32_t m_nRecordingBandwidth;
  int m_nRecordingBitsPerSample;
  std::uint32_t m_nRecordingCenterFreq;
  int m_nRecordingSeconds;
  std::int64_t m_tRecordingEndUTC;
  std::int64_t m_tRecordingStartUTC;
  double m_dAnalysisRBW;
  std::uint32_t m_eAnalysisWindow;
  std::int64_t m_nAnalysisDataLength;
  std::int64_t m_nAnalysisDataOffset;
  int m_nAnalysisDisplayWidth;
  int m_nAnalysisDisplayHeight;
  int m_nAnalysisDisplayRows;
  std::uint32_t m_nAnalysisFFTSize;
  std::uint32_t m_nAnalysisOverlap;
  std::uint32_t m_nAnalysisTimeOffset;
  std::uint32_t m_nAnalysisTimeRange;
  std::uint32_t m_nAnalysisBandwidth;
  std::uint32_t m_nAnalysisCenterFreq;
  int m_bAnalysisWholeRange;
  int m_bAnalysisShowGrid;
  int m_bAnalysisSwapIQ;
  std::int64_t m_tAnalysisEndUTC;
  std::int64_t m_tAnalysisStartUTC;

  // The FFT algorithm hint (EFFTHint) the FFT workers plan with. Whoever starts a run sets
  // it (the GUI from its FFT-hint list, the command-line tool from --hint or the stored
  // setting); the run controller stores it as "CMainFrame::FFTHint". Copied with the
  // options, never saved.
  int m_nFFTHint;
};

// The window's name as shown to the user ("Default", "Bartlett", ... "None").
const char* AnalysisWindowName(std::uint32_t eWindow);
