#pragma once
// CXMLMgr: one XML document for the rest of the program, over pugixml.
//
// Every XML file the program writes goes through here: recording descriptions, the
// current analysis options, project files, tag definitions and the settings file. The
// conventions every caller shares:
//   - all values are attributes, written as text in the caller's format and read back with
//     decimal conversion; a missing attribute reads as the empty text (or 0);
//   - a blank in an attribute name is stored as "_-SPACE-_" and turned back into a blank
//     when read, so callers always use the name with blanks;
//   - a text array under a key is "<key>_count" plus "<key>_value_<i>" from 0; an
//     unsigned-integer array is one attribute with the values joined by ",".
//
// Elements are handed out as pugi::xml_node (a cheap handle; an empty node means "none"),
// valid until the next successful load or Initialise() of the manager that made them.
// Loading never resolves external entities or fetches anything: pugixml has no such
// machinery, and a DOCTYPE is skipped.
//
// What is loaded is bounded: a document larger than the size limit (SetSizeLimit, 64 MiB
// unless the caller says otherwise) or nested deeper than kMaxDepth elements is refused
// with a message, so a hostile file cannot exhaust memory or the stack. A loaded document
// is written back without indentation, so saving it never multiplies its size.
//
// Text handed in and out as std::string is always UTF-8, whatever the declaration says.
// Raw bytes (a file, a WAV "auxi" chunk) may be UTF-8, UTF-16 with or without BOM, or
// ISO-8859-1 by declaration; pugixml detects which.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <pugixml.hpp>

class CXMLMgr {
 public:
  using AttributeList = std::vector<std::pair<std::string, std::string>>;

  inline static constexpr const char* kBlankReplacement = "_-SPACE-_";
  // The program's own documents are at most four levels deep.
  static constexpr int kMaxDepth = 64;
  static constexpr std::uint64_t kDefaultSizeLimit = 64ull << 20;

  CXMLMgr();
  ~CXMLMgr();
  CXMLMgr(const CXMLMgr&) = delete;
  CXMLMgr& operator=(const CXMLMgr&) = delete;

  // Starts a new, empty document (the constructor already did this once).
  void Initialise();

  // The largest document (bytes) that Load and LoadFrom* accept.
  void SetSizeLimit(std::uint64_t nBytes) { m_nSizeLimit = nBytes; }
  std::uint64_t SizeLimit() const { return m_nSizeLimit; }

  // Loads a document. On success the document element becomes the current root and true
  // is returned; on failure the previous document and root stay as they were and
  // LastError() says why.
  bool Load(const std::filesystem::path& path);
  // Raw bytes whose encoding pugixml detects (BOM, UTF-16 byte pattern, declaration).
  bool LoadFromBuffer(const void* data, std::size_t size);
  // UTF-8 text, as handed out by GetXML() (an encoding declaration in it is ignored).
  bool LoadFromText(std::string_view text);

  // Writes the document to path atomically (temporary file, then rename): a failed or
  // interrupted save leaves the previous file whole. Encoding: ISO-8859-1 when that flag
  // is set, UTF-8 otherwise.
  bool Save(const std::filesystem::path& path);
  // The whole document as UTF-8 text.
  std::string GetXML() const;

  // The encoding flags, which decide the "xml" processing instruction and the encoding of
  // saved files. ISO-8859-1 wins when both are set.
  void SetEncodingUTF8(bool bUTF8) { m_bEncodingUTF8 = bUTF8; }
  void SetEncodingISO88591(bool bISO) { m_bEncodingISO88591 = bISO; }
  // Puts the "xml" processing instruction first in the document (replacing an earlier one):
  // "version='1.0' encoding='ISO-8859-1'", "version='1.0' encoding='UTF-8'" or
  // "version='1.0'" as the encoding flags say.
  void AddProcessingInstruction();

