#include "persist/XMLMgr.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <system_error>

#include "core/Log.h"
#include "core/AtomicFile.h"

namespace {

// Declarations are dropped on load: the encoding a file was read in says nothing about the
// encoding it is saved in, and AddProcessingInstruction() writes the one that fits.
constexpr unsigned int kParseOptions = pugi::parse_default | pugi::parse_comments;
constexpr const char* kIndent = "  ";

class CStringWriter : public pugi::xml_writer {
 public:
  explicit CStringWriter(std::string& out) : m_out(out) {}
  void write(const void* data, size_t size) override { m_out.append(static_cast<const char*>(data), size); }

 private:
  std::string& m_out;
};

std::string ComputerName() {
  char buffer[256] = {};
  if (gethostname(buffer, sizeof(buffer) - 1) != 0) return {};
  return buffer;
}

std::string UserName() {
  // getpwuid_r keeps this safe when two threads write files at the same time.
  struct passwd pwd{};
  struct passwd* pResult = nullptr;
  std::vector<char> buffer(16384);
  if (getpwuid_r(getuid(), &pwd, buffer.data(), buffer.size(), &pResult) == 0 && pResult != nullptr &&
      pResult->pw_name != nullptr) {
    return pResult->pw_name;
  }
  const char* pszUser = std::getenv("USER");
  return pszUser != nullptr ? pszUser : "";
}

std::string ProgramPath() {
  std::error_code ec;
  const std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe", ec);
  return ec ? std::string() : exe.string();
}

// The local date in the long form ("Tuesday, 14 May 2024"), a blank, then the time.
std::string CreatedText() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char buffer[128] = {};
  if (std::strftime(buffer, sizeof(buffer), "%A, %d %B %Y %H:%M:%S", &local) == 0) return {};
  return buffer;
}

// The deepest element nesting of a document, walked without recursion.
int ElementDepth(const pugi::xml_node& document) {
  int nDepth = 0, nMax = 0;
  pugi::xml_node node = document.first_child();
  while (node) {
    if (node.type() == pugi::node_element) nMax = std::max(nMax, nDepth + 1);
    if (node.first_child()) {
      node = node.first_child();
      ++nDepth;
      continue;
    }
    while (node && !node.next_sibling()) {
      node = node.parent();
      --nDepth;
      if (nDepth < 0) return nMax;
    }
    if (node) node = node.next_sibling();
  }
  return nMax;
}

std::string_view SkipLeadingBlanks(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\r' || text[i] == '\n')) ++i;
  return text.substr(i);
}

}  // namespace

CXMLMgr::CXMLMgr() {
  LogLine("CXMLMgr> Constructor");
  Initialise();
}

CXMLMgr::~CXMLMgr() = default;

void CXMLMgr::Initialise() {
  m_pDoc = std::make_unique<pugi::xml_document>();
  m_root = pugi::xml_node();
  m_bLoaded = false;
  m_astrHeaderLines.clear();
  LogLine("CXMLMgr> Initialised");
}

bool CXMLMgr::AdoptParsed(std::unique_ptr<pugi::xml_document> pDoc, const pugi::xml_parse_result& result,
                          int nErrno) {
  if (!result) {
    // A file that cannot be opened or read is described by the system; a document that
    // does not parse, by the parser, with the byte offset where it went wrong.
    const bool bFileError = result.status == pugi::status_file_not_found || result.status == pugi::status_io_error;
    const std::string text = bFileError && nErrno != 0
                                 ? SystemErrorText(nErrno)
                                 : StrFormat("%s at offset %lld", result.description(),
                                             static_cast<long long>(result.offset));
    m_strLastError = StrFormat("MSXML2::IXMLDOMDocument Load Fail, error = %08X, text = %s",
                               static_cast<unsigned>(result.status), text.c_str());
    LogLine(m_strLastError);
    return false;
  }
  const int nDepth = ElementDepth(*pDoc);
  if (nDepth > kMaxDepth) {
    m_strLastError = StrFormat("MSXML2::IXMLDOMDocument Load Fail, error = %08X, text = elements nested %d deep "
                               "(at most %d levels are accepted)",
                               static_cast<unsigned>(pugi::status_bad_start_element), nDepth, kMaxDepth);
    LogLine(m_strLastError);
    return false;
  }
  m_pDoc = std::move(pDoc);
  m_root = m_pDoc->document_element();
  m_astrHeaderLines.clear();
  m_bLoaded = true;
  return true;
}

