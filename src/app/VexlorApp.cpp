#include "app/VexlorApp.h"

#include <omp.h>

#include <QFileInfo>
#include <cstdlib>
#include <filesystem>

#include "analysis/Palettes.h"
#include "app/MainFrame.h"
#include "core/AppState.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "core/ProcessFigures.h"
#include "core/RegisteredMessages.h"
#include "player/AudioBackend.h"
#include "player/SoundPlayer.h"

namespace {

constexpr const char* kPaletteKey = "CVexlorApp::m_ePalette";
constexpr const char* kRecentFilesKey = "CVexlorApp::RecentFiles";

}  // namespace

const char* CVexlorApp::Usage() {
  return "usage: vexlor [FILE] [--analyse]\n"
         "\n"
         "  FILE        a project (.xml) opens with its picture; a recording (.wav) opens\n"
         "              \"New Project\" with that file chosen\n"
         "  --analyse   with a recording: analyse it at once with the last choices\n"
         "  --help      show this text\n"
         "  --version   show the version\n";
}

const char* CVexlorApp::Version() { return VEXLOR_VERSION; }

CVexlorApp::SCommandLine CVexlorApp::ParseCommandLine(const QStringList& args) {
  SCommandLine cmd;
  bool bOptionsEnded = false;
  for (qsizetype i = 1; i < args.size(); ++i) {
    const QString& arg = args[i];
    if (!bOptionsEnded && arg == "--") {
      bOptionsEnded = true;
    } else if (!bOptionsEnded && (arg == "--help" || arg == "-h")) {
      cmd.bHelp = true;
    } else if (!bOptionsEnded && arg == "--version") {
      cmd.bVersion = true;
    } else if (!bOptionsEnded && arg == "--analyse") {
      cmd.bAnalyse = true;
    } else if (!bOptionsEnded && arg.startsWith('-') && arg.size() > 1) {
      cmd.strError = QString("unknown option \"%1\"").arg(arg);
    } else if (cmd.strFile.isEmpty()) {
      cmd.strFile = arg;
    } else {
      cmd.strError = QString("more than one FILE (\"%1\", \"%2\")").arg(cmd.strFile, arg);
    }
  }
  if (cmd.strError.isEmpty() && cmd.bAnalyse && cmd.strFile.isEmpty())
    cmd.strError = "--analyse needs a recording FILE";
  return cmd;
}

CVexlorApp::CVexlorApp() : m_nUsableProcessors(::UsableProcessors()) {
  RegisterAllMessages();
  SetLogFilePath(DataFolder() / "Vexlor.log");
}

CVexlorApp::~CVexlorApp() {
  Shutdown();
  m_pMainFrame.reset();
}

bool CVexlorApp::Initialise(const SCommandLine& commandLine, bool bShow) {
  // The parallel loops (sample conversion, project encoding) use a team of 8.
  omp_set_dynamic(1);
  omp_set_num_threads(kOpenMPThreads);

  // The settings store is open; the palette and the recent files come from it.
  m_ePalette = CPalettes::kDefault;
  m_settings.Read(kPaletteKey, m_ePalette);
  m_pSounds = std::make_unique<CSoundPlayer>(CreateAudioBackend(AudioBackendChoiceFromEnvironment()));

  m_pMainFrame = std::make_unique<CMainFrame>(*this);
  if (bShow) m_pMainFrame->showMaximized();

  // The workers, with the main frame as their log window.
  if (!m_pool.Create(&m_pMainFrame->LogTarget())) {
    LogLine("CVexlorApp> The analysis threads could not be started");
    return false;
  }
  // The command line's file, once the workers exist (a --analyse run needs them).
  if (!commandLine.strFile.isEmpty() && !m_pMainFrame->OpenFile(commandLine.strFile, commandLine.bAnalyse))
    return false;
  PlaySoundSetting(kSoundStartup, false);
  m_bInitialised = true;
  return true;
}

void CVexlorApp::Shutdown() {
  if (m_bShutDown || !m_pSounds) return;
  m_bShutDown = true;
  AppState::bShuttingDown = true;
  m_pool.Shutdown();
  PlaySoundSetting(kSoundClosedown, true);
}

void CVexlorApp::SetPalette(int nPalette) {
  m_ePalette = nPalette;
  m_settings.Write(kPaletteKey, nPalette);
}

QStringList CVexlorApp::RecentFiles() {
  std::vector<std::string> astr;
  m_settings.Read(kRecentFilesKey, astr);
  QStringList list;
  for (const std::string& str : astr) list << QString::fromStdString(str);
  return list;
}

void CVexlorApp::AddRecentFile(const QString& strPath) {
  QStringList list = RecentFiles();
  const QString strAbsolute = QFileInfo(strPath).absoluteFilePath();
  list.removeAll(strAbsolute);
  list.prepend(strAbsolute);
  while (list.size() > kRecentFiles) list.removeLast();
  std::vector<std::string> astr;
  for (const QString& str : list) astr.push_back(str.toStdString());
  m_settings.Write(kRecentFilesKey, astr);
}

void CVexlorApp::PlaySoundSetting(const char* pszKey, bool bSynchronous) {
  std::string strFile;
  if (!m_pSounds || !m_settings.Read(pszKey, strFile) || strFile.empty()) return;
  const QFileInfo info(QString::fromStdString(strFile));
  // A missing or unreadable sound file is skipped silently.
  if (!info.isFile() || !info.isReadable()) return;
  if (bSynchronous)
    m_pSounds->PlaySync(strFile);
  else
    m_pSounds->PlayAsync(strFile);
}
