#include "recording/WaveFileData.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <set>
#include <system_error>

#include "core/Log.h"
#include "core/SystemTime.h"
#include "persist/XMLMgr.h"
#include "recording/LittleEndian.h"
#include "recording/RecordingCaches.h"
#include "recording/RiffFile.h"

namespace {

// Files of a time-chained series abut: the next file starts less than this many seconds
// after the previous one stopped.
constexpr std::int64_t kChainToleranceSeconds = 3;
// Calendar times outside these years are treated as garbage.
constexpr int kEarliestYear = 1970;
constexpr int kLatestYear = 9999;
constexpr std::uint32_t kWinradADFreqHz = 66'666'667;
constexpr std::uint32_t kPerseusADFreqHz = 80'000'000;
constexpr std::uint32_t kUnknownCenterFreqHz = 10'000'000;

std::string Lower(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return s;
}

std::string Upper(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return s;
}

SYSTEMTIME GetSystemTime(const unsigned char* p) {
  SYSTEMTIME st;
  st.wYear = GetLE16(p);
  st.wMonth = GetLE16(p + 2);
  st.wDayOfWeek = GetLE16(p + 4);
  st.wDay = GetLE16(p + 6);
  st.wHour = GetLE16(p + 8);
  st.wMinute = GetLE16(p + 10);
  st.wSecond = GetLE16(p + 12);
  st.wMilliseconds = GetLE16(p + 14);
  return st;
}

// Where each "auxi" chunk size keeps its fields: byte offsets into the chunk data, -1 where
// the layout has no such field (the value is then 0, or as noted).
struct CAuxiLayout {
  std::uint32_t nSize;
  const char* pszSource;
  bool bLocalTimes;  // stored as local time
  int nStop;         // -1: the stop time is the start time
  int nCenter;
  int nAD;           // -1: the Winrad A/D clock, which the chunk does not state
  int nIF;
  int nIQOffset;
  int nUnused;
};

// SpectraVue 2.34 leaves the word at 44 unused; in SpectraVue 3.0 it is a bandwidth, which is
// ignored because the 'fmt ' rate is the true one.
constexpr CAuxiLayout kAuxiLayouts[] = {
    {28, "SpectraVue 1", false, -1, 16, 20, -1, -1, -1},
    {44, "SpectraVue 2", false, 16, 32, 36, -1, -1, -1},
    {68, "SpectraVue 2.34", true, 16, 32, 36, 40, 48, 52},
    {72, "SpectraVue 3.0", false, 16, 32, 36, 40, 48, 52},
    {164, "Winrad", false, 16, 32, -1, -1, -1, -1},
};

const CAuxiLayout* FindAuxiLayout(std::uint32_t nSize) {
  for (const CAuxiLayout& layout : kAuxiLayouts)
    if (layout.nSize == nSize) return &layout;
  return nullptr;
}

bool IsValidTime(const SYSTEMTIME& st) {
  return st.wYear >= kEarliestYear && st.wYear <= kLatestYear && st.wMonth >= 1 && st.wMonth <= 12 &&
         st.wDay >= 1 && st.wDay <= 31 && st.wHour < 24 && st.wMinute < 60 && st.wSecond < 60 &&
         st.wMilliseconds < 1000;
}

// SpectraVue 2.34 stores local times; a year below 1900 means no time was recorded.
SYSTEMTIME LocalToUtcOrZero(const SYSTEMTIME& local) {
  if (local.wYear < 1900) return SYSTEMTIME{};
  if (!IsValidTime(local)) return local;
  return LocalSystemTimeToUtc(local);
}

// The decimal digits of text[nPos, nPos + nCount) up to the first non-digit (0 when none).
std::uint16_t DigitsAt(const std::string& text, std::size_t nPos, std::size_t nCount) {
  unsigned nValue = 0;
  for (std::size_t i = nPos; i < text.size() && i < nPos + nCount; ++i) {
    if (!std::isdigit(static_cast<unsigned char>(text[i]))) break;
    nValue = nValue * 10 + static_cast<unsigned>(text[i] - '0');
  }
  return static_cast<std::uint16_t>(nValue);
}

// SDRSharp names carry the centre frequency from position 26 ("..._7100kHz_IQ"). It is
// taken as kHz and multiplied by 1000 in 32-bit unsigned arithmetic, as the recordings of
// that program have always been read: a name giving Hz instead of kHz wraps.
std::uint32_t SdrSharpCenterFreq(const std::string& title) {
  std::uint32_t nValue = 0;
  for (std::size_t i = 26; i < title.size(); ++i) {
    if (!std::isdigit(static_cast<unsigned char>(title[i]))) break;
    nValue = nValue * 10u + static_cast<std::uint32_t>(title[i] - '0');
  }
  return nValue * 1000u;
}

// Winradio names end in the frequency in MHz: "...-7.100mhz" or "...-7.100".
std::uint32_t WinradioCenterFreq(const std::string& title) {
  std::string text = title;
  const std::size_t nMhz = text.find("mhz");
  if (nMhz != std::string::npos && nMhz > 0) text.resize(nMhz);
  const std::size_t nDash = text.rfind('-');
  if (nDash != std::string::npos) text = text.substr(nDash + 1);
  const double dHz = CXMLMgr::TextToDouble(text) * 1e6;
  // Outside what 32 bits hold the name means nothing useful.
  if (!(dHz >= 0.0) || dHz >= 4294967296.0) return 0;
  return static_cast<std::uint32_t>(dHz);
}

// The file's last-modification time as local calendar time; the current time when the
// file status cannot be read.
SYSTEMTIME ModificationTimeLocal(const std::filesystem::path& path) {
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0) return CurrentLocalSystemTime();
  const std::int64_t ms = static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1000 + st.st_mtim.tv_nsec / 1'000'000;
  const SYSTEMTIME utc = FileTimeToSystemTime((ms + 11'644'473'600'000LL) * 10'000);
  return UtcSystemTimeToLocal(utc);
}

bool IsReadable(const std::filesystem::path& path) { return ::access(path.c_str(), R_OK) == 0; }

std::uint32_t Saturate32(std::uint64_t n) { return n > UINT32_MAX ? UINT32_MAX : static_cast<std::uint32_t>(n); }

std::int64_t NowUtcSeconds() { return SystemTimeToSeconds(CurrentUtcSystemTime()); }

std::string DataSizeWarning(const std::filesystem::path& path, const CWaveFileHeader& header) {
  return StrFormat("\"%s\": the 'data' chunk claims %u bytes but the file holds %u", path.filename().c_str(),
                   header.m_nStatedDataSize, header.m_nDataSize);
}

// The 'fmt ' record of a WAV file; false when it has none that can be read.
bool ReadFormat(const std::filesystem::path& path, CWaveFormat& fmt) {
  CRiffFile file;
  MMCKINFO riff, chunk;
  riff.fccType = FourCC("WAVE");
  chunk.ckid = FourCC("fmt ");
  if (file.Open(path) || file.Descend(riff, nullptr, MMIO_FINDRIFF) || file.Descend(chunk, &riff, MMIO_FINDCHUNK))
    return false;
  unsigned char bytes[CWaveFormat::kStoredBytes] = {};
  const std::size_t nBytes = std::min<std::size_t>(chunk.cksize, sizeof bytes);
  if (chunk.cksize < 16 || file.Read(bytes, nBytes) != static_cast<std::int64_t>(nBytes)) return false;
  fmt.FromBytes(bytes, nBytes);
  return true;
}

}  // namespace

