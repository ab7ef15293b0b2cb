#pragma once
// CSelectionModel: the data of the New/Edit Project dialog, free of any GUI.
//
// The six option lists (label, value, default), the choices the user has made, the summary
// table that those choices imply for a recording (label, value, tooltip per row, rebuilt
// whenever a choice changes), and the acceptance check. The dialog shows what this model
// holds; `vexlor-cli info` prints the recording rows of the same table.

#include <cstdint>
#include <string>
#include <vector>

#include "analysis/AnalysisOptions.h"
#include "recording/RecordingDescription.h"

class CSelectionModel {
 public:
  // One entry of an option list.
  struct SOption {
    std::string strLabel;
    std::int64_t nValue = 0;
  };
  struct SOptionList {
    std::vector<SOption> aEntries;
    std::size_t nDefault = 0;  // index of the entry selected when the dialog opens

    const SOption& Default() const { return aEntries[nDefault]; }
    // Index of the entry of value nValue; npos when none has it.
    std::size_t IndexOf(std::int64_t nValue) const;
  };
  // The value of the "Full" entry of the display width and height lists: the picture takes
  // one column per FFT bin of the band, or one line per row the data holds.
  static constexpr std::int64_t kFull = 0;

  // The lists, as the dialog offers them.
  static const SOptionList& FFTSizes();       // 2^12 .. 2^26, "4 K" .. "64 M"; default "1 M"
  static const SOptionList& Overlaps();       // 0 "None", 1 .. 99 "%d %"; default 0
  static const SOptionList& Bandwidths();     // 1 Hz .. 10,000 kHz; default "10 kHz"
  static const SOptionList& Windows();        // "Default" 0 .. "None" 999; default 0
  static const SOptionList& DisplayWidths();  // "Full", 500 .. 100000; default 5000
  static const SOptionList& DisplayHeights(); // "Full", 500 .. 10000; default "Full"

  // A bandwidth's label: multiples of 1000 in kHz with thousands separated by ","
  // ("1,000 kHz"), others in Hz ("500 Hz").
  static std::string BandwidthLabel(std::uint32_t nHz);

  // One row of the summary table; a separator row has the label "- - -" and no value or
  // tooltip.
  struct SSummaryRow {
    std::string strLabel;
    std::string strValue;
    std::string strTooltip;
  };
  static constexpr const char* kSeparatorLabel = "- - -";
  // The recording's rows ("Files" .. "Duration"), then a "Warning" row for each size a file
  // states but does not hold.
  static std::vector<SSummaryRow> RecordingRows(const CRecordingDescription& desc);
  // The analysis rows ("FFT Size" .. "Display Rows") of options whose derived values are
  // up to date.
  static std::vector<SSummaryRow> AnalysisRows(const CAnalysisOptions& options);

  // The choices of the dialog. Display width and height are kFull or pixels.
  struct SChoices {
    std::uint32_t nFFTSize = 1048576;
    std::uint32_t nOverlap = 0;
    std::uint32_t nBandwidth = 10000;  // analysed band, Hz
    std::uint32_t eWindow = ANALYSIS_WINDOW_DEFAULT;
    std::int64_t nDisplayWidth = 5000;
    std::int64_t nDisplayHeight = kFull;
    std::uint32_t nCenterFreq = 0;     // analysed centre, Hz; 0: the recording's
    bool bSwapIQ = false;
    bool bWholeRange = true;
    std::int64_t tStartUTC = 0;        // the analysed range when not the whole recording
    std::int64_t tEndUTC = 0;
  };

  CSelectionModel() = default;

  // Opens the dialog on a recording (New Project): choices from the lists' defaults, the
  // centre at the recording's.
  void SetRecording(const CRecordingDescription& desc);
  // Edit Project: the recording and the choices of options.
  void SetFromOptions(const CRecordingDescription& desc, const CAnalysisOptions& options);

  // New Project: the analysis choices of an earlier analysis (FFT size, overlap, window,
  // picture size) where the lists hold them; the band, centre and range stay as they are.
  void TakeAnalysisChoices(const CAnalysisOptions& earlier);

  SChoices& Choices() { return m_choices; }
  const SChoices& Choices() const { return m_choices; }
  const CRecordingDescription* Recording() const { return m_bHaveRecording ? &m_desc : nullptr; }

  // The options the current choices give for the recording, derived values computed.
  // Display width and height keep kFull (0) where "Full" is chosen.
  CAnalysisOptions Options() const;
  // The whole table: recording rows, the separator, analysis rows.
  std::vector<SSummaryRow> SummaryRows() const;

  // The acceptance check. On refusal returns false with the message box's title and text.
  bool Accept(std::string& strTitle, std::string& strMessage) const;
  // The recording check alone: the centre frequency must be at least half the sample rate
  // (integer halving), or the recording holds negative frequencies.
  static bool CentreFrequencyValid(std::uint32_t nCenterHz, std::uint32_t nSampleRateHz);
  static constexpr const char* kInvalidRecordingTitle = "Invalid Recording";
  static constexpr const char* kInvalidRecordingText =
      "The centre frequency is less than (<) half the bandwidth (the recording contains data for negative "
      "frequencies).\n\nThis file cannot be played correctly.";

  // The status-line texts of choosing a file.
  static constexpr const char* kFileNotFoundText = "File not found";
  static constexpr const char* kFormatNotSupportedText = "File format not supported";

 private:
  SChoices m_choices;
  bool m_bHaveRecording = false;
  CRecordingDescription m_desc;
};
