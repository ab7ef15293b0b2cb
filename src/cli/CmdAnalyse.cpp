// vexlor-cli analyse FILE [analysis options] [--project P.xml] [--image I.png]
//
// A full analysis of the recording FILE belongs to, driven exactly as the GUI's view drives
// it (CAnalysisRun over the shared worker threads), with every analysis option as a flag.
// A progress line goes to stderr when it is a terminal. Ctrl-C is the abort request: the
// rows analysed so far are kept and written.

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>

#include "analysis/AnalysisSession.h"
#include "analysis/HeadlessAnalysis.h"
#include "analysis/Palettes.h"
#include "cli/CliOptions.h"
#include "cli/Commands.h"
#include "cli/PictureOptions.h"
#include "core/Log.h"
#include "core/ProcessFigures.h"
#include "core/SystemTime.h"
#include "persist/MySettingsStore.h"
#include "render/PictureRenderer.h"

namespace {

constexpr const char* kUsage =
    "usage: vexlor-cli analyse FILE [--fft N] [--overlap PERCENT]\n"
    "         [--window default|bartlett|blackman-std|blackman-opt|hamming|hann|none]\n"
    "         [--centre HZ] [--bandwidth HZ] [--start \"YYYY-MM-DD HH:MM:SS\"] [--end \"...\"]\n"
    "         [--width W|full] [--height H|full] [--swap-iq] [--threads M] [--hint fast|best]\n"
    "         [--project P.xml] [--image I.png] [--palette 0..4|NAME] [--scale auto|LO,HI] [--contrast S]";

// Set by SIGINT; the pump turns it into the abort request.
std::atomic<bool> g_bInterrupted{false};

extern "C" void OnInterrupt(int) {
  g_bInterrupted = true;
  // A second Ctrl-C ends the program at once.
  std::signal(SIGINT, SIG_DFL);
}

struct CWindowName {
  const char* pszFlag;
  std::uint32_t eWindow;
};
constexpr CWindowName kWindows[] = {
    {"default", ANALYSIS_WINDOW_DEFAULT},         {"bartlett", ANALYSIS_WINDOW_BARTLETT},
    {"blackman-std", ANALYSIS_WINDOW_BLACKMAN_STD}, {"blackman-opt", ANALYSIS_WINDOW_BLACKMAN_OPT},
    {"hamming", ANALYSIS_WINDOW_HAMMING},         {"hann", ANALYSIS_WINDOW_HANN},
    {"none", ANALYSIS_WINDOW_NONE},
};

// The progress line: percent, MB/s and the time remaining, redrawn in place on a terminal.
class CProgressLine final : public IAnalysisSessionListener {
 public:
  explicit CProgressLine(bool bTerminal) : m_bTerminal(bTerminal) {}
  void RunProgress(const SAnalysisRunState& s) override {
    if (!m_bTerminal) return;
    std::fprintf(stderr, "\r%5.1f %%  %s  remaining %s   ", s.dPercent, s.strRate.c_str(), s.strRemaining.c_str());
    std::fflush(stderr);
    m_bDrawn = true;
  }
  void RunFinished(const SAnalysisRunState&) override {
    if (m_bDrawn) std::fprintf(stderr, "\n");
    m_bDrawn = false;
  }
  void EngineFault(const CEngineFault& fault) override {
    std::fprintf(stderr, "%svexlor-cli analyse: %s\n", m_bDrawn ? "\n" : "", fault.strText.c_str());
    m_bDrawn = false;
  }