std::string CWaveScanFault::Text() const {
  switch (eKind) {
    case NONE: return "recognised";
    case CANNOT_OPEN:
      if (nDetail == MMIOERR_FILENOTFOUND) return "not found";
      return "cannot be opened (" + MmioErrorText(nDetail) + ")";
    case NOT_WAVE: return "not a RIFF/WAVE file";
    case NO_FMT: return "no \"fmt \" chunk";
    case FMT_TRUNCATED: return "the \"fmt \" chunk is truncated";
    case FMT_SHORT: return StrFormat("the \"fmt \" chunk is %u bytes, shorter than the 16 bytes of a WAVE format", nDetail);
    case RATE_ZERO: return CWaveFileData::FormatFault(2, 0, 16);
    case CHANNELS: return CWaveFileData::FormatFault(static_cast<int>(nDetail), 1, 16);
    case BITS: return CWaveFileData::FormatFault(2, 1, nDetail);
    case AUXI_SIZE: return StrFormat("unsupported \"auxi\" chunk size (%u bytes)", nDetail);
    case AUXI_XML: return "unreadable description in the \"auxi\" chunk";
    case RCVR_TRUNCATED: return "the \"rcvr\" chunk is truncated";
    case NO_DATA: return "no \"data\" chunk";
  }
  return "not recognised";
}

