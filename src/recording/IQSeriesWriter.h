#pragma once
// CIQSeriesWriter: writes complex samples as a recording in the program's own ("Brannock")
// format: "NAME 000.wav", "NAME 001.wav" ..., each a stereo I/Q WAV file with its
// description XML beside it, a new file starting before a file would reach 2 GiB.
//
// Samples come in on the 16-bit scale of CIQSeriesReader (full scale +-32768) and are
// stored as 16-bit or 24-bit integers (saturating) or as 32-bit floats on that same scale,
// which is how the program reads float recordings: a level reads the same in every format.
//
// Each WAV file is written under a temporary name and renamed when it is complete, then its
// description is saved (atomically), so the series on disk is always a readable recording:
// closing after an interruption leaves a shorter, valid one.

#include <complex>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "recording/WaveFileWriter.h"

class CIQSeriesWriter {
 public:
  enum class ESampleFormat { INT16, INT24, FLOAT32 };

  // The largest 'data' chunk of one file: under 2 GiB with room for the headers.
  static constexpr std::uint64_t kMaxDataBytes = (std::uint64_t{1} << 31) - 65536;

  struct CSettings {
    std::filesystem::path firstFile;  // ".../NAME 000.wav"
    ESampleFormat eFormat = ESampleFormat::INT16;
    std::uint32_t nSampleRate = 0;       // Hz
    std::uint32_t nCenterFrequency = 0;  // Hz
    double dStartUtc = 0.0;              // seconds since 1970 of the first sample
    std::uint64_t nMaxDataBytes = kMaxDataBytes;
    // Files that must survive: left-over later files of an earlier series of the same name
    // are removed at the end, except these.
    std::vector<std::filesystem::path> aProtected;
  };

  CIQSeriesWriter() = default;
  ~CIQSeriesWriter();
  CIQSeriesWriter(const CIQSeriesWriter&) = delete;
  CIQSeriesWriter& operator=(const CIQSeriesWriter&) = delete;

  // Checks the settings (a name ending in " 000.wav", a rate) and opens the first file.
  bool Open(const CSettings& settings);
  bool Write(const std::complex<float>* pSamples, std::size_t nCount);
  // Completes the open file and its description and removes stale later files. Also run by
  // the destructor.
  bool Close();

  // The path of file n of a series whose first file is firstFile (" %03d.wav").
  static std::filesystem::path FilePath(const std::filesystem::path& firstFile, int n);
  // True when name ends in " 000.wav" (".wav" in any case).
  static bool IsFirstFileName(const std::string& strName);
  static std::uint32_t BitsPerSample(ESampleFormat eFormat);

  std::uint64_t SamplesWritten() const { return m_nSamples; }
  // The completed files (WAV and XML) in order.
  const std::vector<std::filesystem::path>& Written() const { return m_aWritten; }
  const std::string& Error() const { return m_strError; }

 private:
  bool OpenFile();
  bool CloseFile();
  bool Fail(const std::string& strError);

  CSettings m_settings;
  std::uint32_t m_nBytesPerSample = 0;
  CWaveFileWriter m_wave;
  int m_nFile = 0;
  std::uint64_t m_nFileSamples = 0;
  std::uint64_t m_nSamples = 0;
  std::vector<std::uint8_t> m_abBuffer;
  std::vector<std::filesystem::path> m_aWritten;
  std::string m_strError;
  bool m_bOpen = false;
};
