#include "recording/DescriptionFile.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <system_error>

#include "core/Log.h"
#include "core/EngineFaults.h"
#include "persist/XMLMgr.h"
#include "recording/RecordingCaches.h"
#include "recording/RiffFile.h"
#include "recording/WaveFileData.h"

namespace {

constexpr char kXmlStart[] = "<?xml";

// How the text of an "auxi" description is encoded: the unit size and byte order decide
// where the text ends (recorders pad the chunk with NUL characters after it).
enum class EAuxiText { NONE, UTF8, UTF16LE, UTF16BE };

EAuxiText AuxiTextKind(const unsigned char* p, std::size_t n) {
  const auto startsUtf16 = [&](std::size_t nSkip, bool bBigEndian) {
    if (n < nSkip + 10) return false;
    for (std::size_t i = 0; i < 5; ++i) {
      const unsigned char lo = p[nSkip + 2 * i + (bBigEndian ? 1 : 0)];
      const unsigned char hi = p[nSkip + 2 * i + (bBigEndian ? 0 : 1)];
      if (lo != static_cast<unsigned char>(kXmlStart[i]) || hi != 0) return false;
    }
    return true;
  };
  const auto startsUtf8 = [&](std::size_t nSkip) { return n >= nSkip + 5 && std::memcmp(p + nSkip, kXmlStart, 5) == 0; };
  if (startsUtf16(0, false) || (n >= 2 && p[0] == 0xFF && p[1] == 0xFE && startsUtf16(2, false)))
    return EAuxiText::UTF16LE;
  if (startsUtf16(0, true) || (n >= 2 && p[0] == 0xFE && p[1] == 0xFF && startsUtf16(2, true)))
    return EAuxiText::UTF16BE;
  if (startsUtf8(0) || (n >= 3 && p[0] == 0xEF && p[1] == 0xBB && p[2] == 0xBF && startsUtf8(3)))
    return EAuxiText::UTF8;
  return EAuxiText::NONE;
}

bool IsReadableFile(const std::filesystem::path& path) {
  std::error_code ec;
  return std::filesystem::is_regular_file(path, ec) && ::access(path.c_str(), R_OK) == 0;
}

}  // namespace

CDescriptionValues CDescriptionValues::Parse(const std::string& strText) {
  CDescriptionValues values;
  if (strText.empty()) return values;
  CXMLMgr xml;
  if (!xml.LoadFromText(strText)) return values;
  for (const char* pszElement : {"Definition", "Size"}) {
    const pugi::xml_node element = CXMLMgr::FindChild(xml.Root(), pszElement);
    for (const pugi::xml_attribute& a : element.attributes())
      values.m_items.emplace_back(CXMLMgr::DecodeAttributeName(a.name()), a.value());
  }
  return values;
}

std::string CDescriptionValues::Value(std::string_view strName) const {
  for (const auto& [name, value] : m_items)
    if (name == strName) return value;
  return {};
}

