// vexlor-cli info FILE [--json]: recognises and measures the recording FILE belongs to and
// prints the recording rows of the summary table and the file list, or, with --json, every
// field of the recording description as it is held.

#include <algorithm>
#include <cstdio>
#include <string>

#include "analysis/AnalysisSession.h"
#include "analysis/SelectionModel.h"
#include "cli/CliOptions.h"
#include "cli/Commands.h"
#include "core/Log.h"
#include "core/SystemTime.h"
#include "recording/RecordingDescription.h"

namespace {

// JSON string text: quotes, backslashes and control characters escaped; bytes that are not
// valid UTF-8 (possible in Linux file names) become U+FFFD.
std::string JsonString(const std::string& s) {
  std::string out = "\"";
  for (std::size_t i = 0; i < s.size();) {
    const unsigned char c = static_cast<unsigned char>(s[i]);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
      ++i;
    } else if (c < 0x20) {
      out += StrFormat("\\u%04x", c);
      ++i;
    } else if (c < 0x80) {
      out += static_cast<char>(c);
      ++i;
    } else {
      const std::size_t n = c >= 0xF0 && c <= 0xF4 ? 4 : c >= 0xE0 ? 3 : c >= 0xC2 && c <= 0xDF ? 2 : 0;
      bool bValid = n != 0 && i + n <= s.size();
      for (std::size_t k = 1; bValid && k < n; ++k)
        bValid = (static_cast<unsigned char>(s[i + k]) & 0xC0) == 0x80;
      if (bValid && n == 3) {
        const unsigned char c1 = static_cast<unsigned char>(s[i + 1]);
        bValid = !(c == 0xE0 && c1 < 0xA0) && !(c == 0xED && c1 >= 0xA0);
      } else if (bValid && n == 4) {
        const unsigned char c1 = static_cast<unsigned char>(s[i + 1]);
        bValid = !(c == 0xF0 && c1 < 0x90) && !(c == 0xF4 && c1 >= 0x90);
      }
      if (bValid) {
        out.append(s, i, n);
        i += n;
      } else {
        out += "\\ufffd";
        ++i;
      }
    }
  }
  return out + "\"";
}

void PrintJson(const std::string& strFile, const CRecordingDescription& d) {
  std::printf("{\n");
  std::printf("  \"file\": %s,\n", JsonString(strFile).c_str());
  std::printf("  \"valid\": %s,\n", d.m_bValid ? "true" : "false");
  std::printf("  \"source\": %s,\n", JsonString(d.m_strSource).c_str());
  std::printf("  \"file_count\": %u,\n", d.m_nFiles);
  std::printf("  \"file_names\": [");
  for (std::size_t i = 0; i < d.m_astrFileNames.size(); ++i)
    std::printf("%s\n    %s", i ? "," : "", JsonString(d.m_astrFileNames[i]).c_str());
  std::printf("%s],\n", d.m_astrFileNames.empty() ? "" : "\n  ");
  std::printf("  \"file_sizes\": [");
  for (std::size_t i = 0; i < d.m_anFileSizes.size(); ++i) std::printf("%s%u", i ? ", " : "", d.m_anFileSizes[i]);
  std::printf("],\n");
  std::printf("  \"file_start_times\": [");
  for (std::size_t i = 0; i < d.m_anFileStartTimes.size(); ++i)
    std::printf("%s%u", i ? ", " : "", d.m_anFileStartTimes[i]);
  std::printf("],\n");
  const auto time = [](const char* pszName, std::int64_t t) {
    std::printf("  \"%s\": %lld,\n  \"%s_utc\": %s,\n", pszName, static_cast<long long>(t), pszName,
                JsonString(FormatUtcSeconds(t)).c_str());
  };
  time("start", d.m_tStart);
  time("end", d.m_tEnd);
  time("selected_start", d.m_tSelectedStart);
  time("selected_end", d.m_tSelectedEnd);
  std::printf("  \"duration_seconds\": %.17g,\n", d.m_dDuration);
  std::printf("  \"sample_rate\": %u,\n", d.m_nSampleRate);
  std::printf("  \"fmt_sample_rate\": %u,\n", d.m_nFmtSampleRate);
  std::printf("  \"bits_per_sample\": %u,\n", d.m_nBitsPerSample);
  std::printf("  \"bytes_per_second\": %u,\n", d.m_nBytesPerSecond);
  std::printf("  \"center_frequency\": %u,\n", d.m_nCenterFrequency);
  std::printf("  \"total_millions\": %u,\n", d.m_nTotalMillions);
  std::printf("  \"total_remainder\": %u,\n", d.m_nTotalRemainder);
  std::printf("  \"total_bytes\": %llu\n", static_cast<unsigned long long>(d.TotalBytes()));
  std::printf("}\n");
}

void PrintTable(const CRecordingDescription& d) {
  for (const CSelectionModel::SSummaryRow& row : CSelectionModel::RecordingRows(d)) {
    // The exact size goes beside the rounded one: a terminal has the room.
    const std::string strValue =
        row.strLabel == "Size" ? StrFormat("%s (%llu bytes)", row.strValue.c_str(),
                                           static_cast<unsigned long long>(d.TotalBytes()))
                               : row.strValue;
    std::printf("%-16s %s\n", row.strLabel.c_str(), strValue.c_str());
  }

  // The file count is the recording's true size: an SDRSharp recording lists its file twice.
  const std::size_t nFiles = std::min<std::size_t>(d.m_nFiles, d.m_astrFileNames.size());
  std::printf("\nFile list:\n");
  for (std::size_t i = 0; i < nFiles; ++i) {
    std::string strStart;
    if (d.m_anFileStartTimes[i]) strStart = "  " + FormatUtcSeconds(d.m_anFileStartTimes[i]);
    std::printf("  %3zu  %s  %u bytes%s\n", i + 1, d.m_astrFileNames[i].c_str(), d.m_anFileSizes[i], strStart.c_str());
  }
}

}  // namespace

int RunInfo(const CliArgs& args) {
  CCliOptions options("info", {}, {"json"});
  if (!options.Parse(args)) return 2;
  if (options.Positional().size() != 1) {
    options.Error("expected one FILE (usage: vexlor-cli info FILE [--json])");
    return 2;
  }
  const std::string strFile = options.Positional()[0];
  CRecordingDescription desc;
  std::string strError;
  if (!CAnalysisSession::ReadRecording(strFile, desc, strError)) {
    options.Error(strError);
    return 1;
  }
  if (options.Has("json"))
    PrintJson(strFile, desc);
  else
    PrintTable(desc);
  return 0;
}
