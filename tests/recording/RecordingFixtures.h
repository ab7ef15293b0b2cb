#pragma once
// Builders of synthetic recordings for the recording tests: WAV files of every source
// format, assembled byte by byte independently of the code under test.

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "core/SystemTime.h"

namespace fixture {

std::string Le16(std::uint16_t v);
std::string Le32(std::uint32_t v);
std::string Time(const SYSTEMTIME& st);
SYSTEMTIME Utc(int year, int month, int day, int hour, int minute, int second);

std::string Chunk(const std::string& id, const std::string& body);
// A RIFF/WAVE file of the given chunks, the form's size stated truly.
std::string Wave(const std::vector<std::string>& chunks);
// A 16-byte PCM 'fmt ' chunk: 2 channels.
std::string Fmt(std::uint32_t rateHz, std::uint16_t bits = 16);
// A 'data' chunk of nBytes zero bytes.
std::string Data(std::uint32_t nBytes);
// An "auxi" body of nSize bytes with start at 0, stop at 16 (when it fits), the centre
// frequency at 32 (16 for SpectraVue 1) and the A/D frequency after it.
std::string Auxi(std::uint32_t nSize, const SYSTEMTIME& start, const SYSTEMTIME& stop, std::uint32_t centerHz,
                 std::uint32_t adHz = 0);

// Writes a "Winrad" (164-byte auxi) file whose data lasts nSeconds at 100 samples/s, 16-bit
// stereo (400 bytes per second).
void WriteWinrad(const std::filesystem::path& path, const SYSTEMTIME& start, int nSeconds,
                 std::uint32_t centerHz = 7'000'000);
// A SpectraVue file (auxi of nAuxiSize bytes) lasting nSeconds at 400 bytes per second.
void WriteSpectraVue(const std::filesystem::path& path, std::uint32_t nAuxiSize, const SYSTEMTIME& start,
                     int nSeconds, std::uint32_t centerHz = 10'000'000);
// A plain WAV file with no auxi/rcvr chunk, nDataBytes of data at 100 samples/s.
void WritePlain(const std::filesystem::path& path, std::uint32_t nDataBytes);

// A description XML of the program's own recordings; nSize 0 leaves out the "Size" element.
std::string DescriptionXml(const std::string& firstFile, std::int64_t utcSeconds, std::uint32_t nBytesPerSecond,
                           std::uint32_t nSize);
// Little-endian UTF-16 of an ASCII text.
std::string Utf16(const std::string& ascii);

}  // namespace fixture