std::string CWaveFileData::FormatFault(int nChannels, std::uint32_t nRateHz, std::uint32_t nBits) {
  if (nChannels >= 0 && nChannels != 2)
    return StrFormat("%d channel%s; an IQ recording has 2 (I and Q)", nChannels, nChannels == 1 ? "" : "s");
  if (nBits != 8 && nBits != 16 && nBits != 24 && nBits != 32)
    return StrFormat("%u bits per sample; 8, 16, 24 or 32 are supported", nBits);
  if (nRateHz == 0) return "the sample rate is 0 Hz";
  return {};
}

bool CWaveFileData::IsInsideFolder(const std::filesystem::path& file, const std::filesystem::path& folder) {
  std::error_code ec;
  const std::filesystem::path resolved = std::filesystem::weakly_canonical(file, ec);
  if (ec) return false;
  std::error_code ecFolder;
  const std::filesystem::path home =
      std::filesystem::weakly_canonical(folder.empty() ? std::filesystem::path(".") : folder, ecFolder);
  return !ecFolder && resolved.parent_path() == home;
}

std::int64_t CWaveFileData::TimeToSeconds(const SYSTEMTIME& st) {
  return IsValidTime(st) ? SystemTimeToSeconds(st) : 0;
}

int CWaveFileData::SourceCode(std::string_view strSource) {
  static constexpr std::pair<std::string_view, int> kCodes[] = {
      {"SDRSharp", SOURCE_SDRSHARP}, {"SpectraVue", SOURCE_SPECTRAVUE}, {"Winrad", SOURCE_WINRAD},
      {"Perseus", SOURCE_PERSEUS},   {"Winradio", SOURCE_WINRADIO},     {"UnknownFmt", SOURCE_UNKNOWN}};
  // Names are matched as prefixes so that every SpectraVue version has one code. "Winrad"
  // also begins "Winradio": the longest matching name wins, so that a Winradio recording
  // keeps its own code and never chains with Winrad files.
  int nCode = SOURCE_BRANNOCK;
  std::size_t nLongest = 0;
  for (const auto& [name, code] : kCodes) {
    if (name.size() > nLongest && strSource.substr(0, name.size()) == name) {
      nCode = code;
      nLongest = name.size();
    }
  }
  return nCode;
}

bool CWaveFileData::ScanHeader(const std::filesystem::path& path, CWaveFileHeader& header,
                               CWaveScanFault* pFault) {
  header = CWaveFileHeader{};
  CRiffFile file;
  if (const std::uint32_t nError = file.Open(path)) {
    if (pFault) *pFault = {CWaveScanFault::CANNOT_OPEN, nError};
    return false;
  }
  return ScanHeader(file, path, header, pFault);
}

