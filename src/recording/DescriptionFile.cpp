#include "recording/DescriptionFile.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <ctime>
#include <system_error>

#include "core/Log.h"
#include "core/SystemTime.h"
#include "persist/XMLMgr.h"
#include "recording/RecordingCaches.h"
#include "recording/RiffFile.h"
#include "recording/WaveFileData.h"

namespace {

// "<?xml" as five little-endian UTF-16 characters.
constexpr unsigned char kUtf16XmlStart[10] = {'<', 0, '?', 0, 'x', 0, 'm', 0, 'l', 0};

bool IsReadableFile(const std::filesystem::path& path) {
  std::error_code ec;
  return std::filesystem::is_regular_file(path, ec) && ::access(path.c_str(), R_OK) == 0;
}

}  // namespace

bool CDescriptionFile::Write(const std::filesystem::path& xmlPath, const CDescriptionFields& fields) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char created[64] = {};
  std::strftime(created, sizeof created, "%d-%b-%Y %H:%M", &local);

  CXMLMgr xml;
  xml.SetEncodingUTF8(true);
  xml.AddProcessingInstruction();
  xml.AddHeaderComment(xmlPath.filename().string());
  const pugi::xml_node root = xml.CreateRootElement(
      "Brannock-Vexlor", {{"Description", "Saved recording data"}, {"Created", created}}, true);
  xml.CreateElement(root, "Definition",
                    {{"FirstFile", fields.strFirstFile},
                     {"UTC", FormatUtcSeconds(fields.tStartUtc)},
                     {"UTCSeconds", StrFormat("%lld", static_cast<long long>(fields.tStartUtc))},
                     {"BytesPerSecond", StrFormat("%u", fields.nBytesPerSecond)},
                     {"SampleRate", StrFormat("%u", fields.nSampleRate)},
                     {"RadioCenterFreq", StrFormat("%u", fields.nCenterFrequency)},
                     {"BitsPerSample", StrFormat("%u", fields.nBitsPerSample)}});
  xml.CreateElement(root, "Size", {{"SizeInBytes", StrFormat("%u", fields.nDataBytes)}});
  return xml.Save(xmlPath);
}

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
  if (!sidePath.empty() && IsReadableFile(sidePath)) {
    CXMLMgr xml;
    if (!xml.Load(sidePath) || !xml.Root()) return {};
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
  if (nBytes < sizeof kUtf16XmlStart) return {};
  std::vector<unsigned char> chunk(nBytes);
  const std::int64_t nRead = file.Read(chunk.data(), chunk.size());
  chunk.resize(nRead > 0 ? static_cast<std::size_t>(nRead) : 0);
  file.Close();

  const std::string strText = TextFromAuxiChunk(chunk);
  if (strText.empty()) return {};
  CXMLMgr xml;
  if (!xml.LoadFromText(strText) || !xml.Root()) return {};
  return Complete(xml, wavPath, sidePath, true);
}

std::string CDescriptionFile::TextFromAuxiChunk(const std::vector<unsigned char>& chunk) {
  if (chunk.size() < sizeof kUtf16XmlStart ||
      std::memcmp(chunk.data(), kUtf16XmlStart, sizeof kUtf16XmlStart) != 0)
    return {};
  // The text ends at the first NUL character: recorders pad the chunk after it.
  std::size_t nLength = chunk.size() & ~std::size_t{1};
  for (std::size_t i = 0; i + 1 < nLength; i += 2) {
    if (chunk[i] == 0 && chunk[i + 1] == 0) {
      nLength = i;
      break;
    }
  }
  CXMLMgr xml;
  if (!xml.LoadFromBuffer(chunk.data(), nLength) || !xml.Root()) return {};
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
    xml.Save(savePath);
  }
  return xml.GetXML();
}
