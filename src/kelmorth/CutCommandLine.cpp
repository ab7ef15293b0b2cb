#include "kelmorth/CutCommandLine.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "cli/CliOptions.h"
#include "core/Log.h"
#include "core/QuantityText.h"

namespace {

constexpr const char* kUsage =
    "usage: kelmorth INPUT --centre HZ --bandwidth HZ [--start T] [--end T] [--rate HZ]\n"
    "                [--bits 16|24|32f] -o \"OUT 000.wav\"\n"
    "       kelmorth [INPUT] | --window [INPUT] [--from-project P.xml] [--centre HZ] ...   (the window)\n"
    "  INPUT        any file of a recording Vexlor reads; the whole series is used\n"
    "  --centre     centre of the band to keep (7100000, 7100k, 7.1M)\n"
    "  --bandwidth  width of the band to keep\n"
    "  --start      \"YYYY-MM-DD HH:MM:SS\" (UTC, or ISO 8601) or seconds from the recording's start\n"
    "  --end        the same; default: the end of the recording\n"
    "  --rate       output sample rate (default: the smallest exact rate >= 1.25 x bandwidth)\n"
    "  --bits       16, 24 or 32f (32-bit float); default 16\n"
    "  -o           the output's first file, a name ending in \" 000.wav\"\n";

const std::set<std::string> kValueOptions = {"centre", "bandwidth", "start", "end", "rate", "bits", "o", "from-project"};
const std::set<std::string> kFlagOptions = {"window", "help"};

std::atomic<bool> g_bInterrupted{false};

extern "C" void OnInterrupt(int) {
  g_bInterrupted = true;
  // A second Ctrl-C ends the program at once.
  std::signal(SIGINT, SIG_DFL);
}

bool GetFrequency(const CCliOptions& cli, const char* pszName, double& dHz) {
  const auto text = cli.Value(pszName);
  if (!text) return true;
  std::string strError;
  if (ParseFrequencyText(*text, dHz, strError)) return true;
  cli.Error(StrFormat("--%s: %s", pszName, strError.c_str()));
  return false;
}

bool GetFormat(const CCliOptions& cli, CIQSeriesWriter::ESampleFormat& eFormat) {
  const auto text = cli.Value("bits");
  if (!text) return true;
  if (*text == "16") eFormat = CIQSeriesWriter::ESampleFormat::INT16;
  else if (*text == "24") eFormat = CIQSeriesWriter::ESampleFormat::INT24;
  else if (*text == "32f" || *text == "32") eFormat = CIQSeriesWriter::ESampleFormat::FLOAT32;
  else {
    cli.Error("--bits: \"" + *text + "\" is not 16, 24 or 32f");
    return false;
  }
  return true;
}

// Times are relative to the recording's start, so the input is recognised first.
bool GetTimes(const CCliOptions& cli, CRecordingCutter& cutter, CCutRequest& request) {
  for (const char* pszName : {"start", "end"}) {
    const auto text = cli.Value(pszName);
    if (!text) continue;
    double dSeconds = 0.0;
    std::string strError;
    if (!ParseRecordingTimeText(*text, cutter.Input().m_tStart, dSeconds, strError)) {
      cli.Error(StrFormat("--%s: %s", pszName, strError.c_str()));
      return false;
    }
    (std::strcmp(pszName, "start") == 0 ? request.dStartSeconds : request.dEndSeconds) = dSeconds;
  }
  return true;
}

bool GetRate(const CCliOptions& cli, CCutRequest& request) {
  double dRate = 0.0;
  if (!GetFrequency(cli, "rate", dRate)) return false;
  if (cli.Has("rate") && (dRate < 1.0 || dRate > 4294967295.0 || dRate != static_cast<double>(static_cast<std::uint64_t>(dRate)))) {
    cli.Error("--rate: a whole number of Hz is needed");
    return false;
  }
  request.nOutputRate = static_cast<std::uint32_t>(dRate);
  return true;
}

std::string Duration(double dSeconds) {
  const auto s = static_cast<long long>(dSeconds + 0.5);
  return s >= 3600 ? StrFormat("%lld:%02lld:%02lld", s / 3600, s / 60 % 60, s % 60) : StrFormat("%lld:%02lld", s / 60, s % 60);
}

}  // namespace

