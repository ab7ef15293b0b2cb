#include "RecordingFixtures.h"

#include "support/TestEnvironment.h"

namespace fixture {

std::string Le16(std::uint16_t v) { return {static_cast<char>(v & 0xFF), static_cast<char>(v >> 8)}; }
std::string Le32(std::uint32_t v) { return Le16(static_cast<std::uint16_t>(v)) + Le16(static_cast<std::uint16_t>(v >> 16)); }

std::string Time(const SYSTEMTIME& st) {
  return Le16(st.wYear) + Le16(st.wMonth) + Le16(st.wDayOfWeek) + Le16(st.wDay) + Le16(st.wHour) +
         Le16(st.wMinute) + Le16(st.wSecond) + Le16(st.wMilliseconds);
}

SYSTEMTIME Utc(int year, int month, int day, int hour, int minute, int second) {
  return MakeSystemTime(year, month, day, hour, minute, second);
}

std::string Chunk(const std::string& id, const std::string& body) {
  std::string s = id + Le32(static_cast<std::uint32_t>(body.size())) + body;
  if (body.size() & 1) s += '\0';
  return s;
}

std::string Wave(const std::vector<std::string>& chunks) {
  std::string body = "WAVE";
  for (const std::string& c : chunks) body += c;
  return "RIFF" + Le32(static_cast<std::uint32_t>(body.size())) + body;
}

std::string Fmt(std::uint32_t rateHz, std::uint16_t bits) {
  const std::uint16_t nBlockAlign = static_cast<std::uint16_t>(2 * bits / 8);
  return Chunk("fmt ", Le16(1) + Le16(2) + Le32(rateHz) + Le32(rateHz * nBlockAlign) + Le16(nBlockAlign) + Le16(bits));
}

std::string Data(std::uint32_t nBytes) { return Chunk("data", std::string(nBytes, '\0')); }

std::string Auxi(std::uint32_t nSize, const SYSTEMTIME& start, const SYSTEMTIME& stop, std::uint32_t centerHz,
                 std::uint32_t adHz) {
  std::string body = Time(start);
  if (nSize == 28) {
    body += Le32(centerHz) + Le32(adHz);
  } else {
    body += Time(stop) + Le32(centerHz) + Le32(adHz);
  }
  body.resize(nSize, '\0');
  return Chunk("auxi", body);
}

void WriteWinrad(const std::filesystem::path& path, const SYSTEMTIME& start, int nSeconds, std::uint32_t centerHz) {
  WriteBytes(path, Wave({Fmt(100), Auxi(164, start, start, centerHz), Data(400u * static_cast<std::uint32_t>(nSeconds))}));
}

void WriteSpectraVue(const std::filesystem::path& path, std::uint32_t nAuxiSize, const SYSTEMTIME& start,
                     int nSeconds, std::uint32_t centerHz) {
  WriteBytes(path, Wave({Fmt(100), Auxi(nAuxiSize, start, start, centerHz), Data(400u * static_cast<std::uint32_t>(nSeconds))}));
}

void WritePlain(const std::filesystem::path& path, std::uint32_t nDataBytes) {
  WriteBytes(path, Wave({Fmt(100), Data(nDataBytes)}));
}

std::string DescriptionXml(const std::string& firstFile, std::int64_t utcSeconds, std::uint32_t nBytesPerSecond,
                           std::uint32_t nSize) {
  std::string s = "<?xml version='1.0'?>\n<Brannock-Vexlor Description=\"Saved recording data\">\n"
                  "  <Definition FirstFile=\"" + firstFile + "\" UTC=\"x\" UTCSeconds=\"" + std::to_string(utcSeconds) +
                  "\" BytesPerSecond=\"" + std::to_string(nBytesPerSecond) +
                  "\" SampleRate=\"100\" RadioCenterFreq=\"7100000\" BitsPerSample=\"16\"/>\n";
  if (nSize) s += "  <Size SizeInBytes=\"" + std::to_string(nSize) + "\"/>\n";
  return s + "</Brannock-Vexlor>\n";
}

std::string Utf16(const std::string& ascii) {
  std::string s;
  for (char c : ascii) {
    s += c;
    s += '\0';
  }
  return s;
}

}  // namespace fixture