bool CXMLMgr::RefuseSize(std::uint64_t nBytes) {
  if (nBytes <= m_nSizeLimit) return false;
  m_strLastError = StrFormat("MSXML2::IXMLDOMDocument Load Fail, error = %08X, text = %llu bytes is more than "
                             "the %llu bytes accepted",
                             static_cast<unsigned>(pugi::status_out_of_memory), static_cast<unsigned long long>(nBytes),
                             static_cast<unsigned long long>(m_nSizeLimit));
  LogLine(m_strLastError);
  return true;
}

bool CXMLMgr::Load(const std::filesystem::path& path) {
  LogF("Loading %s", path.c_str());
  std::error_code ec;
  const std::uintmax_t nBytes = std::filesystem::file_size(path, ec);
  if (!ec && RefuseSize(nBytes)) return false;
  auto pDoc = std::make_unique<pugi::xml_document>();
  errno = 0;
  const pugi::xml_parse_result result = pDoc->load_file(path.c_str(), kParseOptions, pugi::encoding_auto);
  return AdoptParsed(std::move(pDoc), result, errno);
}

bool CXMLMgr::LoadFromBuffer(const void* data, std::size_t size) {
  if (RefuseSize(size)) return false;
  auto pDoc = std::make_unique<pugi::xml_document>();
  const pugi::xml_parse_result result = pDoc->load_buffer(data, size, kParseOptions, pugi::encoding_auto);
  return AdoptParsed(std::move(pDoc), result);
}

bool CXMLMgr::LoadFromText(std::string_view text) {
  if (RefuseSize(text.size())) return false;
  auto pDoc = std::make_unique<pugi::xml_document>();
  const pugi::xml_parse_result result =
      pDoc->load_buffer(text.data(), text.size(), kParseOptions, pugi::encoding_utf8);
  return AdoptParsed(std::move(pDoc), result);
}

std::string CXMLMgr::SaveToString(pugi::xml_encoding encoding) const {
  std::string out;
  CStringWriter writer(out);
  // The declaration, when wanted, is the "xml" processing instruction already in the
  // document; pugixml must not add a second one.
  // A loaded document may be nested deeply; indenting it would multiply its size.
  const unsigned int nFormat = m_bLoaded ? pugi::format_raw : pugi::format_default;
  m_pDoc->save(writer, kIndent, nFormat | pugi::format_no_declaration, encoding);
  return out;
}

bool CXMLMgr::Save(const std::filesystem::path& path) {
  LogF("Saving %s", path.c_str());
  const std::string bytes = SaveToString(m_bEncodingISO88591 ? pugi::encoding_latin1 : pugi::encoding_utf8);
  std::string strError;
  if (!WriteFileAtomically(path, bytes.data(), bytes.size(), &strError)) {
    m_strLastError = strError;
    LogLine("CXMLMgr> Saving failed: " + strError);
    return false;
  }
  return true;
}

std::string CXMLMgr::GetXML() const { return SaveToString(pugi::encoding_utf8); }

void CXMLMgr::AddProcessingInstruction() {
  const char* pszData = "version='1.0'";
  if (m_bEncodingISO88591) {
    pszData = "version='1.0' encoding='ISO-8859-1'";
  } else if (m_bEncodingUTF8) {
    pszData = "version='1.0' encoding='UTF-8'";
  }
  pugi::xml_node first = m_pDoc->first_child();
  if (first.type() == pugi::node_pi && std::string_view(first.name()) == "xml") {
    first.set_value(pszData);
    return;
  }
  pugi::xml_node pi = m_pDoc->prepend_child(pugi::node_pi);
  pi.set_name("xml");
  pi.set_value(pszData);
}