 private:
  bool m_bTerminal;
  bool m_bDrawn = false;
};

bool ParseUnsigned(const CCliOptions& cli, const char* pszName, std::uint32_t& nValue, std::uint32_t nMax) {
  std::int64_t n = nValue;
  if (!cli.GetInt64(pszName, n)) return false;
  if (n < 0 || n > nMax) {
    cli.Error(StrFormat("--%s: %lld is not between 0 and %u", pszName, static_cast<long long>(n), nMax));
    return false;
  }
  nValue = static_cast<std::uint32_t>(n);
  return true;
}

// "full" or a number of pixels from 1 to 100000; bFull is set for "full".
bool ParseSize(const CCliOptions& cli, const char* pszName, int& nValue, bool& bFull) {
  const auto text = cli.Value(pszName);
  if (!text) return true;
  bFull = *text == "full";
  if (bFull) return true;
  std::int64_t n = 0;
  if (!cli.GetInt64(pszName, n)) return false;
  if (n < 1 || n > 100000) {
    cli.Error(StrFormat("--%s: %lld is not \"full\" or a size from 1 to 100000 pixels", pszName,
                        static_cast<long long>(n)));
    return false;
  }
  nValue = static_cast<int>(n);
  return true;
}

bool ParseTime(const CCliOptions& cli, const char* pszName, std::int64_t& tValue, bool& bGiven) {
  const auto text = cli.Value(pszName);
  if (!text) return true;
  if (!ParseUtcSeconds(*text, tValue)) {
    cli.Error(StrFormat("--%s: \"%s\" is not a UTC time \"YYYY-MM-DD HH:MM:SS\"", pszName, text->c_str()));
    return false;
  }
  bGiven = true;
  return true;
}

}  // namespace

