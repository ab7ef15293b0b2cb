#pragma once
// CIQSeriesReader: reads a recording's series as one continuous stream of complex float
// samples, from a byte offset or a time, running straight on from each file into the next.
// Each file is opened with the WAVE opener and converted with the one IQ sample converter
// (on the 16-bit scale: 24-bit values divided by 256). Only a file's 'data' chunk is read.
//
// The series is the recording description's list (its m_nFiles files). Times and sample
// counts are at the 'fmt ' rate of the files: the rate the samples were written at, the one
// the player and the demodulator take (a Perseus recording's analysis rate can differ).

#include <complex>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "recording/IQSampleConverter.h"
#include "recording/SeriesPosition.h"
#include "recording/WaveStreamFile.h"

struct CRecordingDescription;

class CIQSeriesReader {
 public:
  using LogFunction = CWaveStreamFile::LogFunction;

  CIQSeriesReader() = default;
  CIQSeriesReader(const CIQSeriesReader&) = delete;
  CIQSeriesReader& operator=(const CIQSeriesReader&) = delete;

  // Takes the series of desc and positions at its first sample. False (see Error()) when the
  // description has no files, no rate or no sample width. Opening lines of the WAVE opener
  // go to log when one is given.
  bool Open(const CRecordingDescription& desc, bool bSwapIQ = false, LogFunction log = {});
  void Close();

  // Positions at byte nByte of the series' data (rounded down to a whole complex sample) or
  // at tSeconds from the recording's start. False (see Error()) beyond the end or when the
  // file there cannot be opened.
  bool SeekToByte(std::uint64_t nByte);
  bool SeekToTime(double tSeconds);

  // Reads up to nMax samples into pOut. Fewer only at the end of the series (0 there);
  // -1 on an error (see Error()).
  std::int64_t Read(std::complex<float>* pOut, std::size_t nMax);

  // The 'fmt ' sample rate, Hz.
  std::uint32_t SampleRate() const { return m_nRate; }
  std::uint32_t BytesPerComplex() const { return m_nBytesPerComplex; }
  std::uint64_t TotalSamples() const { return m_nTotalBytes / (m_nBytesPerComplex ? m_nBytesPerComplex : 1); }
  double DurationSeconds() const { return m_nRate ? static_cast<double>(TotalSamples()) / m_nRate : 0.0; }
  // Samples from the start of the series to the next one Read returns.
  std::uint64_t SamplePosition() const { return m_nPositionBytes / (m_nBytesPerComplex ? m_nBytesPerComplex : 1); }
  // The file and offset of the next sample Read returns.
  CSeriesPosition Position() const;
  const std::string& Error() const { return m_strError; }

 private:
  bool OpenFile(std::size_t nIndex, std::uint32_t nOffset);
  bool Fail(const std::string& strError);

  std::vector<std::string> m_astrFiles;
  std::vector<std::uint32_t> m_anSizes;
  std::uint64_t m_nTotalBytes = 0;
  std::uint32_t m_nRate = 0;
  std::uint32_t m_nBytesPerComplex = 0;
  bool m_bSwapIQ = false;
  LogFunction m_log;

  CWaveStreamFile m_file;
  CIQSampleConverter m_converter;
  std::size_t m_nFileIndex = 0;
  std::uint64_t m_nFileLeft = 0;       // bytes of the open file's data still to read
  std::uint64_t m_nPositionBytes = 0;  // bytes of the series before the next sample
  std::vector<std::uint8_t> m_abRaw;
  std::string m_strError;
};
