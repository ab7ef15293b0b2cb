#include "analysis/ProjectFile.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <string_view>
#include <vector>

#include <omp.h>

#include "analysis/AnalysisOptions.h"
#include "analysis/Base64.h"
#include "analysis/ProjectRowSpool.h"
#include "core/AtomicFile.h"
#include "core/Log.h"
#include "core/ProcessFigures.h"
#include "core/SystemTime.h"
#include "persist/XMLMgr.h"

namespace fs = std::filesystem;

// Row data is the floats as they lie in memory; the file format says little-endian.
static_assert(std::endian::native == std::endian::little, "project row data is written as in memory");
static_assert(sizeof(float) == 4);

namespace {

constexpr const char* kRootName = "Brannock-Vexlor";
// The indentation of a row's line: the document's own, two levels deep.
constexpr const char* kEntryIndent = "    ";

// libgomp's barriers are invisible to the thread sanitizer, which would report the rows
// handed from the encoding threads to the document as races; sanitizer builds encode and
// decode on the calling thread (the thread count is read back, so the split still holds).
// Fuzzing builds do the same: starting eight threads for every input of a few bytes made
// the project fuzzer too slow to reach deep inputs.
#if defined(__SANITIZE_THREAD__) || defined(FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION)
constexpr bool kParallel = false;
#else
constexpr bool kParallel = true;
#endif

// Slack allowed beyond the Base64 text a file holds when sizing its rows: sound files
// never need it (a value takes 5.33 characters of text), damaged ones cannot make it grow
// by more than this.
constexpr std::uint64_t kAllocationSlackBytes = 64ull << 20;

class CNoProgress final : public CProjectProgress {
 public:
  void SetCaption(const std::string&) override {}
  void SetRange(int, int) override {}
  void SetPos(int) override {}
};

// Rows [begin, end) of thread t out of T for nCount rows: equal consecutive blocks, the
// last thread also taking the remainder.
void ThreadBlock(std::size_t nCount, int t, int nThreads, std::size_t& begin, std::size_t& end) {
  const std::size_t per = nCount / static_cast<std::size_t>(nThreads);
  begin = per * static_cast<std::size_t>(t);
  end = (t == nThreads - 1) ? nCount : begin + per;
}

std::string CreatedText() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[64];
  std::strftime(text, sizeof text, "%d-%b-%Y %H:%M", &local);
  return text;
}

// One "Entry" as found in the file, before decoding.
struct SEntry {
  std::uint32_t nFlag = 0;
  std::uint32_t nSize = 0;
  std::uint32_t nTime = 0;
  std::string_view data;
};