pugi::xml_node CXMLMgr::CreateRootElement(const std::string& strName, const AttributeList& attributes,
                                          bool bLanguage) {
  if (m_pDoc->document_element()) {
    m_strLastError = StrFormat("CXMLMgr> CreateRootElement %s: the document already has a root", strName.c_str());
    LogLine(m_strLastError);
    return pugi::xml_node();
  }
  m_root = m_pDoc->append_child(strName.c_str());
  for (const auto& [name, value] : attributes) SetAttribute(m_root, name, value);
  if (bLanguage) SetAttribute(m_root, "xml:lang", "EN");
  return m_root;
}

pugi::xml_node CXMLMgr::CreateElement(pugi::xml_node parent, const std::string& strName,
                                      const AttributeList& attributes) {
  if (!parent) parent = m_root;
  if (!parent) {
    m_strLastError = StrFormat("CXMLMgr> CreateElement %s: no parent and no root", strName.c_str());
    LogLine(m_strLastError);
    return pugi::xml_node();
  }
  pugi::xml_node element = parent.append_child(strName.c_str());
  for (const auto& [name, value] : attributes) SetAttribute(element, name, value);
  return element;
}

std::string CXMLMgr::EncodeAttributeName(std::string_view strName) {
  std::string out;
  out.reserve(strName.size());
  for (char c : strName) {
    if (c == ' ') {
      out += kBlankReplacement;
    } else {
      out += c;
    }
  }
  return out;
}

std::string CXMLMgr::DecodeAttributeName(std::string_view strName) {
  const std::string_view replacement(kBlankReplacement);
  std::string out;
  out.reserve(strName.size());
  std::size_t i = 0;
  while (i < strName.size()) {
    if (strName.substr(i, replacement.size()) == replacement) {
      out += ' ';
      i += replacement.size();
    } else {
      out += strName[i++];
    }
  }
  return out;
}

void CXMLMgr::SetAttribute(pugi::xml_node element, std::string_view strName, std::string_view strValue) {
  if (!element) return;
  const std::string name = EncodeAttributeName(strName);
  pugi::xml_attribute attribute = element.attribute(name.c_str());
  if (!attribute) attribute = element.append_attribute(name.c_str());
  attribute.set_value(std::string(strValue).c_str());
}

std::string CXMLMgr::GetAttribute(pugi::xml_node element, std::string_view strName) {
  if (!element) return {};
  return element.attribute(EncodeAttributeName(strName).c_str()).value();
}

bool CXMLMgr::HasAttribute(pugi::xml_node element, std::string_view strName) {
  return element && element.attribute(EncodeAttributeName(strName).c_str());
}

std::int64_t CXMLMgr::GetAttributeInt64(pugi::xml_node element, std::string_view strName) {
  return TextToInt64(GetAttribute(element, strName));
}

std::uint32_t CXMLMgr::GetAttributeUInt32(pugi::xml_node element, std::string_view strName) {
  // Wraps like strtoul does for 32-bit values, so "-1" gives 4294967295.
  return static_cast<std::uint32_t>(TextToInt64(GetAttribute(element, strName)));
}

std::int32_t CXMLMgr::GetAttributeInt32(pugi::xml_node element, std::string_view strName) {
  const std::int64_t n = TextToInt64(GetAttribute(element, strName));
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(n, std::numeric_limits<std::int32_t>::min(),
                                                             std::numeric_limits<std::int32_t>::max()));
}

double CXMLMgr::GetAttributeDouble(pugi::xml_node element, std::string_view strName) {
  return TextToDouble(GetAttribute(element, strName));
}

pugi::xml_node CXMLMgr::FindChild(pugi::xml_node parent, std::string_view strName) {
  for (pugi::xml_node child = parent.first_child(); child; child = child.next_sibling()) {
    if (child.type() == pugi::node_element && strName == child.name()) return child;
  }
  return pugi::xml_node();
}