bool CWaveFileData::ScanHeader(CRiffFile& file, const std::filesystem::path& namePath,
                               CWaveFileHeader& header, CWaveScanFault* pFault) {
  header = CWaveFileHeader{};
  CWaveScanFault fault;
  const auto fail = [&](CWaveScanFault::EKind eKind, std::uint32_t nDetail = 0) {
    if (pFault) *pFault = {eKind, nDetail};
    return false;
  };

  const std::string strName = Lower(namePath.filename().string());
  const bool bDdc = strName.size() >= 4 && strName.compare(strName.size() - 4, 4, ".ddc") == 0;
  const std::string strTitle = Lower(namePath.stem().string());
  const bool bSdrSharp = strTitle.rfind("sdrsharp_", 0) == 0;

  file.Seek(0, SEEK_SET);
  MMCKINFO riff;
  riff.fccType = FourCC("WAVE");
  if (file.Descend(riff, nullptr, MMIO_FINDRIFF)) return fail(CWaveScanFault::NOT_WAVE);
  MMCKINFO fmt;
  fmt.ckid = FourCC("fmt ");
  if (file.Descend(fmt, &riff, MMIO_FINDCHUNK)) return fail(CWaveScanFault::NO_FMT);
  // The chunk is read whole or not at all; only its first 18 bytes are kept.
  if (fmt.cksize > file.Size() - std::min(file.Size(), file.Position())) return fail(CWaveScanFault::FMT_TRUNCATED);
  unsigned char fmtBytes[CWaveFormat::kStoredBytes] = {};
  const std::size_t nFmtBytes = std::min<std::size_t>(fmt.cksize, sizeof fmtBytes);
  if (file.Read(fmtBytes, nFmtBytes) != static_cast<std::int64_t>(nFmtBytes)) return fail(CWaveScanFault::FMT_TRUNCATED);
  if (fmt.cksize < 16) return fail(CWaveScanFault::FMT_SHORT, fmt.cksize);
  header.m_fmt.FromBytes(fmtBytes, nFmtBytes);
  if (header.m_fmt.nChannels != 2) return fail(CWaveScanFault::CHANNELS, header.m_fmt.nChannels);
  if (!FormatFault(2, 1, header.m_fmt.wBitsPerSample).empty())
    return fail(CWaveScanFault::BITS, header.m_fmt.wBitsPerSample);
  if (header.m_fmt.nSamplesPerSec == 0) return fail(CWaveScanFault::RATE_ZERO);
  file.Ascend(fmt);
  const std::int64_t nAfterFmt = static_cast<std::int64_t>(file.Position());

  bool bRecognised = true;
  const std::uint32_t nFmtRate = header.m_fmt.nSamplesPerSec;
  MMCKINFO auxi;
  auxi.ckid = FourCC("auxi");
  MMCKINFO rcvr;
  rcvr.ckid = FourCC("rcvr");
  if (!file.Descend(auxi, &riff, MMIO_FINDCHUNK)) {
    if (const CAuxiLayout* pLayout = FindAuxiLayout(auxi.cksize)) {
      // A chunk cut short by the end of the file reads as zeros where it is missing.
      std::vector<unsigned char> buf(auxi.cksize, 0);
      file.Read(buf.data(), buf.size());
      const unsigned char* p = buf.data();
      const auto word = [p](int nOffset) { return nOffset < 0 ? 0u : GetLE32(p + nOffset); };
      header.m_strSource = pLayout->pszSource;
      header.m_stStart = GetSystemTime(p);
      header.m_stStop = pLayout->nStop < 0 ? header.m_stStart : GetSystemTime(p + pLayout->nStop);
      if (pLayout->bLocalTimes) {
        header.m_stStart = LocalToUtcOrZero(header.m_stStart);
        header.m_stStop = LocalToUtcOrZero(header.m_stStop);
      }
      header.m_nCenterFreq = word(pLayout->nCenter);
      header.m_nADFreq = pLayout->nAD < 0 ? kWinradADFreqHz : word(pLayout->nAD);
      header.m_nIFFreq = word(pLayout->nIF);
      header.m_nIQOffset = word(pLayout->nIQOffset);
      header.m_nUnused = word(pLayout->nUnused);
      header.m_nBandwidth = nFmtRate;
    } else {
      bRecognised = false;
      unsigned char start[12] = {};
      const std::int64_t nStart = file.Read(start, sizeof start);
      const bool bXml = nStart > 0 && CDescriptionFile::BeginsLikeDescription(start, static_cast<std::size_t>(nStart));
      fault = {bXml ? CWaveScanFault::AUXI_XML : CWaveScanFault::AUXI_SIZE, auxi.cksize};
    }
    file.Ascend(auxi);
  } else if (file.Seek(nAfterFmt, SEEK_SET) >= 0 && !file.Descend(rcvr, &riff, MMIO_FINDCHUNK)) {
    unsigned char p[12] = {};
    const std::uint64_t nAvailable = file.Size() - std::min(file.Size(), file.Position());
    const std::size_t nWanted = std::min<std::size_t>(rcvr.cksize, sizeof p);
    if (rcvr.cksize > nAvailable || file.Read(p, nWanted) != static_cast<std::int64_t>(nWanted)) {
      bRecognised = false;
      fault = {CWaveScanFault::RCVR_TRUNCATED, 0};
    } else {
      header.m_strSource = "Perseus";
      header.m_nCenterFreq = GetLE32(p);
      static constexpr std::uint32_t kRates[] = {125'000, 250'000, 500'000, 1'000'000, 2'000'000};
      const std::uint32_t nRateCode = GetLE32(p + 4);
      header.m_nBandwidth = nRateCode < 5 ? kRates[nRateCode] : 125'000;
      const std::int32_t tStart = static_cast<std::int32_t>(GetLE32(p + 8));
      header.m_stStart = SecondsToSystemTime(tStart);
      header.m_stStop = header.m_stStart;
      header.m_nADFreq = kPerseusADFreqHz;
      file.Ascend(rcvr);
    }
  } else if (bDdc) {
    header.m_strSource = "Winradio";
    header.m_nCenterFreq = WinradioCenterFreq(strTitle);
    header.m_stStart = ModificationTimeLocal(namePath);
    header.m_stStop = header.m_stStart;
    header.m_nBandwidth = nFmtRate;
  } else if (bSdrSharp) {
    header.m_strSource = "SDRSharp";
    header.m_stStart.wYear = DigitsAt(strTitle, 9, 4);
    header.m_stStart.wMonth = DigitsAt(strTitle, 13, 2);
    header.m_stStart.wDay = DigitsAt(strTitle, 15, 2);
    header.m_stStart.wHour = DigitsAt(strTitle, 18, 2);
    header.m_stStart.wMinute = DigitsAt(strTitle, 20, 2);
    header.m_stStart.wSecond = DigitsAt(strTitle, 22, 2);
    header.m_stStop = header.m_stStart;
    header.m_nCenterFreq = SdrSharpCenterFreq(strTitle);
    header.m_nBandwidth = nFmtRate;
  } else {
    header.m_strSource = "UnknownFmt";
    header.m_fmt.nAvgBytesPerSec = static_cast<std::uint32_t>(header.m_fmt.nBlockAlign) * nFmtRate;
    header.m_nCenterFreq = kUnknownCenterFreqHz;
    header.m_stStart = CurrentLocalSystemTime();
    header.m_stStop = header.m_stStart;
    header.m_nBandwidth = nFmtRate;
  }

  MMCKINFO data;
  data.ckid = FourCC("data");
  if (file.Seek(nAfterFmt, SEEK_SET) < 0 || file.Descend(data, &riff, MMIO_FINDCHUNK))
    return fail(fault.eKind != CWaveScanFault::NONE ? fault.eKind : CWaveScanFault::NO_DATA, fault.nDetail);
  // A size that the recorder never patched (0xFFFFFFFF, or left at the size it planned)
  // claims more than the file holds: the data ends at the end of the file.
  header.m_nStatedDataSize = data.cksize;
  header.m_nDataSize = static_cast<std::uint32_t>(
      std::min<std::uint64_t>(data.cksize, file.Size() - std::min(file.Size(), data.dwDataOffset)));
  if (header.m_fmt.nAvgBytesPerSec != 0) {
    // Perseus files state a bytes-per-second figure that does not match the rate code.
    const std::uint64_t nBytesPerSecond =
        header.m_strSource == "Perseus"
            ? std::uint64_t{header.m_fmt.wBitsPerSample / 8u} * header.m_nBandwidth * 2u
            : header.m_fmt.nAvgBytesPerSec;
    if (nBytesPerSecond) header.m_dDuration = static_cast<double>(header.m_nDataSize) / static_cast<double>(nBytesPerSecond);
  }
  if (header.m_stStart.wYear >= 1900 && IsValidTime(header.m_stStart)) {
    const FILETIME64 ftStop = SystemTimeToFileTime(header.m_stStart) +
                              static_cast<std::int64_t>(header.m_dDuration) * 10'000'000;
    header.m_stStop = FileTimeToSystemTime(ftStop);
    if (!IsValidTime(header.m_stStop)) header.m_stStop = header.m_stStart;
  }
  if (!bRecognised) return fail(fault.eKind, fault.nDetail);
  if (pFault) *pFault = {};
  return true;
}

std::uint32_t CWaveFileData::WaveDataSize(const std::filesystem::path& path) {
  const std::string strKey = path.string();
  if (auto cached = RecordingCaches().FindDataSize(strKey)) return *cached;
  std::uint32_t nSize = 0;
  CRiffFile file;
  MMCKINFO riff, data;
  riff.fccType = FourCC("WAVE");
  data.ckid = FourCC("data");
  if (!file.Open(path) && !file.Descend(riff, nullptr, MMIO_FINDRIFF) && !file.Descend(data, &riff, MMIO_FINDCHUNK))
    nSize = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(data.cksize, file.Size() - std::min(file.Size(), data.dwDataOffset)));
  RecordingCaches().StoreDataSize(strKey, nSize);
  return nSize;
}

