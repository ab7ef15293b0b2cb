// vexlor: the desktop application.

#include <QApplication>
#include <cstdio>

#include "app/MainFrame.h"
#include "app/SplashScreen.h"
#include "app/VexlorApp.h"

int main(int argc, char** argv) {
  // --help and --version answer without a display.
  QStringList args;
  for (int i = 0; i < argc; ++i) args << QString::fromLocal8Bit(argv[i]);
  const CVexlorApp::SCommandLine cmd = CVexlorApp::ParseCommandLine(args);
  if (!cmd.strError.isEmpty()) {
    std::fprintf(stderr, "vexlor: %s\n%s", qPrintable(cmd.strError), CVexlorApp::Usage());
    return 2;
  }
  if (cmd.bHelp) {
    std::fputs(CVexlorApp::Usage(), stdout);
    return 0;
  }
  if (cmd.bVersion) {
    std::printf("vexlor %s\n", CVexlorApp::Version());
    return 0;
  }

  QApplication application(argc, argv);
  QApplication::setApplicationName("Vexlor");
  QApplication::setOrganizationName("Brannock (V2)");
  QApplication::setApplicationVersion(CVexlorApp::Version());
  // The splash stays while the frame comes up and the worker threads start.
  CSplashScreen splash;
  splash.show();
  splash.ShowStep("Starting the worker threads...");
  CVexlorApp app;
  if (!app.Initialise(cmd)) return 1;
  splash.finish(app.MainFrame());
  return QApplication::exec();
}
