// Arbitrary bytes through CXMLMgr's loader (the path WAV "auxi" chunks, description files,
// project files and other users' tag files take), then through every reader of values:
// attributes, both array schemes, child and sibling walks, the tag list, and back to text.

#include <cstddef>
#include <cstdint>
#include <string>

#include "core/Log.h"
#include "persist/TagDefinitions.h"
#include "persist/XMLMgr.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Each run logs "CXMLMgr> Constructor"; millions of those would only fill the log file.
  SetLogFilePath({});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CXMLMgr xml;
  if (!xml.LoadFromBuffer(data, size)) return 0;

  // Every element is visited without recursion, so deep nesting costs no stack.
  std::size_t nVisited = 0;
  for (pugi::xml_node node = xml.Root(); node && nVisited < 10000; ++nVisited) {
    for (pugi::xml_attribute attribute : node.attributes()) {
      const std::string name = CXMLMgr::DecodeAttributeName(attribute.name());
      (void)CXMLMgr::GetAttribute(node, name);
      (void)CXMLMgr::GetAttributeInt64(node, name);
      (void)CXMLMgr::GetAttributeDouble(node, name);
      (void)CXMLMgr::GetUIntArray(node, name);
      const std::size_t suffix = name.rfind("_count");
      if (suffix != std::string::npos) (void)CXMLMgr::GetStringArray(node, name.substr(0, suffix));
    }
    (void)CXMLMgr::NextSibling(node, node.name());
    if (pugi::xml_node child = node.first_child()) {
      node = child;
      continue;
    }
    while (node && !node.next_sibling() && node != xml.Root()) node = node.parent();
    if (!node || node == xml.Root()) break;
    node = node.next_sibling();
  }

  CTagDefinitions tags;
  tags.ReadFrom(xml.Root());
  for (const CTagDefinition& tag : tags.Tags()) (void)FormatTagFrequency(tag.m_nFrequency);

  const std::string text = xml.GetXML();
  CXMLMgr reread;
  (void)reread.LoadFromText(text);
  return 0;
}