std::vector<std::filesystem::path> CWaveFileData::ListFolder(const std::filesystem::path& folder) {
  std::vector<std::pair<std::string, std::filesystem::path>> entries;
  std::error_code ec;
  std::filesystem::directory_iterator it(folder.empty() ? std::filesystem::path(".") : folder, ec);
  for (; !ec && it != std::filesystem::directory_iterator(); it.increment(ec)) {
    std::error_code ecType;
    if (it->is_directory(ecType)) continue;
    const std::string strName = it->path().filename().string();
    entries.emplace_back(Upper(strName), folder / strName);
  }
  std::sort(entries.begin(), entries.end());
  std::vector<std::filesystem::path> paths;
  paths.reserve(entries.size());
  for (auto& e : entries) paths.push_back(std::move(e.second));
  return paths;
}

bool CWaveFileData::IsPlainFileName(std::string_view strName) {
  if (strName.empty() || strName == "." || strName == "..") return false;
  return strName.find_first_of(std::string_view("/\\:\0", 4)) == std::string_view::npos;
}

bool CWaveFileData::GetInformation(const std::filesystem::path& path, bool bWholeSeries,
                                   CRecordingDescription& desc) {
  desc.Clear();
  m_strFailure.clear();
  std::error_code ec;
  std::filesystem::path chosen = std::filesystem::absolute(path, ec).lexically_normal();
  if (ec) chosen = path;

  const std::string strDescription = m_description.Text(chosen);
  if (!strDescription.empty()) return SeriesByNumber(chosen, strDescription, bWholeSeries, desc);

  CWaveFileHeader header;
  CWaveScanFault fault;
  if (!ScanHeader(chosen, header, &fault)) {
    const std::filesystem::path side = CDescriptionFile::SidePath(chosen);
    if (fault.eKind != CWaveScanFault::CANNOT_OPEN && !side.empty() && std::filesystem::exists(side, ec))
      m_strFailure = "unreadable description \"" + side.filename().string() + "\"";
    else
      m_strFailure = fault.Text();
    if (!m_description.LoadFailure().empty()) m_strFailure += " (" + m_description.LoadFailure() + ")";
    return false;
  }
  if (header.m_nStatedDataSize != header.m_nDataSize) desc.m_astrWarnings.push_back(DataSizeWarning(chosen, header));
  const int nCode = SourceCode(header.m_strSource);
  switch (nCode) {
    case SOURCE_SDRSHARP:
    case SOURCE_UNKNOWN:
      return SingleFile(chosen, header, nCode, desc);
    case SOURCE_SPECTRAVUE:
    case SOURCE_WINRAD:
    case SOURCE_PERSEUS:
    case SOURCE_WINRADIO:
      return SeriesByTime(chosen, header, nCode, desc);
    default:
      m_strFailure = "not recognised";
      return false;
  }
}