bool LoadDocument(CXMLMgr& xml, CAnalysisOptions& options, CImageRows& rows, int& nWidth, int& nHeight,
                  std::string& strTagXml, CProjectProgress& progress, const std::string& strName,
                  std::string& strMessage) {
  progress.SetCaption("Loading project...");
  const pugi::xml_node root = xml.Root();
  const pugi::xml_node optionsElement = CXMLMgr::FindChild(root, "AnalysisOptions");
  if (!optionsElement) {
    strMessage = StrFormat("%s is not a project: it has no \"AnalysisOptions\" element", strName.c_str());
    LogLine(strMessage);
    return false;
  }
  const pugi::xml_node dataElement = CXMLMgr::FindChild(root, "Data");
  const pugi::xml_node tagsElement = CXMLMgr::FindChild(root, "Tags");

  std::vector<std::string> astrDamage;
  options.ReadAttributes(optionsElement, "m_nTimeFormatLocal");
  // Every time shown or computed with comes from these four: one out of range would
  // overflow the arithmetic on it.
  for (const auto& [pszKey, tValue] : {std::pair{"m_tRecordingStartUTC", options.m_tRecordingStartUTC},
                                       std::pair{"m_tRecordingEndUTC", options.m_tRecordingEndUTC},
                                       std::pair{"m_tAnalysisStartUTC", options.m_tAnalysisStartUTC},
                                       std::pair{"m_tAnalysisEndUTC", options.m_tAnalysisEndUTC}}) {
    if (!IsAcceptedTime(tValue)) {
      strMessage = StrFormat("%s is damaged: \"%s\" (%lld) is not a time from 1970 to 9999", strName.c_str(), pszKey,
                             static_cast<long long>(tValue));
      LogLine(strMessage);
      return false;
    }
  }
  strTagXml = CXMLMgr::GetAttribute(tagsElement, "XML");
  const std::int64_t nCount = CXMLMgr::GetAttributeInt64(dataElement, "Count");
  nWidth = CXMLMgr::GetAttributeInt32(dataElement, "Width");
  nHeight = CXMLMgr::GetAttributeInt32(dataElement, "Height");
  if (!dataElement) astrDamage.push_back("no \"Data\" element: the project has no picture");

  // The entries really present decide the row count; "Count" only tells whether the file
  // was cut short.
  std::vector<SEntry> aEntries;
  int nSeen = 0;
  for (pugi::xml_node entry = CXMLMgr::FindChild(dataElement, "Entry"); entry;
       entry = CXMLMgr::NextSibling(entry, "Entry")) {
    SEntry e;
    e.nFlag = CXMLMgr::GetAttributeUInt32(entry, "Flag");
    e.nSize = CXMLMgr::GetAttributeUInt32(entry, "Size");
    e.nTime = CXMLMgr::GetAttributeUInt32(entry, "Time");
    e.data = entry.attribute("Data").value();
    aEntries.push_back(e);
    if (++nSeen % 500 == 0) {
      progress.SetPos(nSeen);
      progress.Pump();
    }
  }
  if (nCount != static_cast<std::int64_t>(aEntries.size())) {
    astrDamage.push_back(StrFormat("\"Count\" is %lld but %zu rows are present", static_cast<long long>(nCount),
                                   aEntries.size()));
  }

  // Row lengths: the stated size, within the width plus slack. Should that add up to far
  // more than the text in the file could hold, the file is damaged: rows are then cut to
  // the data they really carry.
  const std::uint64_t nRowLimit = static_cast<std::uint64_t>(std::max(nWidth, 0)) + CProjectFile::kRowSlack;
  std::vector<std::size_t> anLength(aEntries.size());
  std::uint64_t nTotalBytes = 0;
  std::uint64_t nTextBytes = 0;
  for (std::size_t r = 0; r < aEntries.size(); ++r) {
    anLength[r] = static_cast<std::size_t>(std::min<std::uint64_t>(aEntries[r].nSize, nRowLimit));
    nTotalBytes += anLength[r] * sizeof(float);
    nTextBytes += aEntries[r].data.size();
  }
  if (nTotalBytes > nTextBytes + kAllocationSlackBytes) {
    astrDamage.push_back("row sizes exceed the data present; rows are cut to their data");
    for (std::size_t r = 0; r < aEntries.size(); ++r) {
      const std::ptrdiff_t nDecoded = CBase64::DecodedLength(aEntries[r].data);
      const std::size_t nCarried = nDecoded > 0 ? (static_cast<std::size_t>(nDecoded) + 3) / sizeof(float) : 0;
      anLength[r] = std::min(anLength[r], nCarried);
    }
  }

  progress.SetCaption("Decoding");
  progress.SetRange(0, 20);
  std::vector<std::vector<float>> aLines(aEntries.size());
  std::vector<unsigned char> abDamaged(aEntries.size(), 0);
  const std::size_t nRows = aEntries.size();
#pragma omp parallel num_threads(CProjectFile::kThreads) if (kParallel)
  {
    const int nThreads = omp_get_num_threads();
    const int t = omp_get_thread_num();
    std::size_t begin = 0;
    std::size_t end = 0;
    ThreadBlock(nRows, t, nThreads, begin, end);
    std::vector<unsigned char> scratch;
    for (std::size_t r = begin; r < end; ++r) {
      std::vector<float>& line = aLines[r];
      line.assign(anLength[r], 0.0f);
      const std::string_view text = aEntries[r].data;
      const std::ptrdiff_t nDecoded = CBase64::DecodedLength(text);
      // The length the row's buffer of Width + 64 values is checked against; a longer
      // text leaves the row zero.
      const std::ptrdiff_t nChecked = static_cast<std::ptrdiff_t>(text.size() / 4 * 3) - 3;
      if (nDecoded < 0 || nChecked > static_cast<std::ptrdiff_t>(nRowLimit * sizeof(float))) {
        abDamaged[r] = 1;
        continue;
      }
      std::size_t nWritten = 0;
      const std::size_t nLineBytes = line.size() * sizeof(float);
      bool bOk;
      if (static_cast<std::size_t>(nDecoded) <= nLineBytes) {
        bOk = CBase64::Decode(text, line.data(), nLineBytes, nWritten);
      } else {
        // More data than the row's stated size: only the first Size values are the row's.
        scratch.resize(static_cast<std::size_t>(nDecoded));
        bOk = CBase64::Decode(text, scratch.data(), scratch.size(), nWritten);
        if (bOk && nLineBytes > 0) std::memcpy(line.data(), scratch.data(), nLineBytes);
      }
      if (!bOk) {
        std::fill(line.begin(), line.end(), 0.0f);
        abDamaged[r] = 1;
      }
    }
  }
  progress.SetPos(20);

  const std::size_t nDamaged = static_cast<std::size_t>(std::count(abDamaged.begin(), abDamaged.end(), 1));
  if (nDamaged > 0) astrDamage.push_back(StrFormat("%zu rows have damaged data and are left empty", nDamaged));

  rows.Clear();
  rows.m_aLines = std::move(aLines);
  rows.m_anWidths.reserve(nRows);
  rows.m_anTimes.reserve(nRows);
  rows.m_anFlags.reserve(nRows);
  for (std::size_t r = 0; r < nRows; ++r) {
    rows.m_anWidths.push_back(static_cast<std::uint32_t>(rows.m_aLines[r].size()));
    rows.m_anTimes.push_back(aEntries[r].nTime);
    rows.m_anFlags.push_back(aEntries[r].nFlag);
  }

  strMessage.clear();
  for (const std::string& s : astrDamage) {
    LogF("Project %s: %s", strName.c_str(), s.c_str());
    strMessage += strMessage.empty() ? s : "; " + s;
  }
  LogLine("Project loaded");
  return true;
}

