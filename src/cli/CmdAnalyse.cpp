// vexlor-cli analyse FILE [analysis options] [--project P.xml] [--image I.png]
//
// A full analysis of the recording FILE belongs to, driven exactly as the GUI's view drives
// it (CAnalysisRun over the shared worker threads), with every analysis option as a flag.
// A progress line goes to stderr when it is a terminal. Ctrl-C is the abort request: the
// rows analysed so far are kept and written.

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "analysis/AnalysisImage.h"
#include "analysis/AnalysisImageFeed.h"
#include "analysis/AnalysisOptions.h"
#include "analysis/HeadlessAnalysis.h"
#include "analysis/Palettes.h"
#include "analysis/ProjectFile.h"
#include "persist/TagDefinitions.h"
#include "cli/CliOptions.h"
#include "cli/Commands.h"
#include "cli/ImageWriter.h"
#include "core/Log.h"
#include "core/ProcessFigures.h"
#include "core/SystemTime.h"
#include "persist/MySettingsStore.h"
#include "recording/WaveFileData.h"

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
class CProgressLine final : public IAnalysisStatus {
 public:
  explicit CProgressLine(bool bTerminal) : m_bTerminal(bTerminal) {}
  void FileOpened(bool bSuccess) override { m_bOpenFailed = !bSuccess; }
  void ProgressChanged(const CAnalysisProgress& p) override {
    if (!m_bTerminal) return;
    std::fprintf(stderr, "\r%5.1f %%  %s  remaining %s   ", p.dPercent, p.strRate.c_str(), p.strRemaining.c_str());
    std::fflush(stderr);
    m_bDrawn = true;
  }
  void RunFinished() override {
    if (m_bDrawn) std::fprintf(stderr, "\n");
    m_bDrawn = false;
  }
  bool OpenFailed() const { return m_bOpenFailed; }

 private:
  bool m_bTerminal;
  bool m_bDrawn = false;
  bool m_bOpenFailed = false;
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
  if (imagePath && !ImageFormatSupported(*imagePath, strError)) {
    cli.Error(strError);
    return 2;
  }

  // The analysis options, as the selection dialog would set them.
  CAnalysisOptions options;
  if (!ParseUnsigned(cli, "fft", options.m_nAnalysisFFTSize, 67108864u) ||
      !ParseUnsigned(cli, "overlap", options.m_nAnalysisOverlap, 99u))
    return 2;
  if (const auto window = cli.Value("window")) {
    bool bKnown = false;
    for (const CWindowName& w : kWindows) {
      if (*window == w.pszFlag) {
        options.m_eAnalysisWindow = w.eWindow;
        bKnown = true;
      }
    }
    if (!bKnown) {
      cli.Error("--window: \"" + *window + "\" is not one of default, bartlett, blackman-std, blackman-opt, "
                "hamming, hann, none");
      return 2;
    }
  }
  options.m_bAnalysisSwapIQ = cli.Has("swap-iq") ? 1 : 0;
  bool bWidthFull = false, bHeightFull = true;
  int nWidth = 5000, nHeight = 0;
  if (!ParseSize(cli, "width", nWidth, bWidthFull) || !ParseSize(cli, "height", nHeight, bHeightFull)) return 2;
  std::int64_t nThreads = -1;
  if (!cli.GetInt64("threads", nThreads)) return 2;
  if (cli.Has("threads") && nThreads < 1) {
    cli.Error("--threads: give a number of FFT threads from 1 up");
    return 2;
  }
  CMySettingsStore settings;
  int nHint = CAnalysisThreadPool::FFTHint(settings);
  if (const auto hint = cli.Value("hint")) {
    if (*hint != "fast" && *hint != "best") {
      cli.Error("--hint: \"" + *hint + "\" is not fast or best");
      return 2;
    }
    nHint = *hint == "best" ? FFT_HINT_BEST : FFT_HINT_FAST;
  }
  options.m_nFFTHint = nHint;

  // The recording.
  const std::string strFile = cli.Positional()[0];
  CWaveFileData waveData;
  CRecordingDescription desc;
  if (!waveData.GetInformation(strFile, true, desc)) {
    cli.Error(strFile + ": " + (waveData.FailureText().empty() ? "File format not supported" : waveData.FailureText()));
    return 1;
  }
  options.SetFromRecording(desc);
  std::uint32_t nCentre = options.m_nRecordingCenterFreq, nBandwidth = options.m_nRecordingBandwidth;
  if (!ParseUnsigned(cli, "centre", nCentre, 0xFFFFFFFFu) || !ParseUnsigned(cli, "bandwidth", nBandwidth, 0xFFFFFFFFu))
    return 2;
  options.m_nAnalysisCenterFreq = nCentre;
  options.m_nAnalysisBandwidth = nBandwidth;
  bool bStartGiven = false, bEndGiven = false;
  std::int64_t tStart = options.m_tRecordingStartUTC, tEnd = options.m_tRecordingEndUTC;
  if (!ParseTime(cli, "start", tStart, bStartGiven) || !ParseTime(cli, "end", tEnd, bEndGiven)) return 2;
  if (bStartGiven || bEndGiven) {
    options.m_bAnalysisWholeRange = 0;
    options.m_tAnalysisStartUTC = tStart;
    options.m_tAnalysisEndUTC = tEnd;
  }
  options.UpdateDerivedValues(desc.m_nBytesPerSecond);
  std::string strMessage;
  if (!options.Check(strMessage)) {
    cli.Error(strFile + ": " + strMessage);
    return 1;
  }

