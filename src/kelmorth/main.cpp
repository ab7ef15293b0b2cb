// kelmorth: cuts a time range and a band out of a recording into a new, small recording.
// With options it runs on the command line and needs no display; without any, with a
// recording alone (as the analysis status dialog starts it), or with --window or
// --from-project, it opens its window.

#include <QApplication>

#include <string>

#include "core/Log.h"
#include "core/Paths.h"
#include "kelmorth/CutCommandLine.h"
#include "kelmorth/CutterWindow.h"

int main(int argc, char** argv) {
  const KelmorthArgs args(argv + 1, argv + argc);
  SetLogFilePath(DataFolder() / "Vexlor.log");
  if (!WantsWindow(args)) return RunCommandLine(args);

  CCutRequest request;
  if (!ParseWindowRequest(args, request)) return 2;
  QApplication app(argc, argv);
  QApplication::setApplicationName("kelmorth");
  CCutterWindow window(request);
  window.show();
  return QApplication::exec();
}
