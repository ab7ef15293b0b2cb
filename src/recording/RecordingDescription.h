#pragma once
// The description of one open recording: which files make it up, in playing order, and
// what they hold. Filled by CWaveFileData::GetInformation; owned by the document and copied
// into the analysis options. Every other part works from this record and never reads the
// WAV headers itself (except the WAVE opener, which positions a file for streaming).

#include <cstdint>
#include <string>
#include <vector>

struct CRecordingDescription {
  // Full paths in playing order, with each file's 'data' size in bytes and its start time
  // (seconds since 1970, UTC; 0 for "Brannock" recordings). The three lists always have the
  // same length. An "SDRSharp" recording lists its one file twice while m_nFiles is 1:
  // consumers walk a recording by m_nFiles, which is its true size.
  std::vector<std::string> m_astrFileNames;
  std::vector<std::uint32_t> m_anFileSizes;
  std::vector<std::uint32_t> m_anFileStartTimes;

  // The program that made the recording: "Brannock", "SDRSharp", "SpectraVue 1" ...
  // "SpectraVue 3.0", "Winrad", "Perseus", "Winradio" or "UnknownFmt".
  std::string m_strSource;

  // Start and end of the recording, seconds since 1970 (UTC).
  std::int64_t m_tStart = 0;
  std::int64_t m_tEnd = 0;
  // The selected range: initialised to the whole recording, narrowed later by the options.
  std::int64_t m_tSelectedStart = 0;
  std::int64_t m_tSelectedEnd = 0;
  double m_dDuration = 0.0;  // seconds, end minus start

  // The rate the recording is analysed at, Hz. Equal to m_nFmtSampleRate except for Perseus,
  // whose rate comes from the sample-rate code of its "rcvr" chunk.
  std::uint32_t m_nSampleRate = 0;
  std::uint32_t m_nFmtSampleRate = 0;  // the 'fmt ' chunk's rate, Hz
  std::uint32_t m_nBitsPerSample = 0;  // per I or Q value: 16, 24 or 32
  std::uint32_t m_nBytesPerSecond = 0;
  std::uint32_t m_nCenterFrequency = 0;  // Hz

  // The total data size, never held in one 32-bit word: whole millions of bytes plus a
  // remainder. A chained series keeps the remainder below 1,000,000; a single-file
  // recording (SDRSharp, UnknownFmt) keeps its whole size in the remainder with
  // millions = size / 1,000,000 as well. Use TotalBytes() for the true total.
  std::uint32_t m_nTotalMillions = 0;
  std::uint32_t m_nTotalRemainder = 0;

  std::uint32_t m_nFiles = 0;
  bool m_bValid = false;

  // What the files state but do not hold, one line per fault, naming the file: a 'data'
  // chunk or a "SizeInBytes" larger than the file, for instance. The sizes above are what
  // the files really hold; these lines say where a header lied.
  std::vector<std::string> m_astrWarnings;

  // The true total in bytes under either way of keeping it: a remainder of 1,000,000 or
  // more can only be a single file's whole size.
  std::uint64_t TotalBytes() const {
    if (m_nTotalRemainder >= 1'000'000u) return m_nTotalRemainder;
    return static_cast<std::uint64_t>(m_nTotalMillions) * 1'000'000u + m_nTotalRemainder;
  }

  // Adds one file's size to the millions + remainder total, carrying into the millions.
  void AddToTotal(std::uint32_t nBytes) {
    const std::uint64_t nSum = static_cast<std::uint64_t>(m_nTotalRemainder) + nBytes;
    m_nTotalMillions += static_cast<std::uint32_t>(nSum / 1'000'000u);
    m_nTotalRemainder = static_cast<std::uint32_t>(nSum % 1'000'000u);
  }

  void Clear() { *this = CRecordingDescription{}; }
};