  // The picture: one column per FFT bin of the band with --width full, one line per row
  // with --height full.
  const CAnalysisImage::SBinRange bins = CAnalysisImage::SelectBins(options);
  if (bWidthFull) nWidth = static_cast<int>(std::max<std::uint32_t>(bins.nCount, 1));
  if (bHeightFull) {
    // The rows the data really holds: the display-row figure counts whole seconds of the
    // range, which can be a few rows short of (or past) the bytes of the files.
    const std::int64_t nDataBytes = options.m_bAnalysisWholeRange
                                        ? static_cast<std::int64_t>(desc.TotalBytes())
                                        : options.m_nAnalysisDataLength;
    const std::int64_t nRows = CAnalysisOptions::Rows(
        nDataBytes, CAnalysisOptions::BytesPerSample(desc.m_nBytesPerSecond, desc.m_nSampleRate),
        options.m_nAnalysisFFTSize, options.m_nAnalysisOverlap);
    nHeight = static_cast<int>(std::clamp<std::int64_t>(nRows, 1, 1'000'000));
  }
  options.m_nAnalysisDisplayWidth = nWidth;
  options.m_nAnalysisDisplayHeight = nHeight;
  if (!CAnalysisImage::CheckRunMemory(options, nWidth, nHeight, projectPath.has_value(), AvailableMemoryBytes() / 10 * 9,
                                      strMessage)) {
    cli.Error(strFile + ": " + strMessage);
    return 1;
  }
  options.SaveCurrent();

  CAnalysisImage image;
  CAnalysisImageFeed feed(image, nWidth, nHeight);
  CProgressLine progress(isatty(STDERR_FILENO) == 1);
  CNullAnalysisSound sound;
  CHeadlessAnalysis analysis(settings);
  if (!analysis.Created()) {
    cli.Error("the analysis threads could not be started");
    return 1;
  }
  CAnalysisRun& run = analysis.Run();
  run.SetRowConsumer(&feed);
  run.SetStatus(&progress);
  run.SetSound(&sound);
  if (nThreads > 0) run.SetMaxThreadsOverride(static_cast<int>(nThreads));

  std::fprintf(stderr, "Analysing %s: %u-point FFT, %s, %d rows, %.3f GB\n", strFile.c_str(),
               options.m_nAnalysisFFTSize, options.ResolutionBandwidthText().c_str(), options.m_nAnalysisDisplayRows,
               static_cast<double>(options.m_nAnalysisDataLength) / 1e9);
  g_bInterrupted = false;
  std::signal(SIGINT, OnInterrupt);
  const auto tBegin = std::chrono::steady_clock::now();
  run.Start(options);
  bool bAbortNoted = false;
  bool bOpenFailureAborted = false;
  analysis.PumpUntilFinished(&g_bInterrupted, [&] {
    // A run whose first file cannot be opened waits for the user's abort; here nobody
    // is watching a status display, so the abort is made at once.
    if (progress.OpenFailed() && !bOpenFailureAborted) {
      bOpenFailureAborted = true;
      run.RequestAbort();
    }
    if (g_bInterrupted && !bAbortNoted) {
      bAbortNoted = true;
      std::fprintf(stderr, "\nAborting: what was analysed is kept; the rest of the recording is read and "
                           "discarded (Ctrl-C again quits at once)\n");
    }
  });
  std::signal(SIGINT, SIG_DFL);
  const double dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - tBegin).count();
  if (progress.OpenFailed()) {
    cli.Error(strFile + ": the recording's first file to analyse could not be opened (see " +
              LogFilePath().string() + ")");
    return 1;
  }
  const std::size_t nRows = image.Rows().Count();
  std::fprintf(stderr, "%s %zu rows in %.1f s (%.1f MB/s), peak memory %.1f MB\n",
               g_bInterrupted ? "Aborted after" : "Analysed", nRows, dSeconds,
               dSeconds > 0 ? static_cast<double>(run.BytesRead()) / dSeconds / 1e6 : 0.0,
               static_cast<double>(PeakPrivateMemoryBytes()) / 1e6);

  int nResult = 0;
  if (projectPath) {
    // The project carries the user's tag definitions, as the GUI's projects do.
    CTagDefinitions tags;
    std::error_code ec;
    const std::string strTags =
        std::filesystem::exists(CTagDefinitions::DefaultFilePath(), ec) && tags.LoadDefault() ? tags.SaveToText() : "";
    if (CProjectFile::Save(options, *projectPath, image.Rows(), nWidth, nHeight, strTags, nullptr, strError)) {
      std::printf("Project: %s\n", std::filesystem::absolute(*projectPath).c_str());
    } else {
      cli.Error(strError);
      nResult = 1;
    }
  }
  if (imagePath) {
    ApplyPictureOptions(picture, image);
    if (SavePicture(image, *imagePath, strError)) {
      std::printf("Image: %s (%d x %d pixels, palette \"%s\")\n", std::filesystem::absolute(*imagePath).c_str(),
                  image.Width(), image.Height(), CPalettes::Name(image.Palette()));
    } else {
      cli.Error(strError);
      nResult = 1;
    }
  }
  return nResult;
}
