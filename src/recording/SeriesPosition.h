#pragma once
// The one walk from a byte of a recording's series to a file of the series and an offset
// into that file's data, by the files' data sizes.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct CRecordingDescription;

// A point of a series: the file (its name and index in the series) and the byte offset
// into its data.
struct CSeriesPosition {
  std::string m_strFile;
  std::size_t m_nIndex = 0;
  std::uint32_t m_nOffset = 0;
};

// The first nFiles files of the lists are the series. Byte nByte of the series' data lies
// in the first file whose data it does not pass (empty files are passed over). True when
// it lies inside a file; false when it lies at or beyond the end of the last file (the
// position is then the end of the last file) or the series is empty (an empty position).
bool FindSeriesPosition(const std::vector<std::string>& astrFiles, const std::vector<std::uint32_t>& anSizes,
                        std::size_t nFiles, std::uint64_t nByte, CSeriesPosition& position);
// The same over a recording's series (its m_nFiles files).
bool FindSeriesPosition(const CRecordingDescription& desc, std::uint64_t nByte, CSeriesPosition& position);

// The sum of the data sizes of the files before the first one named strFile (all of them
// when none is).
std::uint64_t SeriesBytesBefore(const std::vector<std::string>& astrFiles, const std::vector<std::uint32_t>& anSizes,
                                const std::string& strFile);