bool CWaveFileData::SingleFile(const std::filesystem::path& path, const CWaveFileHeader& header, int nCode,
                               CRecordingDescription& desc) {
  const std::int64_t tStart = TimeToSeconds(header.m_stStart);
  // An SDRSharp file is listed twice while the file count says 1: the SDRSharp step and the
  // step of unknown files both add it. Consumers rely on this and walk by the file count.
  const int nListed = nCode == SOURCE_SDRSHARP ? 2 : 1;
  for (int i = 0; i < nListed; ++i) {
    desc.m_astrFileNames.push_back(path.string());
    desc.m_anFileSizes.push_back(header.m_nDataSize);
    desc.m_anFileStartTimes.push_back(static_cast<std::uint32_t>(tStart));
  }
  desc.m_tStart = desc.m_tSelectedStart = tStart;
  desc.m_tEnd = desc.m_tSelectedEnd = TimeToSeconds(header.m_stStop);
  desc.m_dDuration = static_cast<double>(desc.m_tEnd - desc.m_tStart);
  desc.m_nSampleRate = desc.m_nFmtSampleRate = header.m_fmt.nSamplesPerSec;
  desc.m_nBitsPerSample = header.m_fmt.wBitsPerSample;
  desc.m_nBytesPerSecond = header.m_fmt.nAvgBytesPerSec;
  desc.m_nCenterFrequency = header.m_nCenterFreq;
  // A single file keeps its whole size in the remainder (and the millions as well); see
  // CRecordingDescription::TotalBytes.
  desc.m_nTotalRemainder = header.m_nDataSize;
  desc.m_nTotalMillions = header.m_nDataSize / 1'000'000u;
  desc.m_nFiles = 1;
  desc.m_strSource = header.m_strSource;
  desc.m_bValid = true;
  return true;
}

