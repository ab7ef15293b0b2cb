// vexlor-cli history P.xml --freq HZ [--fixed-scale]
//
// The signal history of one frequency of a saved project as CSV on stdout: one line
// "time,level" per point (UTC "YYYY-MM-DD HH:MM:SS", dB). What was chosen (the picture
// column, minute mode) and the level axis range go to stderr.

#include <cstdio>
#include <string>

#include "analysis/AnalysisImage.h"
#include "analysis/AnalysisOptions.h"
#include "analysis/ProjectFile.h"
#include "analysis/SignalHistory.h"
#include "cli/CliOptions.h"
#include "cli/Commands.h"
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
  CAnalysisOptions options;
  CImageRows rows;
  int nStatedWidth = 0;
  int nStatedHeight = 0;
  std::string strTags;
  std::string strMessage;
  if (!CProjectFile::Load(options, projectPath, rows, nStatedWidth, nStatedHeight, strTags, nullptr, strMessage)) {
    cli.Error(strMessage);
    return 1;
  }
  if (!strMessage.empty()) cli.Error(projectPath + ": " + strMessage);
  if (rows.Empty()) {
    cli.Error(projectPath + ": the project holds no picture rows");
    return 1;
  }

  int nWidth = 0;
  int nHeight = 0;
  CAnalysisImage::FitToRows(rows, nStatedWidth, nStatedHeight, nWidth, nHeight);
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

  CSignalHistory history;
  history.Fill(rows, nWidth, nColumn, options.m_tRecordingStartUTC, nAnalysedSeconds);
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