pugi::xml_node CXMLMgr::NextSibling(pugi::xml_node node, std::string_view strName) {
  for (pugi::xml_node sibling = node.next_sibling(); sibling; sibling = sibling.next_sibling()) {
    if (sibling.type() == pugi::node_element && strName == sibling.name()) return sibling;
  }
  return pugi::xml_node();
}

void CXMLMgr::SetStringArray(pugi::xml_node element, std::string_view strKey,
                             const std::vector<std::string>& astrValues) {
  if (!element) return;
  const std::string key(strKey);
  // An array written into an element that does not hold it yet is appended without
  // looking each name up (which would scan every attribute for every element).
  const bool bFresh = !HasAttribute(element, key + "_count");
  SetAttribute(element, key + "_count", StrFormat("%d", static_cast<int>(astrValues.size())));
  const std::string prefix = EncodeAttributeName(key) + "_value_";
  for (std::size_t i = 0; i < astrValues.size(); ++i) {
    if (bFresh) {
      element.append_attribute((prefix + std::to_string(i)).c_str()).set_value(astrValues[i].c_str());
    } else {
      SetAttribute(element, StrFormat("%s_value_%d", key.c_str(), static_cast<int>(i)), astrValues[i]);
    }
  }
}

std::vector<std::string> CXMLMgr::GetStringArray(pugi::xml_node element, std::string_view strKey) {
  const std::string key = EncodeAttributeName(strKey);
  const std::int64_t nCount = GetAttributeInt64(element, std::string(strKey) + "_count");
  std::vector<std::string> astrValues;
  if (nCount <= 0) return astrValues;
  // One pass over the attributes: looking each index up by name would scan them all for
  // every element. Only indices below the attribute count can be filled, whatever
  // "_count" claims.
  const std::string prefix = key + "_value_";
  std::uint64_t nAttributes = 0;
  for (auto it = element.attributes_begin(); it != element.attributes_end(); ++it) ++nAttributes;
  const std::uint64_t nLimit = std::min<std::uint64_t>(static_cast<std::uint64_t>(nCount), nAttributes);
  std::vector<const char*> apszValues;
  for (const pugi::xml_attribute& a : element.attributes()) {
    const std::string_view name = a.name();
    if (name.size() <= prefix.size() || name.compare(0, prefix.size(), prefix) != 0) continue;
    const std::string_view digits = name.substr(prefix.size());
    if (digits.size() > 1 && digits[0] == '0') continue;  // "%d" writes no leading zeros
    std::uint64_t nIndex = 0;
    const auto [ptr, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), nIndex);
    if (ec != std::errc() || ptr != digits.data() + digits.size() || nIndex >= nLimit) continue;
    if (nIndex >= apszValues.size()) apszValues.resize(static_cast<std::size_t>(nIndex) + 1, nullptr);
    // The first attribute of a name wins, as a lookup by name would find it.
    if (!apszValues[nIndex]) apszValues[nIndex] = a.value();
  }
  // Elements are taken up to the first missing one.
  for (const char* psz : apszValues) {
    if (!psz) break;
    astrValues.emplace_back(psz);
  }
  return astrValues;
}

void CXMLMgr::SetUIntArray(pugi::xml_node element, std::string_view strKey,
                           const std::vector<std::uint32_t>& anValues) {
  std::string text;
  for (std::size_t i = 0; i < anValues.size(); ++i) {
    if (i > 0) text += ',';
    text += std::to_string(anValues[i]);
  }
  SetAttribute(element, strKey, text);
}

std::vector<std::uint32_t> CXMLMgr::GetUIntArray(pugi::xml_node element, std::string_view strKey) {
  const std::string text = GetAttribute(element, strKey);
  std::vector<std::uint32_t> anValues;
  if (text.empty()) return anValues;
  std::string_view rest(text);
  while (true) {
    const std::size_t comma = rest.find(',');
    anValues.push_back(static_cast<std::uint32_t>(TextToInt64(rest.substr(0, comma))));
    if (comma == std::string_view::npos) break;
    rest.remove_prefix(comma + 1);
  }
  return anValues;
}