std::filesystem::path CDescriptionFile::SidePath(const std::filesystem::path& wavPath) {
  std::string strExt = wavPath.extension().string();
  std::transform(strExt.begin(), strExt.end(), strExt.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (strExt != ".wav") return {};
  std::filesystem::path side = wavPath;
  side.replace_extension(".xml");
  return side;
}

std::string CDescriptionFile::LastErrorText() const {
  return m_nLastError ? MmioErrorText(m_nLastError) : std::string();
}

std::string CDescriptionFile::Text(const std::filesystem::path& wavPath) {
  const std::string strKey = wavPath.string();
  if (auto cached = RecordingCaches().FindDescription(strKey)) return *cached;
  const std::string strText = ReadUncached(wavPath);
  RecordingCaches().StoreDescription(strKey, strText);
  return strText;
}

std::string CDescriptionFile::ReadUncached(const std::filesystem::path& wavPath) {
  const std::filesystem::path sidePath = SidePath(wavPath);
  m_strLoadFailure.clear();
  if (!sidePath.empty() && IsReadableFile(sidePath)) {
    CXMLMgr xml;
    xml.SetSizeLimit(kMaxBytes);
    if (!xml.Load(sidePath) || !xml.Root()) {
      m_strLoadFailure = xml.LastError();
      return {};
    }
    return Complete(xml, wavPath, sidePath, false);
  }

  CRiffFile file;
  MMCKINFO riff, auxi;
  std::uint32_t nError = file.Open(wavPath);
  if (!nError) {
    riff.fccType = FourCC("WAVE");
    nError = file.Descend(riff, nullptr, MMIO_FINDRIFF);
  }
  if (!nError) {
    auxi.ckid = FourCC("auxi");
    nError = file.Descend(auxi, &riff, MMIO_FINDCHUNK);
  }
  if (nError) {
    m_nLastError = nError;
    return {};
  }
  // Never allocate more than the file can hold, whatever the chunk claims.
  const std::uint64_t nAvailable = file.Size() - std::min<std::uint64_t>(file.Size(), file.Position());
  const std::size_t nBytes = static_cast<std::size_t>(std::min<std::uint64_t>(auxi.cksize, nAvailable));
  if (nBytes > kMaxBytes) {
    // Only the start is read, to tell a huge description from some other chunk.
    unsigned char start[16] = {};
    if (file.Read(start, sizeof start) == sizeof start && BeginsLikeDescription(start, sizeof start))
      m_strLoadFailure = StrFormat("the description in the \"auxi\" chunk is %zu bytes, more than the %zu accepted",
                                   nBytes, kMaxBytes);
    return {};
  }
  std::vector<unsigned char> chunk(nBytes);
  const std::int64_t nRead = file.Read(chunk.data(), chunk.size());
  chunk.resize(nRead > 0 ? static_cast<std::size_t>(nRead) : 0);
  file.Close();

  const std::string strText = TextFromAuxiChunk(chunk, &m_strLoadFailure);
  if (strText.empty()) return {};
  CXMLMgr xml;
  if (!xml.LoadFromText(strText) || !xml.Root()) return {};
  return Complete(xml, wavPath, sidePath, true);
}

bool CDescriptionFile::BeginsLikeDescription(const unsigned char* p, std::size_t nBytes) {
  return AuxiTextKind(p, nBytes) != EAuxiText::NONE;
}

std::string CDescriptionFile::TextFromAuxiChunk(const std::vector<unsigned char>& chunk, std::string* pstrFailure) {
  const EAuxiText eKind = AuxiTextKind(chunk.data(), chunk.size());
  if (eKind == EAuxiText::NONE) return {};
  // The text ends at the first NUL character: recorders pad the chunk after it.
  const std::size_t nUnit = eKind == EAuxiText::UTF8 ? 1 : 2;
  std::size_t nLength = chunk.size() / nUnit * nUnit;
  for (std::size_t i = 0; i + nUnit <= nLength; i += nUnit) {
    if (chunk[i] == 0 && chunk[i + nUnit - 1] == 0) {
      nLength = i;
      break;
    }
  }
  CXMLMgr xml;
  xml.SetSizeLimit(kMaxBytes);
  if (!xml.LoadFromBuffer(chunk.data(), nLength) || !xml.Root()) {
    if (pstrFailure) *pstrFailure = xml.LastError();
    return {};
  }
  return xml.GetXML();
}

std::string CDescriptionFile::Complete(CXMLMgr& xml, const std::filesystem::path& wavPath,
                                       const std::filesystem::path& savePath, bool bAlwaysSave) {
  bool bChanged = false;
  pugi::xml_node size = CXMLMgr::FindChild(xml.Root(), "Size");
  if (!size || CXMLMgr::GetAttributeUInt32(size, "SizeInBytes") == 0) {
    if (!size) size = xml.CreateElement(xml.Root(), "Size");
    CXMLMgr::SetAttribute(size, "SizeInBytes", StrFormat("%u", CWaveFileData::WaveDataSize(wavPath)));
    bChanged = true;
  }
  if ((bChanged || bAlwaysSave) && !savePath.empty()) {
    xml.SetEncodingUTF8(true);
    xml.AddProcessingInstruction();
    // A description that cannot be written back is still used as it stands.
    if (!xml.Save(savePath))
      ReportEngineFaultOnce(EEngineFault::FileWrite, "The recording description could not be written back (the recording is still read): " +
                      xml.LastError());
  }
  return xml.GetXML();
}
