#pragma once
// CStatusFigures: the figures of the main frame's status bar and their texts.
//
// Refresh() is called by the front end's status timer (every 250 ms); each call takes a
// sample of the process (CPU time, private memory and its peak) and keeps the texts the
// panes show. The arithmetic lives in FromSample() so that it can be checked without a
// real process: CPU is the CPU time consumed since the previous refresh over the
// wall-clock time elapsed (at least 1 ms); memory is shown in decimal units, as whole
// gigabytes from 1,000,000,000 bytes on, and as a whole percentage of physical memory,
// rounded up.

#include <cstdint>
#include <string>

class CStatusFigures {
 public:
  // One status-bar pane: its placeholder text (shown until the first value; it also sets
  // the pane's width) and its tooltip (empty: none).
  struct SPane {
    const char* pszName;
    const char* pszPlaceholder;
    const char* pszTooltip;
  };
  // The panes after the message pane, left to right.
  static const SPane kPanes[10];
  // "Ready": the message pane's idle text.
  static constexpr const char* kReadyText = "Ready";
  // The status timer's period.
  static constexpr int kRefreshMs = 250;

  // A sample of the process, taken by Refresh() or made up by a test.
  struct SSample {
    double dCpuSeconds = 0.0;       // user + kernel CPU time consumed so far
    double dWallSeconds = 0.0;      // a steady clock
    std::uint64_t nPrivateBytes = 0;
    std::uint64_t nPeakBytes = 0;
    std::uint64_t nPhysicalBytes = 0;
    int nBusyThreads = 0;           // worker threads busy at the moment
  };

  // Samples this process and updates every figure. nBusyThreads comes from the owner of the
  // worker threads (CAnalysisSession::BusyWorkerThreads()).
  void Refresh(int nBusyThreads);
  // Updates every figure from a sample; the first sample gives a CPU figure of 0.
  void FromSample(const SSample& sample);

  int CpuPercent() const { return m_nCpuPercent; }
  std::uint64_t PrivateBytes() const { return m_sample.nPrivateBytes; }
  std::uint64_t PeakBytes() const { return m_sample.nPeakBytes; }
  int SizePercent() const { return m_nSizePercent; }
  int PeakPercent() const { return m_nPeakPercent; }
  int BusyThreads() const { return m_sample.nBusyThreads; }

  // "CPU: %d%%", "Size: %.1f GB" / "Size: %.1f MB", "Peak: ..." likewise, "Threads: %d".
  std::string CpuText() const;
  std::string SizeText() const;
  std::string PeakText() const;
  std::string ThreadsText() const;

  // "<label>: %.1f GB" from 1,000,000,000 bytes on, else "<label>: %.1f MB".
  static std::string MemoryText(const char* pszLabel, std::uint64_t nBytes);
  // nBytes as a whole percentage of nPhysicalBytes, rounded up (0 when physical is unknown).
  static int PercentOfPhysical(std::uint64_t nBytes, std::uint64_t nPhysicalBytes);
  // CPU time over wall time in percent, the wall time taken as at least 1 ms.
  static int CpuPercent(double dCpuSeconds, double dWallSeconds);

  // The point under the mouse in the picture. Frequency: whole hertz in groups of three
  // digits separated by "." ("7.100.000 MHz", as wide as "9.999.999.999 MHz" at most);
  // Time: "%H:%M:%S" in UTC or local time; Signal: "%.1f dBm".
  static std::string FrequencyText(double dFrequencyHz);
  static std::string TimeText(std::int64_t tUtcSeconds, bool bLocal);
  static std::string SignalText(double dLevelDb);
  // The widest value of those panes, which sets their width.
  static constexpr const char* kFrequencyWidest = "9.999.999.999 MHz";
  static constexpr const char* kTimeWidest = "23:59:59";
  static constexpr const char* kSignalWidest = "-999.9 dBm";

 private:
  SSample m_sample;
  bool m_bHaveSample = false;
  int m_nCpuPercent = 0;
  int m_nSizePercent = 0;
  int m_nPeakPercent = 0;
};
