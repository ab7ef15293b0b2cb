// vexlor-cli info FILE [--json]: recognises and measures the recording FILE belongs to and
// prints the recording rows of the summary table and the file list, or, with --json, every
// field of the recording description as it is held.

#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include "cli/CliOptions.h"
#include "cli/Commands.h"
#include "core/Log.h"
#include "core/SystemTime.h"
#include "recording/RecordingDescription.h"
#include "recording/WaveFileData.h"

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

std::string Duration(double dSeconds) {
  const long long n = dSeconds > 0 ? static_cast<long long>(dSeconds) : 0;
  return StrFormat("%lld:%02lld:%02lld", n / 3600, n / 60 % 60, n % 60);
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
  std::printf("  \"total_bytes\": %llu,\n", static_cast<unsigned long long>(d.TotalBytes()));
  std::printf("  \"notes\": [");
  for (std::size_t i = 0; i < d.m_astrNotes.size(); ++i)
    std::printf("%s\n    %s", i ? "," : "", JsonString(d.m_astrNotes[i]).c_str());
  std::printf("%s]\n", d.m_astrNotes.empty() ? "" : "\n  ");
  std::printf("}\n");
}

void PrintTable(const CRecordingDescription& d) {
  const auto row = [](const char* pszLabel, const std::string& strValue) {
    std::printf("%-16s %s\n", pszLabel, strValue.c_str());
  };
  const std::uint64_t nBytes = d.TotalBytes();
  row("Files", StrFormat("%u", d.m_nFiles));
  row("Size", StrFormat("%.3f GB (%llu bytes)", static_cast<double>(nBytes) / 1e9, static_cast<unsigned long long>(nBytes)));
  row("Source", d.m_strSource);
  row("Center Freq", StrFormat("%u Hz", d.m_nCenterFrequency));
  row("Bandwidth", StrFormat("%u Hz", d.m_nSampleRate));
  row("Bits per sample", StrFormat("%u", d.m_nBitsPerSample));
  row("Start (UTC)", FormatUtcSeconds(d.m_tStart));
  row("End (UTC)", FormatUtcSeconds(d.m_tEnd));
  row("Duration", Duration(d.m_dDuration));

  // The file count is the recording's true size: an SDRSharp recording lists its file twice.
  const std::size_t nFiles = std::min<std::size_t>(d.m_nFiles, d.m_astrFileNames.size());
  std::printf("\nFile list:\n");
  for (std::size_t i = 0; i < nFiles; ++i) {
    std::string strStart;
    if (d.m_anFileStartTimes[i]) strStart = "  " + FormatUtcSeconds(d.m_anFileStartTimes[i]);
    std::printf("  %3zu  %s  %u bytes%s\n", i + 1, d.m_astrFileNames[i].c_str(), d.m_anFileSizes[i], strStart.c_str());
  }
  if (!d.m_astrNotes.empty()) {
    std::printf("\nNotes:\n");
    for (const std::string& strNote : d.m_astrNotes) std::printf("  %s\n", strNote.c_str());
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
  std::error_code ec;
  const std::filesystem::file_status status = std::filesystem::status(strFile, ec);
  if (!std::filesystem::exists(status)) {
    options.Error(strFile + ": not found");
    return 1;
  }
  if (std::filesystem::is_directory(status)) {
    options.Error(strFile + ": is a folder, not a recording file");
    return 1;
  }

  CWaveFileData reader;
  CRecordingDescription desc;
  if (!reader.GetInformation(strFile, true, desc)) {
    options.Error(strFile + ": " + reader.FailureText());
    return 1;
  }
  if (desc.m_nFiles == 0) {
    options.Error(strFile + ": the description's \"FirstFile\" names no file ending in \" 000.wav\"");
    return 1;
  }
  if (options.Has("json"))
    PrintJson(strFile, desc);
  else
    PrintTable(desc);
  return 0;
}