bool CWaveFileData::SeriesByTime(const std::filesystem::path& path, const CWaveFileHeader& header, int nCode,
                                 CRecordingDescription& desc) {
  struct CCandidate {
    std::string strPath;
    std::uint32_t nSize;
    std::int64_t tStart;
    std::int64_t tStop;
  };
  std::vector<CCandidate> candidates;
  // A Winradio recording never chains: only these sources are looked for in the folder.
  if (nCode == SOURCE_SPECTRAVUE || nCode == SOURCE_WINRAD || nCode == SOURCE_PERSEUS) {
    for (const std::filesystem::path& entry : ListFolder(path.parent_path())) {
      CWaveFileHeader other;
      // A link to a file elsewhere is not a file of this recording.
      if (ScanHeader(entry, other) && SourceCode(other.m_strSource) == nCode &&
          IsInsideFolder(entry, path.parent_path()))
        candidates.push_back({entry.string(), other.m_nDataSize, TimeToSeconds(other.m_stStart),
                              TimeToSeconds(other.m_stStop)});
    }
  }
  const auto near = [](std::int64_t a, std::int64_t b) {
    return (a > b ? a - b : b - a) < kChainToleranceSeconds;
  };

  // Walk back to the first file: the first candidate (in listing order) that stopped when
  // the current one started. Each file is taken at most once: a file shorter than the
  // tolerance would otherwise match itself or a short neighbour again and again.
  std::string strCurrent = path.string();
  std::int64_t t = TimeToSeconds(header.m_stStart);
  std::set<std::string> taken{strCurrent};
  for (bool bMoved = true; bMoved;) {
    bMoved = false;
    for (const CCandidate& c : candidates) {
      if (c.strPath != strCurrent && !taken.count(c.strPath) && near(c.tStop, t)) {
        strCurrent = c.strPath;
        t = c.tStart;
        taken.insert(strCurrent);
        bMoved = true;
        break;
      }
    }
  }

  CWaveFileHeader first;
  if (!ScanHeader(strCurrent, first)) {
    m_strFailure = "the first file of the series \"" + strCurrent + "\" cannot be read";
    return false;
  }
  desc.m_astrFileNames.push_back(strCurrent);
  desc.m_anFileSizes.push_back(first.m_nDataSize);
  desc.m_anFileStartTimes.push_back(static_cast<std::uint32_t>(TimeToSeconds(first.m_stStart)));
  t = TimeToSeconds(first.m_stStop);

  // Walk forward: the first candidate that started when the last one added stopped. The
  // first file is excluded by name, every file added so far by the take-once rule.
  std::set<std::string> added{strCurrent};
  for (bool bAdded = true; bAdded;) {
    bAdded = false;
    for (const CCandidate& c : candidates) {
      if (c.strPath != strCurrent && !added.count(c.strPath) && near(c.tStart, t)) {
        desc.m_astrFileNames.push_back(c.strPath);
        desc.m_anFileSizes.push_back(c.nSize);
        desc.m_anFileStartTimes.push_back(static_cast<std::uint32_t>(c.tStart));
        added.insert(c.strPath);
        t = c.tStop;
        bAdded = true;
        break;
      }
    }
  }

  for (std::uint32_t nSize : desc.m_anFileSizes) desc.AddToTotal(nSize);
  desc.m_tStart = desc.m_tSelectedStart = TimeToSeconds(first.m_stStart);
  desc.m_tEnd = desc.m_tSelectedEnd = t;
  desc.m_dDuration = static_cast<double>(desc.m_tEnd - desc.m_tStart);
  desc.m_nBitsPerSample = first.m_fmt.wBitsPerSample;
  desc.m_nBytesPerSecond = first.m_fmt.nAvgBytesPerSec;
  desc.m_nCenterFrequency = first.m_nCenterFreq;
  desc.m_nFmtSampleRate = first.m_fmt.nSamplesPerSec;
  desc.m_nSampleRate = first.m_nBandwidth;
  desc.m_nFiles = static_cast<std::uint32_t>(desc.m_astrFileNames.size());
  desc.m_strSource = first.m_strSource;
  desc.m_bValid = true;
  return true;
}

