#pragma once
// CSplashScreen: the short splash shown while the worker threads start: the program's
// name and version over a strip of the default palette, and what start-up is doing.

#include <QSplashScreen>

class CSplashScreen final : public QSplashScreen {
  Q_OBJECT
 public:
  CSplashScreen();
  // A line of start-up progress ("Starting the FFT workers...").
  void ShowStep(const QString& strText);
};