// Loading holds the text, the document over it and the decoded rows at once: a project
// may be as large as half the memory the machine can give, and at least 64 MiB.
std::uint64_t ProjectSizeLimit() {
  return std::max<std::uint64_t>(AvailableMemoryBytes() / 2, CXMLMgr::kDefaultSizeLimit);
}

// Loads into temporaries first, so that a failure leaves the caller's data as it was.
bool LoadChecked(CXMLMgr& xml, CAnalysisOptions& options, CImageRows& rows, int& nWidth, int& nHeight,
                 std::string& strTagXml, CProjectProgress& progress, const std::string& strName,
                 std::string& strMessage) {
  CAnalysisOptions newOptions;
  CImageRows newRows;
  int nNewWidth = 0;
  int nNewHeight = 0;
  std::string strNewTags;
  if (!LoadDocument(xml, newOptions, newRows, nNewWidth, nNewHeight, strNewTags, progress, strName, strMessage)) {
    return false;
  }
  options = std::move(newOptions);
  rows = std::move(newRows);
  nWidth = nNewWidth;
  nHeight = nNewHeight;
  strTagXml = std::move(strNewTags);
  return true;
}

}  // namespace

fs::path CProjectFile::DefaultPath() { return CAnalysisOptions::CurrentOptionsPath(); }

fs::path CProjectFile::ProposedPath(const fs::path& firstRecordingFile) {
  fs::path stem = firstRecordingFile;
  stem.replace_extension();
  std::string text = stem.string();
  const std::size_t keep = text.find_last_not_of(" 0123456789");
  text.erase(keep == std::string::npos ? 0 : keep + 1);
  return fs::path(text + " (Project).xml");
}

std::uint64_t CProjectFile::WriterMemoryBytes(int nWidth) {
  const std::uint64_t nText = CBase64::EncodedLength(static_cast<std::uint64_t>(std::max(nWidth, 1)) * sizeof(float));
  // Each row of a block is held as its Base64 text and again as its line of the block's text.
  return kRowsPerWrite * 2 * (nText + kEntryTextBytes);
}