bool CWaveFileData::SeriesByNumber(const std::filesystem::path& path, const std::string& strDescription,
                                   bool bWholeSeries, CRecordingDescription& desc) {
  const std::filesystem::path folder = path.parent_path();
  const std::string strFirstFile = CDescriptionValues::Parse(strDescription).Value("FirstFile");
  if (strFirstFile.empty()) {
    m_strFailure = "the description names no \"FirstFile\"";
    return false;
  }
  // The name comes from a file and is used as a name only: it must not lead elsewhere.
  if (!IsPlainFileName(strFirstFile)) {
    m_strFailure = "the description's \"FirstFile\" is not a file name: \"" + strFirstFile + "\"";
    return false;
  }

  desc.m_tStart = desc.m_tSelectedStart = desc.m_tEnd = desc.m_tSelectedEnd = NowUtcSeconds();
  std::uint64_t nRunningBytes = 0;
  std::uint32_t nPreviousSize = 0;
  std::uintmax_t nPreviousLength = 0;
  for (int n = 0;; ++n) {
    if (n > 0 && !bWholeSeries) break;
    std::string strName = strFirstFile;
    std::size_t nPos = strName.find(" 000.wav");
    const char* pszFormat = " %03d.wav";
    if (nPos == std::string::npos) {
      nPos = strName.find(" 000.WAV");
      pszFormat = " %03d.WAV";
    }
    if (nPos == std::string::npos) break;
    strName.replace(nPos, 8, StrFormat(pszFormat, n));
    std::filesystem::path file = folder / strName;
    if (n == 0 && !IsReadable(file)) file = path;
    // A member that is a link to a file elsewhere is refused, not followed: the series is
    // the files of this folder. (The file the user chose is taken as chosen.)
    if (file != path && !IsInsideFolder(file, folder)) {
      m_strFailure = "\"" + strName + "\" leads out of the recording's folder";
      return false;
    }
    std::error_code ec;
    const std::uintmax_t nLength = std::filesystem::file_size(file, ec);
    if (ec) break;

    std::uint32_t nDataSize = 0;
    if (n > 0 && nLength == nPreviousLength) {
      // Files of one series are written to the same length; one of the same length holds
      // the same amount of data, and its description need not be read.
      nDataSize = nPreviousSize;
    } else {
      const std::string strText = m_description.Text(file);
      if (strText.empty()) break;
      const CDescriptionValues values = CDescriptionValues::Parse(strText);
      const std::uint64_t nStated = CXMLMgr::TextToUInt64(values.Value("SizeInBytes"));
      const std::uint32_t nHeld = WaveDataSize(file);
      nDataSize = nStated == 0 ? nHeld : static_cast<std::uint32_t>(std::min<std::uint64_t>(nStated, nHeld));
      if (nStated > nHeld)
        desc.m_astrWarnings.push_back(StrFormat("\"%s\": \"SizeInBytes\" is %s but the file holds %u bytes of data",
                                                file.filename().c_str(), values.Value("SizeInBytes").c_str(), nHeld));
      if (n == 0) {
        std::string strCenter = values.Value("RadioCenterFreq");
        if (strCenter.empty()) strCenter = values.Value("CenterFrequency");
        desc.m_nBytesPerSecond = Saturate32(CXMLMgr::TextToUInt64(values.Value("BytesPerSecond")));
        desc.m_nSampleRate = desc.m_nFmtSampleRate = Saturate32(CXMLMgr::TextToUInt64(values.Value("SampleRate")));
        desc.m_nCenterFrequency = Saturate32(CXMLMgr::TextToUInt64(strCenter));
        desc.m_nBitsPerSample = Saturate32(CXMLMgr::TextToUInt64(values.Value("BitsPerSample")));
        if (desc.m_nBitsPerSample == 0) desc.m_nBitsPerSample = 16;
        const std::string strUtc = values.Value("UTCSeconds");
        desc.m_tStart = desc.m_tSelectedStart = CXMLMgr::TextToInt64(strUtc);
        if (!IsAcceptedTime(desc.m_tStart)) {
          m_strFailure = "the description's \"UTCSeconds\" (" + strUtc + ") is not a time from 1970 to 9999";
          return false;
        }
        // The description states the format; the WAV header, when there is one, says how
        // many channels the data really has.
        CWaveFormat fmt;
        const int nChannels = ReadFormat(file, fmt) ? fmt.nChannels : -1;
        std::string strFault = FormatFault(nChannels, desc.m_nSampleRate, desc.m_nBitsPerSample);
        if (strFault.empty() && desc.m_nBytesPerSecond == 0) strFault = "\"BytesPerSecond\" is 0";
        if (!strFault.empty()) {
          m_strFailure = "\"" + file.filename().string() + "\": " + strFault;
          return false;
        }
      }
    }
    desc.m_astrFileNames.push_back(file.string());
    desc.m_anFileSizes.push_back(nDataSize);
    desc.m_anFileStartTimes.push_back(0);
    ++desc.m_nFiles;
    desc.AddToTotal(nDataSize);
    nRunningBytes += nDataSize;
    const std::int64_t nSeconds =
        desc.m_nBytesPerSecond ? static_cast<std::int64_t>(nRunningBytes / desc.m_nBytesPerSecond) : 0;
    desc.m_tEnd = desc.m_tSelectedEnd = desc.m_tStart + nSeconds;
    nPreviousSize = nDataSize;
    nPreviousLength = nLength;
  }
  desc.m_dDuration = static_cast<double>(desc.m_tEnd - desc.m_tStart);
  desc.m_strSource = "Brannock";
  desc.m_bValid = true;
  return true;
}
