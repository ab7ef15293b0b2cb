#include "persist/TagDefinitions.h"

#include "core/Log.h"
#include "core/Paths.h"
#include "core/SystemTime.h"
#include "persist/XMLMgr.h"

namespace {

constexpr const char* kRootName = "Brannock-Vexlor";
constexpr const char* kTagElement = "TagDefinition";

// The document without the comment; the file adds it.
void BuildDocument(CXMLMgr& xml, const CTagDefinitions& tags) {
  xml.SetEncodingUTF8(true);
  xml.AddProcessingInstruction();
  tags.AppendTo(xml.CreateRootElement(kRootName, {}, true));
}

}  // namespace

void CTagDefinitions::AppendTo(pugi::xml_node parent) const {
  for (const CTagDefinition& tag : m_aTags) {
    pugi::xml_node element = parent.append_child(kTagElement);
    CXMLMgr::SetAttribute(element, "Title", tag.m_strTitle);
    CXMLMgr::SetAttribute(element, "Description", tag.m_strDescription);
    CXMLMgr::SetAttribute(element, "Frequency", StrFormat("%u", tag.m_nFrequency));
    CXMLMgr::SetAttribute(element, "Bandwidth", StrFormat("%u", tag.m_nBandwidth));
    CXMLMgr::SetAttribute(element, "StartTime", StrFormat("%lld", static_cast<long long>(tag.m_tStartTime)));
    CXMLMgr::SetAttribute(element, "Duration", StrFormat("%u", tag.m_nDuration));
  }
}

void CTagDefinitions::ReadFrom(pugi::xml_node parent) {
  m_aTags.clear();
  for (pugi::xml_node element = CXMLMgr::FindChild(parent, kTagElement); element;
       element = CXMLMgr::NextSibling(element, kTagElement)) {
    CTagDefinition tag;
    tag.m_strTitle = CXMLMgr::GetAttribute(element, "Title");
    tag.m_strDescription = CXMLMgr::GetAttribute(element, "Description");
    tag.m_nFrequency = CXMLMgr::GetAttributeUInt32(element, "Frequency");
    tag.m_nBandwidth = CXMLMgr::GetAttributeUInt32(element, "Bandwidth");
    tag.m_tStartTime = CXMLMgr::GetAttributeInt64(element, "StartTime");
    tag.m_nDuration = CXMLMgr::GetAttributeUInt32(element, "Duration");
    m_aTags.push_back(std::move(tag));
  }
}

bool CTagDefinitions::Save(const std::filesystem::path& path) const {
  CXMLMgr xml;
  BuildDocument(xml, *this);
  // The comment goes in after the "xml" instruction, ahead of the root.
  xml.AddHeaderComment(path.string(), __FILE_NAME__, __LINE__);
  return xml.Save(path);
}

std::string CTagDefinitions::SaveToText() const {
  CXMLMgr xml;
  BuildDocument(xml, *this);
  return xml.GetXML();
}

bool CTagDefinitions::Load(const std::filesystem::path& path) {
  m_aTags.clear();
  CXMLMgr xml;
  if (!xml.Load(path)) return false;
  ReadFrom(xml.Root());
  return true;
}

bool CTagDefinitions::LoadFromText(std::string_view text) {
  m_aTags.clear();
  CXMLMgr xml;
  if (!xml.LoadFromText(text)) return false;
  ReadFrom(xml.Root());
  return true;
}

std::filesystem::path CTagDefinitions::DefaultFilePath() { return DataFolder() / kDefaultFileName; }

bool CTagDefinitions::StoreDefault() {
  const bool bSaved = Save(DefaultFilePath());
  ++m_nChangeCount;
  return bSaved;
}

std::string FormatTagFrequency(std::uint32_t nFrequencyHz) {
  const unsigned nMHz = nFrequencyHz / 1000000u;
  const unsigned nBelowMHz = nFrequencyHz % 1000000u;
  if (nMHz > 0) {
    if (nBelowMHz == 0) return StrFormat("%u MHz", nMHz);
    if (nBelowMHz % 1000u == 0) return StrFormat("%u.%03u MHz", nMHz, nBelowMHz / 1000u);
    return StrFormat("%u.%06u MHz", nMHz, nBelowMHz);
  }
  const int nkHz = static_cast<int>(nFrequencyHz / 1000u);
  const int nHz = static_cast<int>(nFrequencyHz % 1000u);
  if (nHz == 0) return StrFormat("%d kHz", nkHz);
  return StrFormat("%d.%03d kHz", nkHz, nHz);
}

std::string FormatTagTime(std::int64_t tStartTime) { return FormatUtcSeconds(tStartTime, "%Y-%m-%d %H:%M:%S"); }

std::string TagCaption(const CTagDefinition& tag) {
  const std::string title = tag.m_strTitle.empty() ? std::string("<Title>") : tag.m_strTitle;
  return StrFormat("%s, %s", title.c_str(), FormatUtcSeconds(tag.m_tStartTime, "%d-%b-%Y %H:%M:%S").c_str());
}
