// vexlor-cli analyse FILE [analysis options] [--project P.xml] [--image I.png]
//
// A full analysis of the recording FILE belongs to, driven exactly as the GUI's view drives
// it (CAnalysisRun over the shared worker threads), with every analysis option as a flag.
// A progress line goes to stderr when it is a terminal. Ctrl-C is the abort request: the
// rows analysed so far are kept and written at once, and the command exits with 130; a run
// interrupted before its first row writes nothing.

#include <unistd.h>

#include <strings.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>

#include "analysis/AnalysisSession.h"
#include "analysis/HeadlessAnalysis.h"
#include "analysis/Palettes.h"
#include "cli/CliOptions.h"
#include "cli/Commands.h"
#include "cli/Interrupt.h"
#include "cli/PictureOptions.h"
#include "core/Log.h"
#include "core/ProcessFigures.h"
#include "core/SystemTime.h"
#include "persist/MySettingsStore.h"
#include "render/PictureRenderer.h"

namespace {

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

// The colour scale of the picture as written, for the report.
std::string ScaleText(const CAnalysisImage& image) {
  const CImageScaling& scaling = image.Scaling();
  if (!scaling.Automatic())
    return StrFormat("scale %d .. %d dB", -std::abs(scaling.ManualFirst()), -std::abs(scaling.ManualSecond()));
  const CImageScaling::SRange& r = scaling.LastRange();
  return StrFormat("automatic scale, last row %d .. %d dB, contrast %d", r.nLow, r.nHigh, scaling.Contrast());
}

}  // namespace

