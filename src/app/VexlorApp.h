#pragma once
// CVexlorApp: start-up and shutdown of the desktop application.
//
// Start-up, in this order: the parallel-loop runtime (8 threads), the settings store (kept
// under "Brannock (V2)") with the recent-files list, the command line, the main frame
// (shown maximised, accepting dropped files), the shared analysis workers ("FFT 1" ... at
// idle priority, "File Reader" and "File Forwarder" below normal, each waited on until
// idle, all logging to the main frame), the start-up sound. Shutdown (from the main
// frame's close): the shutdown flag, the workers drained and ended with their 10000-ms
// bounds, the close-down sound played to its end.
//
// The application-wide values live here: the usable processor count, the picture palette
// `CVexlorApp::m_ePalette` (saved at once when changed) and the recent files.

#include <QString>
#include <QStringList>
#include <memory>
#include <string>

#include "analysis/AnalysisThreadPool.h"
#include "persist/MySettingsStore.h"

class CMainFrame;
class CSoundPlayer;

class CVexlorApp {
 public:
  static constexpr int kRecentFiles = 15;
  static constexpr int kOpenMPThreads = 8;
  static constexpr const char* kProductName = "Vexlor";
  // The settings of the sounds (wave files; empty: none).
  static constexpr const char* kSoundStartup = "PROP_SND_FILE_STARTUP";
  static constexpr const char* kSoundClosedown = "PROP_SND_FILE_CLOSEDOWN";
  static constexpr const char* kSoundAnalysis = "PROP_SND_FILE_ANALYSIS";
  static constexpr const char* kZoomMonitor = "PROP_SND_ZOOM_MONITOR";

  // vexlor [FILE] [--analyse] [--help] [--version]
  struct SCommandLine {
    QString strFile;
    bool bAnalyse = false;
    bool bHelp = false;
    bool bVersion = false;
    QString strError;  // a usage error: print it with the usage, exit code 2
  };
  static SCommandLine ParseCommandLine(const QStringList& args);
  static const char* Usage();
  static const char* Version();

  CVexlorApp();
  ~CVexlorApp();
  CVexlorApp(const CVexlorApp&) = delete;
  CVexlorApp& operator=(const CVexlorApp&) = delete;

  // The start-up sequence; false when the command line's file could not be opened (a
  // message box has said why) or the workers could not be started. bShow: show the frame
  // maximised (tests keep it hidden).
  bool Initialise(const SCommandLine& commandLine, bool bShow = true);
  bool IsInitialised() const { return m_bInitialised; }
  // The shutdown sequence (once; later calls do nothing).
  void Shutdown();

  CMySettingsStore& Settings() { return m_settings; }
  CAnalysisThreadPool& Pool() { return m_pool; }
  CSoundPlayer& Sounds() { return *m_pSounds; }
  CMainFrame* MainFrame() { return m_pMainFrame.get(); }
  int UsableProcessors() const { return m_nUsableProcessors; }

  // `CVexlorApp::m_ePalette` (0 .. 4), stored at once.
  int Palette() const { return m_ePalette; }
  void SetPalette(int nPalette);

  // Most recent first, at most kRecentFiles.
  QStringList RecentFiles();
  void AddRecentFile(const QString& strPath);

  // Plays the wave file named by setting strKey, when it is set and readable.
  void PlaySoundSetting(const char* pszKey, bool bSynchronous);

 private:
  CMySettingsStore m_settings;
  std::unique_ptr<CSoundPlayer> m_pSounds;
  CAnalysisThreadPool m_pool;
  std::unique_ptr<CMainFrame> m_pMainFrame;
  int m_nUsableProcessors = 1;
  int m_ePalette = 4;
  bool m_bInitialised = false;
  bool m_bShutDown = false;
};