  // Creates the document element; bLanguage adds "xml:lang"="EN". A document has one root:
  // a second call returns an empty node.
  pugi::xml_node CreateRootElement(const std::string& strName, const AttributeList& attributes = {},
                                   bool bLanguage = false);
  // Creates an element under parent (the current root when parent is empty) and sets its
  // attributes in list order.
  pugi::xml_node CreateElement(pugi::xml_node parent, const std::string& strName,
                               const AttributeList& attributes = {});

  pugi::xml_node Root() const { return m_root; }

  static void SetAttribute(pugi::xml_node element, std::string_view strName, std::string_view strValue);
  // The attribute's text, empty when it (or the element) is missing.
  static std::string GetAttribute(pugi::xml_node element, std::string_view strName);
  static bool HasAttribute(pugi::xml_node element, std::string_view strName);
  // Decimal readings of an attribute; missing or unreadable text gives 0.
  static std::int64_t GetAttributeInt64(pugi::xml_node element, std::string_view strName);
  static std::uint32_t GetAttributeUInt32(pugi::xml_node element, std::string_view strName);
  static std::int32_t GetAttributeInt32(pugi::xml_node element, std::string_view strName);
  static double GetAttributeDouble(pugi::xml_node element, std::string_view strName);

  // The first child element named strName, or an empty node.
  static pugi::xml_node FindChild(pugi::xml_node parent, std::string_view strName);
  // The next sibling element after node named strName, or an empty node.
  static pugi::xml_node NextSibling(pugi::xml_node node, std::string_view strName);

  static void SetStringArray(pugi::xml_node element, std::string_view strKey,
                             const std::vector<std::string>& astrValues);
  // Reads elements one by one and stops at the first missing one, so a damaged or hostile
  // "_count" never decides how much is allocated.
  static std::vector<std::string> GetStringArray(pugi::xml_node element, std::string_view strKey);
  static void SetUIntArray(pugi::xml_node element, std::string_view strKey,
                           const std::vector<std::uint32_t>& anValues);
  static std::vector<std::uint32_t> GetUIntArray(pugi::xml_node element, std::string_view strKey);

  // Writes the warning comment block as one comment node at the top of the document
  // (after the "xml" processing instruction). strFilename may be empty; pszSource and
  // nLine name the writer (pass __FILE__, __LINE__) and are left out when pszSource is null.
  void AddHeaderComment(const std::string& strFilename = {}, const char* pszSource = nullptr, int nLine = 0);
  // The lines of the last header comment, unpadded.
  const std::vector<std::string>& HeaderLines() const { return m_astrHeaderLines; }

  const std::string& LastError() const { return m_strLastError; }

  // The system's message for an errno value, on one line ("Unknown error %u" when there is
  // none), for the "text = %s" part of the error texts.
  static std::string SystemErrorText(int nCode);

  // Attribute names as stored ("Two_-SPACE-_Words") and as used ("Two Words").
  static std::string EncodeAttributeName(std::string_view strName);
  static std::string DecodeAttributeName(std::string_view strName);

  // Lenient decimal conversions in the manner of atoi/strtod, independent of the locale:
  // leading blanks and a sign are allowed, reading stops at the first character that does
  // not fit, and text with no number in front gives 0.
  static std::int64_t TextToInt64(std::string_view text);
  static std::uint64_t TextToUInt64(std::string_view text);
  static double TextToDouble(std::string_view text);

 private:
  bool AdoptParsed(std::unique_ptr<pugi::xml_document> pDoc, const pugi::xml_parse_result& result,
                   int nErrno = 0);
  bool RefuseSize(std::uint64_t nBytes);
  std::string SaveToString(pugi::xml_encoding encoding) const;

  std::unique_ptr<pugi::xml_document> m_pDoc;
  pugi::xml_node m_root;
  std::uint64_t m_nSizeLimit = kDefaultSizeLimit;
  // The document came from outside: written back as it stands, without indentation.
  bool m_bLoaded = false;
  bool m_bEncodingUTF8 = false;
  bool m_bEncodingISO88591 = false;
  std::string m_strLastError;
  std::vector<std::string> m_astrHeaderLines;
};
