#pragma once
// Tags: marked regions of the analysis image (a frequency band over a span of time, with a
// title and a description), and the list of them that is kept in
// "Vexlor_TagDefinitions.xml" in the data folder and embedded in project files.
//
// Layout, file and embedded text alike: root "Brannock-Vexlor" with "xml:lang"="EN", one
// "TagDefinition" element per tag in list order with the attributes "Title",
// "Description", "Frequency" ("%u"), "Bandwidth" ("%u"), "StartTime" ("%I64d", 64-bit) and
// "Duration" ("%u"). Only a file gets the warning comment.
//
// For a project file there are two ways in: the text (SaveToText / LoadFromText), which
// the project keeps in its "Tags" element's "XML" attribute, or the elements themselves
// (AppendTo / ReadFrom) for a writer that wants them in its own document.

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <pugixml.hpp>

struct CTagDefinition {
  std::string m_strTitle;
  std::string m_strDescription;
  std::uint32_t m_nFrequency = 0;  // Hz
  std::uint32_t m_nBandwidth = 0;  // Hz
  std::int64_t m_tStartTime = 0;   // seconds since 1970, UTC
  std::uint32_t m_nDuration = 0;   // seconds

  bool operator==(const CTagDefinition&) const = default;
};

class CTagDefinitions {
 public:
  inline static constexpr const char* kDefaultFileName = "Vexlor_TagDefinitions.xml";

  std::vector<CTagDefinition>& Tags() { return m_aTags; }
  const std::vector<CTagDefinition>& Tags() const { return m_aTags; }

  // Writes the list to a file (with the warning comment), atomically.
  bool Save(const std::filesystem::path& path) const;
  // The list as UTF-8 XML text without the comment, for embedding in a project file.
  std::string SaveToText() const;
  // Replace the list with the file's or the text's tags. A file or text that cannot be
  // loaded leaves an empty list and gives false.
  bool Load(const std::filesystem::path& path);
  bool LoadFromText(std::string_view text);

  // One "TagDefinition" element per tag appended under parent.
  void AppendTo(pugi::xml_node parent) const;
  // Replaces the list with the "TagDefinition" children of parent, in order.
  void ReadFrom(pugi::xml_node parent);

  // The data folder's "Vexlor_TagDefinitions.xml".
  static std::filesystem::path DefaultFilePath();
  // Stores the list in the default file; after each store the change counter goes up, so
  // that views compare it with the count they drew and redraw their tags.
  bool StoreDefault();
  bool LoadDefault() { return Load(DefaultFilePath()); }
  unsigned ChangeCount() const { return m_nChangeCount; }

 private:
  std::vector<CTagDefinition> m_aTags;
  unsigned m_nChangeCount = 0;
};

// The texts of the tag list and dialogs.
// Frequency: "%u MHz", "%u.%06u MHz", "%u.%03u MHz", "%d kHz" or "%d.%03d kHz", the
// shortest that shows the value exactly.
std::string FormatTagFrequency(std::uint32_t nFrequencyHz);
// "%Y-%m-%d %H:%M:%S" of the start time (UTC).
std::string FormatTagTime(std::int64_t tStartTime);
// "%s, %s": the title, or "<Title>" when it is empty, and the start time as
// "%d-%b-%Y %H:%M:%S" (UTC).
std::string TagCaption(const CTagDefinition& tag);
