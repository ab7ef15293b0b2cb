// Hostile documents and failing writes in persistence: depth and size bounds on what is
// parsed, write-back that never multiplies a document, string arrays read by their
// attributes whatever order or gaps they have, and settings that cannot be written
// reported to the caller and to the user once.

#include <gtest/gtest.h>

#include "core/EngineFaults.h"
#include "persist/MySettingsStore.h"
#include "persist/XMLMgr.h"
#include "support/TestEnvironment.h"

namespace {

std::string Nested(int nDepth) {
  std::string s;
  for (int i = 0; i < nDepth; ++i) s += "<a>";
  for (int i = 0; i < nDepth; ++i) s += "</a>";
  return s;
}

// ---- Memory bounds.

TEST(HostileXml, DepthAndSizeAreBounded) {
  CXMLMgr xml;
  EXPECT_TRUE(xml.LoadFromText(Nested(CXMLMgr::kMaxDepth)));
  EXPECT_FALSE(xml.LoadFromText(Nested(CXMLMgr::kMaxDepth + 1)));
  EXPECT_NE(xml.LastError().find("nested 65 deep"), std::string::npos) << xml.LastError();
  // Far deeper than any stack could take, if anything walked it recursively.
  EXPECT_FALSE(xml.LoadFromText(Nested(500000)));

  CXMLMgr small;
  small.SetSizeLimit(100);
  const std::string strBig = "<r a='" + std::string(200, 'x') + "'/>";
  EXPECT_FALSE(small.LoadFromText(strBig));
  EXPECT_NE(small.LastError().find("more than the 100 bytes"), std::string::npos) << small.LastError();
  CTempFolder dir;
  WriteBytes(dir / "big.xml", strBig);
  EXPECT_FALSE(small.Load(dir / "big.xml"));
}

TEST(HostileXml, ALoadedDocumentIsWrittenBackNoLargerThanItWasRead) {
  const std::string strText = Nested(CXMLMgr::kMaxDepth);
  CXMLMgr xml;
  ASSERT_TRUE(xml.LoadFromText(strText));
  // Indentation would add two blanks per level on every line: 64 levels made it 30 times larger.
  EXPECT_LE(xml.GetXML().size(), strText.size() + 16);
  CTempFolder dir;
  ASSERT_TRUE(xml.Save(dir / "back.xml"));
  EXPECT_LE(ReadBytes(dir / "back.xml").size(), strText.size() + 16);
}

TEST(HostileXml, StringArraysAreReadByIndexWhateverTheAttributeOrder) {
  CXMLMgr xml;
  ASSERT_TRUE(xml.LoadFromText("<r k_value_2='c' k_count='4' k_value_0='a' k_value_01='no' k_value_1='b'"
                               " k_value_5='gap'/>"));
  // Index 3 is missing: the array ends there; "01" is not a name the writer makes.
  EXPECT_EQ(CXMLMgr::GetStringArray(xml.Root(), "k"), (std::vector<std::string>{"a", "b", "c"}));
  // A count far beyond the attributes present allocates nothing for them.
  ASSERT_TRUE(xml.LoadFromText("<r k_count='2000000000' k_value_1999999999='x' k_value_0='a'/>"));
  EXPECT_EQ(CXMLMgr::GetStringArray(xml.Root(), "k"), (std::vector<std::string>{"a"}));

  // A large array round-trips (written and read in one pass over the attributes each).
  std::vector<std::string> astrMany(20000);
  for (std::size_t i = 0; i < astrMany.size(); ++i) astrMany[i] = "file " + std::to_string(i) + ".wav";
  CXMLMgr out;
  const pugi::xml_node root = out.CreateRootElement("r");
  CXMLMgr::SetStringArray(root, "two words", astrMany);
  CXMLMgr in;
  ASSERT_TRUE(in.LoadFromText(out.GetXML()));
  EXPECT_EQ(CXMLMgr::GetStringArray(in.Root(), "two words"), astrMany);
}

// ---- Atomic writes and reporting.

TEST(HostileXml, SettingsThatCannotBeWrittenAreReportedOnce) {
  CTempFolder dir;
  const auto file = dir / "Settings.xml";
  ASSERT_TRUE(CMySettingsStore(file).Write("Small", 1));
  const int nResult = RunInChild(
      [&] {
        std::vector<std::string> astrFaults;
        CEngineFaultSubscription subscription([&](const CEngineFault& f) { astrFaults.push_back(f.strText); });
        CMySettingsStore store(file);
        const std::string strBig(8192, 'x');
        if (store.Write("Big", strBig) || store.Write("Big", strBig + "y")) return 1;
        if (store.LastError().find("File too large") == std::string::npos) return 2;
        // Two failures, one message for the user.
        if (astrFaults.size() != 1 || astrFaults[0].find("settings could not be saved") == std::string::npos)
          return 3;
        int nValue = 0;
        return store.Read("Small", nValue) && nValue == 1 ? 0 : 4;
      },
      4096);
  EXPECT_EQ(nResult, 0);
  int nValue = 0;
  EXPECT_TRUE(CMySettingsStore(file).Read("Small", nValue));
  EXPECT_EQ(FolderNames(dir.Path()), (std::vector<std::string>{"Settings.xml", "Settings.xml.lock"}));
}

}  // namespace