bool CProjectFile::Save(const CAnalysisOptions& options, const fs::path& pathIn, const CImageRows& rows,
                        int nWidth, int nHeight, const std::string& strTagXml, CProjectProgress* pProgress,
                        std::string& strError, CProjectRowSpool* pSpool) {
  CNoProgress noProgress;
  CProjectProgress& progress = pProgress ? *pProgress : noProgress;
  const fs::path path = pathIn.empty() ? DefaultPath() : pathIn;
  const std::size_t nRows = rows.Count();
  LogF("Saving %s", path.c_str());
  progress.SetCaption("Encoding data...");
  progress.SetPos(0);
  progress.SetRange(0, 20);

  // The document without its rows: options, tags and the "Data" element, whose place for
  // the rows is marked by a comment. The rows are streamed into the file in blocks, so a
  // project never needs the whole document's text in memory.
  CXMLMgr xml;
  xml.SetEncodingUTF8(true);
  xml.AddProcessingInstruction();
  xml.AddHeaderComment(path.string(), __FILE__, __LINE__);
  const pugi::xml_node root = xml.CreateRootElement(kRootName, {}, true);
  const pugi::xml_node optionsElement =
      xml.CreateElement(root, "AnalysisOptions", {{"Description", "Analysis options"}, {"Created", CreatedText()}});
  options.WriteAttributes(optionsElement);
  xml.CreateElement(root, "Tags", {{"XML", strTagXml}});
  pugi::xml_node dataElement = xml.CreateElement(root, "Data",
                                                 {{"Count", StrFormat("%lld", static_cast<long long>(nRows))},
                                                  {"Width", StrFormat("%d", nWidth)},
                                                  {"Height", StrFormat("%d", nHeight)}});
  constexpr std::string_view kRowsMarker = "<!--rows-->";
  if (nRows > 0) dataElement.append_child(pugi::node_comment).set_value("rows");
  const std::string strDocument = xml.GetXML();
  // The marker is the document's last comment: only closing tags follow the "Data" element.
  const std::size_t nMarker = nRows > 0 ? strDocument.rfind(kRowsMarker) : std::string::npos;
  const std::size_t nLineStart = nMarker == std::string::npos ? 0 : strDocument.rfind('\n', nMarker) + 1;
  const std::string_view head = nMarker == std::string::npos
                                    ? std::string_view(strDocument)
                                    : std::string_view(strDocument).substr(0, nLineStart);
  // The rows' lines carry their own indentation (AppendEntry): it must be the document's.
  const bool bIndentAsWritten =
      nMarker == std::string::npos || strDocument.compare(nLineStart, nMarker - nLineStart, kEntryIndent) == 0;
  std::string_view tail;
  if (nMarker != std::string::npos) {
    std::size_t nAfter = nMarker + kRowsMarker.size();
    if (nAfter < strDocument.size() && strDocument[nAfter] == '\n') ++nAfter;
    tail = std::string_view(strDocument).substr(nAfter);
  }

  const auto fail = [&](const std::string& strReason) {
    strError = StrFormat("Cannot write project %s: %s", path.string().c_str(), strReason.c_str());
    LogLine(strError);
    return false;
  };
  const bool bSpooled = pSpool && nRows > 0 && pSpool->Rows() == nRows && bIndentAsWritten;
  if (bSpooled && pSpool->Target() == path) {
    // The spool becomes the project.
    bool bUnsupported = false;
    std::string strReason;
    if (pSpool->FinishInPlace(head, tail, bUnsupported, strReason)) {
      strError.clear();
      return true;
    }
    if (!bUnsupported) return fail(strReason);
  }
  CAtomicFile file;
  if (!file.Open(path) || !file.Write(head.data(), head.size())) return fail(file.ErrorText());

  progress.SetCaption("Saving project...");
  progress.SetRange(0, static_cast<int>(std::min<std::size_t>(nRows, 0x7FFFFFFF)));
  progress.SetPos(0);
  progress.Pump();
  if (!bIndentAsWritten) return fail("the document's layout is not the one its rows are written in");
  // A spool for a project in the same folder: its lines are copied inside the file system.
  if (bSpooled && pSpool->Target().parent_path() == path.parent_path()) {
    if (!pSpool->CopyTo(file.Descriptor())) return fail(std::strerror(errno));
    progress.SetPos(static_cast<int>(std::min<std::size_t>(nRows, 0x7FFFFFFF)));
    if (!file.Write(tail.data(), tail.size()) || !file.Commit()) return fail(file.ErrorText());
    strError.clear();
    return true;
  }
  std::vector<std::string> astrData;
  std::string strBlock;
  for (std::size_t nFirst = 0; nFirst < nRows; nFirst += kRowsPerWrite) {
    const std::size_t nCount = std::min<std::size_t>(kRowsPerWrite, nRows - nFirst);
    astrData.resize(nCount);
#pragma omp parallel num_threads(kThreads) if (kParallel)
    {
      std::size_t begin = 0;
      std::size_t end = 0;
      ThreadBlock(nCount, omp_get_thread_num(), omp_get_num_threads(), begin, end);
      for (std::size_t i = begin; i < end; ++i) {
        const std::vector<float>& line = rows.m_aLines[nFirst + i];
        CBase64::Encode(line.data(), line.size() * sizeof(float), astrData[i]);
      }
    }
    strBlock.clear();
    for (std::size_t i = 0; i < nCount; ++i) {
      const std::size_t r = nFirst + i;
      // The stored size is the line's own length, so the file can never claim more values
      // than it carries.
      AppendEntry(strBlock, rows.m_anFlags[r], static_cast<std::uint32_t>(rows.m_aLines[r].size()),
                  rows.m_anTimes[r], astrData[i]);
    }
    if (!file.Write(strBlock.data(), strBlock.size())) return fail(file.ErrorText());
    progress.SetPos(static_cast<int>(std::min<std::size_t>(nFirst + nCount, 0x7FFFFFFF)));
    progress.Pump();
  }

  progress.SetCaption("Writing file...");
  progress.SetRange(0, 100);
  progress.SetPos(100);
  progress.Pump();
  if (!file.Write(tail.data(), tail.size()) || !file.Commit()) return fail(file.ErrorText());
  strError.clear();
  return true;
}