bool WantsWindow(const KelmorthArgs& args) {
  // Started with nothing but a recording (as the analysis status dialog does), too.
  if (args.empty() || (args.size() == 1 && args.front().rfind("-", 0) != 0)) return true;
  for (const std::string& a : args)
    if (a == "--window" || a == "--from-project" || a.rfind("--from-project=", 0) == 0) return true;
  return false;
}

bool ParseWindowRequest(const KelmorthArgs& args, CCutRequest& request) {
  CCliOptions cli("", kValueOptions, kFlagOptions, "kelmorth");
  if (!cli.Parse(args)) return false;
  if (const auto project = cli.Value("from-project")) {
    std::string strError;
    if (!CutRequestFromProject(*project, request, strError)) {
      cli.Error(strError);
      return false;
    }
  }
  if (!cli.Positional().empty()) request.input = cli.Positional().front();
  if (const auto out = cli.Value("o")) request.output = *out;
  if (!GetFrequency(cli, "centre", request.dCentreHz) || !GetFrequency(cli, "bandwidth", request.dBandwidthHz) ||
      !GetRate(cli, request) || !GetFormat(cli, request.eFormat))
    return false;
  if (cli.Has("start") || cli.Has("end")) {
    CRecordingCutter cutter;
    if (request.input.empty() || !cutter.OpenInput(request.input)) {
      cli.Error(request.input.empty() ? "--start and --end need INPUT" : cutter.Error());
      return false;
    }
    if (!GetTimes(cli, cutter, request)) return false;
  }
  return true;
}

int RunCommandLine(const KelmorthArgs& args) {
  CCliOptions cli("", kValueOptions, kFlagOptions, "kelmorth");
  if (!cli.Parse(args)) return 2;
  if (cli.Has("help")) {
    std::fputs(kUsage, stdout);
    return 0;
  }
  if (cli.Positional().size() != 1 || !cli.Has("centre") || !cli.Has("bandwidth") || !cli.Has("o")) {
    cli.Error("needs INPUT, --centre, --bandwidth and -o");
    std::fputs(kUsage, stderr);
    return 2;
  }
  CCutRequest request;
  request.input = cli.Positional().front();
  request.output = *cli.Value("o");
  if (!GetFrequency(cli, "centre", request.dCentreHz) || !GetFrequency(cli, "bandwidth", request.dBandwidthHz) ||
      !GetRate(cli, request) || !GetFormat(cli, request.eFormat))
    return 2;
  CRecordingCutter cutter;
  if (!cutter.OpenInput(request.input)) {
    cli.Error(cutter.Error());
    return 1;
  }
  if (!GetTimes(cli, cutter, request)) return 2;
  if (!cutter.Prepare(request)) {
    cli.Error(cutter.Error());
    return 1;
  }

  const bool bTerminal = isatty(STDERR_FILENO) == 1;
  bool bDrawn = false;
  g_bInterrupted = false;
  std::signal(SIGINT, OnInterrupt);
  const bool bOk = cutter.Run(&g_bInterrupted, [&](const CCutProgress& p) {
    if (!bTerminal) return;
    std::fprintf(stderr, "\r%5.1f %%  %.1f MB/s  remaining %s   ", 100.0 * p.dFraction, p.dMegabytesPerSecond,
                 Duration(p.dRemainingSeconds).c_str());
    std::fflush(stderr);
    bDrawn = true;
  });
  std::signal(SIGINT, SIG_DFL);
  if (bDrawn) std::fprintf(stderr, "\n");
  if (!bOk) {
    cli.Error(cutter.Error());
    return 1;
  }
  const CCutPlan& plan = cutter.Plan();
  const std::size_t nFiles = cutter.Written().size() / 2;
  std::printf("%s: %zu file%s, %u Hz, centre %.0f Hz, %.3f s%s\n", request.output.string().c_str(), nFiles,
              nFiles == 1 ? "" : "s", plan.nOutputRate, request.dCentreHz,
              static_cast<double>(cutter.OutputSamplesWritten()) / plan.nOutputRate,
              cutter.WasAborted() ? " (interrupted: the recording ends there)" : "");
  return cutter.WasAborted() ? 130 : 0;
}