void CXMLMgr::AddHeaderComment(const std::string& strFilename, const char* pszSource, int nLine) {
  m_astrHeaderLines = {
      "===================== WARNING ==========================",
      "| The contents of this file must not be changed if the |",
      "| program is to operate correctly. To avoid problems,  |",
      "| please do NOT edit this file.                        |",
      "========================================================",
  };
  if (!strFilename.empty()) m_astrHeaderLines.push_back(StrFormat("Filename ..: %s", strFilename.c_str()));
  m_astrHeaderLines.push_back(StrFormat("Created ...: %s", CreatedText().c_str()));
  m_astrHeaderLines.push_back(StrFormat("Computer ..: %s", ComputerName().c_str()));
  m_astrHeaderLines.push_back(StrFormat("Username ..: %s", UserName().c_str()));
  m_astrHeaderLines.push_back(StrFormat("Program ...: %s", ProgramPath().c_str()));
  if (pszSource != nullptr) m_astrHeaderLines.push_back(StrFormat("%s line %d", pszSource, nLine));

  // Padded to the longest line so that the block reads as a rectangle in an editor.
  std::size_t nWidth = 0;
  for (const std::string& line : m_astrHeaderLines) nWidth = std::max(nWidth, line.size());
  std::string text = "\n";
  for (const std::string& line : m_astrHeaderLines) {
    text += ' ';
    text += line;
    text.append(nWidth - line.size(), ' ');
    text += " \n";
  }

  pugi::xml_node first = m_pDoc->first_child();
  pugi::xml_node comment;
  if (first.type() == pugi::node_pi && std::string_view(first.name()) == "xml") {
    comment = m_pDoc->insert_child_after(pugi::node_comment, first);
  } else {
    comment = m_pDoc->prepend_child(pugi::node_comment);
  }
  comment.set_value(text.c_str());
}

std::string CXMLMgr::SystemErrorText(int nCode) {
  char buffer[256] = {};
  // The GNU strerror_r may return a static text instead of filling the buffer.
  const char* pszText = strerror_r(nCode, buffer, sizeof(buffer));
  std::string text = pszText != nullptr ? pszText : "";
  std::erase_if(text, [](char c) { return c == '\r' || c == '\n'; });
  if (text.empty()) text = StrFormat("Unknown error %u", static_cast<unsigned>(nCode));
  return text;
}

std::int64_t CXMLMgr::TextToInt64(std::string_view text) {
  text = SkipLeadingBlanks(text);
  bool bNegative = false;
  if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
    bNegative = text[0] == '-';
    text.remove_prefix(1);
  }
  std::uint64_t magnitude = 0;
  const auto [ptr, ec] = std::from_chars(text.data(), text.data() + text.size(), magnitude);
  (void)ptr;
  constexpr std::uint64_t kMaxPositive = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (ec == std::errc::result_out_of_range) {
    return bNegative ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
  }
  if (ec != std::errc()) return 0;
  if (bNegative) {
    if (magnitude > kMaxPositive) return std::numeric_limits<std::int64_t>::min();
    return -static_cast<std::int64_t>(magnitude);
  }
  return magnitude > kMaxPositive ? std::numeric_limits<std::int64_t>::max() : static_cast<std::int64_t>(magnitude);
}

std::uint64_t CXMLMgr::TextToUInt64(std::string_view text) {
  text = SkipLeadingBlanks(text);
  if (!text.empty() && text[0] == '-') return static_cast<std::uint64_t>(TextToInt64(text));
  if (!text.empty() && text[0] == '+') text.remove_prefix(1);
  std::uint64_t value = 0;
  const auto [ptr, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  (void)ptr;
  if (ec == std::errc::result_out_of_range) return std::numeric_limits<std::uint64_t>::max();
  return ec == std::errc() ? value : 0;
}

double CXMLMgr::TextToDouble(std::string_view text) {
  text = SkipLeadingBlanks(text);
  if (!text.empty() && text[0] == '+') text.remove_prefix(1);
  double value = 0.0;
  const auto [ptr, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  (void)ptr;
  return ec == std::errc() ? value : 0.0;
}