void CProjectFile::AppendEntry(std::string& strOut, std::uint32_t nFlag, std::uint32_t nSize, std::uint32_t nTime,
                               std::string_view base64) {
  char head[96];
  const int n = std::snprintf(head, sizeof head, "%s<Entry Flag=\"%u\" Size=\"%u\" Time=\"%u\" Data=\"", kEntryIndent,
                              nFlag, nSize, nTime);
  strOut.append(head, static_cast<std::size_t>(n));
  strOut.append(base64);
  strOut.append("\" />\n");
}

bool CProjectFile::Load(CAnalysisOptions& options, const fs::path& pathIn, CImageRows& rows, int& nWidth,
                        int& nHeight, std::string& strTagXml, CProjectProgress* pProgress, std::string& strMessage) {
  CNoProgress noProgress;
  CProjectProgress& progress = pProgress ? *pProgress : noProgress;
  const fs::path path = pathIn.empty() ? DefaultPath() : pathIn;
  progress.SetCaption("Opening project...");
  CXMLMgr xml;
  xml.SetSizeLimit(ProjectSizeLimit());
  if (!xml.Load(path)) {
    LogLine(StrFormat("Cannot load project %s: %s", path.string().c_str(), xml.LastError().c_str()));
    strMessage = StrFormat("Cannot load project %s: %s", path.string().c_str(), xml.LastLoadReason().c_str());
    return false;
  }
  return LoadChecked(xml, options, rows, nWidth, nHeight, strTagXml, progress, path.string(), strMessage);
}

bool CProjectFile::LoadFromBuffer(CAnalysisOptions& options, const void* pData, std::size_t nSize,
                                  CImageRows& rows, int& nWidth, int& nHeight, std::string& strTagXml,
                                  CProjectProgress* pProgress, std::string& strMessage) {
  CNoProgress noProgress;
  CProjectProgress& progress = pProgress ? *pProgress : noProgress;
  progress.SetCaption("Opening project...");
  CXMLMgr xml;
  xml.SetSizeLimit(ProjectSizeLimit());
  if (!xml.LoadFromBuffer(pData, nSize)) {
    strMessage = StrFormat("Cannot load project: %s", xml.LastLoadReason().c_str());
    return false;
  }
  return LoadChecked(xml, options, rows, nWidth, nHeight, strTagXml, progress, "(buffer)", strMessage);
}
