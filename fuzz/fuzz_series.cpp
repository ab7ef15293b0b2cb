// libFuzzer target: assembling a recording from a folder of files. The input chooses how
// many files there are and everything in them: for the program's own recordings, the
// description values of each file (first file, start, rates, sizes) and a member that may
// be a link out of the folder; for the header-described ones, the "auxi"/"rcvr" headers with
// their start and stop times and data sizes, chained by time. Whatever the values, the
// recording must stay in its folder, list each file once, never claim more data than the
// files hold, and keep its times in 1970..9999 with the end not before the start.

#include <fuzzer/FuzzedDataProvider.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "FuzzFolder.h"
#include "core/Log.h"
#include "core/SystemTime.h"
#include "recording/RecordingCaches.h"
#include "recording/WaveFileData.h"

namespace fs = std::filesystem;

namespace {

fs::path g_root;

std::string Le16(std::uint16_t v) { return {static_cast<char>(v & 0xFF), static_cast<char>(v >> 8)}; }
std::string Le32(std::uint32_t v) { return Le16(static_cast<std::uint16_t>(v)) + Le16(static_cast<std::uint16_t>(v >> 16)); }
std::string Chunk(const std::string& id, const std::string& body) {
  std::string s = id + Le32(static_cast<std::uint32_t>(body.size())) + body;
  if (body.size() & 1) s += '\0';
  return s;
}

void WriteFile(const fs::path& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// A WAV file: a format the input chooses (mostly a valid IQ one), extra chunks, then a
// 'data' chunk whose stated size may lie about the bytes that follow.
std::string Wave(FuzzedDataProvider& in, const std::string& extraChunks) {
  const bool bOddFormat = in.ConsumeIntegralInRange<int>(0, 7) == 0;
  const std::uint16_t nChannels = bOddFormat ? in.ConsumeIntegral<std::uint8_t>() : 2;
  const std::uint16_t nBits = bOddFormat ? in.ConsumeIntegral<std::uint8_t>() : 16;
  const std::uint32_t nRate = in.ConsumeIntegralInRange<std::uint32_t>(0, 200000);
  const std::uint16_t nAlign = static_cast<std::uint16_t>(nChannels * (nBits / 8));
  const std::string fmt = Chunk("fmt ", Le16(1) + Le16(nChannels) + Le32(nRate) + Le32(nRate * nAlign) +
                                           Le16(nAlign) + Le16(nBits));
  const std::uint32_t nHeld = in.ConsumeIntegralInRange<std::uint32_t>(0, 2048);
  const std::uint32_t nStated = in.ConsumeBool() ? nHeld : in.ConsumeIntegral<std::uint32_t>();
  const std::string body = "WAVE" + fmt + extraChunks + "data" + Le32(nStated) + std::string(nHeld, '\0');
  return "RIFF" + Le32(static_cast<std::uint32_t>(body.size())) + body;
}

std::string Attribute(FuzzedDataProvider& in, const char* pszName, const std::string& strUsual) {
  const std::string strValue = in.ConsumeBool() ? strUsual : in.ConsumeRandomLengthString(24);
  std::string strEscaped;
  for (char c : strValue) {
    if (c == '"' || c == '<' || c == '&' || c == '\0') continue;
    strEscaped += c;
  }
  return std::string(" ") + pszName + "=\"" + strEscaped + "\"";
}

void BuildDescribedSeries(FuzzedDataProvider& in, const fs::path& folder, const fs::path& outside) {
  const int nFiles = in.ConsumeIntegralInRange<int>(1, 6);
  for (int n = 0; n < nFiles; ++n) {
    char szName[32];
    std::snprintf(szName, sizeof szName, "rec %03d", n);
    const fs::path wav = folder / (std::string(szName) + ".wav");
    if (n > 0 && in.ConsumeIntegralInRange<int>(0, 5) == 0) {
      // A member that is a link, out of the folder or within it.
      WriteFile(outside / (std::string(szName) + ".wav"), Wave(in, {}));
      std::error_code ec;
      fs::create_symlink(in.ConsumeBool() ? outside / (std::string(szName) + ".wav") : folder / "rec 000.wav", wav, ec);
    } else {
      WriteFile(wav, Wave(in, {}));
    }
    const std::string xml = "<Brannock-Vexlor><Definition" + Attribute(in, "FirstFile", "rec 000.wav") +
                            Attribute(in, "UTCSeconds", "1700000000") + Attribute(in, "BytesPerSecond", "400") +
                            Attribute(in, "SampleRate", "100") + Attribute(in, "RadioCenterFreq", "7100000") +
                            Attribute(in, "BitsPerSample", "16") + "/><Size" + Attribute(in, "SizeInBytes", "400") +
                            "/></Brannock-Vexlor>";
    WriteFile(folder / (std::string(szName) + ".xml"), xml);
  }
}

void BuildTimedSeries(FuzzedDataProvider& in, const fs::path& folder) {
  static constexpr std::uint32_t kAuxiSizes[] = {28, 44, 68, 72, 164, 0};
  const int nFiles = in.ConsumeIntegralInRange<int>(1, 8);
  for (int n = 0; n < nFiles; ++n) {
    const std::uint32_t nAuxi = kAuxiSizes[in.ConsumeIntegralInRange<int>(0, 5)];
    std::string extra;
    if (nAuxi) {
      // Start and stop as calendar times near one another, or any bytes at all.
      std::string body;
      if (in.ConsumeBool()) {
        const std::int64_t t = 1'700'000'000 + in.ConsumeIntegralInRange<int>(0, 60) * 5;
        const SYSTEMTIME st = SecondsToSystemTime(t), stStop = SecondsToSystemTime(t + in.ConsumeIntegralInRange<int>(0, 6));
        for (const SYSTEMTIME& s : {st, stStop})
          body += Le16(s.wYear) + Le16(s.wMonth) + Le16(s.wDayOfWeek) + Le16(s.wDay) + Le16(s.wHour) +
                  Le16(s.wMinute) + Le16(s.wSecond) + Le16(s.wMilliseconds);
      }
      body += in.ConsumeBytesAsString(nAuxi);
      body.resize(nAuxi, '\0');
      extra = Chunk("auxi", body);
    } else {
      extra = Chunk("rcvr", Le32(7100000) + Le32(in.ConsumeIntegral<std::uint8_t>() % 8) +
                                Le32(in.ConsumeIntegral<std::uint32_t>()));
    }
    WriteFile(folder / ("f" + std::to_string(n) + ".wav"), Wave(in, extra));
  }
}

void CheckDescription(const CRecordingDescription& desc, const fs::path& folder, const fs::path& chosen) {
  if (desc.m_astrFileNames.size() != desc.m_anFileSizes.size() ||
      desc.m_astrFileNames.size() != desc.m_anFileStartTimes.size())
    __builtin_trap();
  std::set<std::string> seen;
  std::uint64_t nTotal = 0;
  for (std::size_t i = 0; i < desc.m_nFiles && i < desc.m_astrFileNames.size(); ++i) {
    const fs::path file = desc.m_astrFileNames[i];
    if (file != chosen && !CWaveFileData::IsInsideFolder(file, folder)) __builtin_trap();
    if (!seen.insert(file.string()).second) __builtin_trap();
    std::error_code ec;
    const std::uintmax_t nLength = fs::file_size(file, ec);
    if (!ec && desc.m_anFileSizes[i] > nLength) __builtin_trap();
    nTotal += desc.m_anFileSizes[i];
  }
  (void)nTotal;
  if (desc.m_strSource == "Brannock" && (!IsAcceptedTime(desc.m_tStart) || desc.m_tEnd < desc.m_tStart))
    __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  SetLogFilePath({});
  g_root = MakeFuzzFolder("fuzz-series");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::error_code ec;
  fs::remove_all(g_root / "rec", ec);
  fs::remove_all(g_root / "outside", ec);
  const fs::path folder = g_root / "rec", outside = g_root / "outside";
  fs::create_directories(folder, ec);
  fs::create_directories(outside, ec);
  RecordingCaches().Clear();

  FuzzedDataProvider in(data, size);
  const bool bDescribed = in.ConsumeBool();
  if (bDescribed) BuildDescribedSeries(in, folder, outside);
  else BuildTimedSeries(in, folder);

  const fs::path chosen = bDescribed ? folder / "rec 000.wav" : folder / ("f" + std::to_string(in.ConsumeIntegralInRange<int>(0, 7)) + ".wav");
  CWaveFileData reader;
  CRecordingDescription desc;
  if (reader.GetInformation(chosen, in.ConsumeBool() || !bDescribed, desc)) CheckDescription(desc, folder, chosen);
  else (void)reader.FailureText();
  return 0;
}
