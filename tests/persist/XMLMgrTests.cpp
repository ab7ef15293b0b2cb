#include "persist/XMLMgr.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <sstream>

#include "support/TestEnvironment.h"

namespace {

std::string Utf16(const std::string& ascii, bool bBigEndian) {
  std::string out;
  for (char c : ascii) {
    if (bBigEndian) out += '\0';
    out += c;
    if (!bBigEndian) out += '\0';
  }
  return out;
}

// The comment's lines, without the newlines that frame them.
std::vector<std::string> CommentLines(const std::string& xml) {
  const std::size_t begin = xml.find("<!--");
  const std::size_t end = xml.find("-->");
  std::vector<std::string> lines;
  if (begin == std::string::npos || end == std::string::npos) return lines;
  std::istringstream in(xml.substr(begin + 4, end - begin - 4));
  for (std::string line; std::getline(in, line);) {
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

}  // namespace

// Fault: blanks written raw into attribute names (invalid XML that no reader accepts), or
// the reader not turning "_-SPACE-_" back into a blank.
TEST(XMLMgr, AttributeNameWithBlankRoundTrips) {
  CXMLMgr xml;
  pugi::xml_node root = xml.CreateRootElement("Brannock-Vexlor", {{"First Second", "a b"}});
  CXMLMgr::SetAttribute(root, "Third Fourth Fifth", "x");
  const std::string text = xml.GetXML();
  EXPECT_NE(text.find("First_-SPACE-_Second=\"a b\""), std::string::npos) << text;
  EXPECT_NE(text.find("Third_-SPACE-_Fourth_-SPACE-_Fifth="), std::string::npos) << text;

  CXMLMgr reread;
  ASSERT_TRUE(reread.LoadFromText(text));
  EXPECT_EQ(CXMLMgr::GetAttribute(reread.Root(), "First Second"), "a b");
  EXPECT_EQ(CXMLMgr::GetAttribute(reread.Root(), "Third Fourth Fifth"), "x");
  EXPECT_EQ(CXMLMgr::DecodeAttributeName("Third_-SPACE-_Fourth_-SPACE-_Fifth"), "Third Fourth Fifth");
}

// Fault: a missing attribute or element giving garbage or crashing instead of "" / 0.
TEST(XMLMgr, MissingAttributeReadsEmptyOrZero) {
  CXMLMgr xml;
  pugi::xml_node root = xml.CreateRootElement("R", {{"Present", "12abc"}});
  EXPECT_EQ(CXMLMgr::GetAttribute(root, "Absent"), "");
  EXPECT_EQ(CXMLMgr::GetAttributeInt64(root, "Absent"), 0);
  EXPECT_EQ(CXMLMgr::GetAttributeDouble(root, "Absent"), 0.0);
  EXPECT_EQ(CXMLMgr::GetAttribute(pugi::xml_node(), "Present"), "");
  // Decimal conversion reads the leading number and stops, like atoi.
  EXPECT_EQ(CXMLMgr::GetAttributeInt64(root, "Present"), 12);
  EXPECT_EQ(CXMLMgr::TextToInt64("  -42"), -42);
  EXPECT_EQ(CXMLMgr::TextToInt64("x1"), 0);
  // Frequencies above 2^31 Hz must survive a "%u" round trip.
  CXMLMgr::SetAttribute(root, "Big", "4294967295");
  EXPECT_EQ(CXMLMgr::GetAttributeUInt32(root, "Big"), 4294967295u);
}

// Faults: wrong attribute names for the elements, an empty array writing element
// attributes, or an empty value ending the array early.
TEST(XMLMgr, StringArrayRoundTripAndEmptyArray) {
  CXMLMgr xml;
  pugi::xml_node root = xml.CreateRootElement("R");
  pugi::xml_node full = xml.CreateElement({}, "Full");
  CXMLMgr::SetStringArray(full, "Files", {"a.wav", "", "c <&\"> d.wav"});
  EXPECT_EQ(CXMLMgr::GetAttribute(full, "Files_count"), "3");
  EXPECT_EQ(CXMLMgr::GetAttribute(full, "Files_value_2"), "c <&\"> d.wav");

  pugi::xml_node empty = xml.CreateElement(root, "Empty");
  CXMLMgr::SetStringArray(empty, "Files", {});
  EXPECT_EQ(std::distance(empty.attributes_begin(), empty.attributes_end()), 1);
  EXPECT_EQ(CXMLMgr::GetAttribute(empty, "Files_count"), "0");

  CXMLMgr reread;
  ASSERT_TRUE(reread.LoadFromText(xml.GetXML()));
  EXPECT_EQ(CXMLMgr::GetStringArray(CXMLMgr::FindChild(reread.Root(), "Full"), "Files"),
            (std::vector<std::string>{"a.wav", "", "c <&\"> d.wav"}));
  EXPECT_TRUE(CXMLMgr::GetStringArray(CXMLMgr::FindChild(reread.Root(), "Empty"), "Files").empty());
}

// Fault: trusting "_count" (allocating two billion strings, or reading past a gap).
TEST(XMLMgr, StringArrayStopsAtFirstMissingElement) {
  CXMLMgr xml;
  ASSERT_TRUE(xml.LoadFromText(R"(<R><A K_count="2000000000" K_value_0="x" K_value_1="y"/>)"
                               R"(<B K_count="3" K_value_0="x" K_value_2="z"/>)"
                               R"(<C K_count="-5" K_value_0="x"/></R>)"));
  EXPECT_EQ(CXMLMgr::GetStringArray(CXMLMgr::FindChild(xml.Root(), "A"), "K"), (std::vector<std::string>{"x", "y"}));
  EXPECT_EQ(CXMLMgr::GetStringArray(CXMLMgr::FindChild(xml.Root(), "B"), "K"), (std::vector<std::string>{"x"}));
  EXPECT_TRUE(CXMLMgr::GetStringArray(CXMLMgr::FindChild(xml.Root(), "C"), "K").empty());
}

// Faults: separator other than ",", an empty attribute giving one 0 element, values above
// 2^31 wrapping.
TEST(XMLMgr, UnsignedArray) {
  CXMLMgr xml;
  pugi::xml_node root = xml.CreateRootElement("R");
  CXMLMgr::SetUIntArray(root, "Sizes", {0, 7, 4294967295u});
  EXPECT_EQ(CXMLMgr::GetAttribute(root, "Sizes"), "0,7,4294967295");
  EXPECT_EQ(CXMLMgr::GetUIntArray(root, "Sizes"), (std::vector<std::uint32_t>{0, 7, 4294967295u}));
  CXMLMgr::SetUIntArray(root, "None", {});
  EXPECT_EQ(CXMLMgr::GetAttribute(root, "None"), "");
  EXPECT_TRUE(CXMLMgr::GetUIntArray(root, "None").empty());
  EXPECT_TRUE(CXMLMgr::GetUIntArray(root, "Missing").empty());
}

// Faults: the wrong declaration text for a flag combination, a second declaration, or a
// file whose bytes are not in the encoding its declaration names.
TEST(XMLMgr, DeclarationVariantsAndSavedEncoding) {
  struct Case {
    bool bUTF8;
    bool bISO;
    const char* pszExpected;
  };
  for (const Case& c : {Case{false, false, "<?xml version='1.0'?>"},
                        Case{true, false, "<?xml version='1.0' encoding='UTF-8'?>"},
                        Case{false, true, "<?xml version='1.0' encoding='ISO-8859-1'?>"},
                        Case{true, true, "<?xml version='1.0' encoding='ISO-8859-1'?>"}}) {
    CXMLMgr xml;
    xml.SetEncodingUTF8(c.bUTF8);
    xml.SetEncodingISO88591(c.bISO);
    xml.CreateRootElement("R");
    xml.AddProcessingInstruction();
    xml.AddProcessingInstruction();
    const std::string text = xml.GetXML();
    EXPECT_EQ(text.rfind(c.pszExpected, 0), 0u) << text;
    EXPECT_EQ(text.find("<?xml", 1), std::string::npos) << text;
  }

  CTempFolder folder;
  CXMLMgr latin;
  latin.SetEncodingISO88591(true);
  latin.AddProcessingInstruction();
  latin.CreateRootElement("R", {{"City", "M\xC3\xBCnchen"}});
  ASSERT_TRUE(latin.Save(folder / "latin.xml"));
  EXPECT_NE(ReadBytes(folder / "latin.xml").find("M\xFCnchen"), std::string::npos);
  CXMLMgr reread;
  ASSERT_TRUE(reread.Load(folder / "latin.xml"));
  EXPECT_EQ(CXMLMgr::GetAttribute(reread.Root(), "City"), "M\xC3\xBCnchen");
}

// Faults: ragged comment lines, a missing identification line, or the comment landing
// before the declaration or after the root.
TEST(XMLMgr, HeaderCommentIsARectangleWithTheIdentificationLines) {
  CXMLMgr xml;
  xml.SetEncodingUTF8(true);
  xml.AddProcessingInstruction();
  xml.CreateRootElement("Brannock-Vexlor");
  xml.AddHeaderComment("/tmp/Some File.xml", "Writer.cpp", 42);
  const std::string text = xml.GetXML();
  EXPECT_LT(text.find("?>"), text.find("<!--"));
  EXPECT_LT(text.find("-->"), text.find("<Brannock-Vexlor"));

  const std::vector<std::string> lines = CommentLines(text);
  ASSERT_EQ(lines.size(), 11u) << text;
  for (const std::string& line : lines) EXPECT_EQ(line.size(), lines[0].size()) << line;
  EXPECT_EQ(lines[0].rfind(" ===================== WARNING ====", 0), 0u);
  char host[256] = {};
  gethostname(host, sizeof(host) - 1);
  const std::string exe = std::filesystem::read_symlink("/proc/self/exe").string();
  const std::vector<std::string> expectedStarts = {" Filename ..: /tmp/Some File.xml", " Created ...: ",
                                                   std::string(" Computer ..: ") + host, " Username ..: ",
                                                   " Program ...: " + exe, " Writer.cpp line 42"};
  for (std::size_t i = 0; i < expectedStarts.size(); ++i) {
    EXPECT_EQ(lines[5 + i].rfind(expectedStarts[i], 0), 0u) << lines[5 + i];
  }
  EXPECT_GT(lines[8].size(), std::string(" Username ..: ").size() + 1);

  CXMLMgr anonymous;
  anonymous.AddHeaderComment();
  EXPECT_EQ(anonymous.HeaderLines().size(), 9u);
  EXPECT_EQ(anonymous.GetXML().find("Filename"), std::string::npos);
}

// Faults: UTF-16 from a WAV "auxi" chunk not detected (with a BOM, big-endian, or only a
// declaration), the zero padding after the text refused, or characters mangled.
TEST(XMLMgr, LoadsUtf16AndLatin1Bytes) {
  const std::string body = "<?xml version=\"1.0\" encoding=\"UTF-16\"?><R A=\"x\" B=\"y z\"/>";
  for (bool bBigEndian : {false, true}) {
    for (bool bBom : {true, false}) {
      std::string bytes = bBom ? (bBigEndian ? std::string("\xFE\xFF") : std::string("\xFF\xFE")) : std::string();
      bytes += Utf16(body, bBigEndian);
      bytes.append(6, '\0');
      CXMLMgr xml;
      ASSERT_TRUE(xml.LoadFromBuffer(bytes.data(), bytes.size())) << bBigEndian << bBom << xml.LastError();
      EXPECT_EQ(CXMLMgr::GetAttribute(xml.Root(), "B"), "y z");
    }
  }
  // U+00FC and U+20AC as UTF-16LE code units.
  std::string euro = "\xFF\xFE" + Utf16("<R A=\"", false) + std::string("\xFC\x00\xAC\x20", 4) + Utf16("\"/>", false);
  CXMLMgr xml;
  ASSERT_TRUE(xml.LoadFromBuffer(euro.data(), euro.size()));
  EXPECT_EQ(CXMLMgr::GetAttribute(xml.Root(), "A"), "\xC3\xBC\xE2\x82\xAC");

  const std::string latin = "<?xml version='1.0' encoding='ISO-8859-1'?><R A='\xFC'/>";
  ASSERT_TRUE(xml.LoadFromBuffer(latin.data(), latin.size()));
  EXPECT_EQ(CXMLMgr::GetAttribute(xml.Root(), "A"), "\xC3\xBC");
}

// Faults: a failed load throwing away the document already held, or a load that reads files
// named by an external entity.
TEST(XMLMgr, FailedLoadKeepsDocumentAndEntitiesStayUnresolved) {
  CXMLMgr xml;
  ASSERT_TRUE(xml.LoadFromText("<Good A=\"1\"/>"));
  const std::string before = xml.GetXML();
  EXPECT_FALSE(xml.LoadFromText("<Bad A=\"1\"><Unclosed></Bad>"));
  EXPECT_NE(xml.LastError().find("Load Fail"), std::string::npos);
  EXPECT_FALSE(xml.Load("/nonexistent/folder/file.xml"));
  EXPECT_NE(xml.LastError().find("No such file or directory"), std::string::npos) << xml.LastError();
  EXPECT_STREQ(xml.Root().name(), "Good");
  EXPECT_EQ(xml.GetXML(), before);

  CTempFolder folder;
  WriteBytes(folder / "secret.txt", "SECRET");
  const std::string hostile = "<?xml version='1.0'?><!DOCTYPE R [<!ENTITY x SYSTEM 'file://" +
                              (folder / "secret.txt").string() + "'>]><R A='&x;'>&x;</R>";
  if (xml.LoadFromText(hostile)) {
    EXPECT_EQ(xml.GetXML().find("SECRET"), std::string::npos);
  }
}

// Faults: Save writing the target in place (a failure mid-write leaves a truncated file) or
// leaving its temporary file behind.
TEST(XMLMgr, FailedSaveLeavesPreviousFileWhole) {
  CTempFolder folder;
  const std::filesystem::path path = folder / "doc.xml";
  CXMLMgr small;
  small.CreateRootElement("Old", {{"A", "1"}});
  ASSERT_TRUE(small.Save(path));
  const std::string oldBytes = ReadBytes(path);

  // A child process whose file size limit stops the write half way.
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{4096, 4096};
    setrlimit(RLIMIT_FSIZE, &limit);
    CXMLMgr big;
    pugi::xml_node root = big.CreateRootElement("New");
    CXMLMgr::SetStringArray(root, "V", std::vector<std::string>(2000, std::string(40, 'v')));
    _exit(big.Save(path) ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "the save should have failed";
  EXPECT_EQ(ReadBytes(path), oldBytes);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 1);

  EXPECT_FALSE(small.Save(folder / "missing-folder" / "doc.xml"));
  EXPECT_NE(small.LastError().find("No such file or directory"), std::string::npos) << small.LastError();
}
