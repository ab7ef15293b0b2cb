// vexlor-cli history P.xml --freq HZ [--fixed-scale]
//
// The signal history of one frequency of a saved project as CSV on stdout: one line
// "time,level" per point (UTC "YYYY-MM-DD HH:MM:SS", dB). What was chosen (the picture
// column, minute mode) and the level axis range go to stderr.

#include <cstdio>
#include <string>

#include "analysis/AnalysisImage.h"
#include "analysis/SignalHistory.h"
#include "cli/CliOptions.h"
#include "cli/Commands.h"
#include "cli/ProjectInput.h"
#include "core/Log.h"
#include "core/SystemTime.h"

int RunHistory(const CliArgs& args) {
  CCliOptions cli("history", {"freq"}, {"fixed-scale"});
  if (!cli.Parse(args)) return 2;
  if (cli.Positional().size() != 1 || !cli.Has("freq")) {
    cli.Error("usage: vexlor-cli history P.xml --freq HZ [--fixed-scale]");
    return 2;
  }
  double dFrequencyHz = 0.0;
  if (!cli.GetDouble("freq", dFrequencyHz)) return 2;

  const std::string projectPath = cli.Positional()[0];
  SLoadedProject project;
  if (!LoadProjectPicture(cli, projectPath, project)) return 1;
  const CAnalysisOptions& options = project.options;
  const int nWidth = project.nWidth;
  const int nColumn = CAnalysisImage::FrequencyColumn(options, nWidth, dFrequencyHz);
  if (nColumn < 0) {
    cli.Error(StrFormat("--freq: %.0f Hz lies outside the picture, which spans %.0f .. %.0f Hz", dFrequencyHz,
                        CAnalysisImage::ColumnFrequency(options, nWidth, 0),
                        CAnalysisImage::ColumnFrequency(options, nWidth, nWidth - 1)));
    return 1;
  }

  // The analysed time range decides minute mode; a whole-range analysis may leave it 0.
  std::int64_t nAnalysedSeconds = options.m_nAnalysisTimeRange;
  if (nAnalysedSeconds == 0) nAnalysedSeconds = options.m_tAnalysisEndUTC - options.m_tAnalysisStartUTC;

  // Row times count from the start of the analysed range, yet the history adds the
  // recording's start to them, as its chart always has: for a range that begins later in
  // the recording the times read early by that offset.
  CSignalHistory history;
  history.Fill(project.rows, nWidth, nColumn, options.m_tRecordingStartUTC, nAnalysedSeconds);
  const CSignalHistory::SScale scale = history.Scale(cli.Has("fixed-scale"));
  std::fprintf(stderr, "Column %d of %d (%.0f Hz), %zu points%s, level axis %s .. %s dB\n", nColumn, nWidth,
               CAnalysisImage::ColumnFrequency(options, nWidth, nColumn), history.Points().size(),
               history.MinuteMode() ? " (one per minute)" : "", StrFormat(scale.pszFormat, scale.dLow).c_str(),
               StrFormat(scale.pszFormat, scale.dHigh).c_str());

  std::printf("time,level\n");
  for (const CSignalHistory::SPoint& point : history.Points()) {
    std::printf("%s,%.3f\n", FormatUtcSeconds(point.tSeconds).c_str(), point.dLevel);
  }
  return 0;
}