int RunAnalyse(const CliArgs& args) {
  CCliOptions cli("analyse",
                  {"fft", "overlap", "window", "centre", "bandwidth", "start", "end", "width", "height", "threads",
                   "hint", "project", "image", "palette", "scale", "contrast"},
                  {"swap-iq"});
  if (!cli.Parse(args)) return 2;
  if (cli.Positional().size() != 1) {
    std::fprintf(stderr, "%s\n", kUsage);
    return 2;
  }
  const auto projectPath = cli.Value("project");
  const auto imagePath = cli.Value("image");
  if (!projectPath && !imagePath) {
    cli.Error("nothing to write: give --project P.xml and/or --image I.png");
    return 2;
  }
  SPictureOptions picture;
  if (!ParsePictureOptions(cli, picture)) return 2;
  std::string strError;
  if (imagePath && !CPictureRenderer::FormatSupported(*imagePath, strError)) {
    cli.Error(strError);
    return 2;
  }

  // The analysis choices, as the selection dialog would set them.
  std::uint32_t nFFTSize = 1048576, nOverlap = 0, eWindow = ANALYSIS_WINDOW_DEFAULT;
  if (!ParseUnsigned(cli, "fft", nFFTSize, 67108864u) || !ParseUnsigned(cli, "overlap", nOverlap, 99u)) return 2;
  if (const auto window = cli.Value("window")) {
    bool bKnown = false;
    for (const CWindowName& w : kWindows) {
      if (*window == w.pszFlag) {
        eWindow = w.eWindow;
        bKnown = true;
      }
    }
    if (!bKnown) {
      cli.Error("--window: \"" + *window + "\" is not one of default, bartlett, blackman-std, blackman-opt, "
                "hamming, hann, none");
      return 2;
    }
  }
  bool bWidthFull = false, bHeightFull = true;
  int nWidth = 5000, nHeight = 0;
  if (!ParseSize(cli, "width", nWidth, bWidthFull) || !ParseSize(cli, "height", nHeight, bHeightFull)) return 2;
  std::int64_t nThreads = -1;
  if (!cli.GetInt64("threads", nThreads)) return 2;
  if (cli.Has("threads") && nThreads < 1) {
    cli.Error("--threads: give a number of FFT threads from 1 up");
    return 2;
  }
  int nHint = -1;
  if (const auto hint = cli.Value("hint")) {
    if (*hint != "fast" && *hint != "best") {
      cli.Error("--hint: \"" + *hint + "\" is not fast or best");
      return 2;
    }
    nHint = *hint == "best" ? FFT_HINT_BEST : FFT_HINT_FAST;
  }

  CMySettingsStore settings;
  CHeadlessAnalysis engine(settings);
  if (!engine.Created()) {
    cli.Error("the analysis threads could not be started");
    return 1;
  }
  CAnalysisSession session(engine, settings);

  // The recording, then the choices that depend on it.
  const std::string strFile = cli.Positional()[0];
  if (!session.OpenRecording(strFile, strError)) {
    cli.Error(strError);
    return 1;
  }
  CAnalysisOptions& options = session.MutableOptions();
  options.m_nAnalysisFFTSize = nFFTSize;
  options.m_nAnalysisOverlap = nOverlap;
  options.m_eAnalysisWindow = eWindow;
  options.m_bAnalysisSwapIQ = cli.Has("swap-iq") ? 1 : 0;
  if (nHint >= 0) options.m_nFFTHint = nHint;
  // "full" is 0: one column per FFT bin of the band, one line per row of the data.
  options.m_nAnalysisDisplayWidth = bWidthFull ? 0 : nWidth;
  options.m_nAnalysisDisplayHeight = bHeightFull ? 0 : nHeight;
  if (!ParseUnsigned(cli, "centre", options.m_nAnalysisCenterFreq, 0xFFFFFFFFu) ||
      !ParseUnsigned(cli, "bandwidth", options.m_nAnalysisBandwidth, 0xFFFFFFFFu))
    return 2;
  bool bStartGiven = false, bEndGiven = false;
  std::int64_t tStart = options.m_tRecordingStartUTC, tEnd = options.m_tRecordingEndUTC;
  if (!ParseTime(cli, "start", tStart, bStartGiven) || !ParseTime(cli, "end", tEnd, bEndGiven)) return 2;
  if (bStartGiven || bEndGiven) {
    options.m_bAnalysisWholeRange = 0;
    options.m_tAnalysisStartUTC = tStart;
    options.m_tAnalysisEndUTC = tEnd;
  }
  if (nThreads > 0) session.SetMaxThreadsOverride(static_cast<int>(nThreads));

  CProgressLine progress(isatty(STDERR_FILENO) == 1);
  session.SetListener(&progress);
  // Nobody watches a status display here: a run whose first file cannot be opened is
  // aborted at once rather than left waiting for the user.
  session.SetAbortWhenOpenFails(true);
  if (!session.StartAnalysis(strError)) {
    cli.Error(strFile + ": " + strError);
    return 1;
  }
  session.SaveCurrentOptions();
  std::fprintf(stderr, "Analysing %s: %u-point FFT, %s, %d rows, %.3f GB\n", strFile.c_str(),
               options.m_nAnalysisFFTSize, options.ResolutionBandwidthText().c_str(), options.m_nAnalysisDisplayRows,
               static_cast<double>(options.m_nAnalysisDataLength) / 1e9);
  g_bInterrupted = false;
  std::signal(SIGINT, OnInterrupt);
  bool bAbortNoted = false;
  session.PumpUntilFinished(&g_bInterrupted, [&] {
    if (g_bInterrupted && !bAbortNoted) {
      bAbortNoted = true;
      std::fprintf(stderr, "\nAborting: what was analysed is kept; the rest of the recording is read and "
                           "discarded (Ctrl-C again quits at once)\n");
    }
  });
  std::signal(SIGINT, SIG_DFL);
  const SAnalysisRunState& state = session.RunState();
  if (state.bOpenFailed) {
    cli.Error(strFile + ": the recording's first file to analyse could not be opened (see " +
              LogFilePath().string() + ")");
    return 1;
  }
  std::fprintf(stderr, "%s %u rows in %.1f s (%.1f MB/s), peak memory %.1f MB\n",
               g_bInterrupted ? "Aborted after" : "Analysed", state.nRowsDone, state.dSeconds,
               state.dMegabytesPerSecond, static_cast<double>(PeakPrivateMemoryBytes()) / 1e6);

  int nResult = 0;
  if (projectPath) {
    // The project carries the user's tag definitions, as the GUI's projects do.
    session.LoadDefaultTags();
    if (session.SaveProject(*projectPath, strError)) {
      std::printf("Project: %s\n", std::filesystem::absolute(*projectPath).c_str());
    } else {
      cli.Error(strError);
      nResult = 1;
    }
  }
  if (imagePath) {
    ApplyPictureOptions(picture, session);
    const CAnalysisImage& image = session.Image();
    if (CPictureRenderer::Save(session, *imagePath, strError)) {
      std::printf("Image: %s (%d x %d pixels, palette \"%s\")\n", std::filesystem::absolute(*imagePath).c_str(),
                  image.Width(), image.Height(), CPalettes::Name(image.Palette()));
    } else {
      cli.Error(strError);
      nResult = 1;
    }
  }
  return nResult;
}