int RunAnalyse(const CliArgs& args) {
  CCliOptions cli("analyse",
                  {"fft", "overlap", "window", "centre", "bandwidth", "start", "end", "width", "height", "threads",
                   "hint", "project", "image", "palette", "scale", "contrast", "fit-height", "centre-freq", "start-time"},
                  {"swap-iq"});
  if (!cli.Parse(args)) {
    PrintCommandUsage("analyse", stderr);
    return kExitUsage;
  }
  if (cli.Positional().size() != 1) {
    cli.Error("expected one FILE");
    PrintCommandUsage("analyse", stderr);
    return kExitUsage;
  }
  const auto projectPath = cli.Value("project");
  const auto imagePath = cli.Value("image");
  if (!projectPath && !imagePath) {
    cli.Error("nothing to write: give --project P.xml and/or --image I.png");
    return 2;
  }
  SPictureOptions picture;
  if (!ParsePictureOptions(cli, picture)) return 2;
  if (picture.nFitHeight > 0 && cli.Has("height")) {
    cli.Error("give --height H (the first H rows) or --fit-height H (all rows in H lines), not both");
    return kExitUsage;
  }
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
      if (strcasecmp(window->c_str(), w.pszFlag) == 0) {
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
  CRecordingDescription desc;
  if (!CAnalysisSession::ReadRecording(strFile, desc, strError)) {
    cli.Error(strError);
    return kExitFailed;
  }
  if (!cli.ApplyRecordingFacts(desc)) return kExitUsage;
  // Nothing is analysed for an output that could not be written, or that would replace
  // the recording itself.
  for (const auto& output : {projectPath, imagePath})
    if (output && !cli.CheckOutput(*output, desc)) return kExitFailed;
  session.UseRecording(desc);
  CAnalysisOptions& options = session.MutableOptions();
  options.m_nAnalysisFFTSize = nFFTSize;
  options.m_nAnalysisOverlap = nOverlap;
  options.m_eAnalysisWindow = eWindow;
  options.m_bAnalysisSwapIQ = cli.Has("swap-iq") ? 1 : 0;
  const int nStoredHint = options.m_nFFTHint;
  if (nHint >= 0) options.m_nFFTHint = nHint;
  // "full" is 0: one column per FFT bin of the band, one line per row of the data.
  options.m_nAnalysisDisplayWidth = bWidthFull ? 0 : nWidth;
  // A fitted picture is made at its own height; the rows are drawn into it at the end.
  options.m_nAnalysisDisplayHeight = picture.nFitHeight > 0 ? picture.nFitHeight : bHeightFull ? 0 : nHeight;
  // The band: within the recording's.
  double dCentre = options.m_nAnalysisCenterFreq, dBandwidth = options.m_nAnalysisBandwidth;
  if (!cli.GetFrequency("centre", dCentre) || !cli.GetFrequency("bandwidth", dBandwidth)) return kExitUsage;
  const double dRecordingLow = options.m_nRecordingCenterFreq - options.m_nRecordingBandwidth / 2.0;
  const double dRecordingHigh = options.m_nRecordingCenterFreq + options.m_nRecordingBandwidth / 2.0;
  if (dBandwidth > options.m_nRecordingBandwidth || dBandwidth <= 0.0) {
    cli.Error(StrFormat("--bandwidth: %.0f Hz is not within the recording's %u Hz", dBandwidth,
                        options.m_nRecordingBandwidth));
    return kExitUsage;
  }
  if (dCentre - dBandwidth / 2.0 < dRecordingLow - 0.5 || dCentre + dBandwidth / 2.0 > dRecordingHigh + 0.5) {
    cli.Error(StrFormat("the band %.0f .. %.0f Hz is not within the recording's %.0f .. %.0f Hz",
                        dCentre - dBandwidth / 2.0, dCentre + dBandwidth / 2.0, dRecordingLow, dRecordingHigh));
    return kExitUsage;
  }
  options.m_nAnalysisCenterFreq = static_cast<std::uint32_t>(std::lround(dCentre));
  options.m_nAnalysisBandwidth = static_cast<std::uint32_t>(std::lround(dBandwidth));
  // The time range: within the recording, the end after the start.
  std::int64_t tStart = options.m_tRecordingStartUTC, tEnd = options.m_tRecordingEndUTC;
  if (!cli.GetRecordingTime("start", desc, tStart) || !cli.GetRecordingTime("end", desc, tEnd)) return kExitUsage;
  if (cli.Has("start") || cli.Has("end")) {
    if (tEnd <= tStart) {
      cli.Error("--end (" + FormatUtcSeconds(tEnd) + ") is not after --start (" + FormatUtcSeconds(tStart) + ")");
      return kExitUsage;
    }
    if (tStart < options.m_tRecordingStartUTC || tEnd > options.m_tRecordingEndUTC) {
      cli.Error("the range " + FormatUtcSeconds(tStart) + " .. " + FormatUtcSeconds(tEnd) +
                " is not within the recording (" + FormatUtcSeconds(options.m_tRecordingStartUTC) + " .. " +
                FormatUtcSeconds(options.m_tRecordingEndUTC) + " UTC)");
      return kExitUsage;
    }
    options.m_bAnalysisWholeRange = 0;
    options.m_tAnalysisStartUTC = tStart;
    options.m_tAnalysisEndUTC = tEnd;
  }
  // Without --fft, the size that gives a picture a screen can show.
  bool bFFTChosen = false;
  if (!cli.Has("fft")) {
    const std::uint32_t nBytesPerSecond = options.RecordingBytesPerSecond();
    options.UpdateDerivedValues(nBytesPerSecond);
    options.m_nAnalysisFFTSize = CAnalysisOptions::FFTSizeForRows(
        options.m_nAnalysisDataLength,
        CAnalysisOptions::BytesPerSample(nBytesPerSecond, options.m_nRecordingBandwidth), nOverlap, 4000);
    bFFTChosen = true;
  }
  if (nThreads > 0) session.SetMaxThreadsOverride(static_cast<int>(nThreads));

  CProgressLine progress(isatty(STDERR_FILENO) == 1);
  session.SetListener(&progress);
  // Nobody watches a status display here: a run whose first file cannot be opened is
  // aborted at once rather than left waiting for the user.
  session.SetAbortWhenOpenFails(true);
  // The project's rows are encoded as they arrive; when that cannot be set up, saving
  // encodes them after the run.
  if (projectPath && !session.SpoolProjectRows(*projectPath, strError)) LogLine(strError);
  // Without a picture to write, the rows need no other home than the project: memory then
  // stays the same whatever the recording's length.
  else if (projectPath && !imagePath) session.KeepRowsOnlyInProject(true);
  // Caught from the start of the run, so that a Ctrl-C in its first moments is an abort too.
  CatchInterrupt();
  if (!session.StartAnalysis(strError)) {
    ReleaseInterrupt();
    cli.Error(strFile + ": " + strError);
    return 1;
  }
  // --hint is for this run: the stored options keep the user's own choice.
  options.m_nFFTHint = nStoredHint;
  session.SaveCurrentOptions();
  if (nHint >= 0) options.m_nFFTHint = nHint;
  // The rows and bytes the run will really make and read (the count the end reports).
  const std::uint32_t nBytesPerSample =
      CAnalysisOptions::BytesPerSample(options.RecordingBytesPerSecond(), options.m_nRecordingBandwidth);
  std::fprintf(stderr, "Analysing %s: %u-point FFT%s, %s, %lld rows, %.3f GB\n", strFile.c_str(),
               options.m_nAnalysisFFTSize, bFFTChosen ? " (chosen for the recording's length; --fft sets it)" : "",
               options.ResolutionBandwidthText().c_str(),
               static_cast<long long>(options.RowsToAnalyse(nBytesPerSample)),
               static_cast<double>(options.BytesToAnalyse()) / 1e9);
  bool bAbortNoted = false;
  // After Ctrl-C the rows analysed so far are written at once; the rest of the recording is
  // not read.
  session.PumpUntilFinished(&InterruptFlag(), [&] {
    if (Interrupted() && !bAbortNoted) {
      bAbortNoted = true;
      std::fprintf(stderr, "\nAborting: writing what was analysed (Ctrl-C again quits at once)\n");
    }
  }, true);
  const SAnalysisRunState& state = session.RunState();
  if (state.bOpenFailed) {
    ReleaseInterrupt();
    cli.Error(strFile + ": the recording's first file to analyse could not be opened (see " +
              LogFilePath().string() + ")");
    return 1;
  }
  // The rows counted are the rows the picture and the project hold.
  std::fprintf(stderr, "%s %zu rows in %.1f s (%.1f MB/s), peak memory %.1f MB\n",
               Interrupted() ? "Aborted after" : "Analysed", session.Image().Rows().Count(), state.dSeconds,
               state.dMegabytesPerSecond, static_cast<double>(PeakPrivateMemoryBytes()) / 1e6);

  // An interrupted run with no rows has nothing to show: an existing project or picture is
  // worth more than an empty one.
  if (Interrupted() && session.Image().Rows().Empty()) {
    for (const auto& output : {projectPath, imagePath}) {
      if (!output) continue;
      std::error_code ec;
      std::fprintf(stderr, "vexlor-cli analyse: nothing was analysed: %s %s\n", output->c_str(),
                   std::filesystem::exists(*output, ec) ? "is left as it was" : "is not written");
    }
    ReleaseInterrupt();
    return kExitInterrupted;
  }

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
    NoteRowsLeftOut(session, "analyse");
    if (CPictureRenderer::Save(session, *imagePath, strError)) {
      std::printf("Image: %s (%d x %d pixels, palette \"%s\", %s)\n", std::filesystem::absolute(*imagePath).c_str(),
                  image.Width(), image.Height(), CPalettes::Name(image.Palette()), ScaleText(image).c_str());
    } else {
      cli.Error(strError);
      nResult = 1;
    }
  }
  if (nResult == 0 && Interrupted()) nResult = kExitInterrupted;
  ReleaseInterrupt();
  return nResult;
}
