#include "support/TestEnvironment.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <random>
#include <sstream>
#include <system_error>

CTempFolder::CTempFolder() {
  std::random_device rd;
  for (;;) {
    std::ostringstream name;
    name << "vexlor-test-" << std::hex << rd() << rd();
    m_path = std::filesystem::temp_directory_path() / name.str();
    std::error_code ec;
    if (std::filesystem::create_directory(m_path, ec)) break;
  }
}

CTempFolder::~CTempFolder() {
  std::error_code ec;
  std::filesystem::remove_all(m_path, ec);
}

std::filesystem::path TestDataDir() {
#ifdef VEXLOR_TESTDATA_DIR
  std::filesystem::path p = VEXLOR_TESTDATA_DIR;
  std::error_code ec;
  if (std::filesystem::is_directory(p, ec)) return std::filesystem::canonical(p, ec);
#endif
  return {};
}

void WriteBytes(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream f(path, std::ios::binary | std::ios::trunc);
  f.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string ReadBytes(const std::filesystem::path& path) {
  std::ifstream f(path, std::ios::binary);
  std::ostringstream s;
  s << f.rdbuf();
  return s.str();
}

int RunInChild(const std::function<int()>& body, std::uint64_t nFileSizeLimit) {
  const pid_t pid = fork();
  if (pid < 0) return -1;
  if (pid == 0) {
    if (nFileSizeLimit > 0) {
      std::signal(SIGXFSZ, SIG_IGN);
      const rlimit limit{nFileSizeLimit, nFileSizeLimit};
      setrlimit(RLIMIT_FSIZE, &limit);
    }
    _exit(body());
  }
  int nStatus = 0;
  while (waitpid(pid, &nStatus, 0) < 0 && errno == EINTR) {
  }
  if (WIFSIGNALED(nStatus)) return 128 + WTERMSIG(nStatus);
  return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
}

std::vector<std::string> FolderNames(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  std::error_code ec;
  for (std::filesystem::directory_iterator it(folder, ec); !ec && it != std::filesystem::directory_iterator();
       it.increment(ec))
    names.push_back(it->path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

std::string ShellQuote(const std::string& s) {
  std::string q = "'";
  for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

CRunResult RunProgram(const std::string& program, const std::string& args, const std::string& strPrefix) {
  CRunResult r;
  const std::string command = strPrefix + ShellQuote(program) + " " + args + " 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return r;
  char buf[4096];
  std::size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, pipe)) > 0) r.strOutput.append(buf, n);
  const int status = pclose(pipe);
  r.nExitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return r;
}
