// vexlor-cli wisdom: plans the common FFT sizes ahead, as fftw-wisdom does for FFTW, so that
// analyses and the player start with measured plans. What is learnt goes to the wisdom
// file of the data folder.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "cli/CliOptions.h"
#include "cli/Commands.h"
#include "dsp/DSPDemodMain.h"
#include "dsp/FFTWPlan.h"

namespace {

void PrintUsage() {
  std::fprintf(stderr,
               "usage: vexlor-cli wisdom [--best] [--sizes N,N,...]\n"
               "  --best   plan patiently (up to %.0f s a size) instead of measuring quickly (%.1f s)\n"
               "  --sizes  analysis FFT sizes to plan (default: 4096 .. 1048576, powers of two)\n",
               FFTWPlanner::kBestTimeLimit, FFTWPlanner::kFastTimeLimit);
}

bool ParseSizes(const std::string& text, std::vector<std::uint32_t>& anSizes) {
  std::size_t pos = 0;
  while (pos <= text.size()) {
    const std::size_t comma = std::min(text.find(',', pos), text.size());
    const std::string item = text.substr(pos, comma - pos);
    char* end = nullptr;
    const unsigned long long n = std::strtoull(item.c_str(), &end, 10);
    if (item.empty() || *end != '\0' || n < 2 || n > (1ull << 26)) return false;
    anSizes.push_back(static_cast<std::uint32_t>(n));
    pos = comma + 1;
  }
  return !anSizes.empty();
}

}  // namespace

int RunWisdom(const CliArgs& args) {
  CCliOptions options("wisdom", {"sizes"}, {"best"});
  if (!options.Parse(args) || !options.Positional().empty()) {
    PrintUsage();
    return 2;
  }
  std::vector<std::uint32_t> anSizes;
  if (auto s = options.Value("sizes")) {
    if (!ParseSizes(*s, anSizes)) {
      options.Error("--sizes: \"" + *s + "\" is not a list of sizes from 2 to 67108864");
      return 1;
    }
  } else {
    for (std::uint32_t n = 4096; n <= 1048576; n *= 2) anSizes.push_back(n);
  }
  const int nHint = options.Has("best") ? FFT_PLAN_BEST : FFT_PLAN_FAST;
  std::printf("wisdom file: %s\n", FFTWPlanner::WisdomPath().c_str());
  int nFailed = 0;
  for (const std::uint32_t n : anSizes) {
    std::printf("  %9u points ... ", n);
    std::fflush(stdout);
    const auto t0 = std::chrono::steady_clock::now();
    const bool bOk = FFTWPlanner::PlanAnalysisSize(n, nHint);
    const double dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    if (!bOk) ++nFailed;
    std::printf("%s (%.2f s)\n", bOk ? "planned" : "FAILED", dSeconds);
  }
  std::printf("  demodulator chain ... ");
  std::fflush(stdout);
  const auto t0 = std::chrono::steady_clock::now();
  // The spectrum taps of the player's default 20 lines per second.
  CDSPDemodMain::PlanAhead(20, nHint);
  std::printf("done (%.2f s)\n", std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
  if (nFailed) {
    options.Error(std::to_string(nFailed) + " size(s) could not be planned");
    return 1;
  }
  return 0;
}
