#pragma once
// The 'fmt ' record of a WAVE file and the per-file header record filled by the header
// scan of CWaveFileData.

#include <cstdint>
#include <string>

#include "core/SystemTime.h"

// The 'fmt ' chunk as stored (little-endian). A 16-byte chunk leaves cbSize at 0; bytes of
// a longer chunk beyond these 18 are skipped.
struct CWaveFormat {
  std::uint16_t wFormatTag = 0;       // 1 PCM, 3 IEEE float, 0xFFFE extensible
  std::uint16_t nChannels = 0;
  std::uint32_t nSamplesPerSec = 0;   // Hz
  std::uint32_t nAvgBytesPerSec = 0;  // bytes per second
  std::uint16_t nBlockAlign = 0;      // bytes per sample frame (all channels)
  std::uint16_t wBitsPerSample = 0;
  std::uint16_t cbSize = 0;

  // A record for interleaved linear samples: block align and bytes per second follow from
  // the channels, rate and bits.
  static CWaveFormat Linear(std::uint16_t wTag, std::uint16_t nChannels, std::uint32_t nRateHz,
                            std::uint16_t nBits) {
    CWaveFormat f;
    f.wFormatTag = wTag;
    f.nChannels = nChannels;
    f.nSamplesPerSec = nRateHz;
    f.nBlockAlign = static_cast<std::uint16_t>(nChannels * (nBits / 8));
    f.nAvgBytesPerSec = nRateHz * f.nBlockAlign;
    f.wBitsPerSample = nBits;
    return f;
  }

  static constexpr std::size_t kStoredBytes = 18;
  // Fills the record from the first min(nBytes, 18) bytes of a stored chunk.
  void FromBytes(const unsigned char* p, std::size_t nBytes);
  // The 16-byte PCM form (no cbSize), as written by the program's own WAV writer.
  void ToBytes16(unsigned char* p) const;
};

// Source codes of a recording, by the program that made it.
enum ERecordingSource : int {
  SOURCE_BRANNOCK = 0,  // the program's own recordings, described by an XML file
  SOURCE_SDRSHARP = 1,
  SOURCE_SPECTRAVUE = 2,
  SOURCE_WINRAD = 3,
  SOURCE_PERSEUS = 4,
  SOURCE_WINRADIO = 5,
  SOURCE_UNKNOWN = 6,
};

// What the header scan found in one WAV file. Times are UTC calendar times (the local-time
// sources are converted or, where the recorder gave nothing better, taken as they are).
struct CWaveFileHeader {
  std::string m_strSource;  // "SpectraVue 2", "Winrad", "Perseus" ...
  CWaveFormat m_fmt;
  SYSTEMTIME m_stStart;
  SYSTEMTIME m_stStop;
  std::uint32_t m_nCenterFreq = 0;  // Hz
  std::uint32_t m_nADFreq = 0;      // A/D clock, Hz
  std::uint32_t m_nIFFreq = 0;      // Hz
  std::uint32_t m_nBandwidth = 0;   // Hz: the rate the recording is analysed at
  std::uint32_t m_nIQOffset = 0;
  std::uint32_t m_nUnused = 0;
  std::uint32_t m_nDataSize = 0;    // bytes of the 'data' chunk that the file holds
  std::uint32_t m_nStatedDataSize = 0;  // the 'data' chunk's size as its header states it
  double m_dDuration = 0.0;         // seconds
};
