// vexlor-cli history P.xml --freq HZ [--fixed-scale] [--json]
//
// The signal history of one frequency of a saved project as CSV on stdout: a header
// "time_utc,level_db", then one line per point (ISO 8601 UTC, dB); or the same as JSON. What was chosen (the picture
// column, minute mode) and the level axis range go to stderr.

#include <cstdio>
#include <string>

#include "analysis/AnalysisSession.h"
#include "analysis/SignalHistory.h"
#include "cli/CliOptions.h"
#include "cli/Commands.h"
#include "cli/ProjectInput.h"
#include "core/Log.h"
#include "persist/MySettingsStore.h"

int RunHistory(const CliArgs& args) {
  CCliOptions cli("history", {"freq"}, {"fixed-scale", "json"});
  if (!cli.Parse(args)) {
    PrintCommandUsage("history", stderr);
    return kExitUsage;
  }
  if (cli.Positional().size() != 1 || !cli.Has("freq")) {
    cli.Error("needs P.xml and --freq");
    PrintCommandUsage("history", stderr);
    return kExitUsage;
  }
  double dFrequencyHz = 0.0;
  if (!cli.GetFrequency("freq", dFrequencyHz)) return kExitUsage;

  const std::string projectPath = cli.Positional()[0];
  CMySettingsStore settings;
  CAnalysisSession session(settings);
  if (!LoadProjectPicture(cli, projectPath, session)) return 1;
  const int nWidth = session.Width();
  const int nColumn = session.FrequencyColumn(dFrequencyHz);
  if (nColumn < 0) {
    cli.Error(StrFormat("--freq: %.0f Hz lies outside the picture, which spans %.0f .. %.0f Hz", dFrequencyHz,
                        session.ColumnFrequency(0), session.ColumnFrequency(nWidth - 1)));
    return kExitUsage;
  }

  const CSignalHistory history = session.SignalHistoryOfColumn(nColumn);
  const CSignalHistory::SScale scale = history.Scale(cli.Has("fixed-scale"));
  std::fprintf(stderr, "Column %d of %d (%.0f Hz), %zu points%s, level axis %s .. %s dB\n", nColumn, nWidth,
               session.ColumnFrequency(nColumn), history.Points().size(),
               history.MinuteMode() ? " (one per minute)" : "", StrFormat(scale.pszFormat, scale.dLow).c_str(),
               StrFormat(scale.pszFormat, scale.dHigh).c_str());

  if (cli.Has("json"))
    std::fputs(history.JsonText(session.ColumnFrequency(nColumn)).c_str(), stdout);
  else
    std::fputs(history.CsvText().c_str(), stdout);
  return kExitOk;
}
