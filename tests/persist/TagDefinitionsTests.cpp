#include "persist/TagDefinitions.h"

#include <gtest/gtest.h>

#include "persist/XMLMgr.h"
#include "support/TestEnvironment.h"
#include "XdgOverride.h"

namespace {

std::vector<CTagDefinition> SampleTags() {
  return {
      {"Beacon", "Carrier with \"quotes\" & <brackets>\nsecond line", 4294967295u, 500, 7258118400, 4294967295u},
      {"", "", 0, 0, -86400, 0},
      {"Z\xC3\xBCrich \xE2\x82\xAC", "UTF-8 text", 145500250, 12500, 1700000000, 60},
  };
}

}  // namespace

// Faults: a field lost or truncated on the way through the file (frequencies above 2^31,
// start times before 1970 or beyond 32 bits, markup and line breaks in the texts), or the
// list order changed.
TEST(TagDefinitions, FileRoundTripKeepsEveryField) {
  CTempFolder folder;
  CTagDefinitions tags;
  tags.Tags() = SampleTags();
  ASSERT_TRUE(tags.Save(folder / "tags.xml"));

  CTagDefinitions loaded;
  ASSERT_TRUE(loaded.Load(folder / "tags.xml"));
  EXPECT_EQ(loaded.Tags(), SampleTags());

  const std::string bytes = ReadBytes(folder / "tags.xml");
  EXPECT_NE(bytes.find("WARNING"), std::string::npos);
  CXMLMgr xml;
  ASSERT_TRUE(xml.Load(folder / "tags.xml"));
  EXPECT_STREQ(xml.Root().name(), "Brannock-Vexlor");
  EXPECT_EQ(CXMLMgr::GetAttribute(xml.Root(), "xml:lang"), "EN");
  const pugi::xml_node first = CXMLMgr::FindChild(xml.Root(), "TagDefinition");
  EXPECT_EQ(CXMLMgr::GetAttribute(first, "Frequency"), "4294967295");
  EXPECT_EQ(CXMLMgr::GetAttribute(first, "StartTime"), "7258118400");
  EXPECT_EQ(CXMLMgr::GetAttribute(CXMLMgr::NextSibling(first, "TagDefinition"), "StartTime"), "-86400");
}

// Faults: the embedded text not surviving being an attribute of the project document (the
// way the project file keeps it), or carrying the file's comment into the project.
TEST(TagDefinitions, TextEmbedsInAProjectAttribute) {
  CTagDefinitions tags;
  tags.Tags() = SampleTags();
  const std::string text = tags.SaveToText();
  EXPECT_EQ(text.find("<!--"), std::string::npos);

  CXMLMgr project;
  project.CreateRootElement("Brannock-Vexlor");
  project.CreateElement({}, "Tags", {{"XML", text}});
  CXMLMgr reread;
  ASSERT_TRUE(reread.LoadFromText(project.GetXML()));
  CTagDefinitions loaded;
  ASSERT_TRUE(loaded.LoadFromText(CXMLMgr::GetAttribute(CXMLMgr::FindChild(reread.Root(), "Tags"), "XML")));
  EXPECT_EQ(loaded.Tags(), SampleTags());

  // The element form, for a writer that keeps the tags in its own document.
  CXMLMgr direct;
  tags.AppendTo(direct.CreateRootElement("Project"));
  CTagDefinitions fromElements;
  fromElements.ReadFrom(direct.Root());
  EXPECT_EQ(fromElements.Tags(), SampleTags());
}

// Faults: an empty list producing no root (unloadable file), or a failed load keeping the
// tags that were there before.
TEST(TagDefinitions, EmptyListAndUnloadableFile) {
  CTempFolder folder;
  CTagDefinitions empty;
  ASSERT_TRUE(empty.Save(folder / "empty.xml"));
  CXMLMgr xml;
  ASSERT_TRUE(xml.Load(folder / "empty.xml"));
  EXPECT_STREQ(xml.Root().name(), "Brannock-Vexlor");
  EXPECT_TRUE(xml.Root().first_child().empty());

  CTagDefinitions loaded;
  loaded.Tags() = SampleTags();
  ASSERT_TRUE(loaded.Load(folder / "empty.xml"));
  EXPECT_TRUE(loaded.Tags().empty());

  loaded.Tags() = SampleTags();
  WriteBytes(folder / "broken.xml", "<Brannock-Vexlor><TagDefinition Title=");
  EXPECT_FALSE(loaded.Load(folder / "broken.xml"));
  EXPECT_TRUE(loaded.Tags().empty());
  loaded.Tags() = SampleTags();
  EXPECT_FALSE(loaded.Load(folder / "missing.xml"));
  EXPECT_TRUE(loaded.Tags().empty());
}

// Faults: the default file outside the data folder or under another name, or the change
// counter not moving so that views keep drawing old tags.
TEST(TagDefinitions, StoreDefaultWritesDataFolderFileAndCounts) {
  CXdgOverride data("XDG_DATA_HOME");
  CTagDefinitions tags;
  tags.Tags() = SampleTags();
  EXPECT_EQ(tags.ChangeCount(), 0u);
  ASSERT_TRUE(tags.StoreDefault());
  ASSERT_TRUE(tags.StoreDefault());
  EXPECT_EQ(tags.ChangeCount(), 2u);
  EXPECT_TRUE(std::filesystem::exists(data.Path() / "Brannock (V2)" / "Vexlor" / "Vexlor_TagDefinitions.xml"));
  CTagDefinitions loaded;
  ASSERT_TRUE(loaded.LoadDefault());
  EXPECT_EQ(loaded.Tags(), SampleTags());
}

// Faults: a frequency shown with the wrong unit or losing digits, or an empty title shown
// as an empty caption.
TEST(TagDefinitions, DisplayTexts) {
  EXPECT_EQ(FormatTagFrequency(145000000), "145 MHz");
  EXPECT_EQ(FormatTagFrequency(145500000), "145.500 MHz");
  EXPECT_EQ(FormatTagFrequency(145500250), "145.500250 MHz");
  EXPECT_EQ(FormatTagFrequency(1000001), "1.000001 MHz");
  EXPECT_EQ(FormatTagFrequency(198000), "198 kHz");
  EXPECT_EQ(FormatTagFrequency(7050), "7.050 kHz");
  EXPECT_EQ(FormatTagFrequency(999999), "999.999 kHz");
  EXPECT_EQ(FormatTagFrequency(0), "0 kHz");

  CTagDefinition tag;
  tag.m_tStartTime = 1700000000;
  EXPECT_EQ(TagCaption(tag), "<Title>, 14-Nov-2023 22:13:20");
  tag.m_strTitle = "Beacon";
  EXPECT_EQ(TagCaption(tag), "Beacon, 14-Nov-2023 22:13:20");
  EXPECT_EQ(FormatTagTime(tag.m_tStartTime), "2023-11-14 22:13:20");
}
