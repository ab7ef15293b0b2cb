#include "core/StatusFigures.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "core/Log.h"
#include "core/ProcessFigures.h"
#include "core/SystemTime.h"

const CStatusFigures::SPane CStatusFigures::kPanes[10] = {
    {"CPU", "CPU: %d%%", "Current CPU usage as a percentage"},
    {"Size", "Size", "Current memory usage"},
    {"Peak", "Peak", "Peak memory usage since program started"},
    {"Rate", "Rate", ""},
    {"Signal", "---.- dBm", "Signal level for current sample"},
    {"Read", "Read", ""},
    {"Threads", "Threads: %d", "Currently active background thread count"},
    {"Frequency", "---.---.--- MHz", "Frequency for current sample"},
    {"Time", "--:--:--", "Time for current sample"},
    {"Remaining", "Remaining", ""},
};

void CStatusFigures::Refresh(int nBusyThreads) {
  SSample sample;
  sample.dCpuSeconds = ProcessCpuSeconds();
  sample.dWallSeconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
  sample.nPrivateBytes = PrivateMemoryBytes();
  sample.nPeakBytes = std::max(PeakPrivateMemoryBytes(), sample.nPrivateBytes);
  sample.nPhysicalBytes = PhysicalMemoryBytes();
  sample.nBusyThreads = nBusyThreads;
  FromSample(sample);
}

void CStatusFigures::FromSample(const SSample& sample) {
  m_nCpuPercent = m_bHaveSample ? CpuPercent(sample.dCpuSeconds - m_sample.dCpuSeconds,
                                             sample.dWallSeconds - m_sample.dWallSeconds)
                                : 0;
  m_sample = sample;
  m_bHaveSample = true;
  m_nSizePercent = PercentOfPhysical(sample.nPrivateBytes, sample.nPhysicalBytes);
  m_nPeakPercent = PercentOfPhysical(sample.nPeakBytes, sample.nPhysicalBytes);
}

std::string CStatusFigures::CpuText() const { return StrFormat("CPU: %d%%", m_nCpuPercent); }
std::string CStatusFigures::SizeText() const { return MemoryText("Size", m_sample.nPrivateBytes); }
std::string CStatusFigures::PeakText() const { return MemoryText("Peak", m_sample.nPeakBytes); }
std::string CStatusFigures::ThreadsText() const { return StrFormat("Threads: %d", m_sample.nBusyThreads); }

std::string CStatusFigures::MemoryText(const char* pszLabel, std::uint64_t nBytes) {
  // Decimal units on purpose: 1,000,000,000 bytes read "1.0 GB", 999,999,999 "1000.0 MB".
  if (nBytes >= 1'000'000'000ull) return StrFormat("%s: %.1f GB", pszLabel, static_cast<double>(nBytes) / 1e9);
  return StrFormat("%s: %.1f MB", pszLabel, static_cast<double>(nBytes) / 1e6);
}

int CStatusFigures::PercentOfPhysical(std::uint64_t nBytes, std::uint64_t nPhysicalBytes) {
  if (nPhysicalBytes == 0) return 0;
  // Integer arithmetic: a double would round 1 byte over a whole percent back down.
  const unsigned __int128 nScaled = static_cast<unsigned __int128>(nBytes) * 100u;
  return static_cast<int>((nScaled + nPhysicalBytes - 1) / nPhysicalBytes);
}

int CStatusFigures::CpuPercent(double dCpuSeconds, double dWallSeconds) {
  const double dWall = std::max(dWallSeconds, 0.001);
  return static_cast<int>(std::lround(std::max(dCpuSeconds, 0.0) / dWall * 100.0));
}

std::string CStatusFigures::FrequencyText(double dFrequencyHz) {
  const long long nHz = std::llround(std::max(0.0, std::min(dFrequencyHz, 9'999'999'999.0)));
  const std::string strDigits = std::to_string(nHz);
  std::string strText;
  for (std::size_t i = 0; i < strDigits.size(); ++i) {
    if (i > 0 && (strDigits.size() - i) % 3 == 0) strText += '.';
    strText += strDigits[i];
  }
  return strText + " MHz";
}

std::string CStatusFigures::TimeText(std::int64_t tUtcSeconds, bool bLocal) {
  SYSTEMTIME st = SecondsToSystemTime(tUtcSeconds);
  if (bLocal) st = UtcSystemTimeToLocal(st);
  return StrFormat("%02d:%02d:%02d", st.wHour, st.wMinute, st.wSecond);
}

std::string CStatusFigures::SignalText(double dLevelDb) { return StrFormat("%.1f dBm", dLevelDb); }
