// Project save and load of a 5000-row x 5000-column picture, against writing and reading
// the same number of bytes raw (the rows' floats in one block, through the same atomic
// write). Prints seconds and the ratios; the best of three runs of each.
//
//   bench_project [ROWS COLUMNS]

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <unistd.h>

#include "analysis/AnalysisOptions.h"
#include "analysis/ProjectFile.h"
#include "core/Log.h"
#include "core/Paths.h"

namespace fs = std::filesystem;

namespace {

double Seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

template <typename F>
double BestOf3(F&& run) {
  double best = 1e300;
  for (int i = 0; i < 3; ++i) {
    const auto start = std::chrono::steady_clock::now();
    if (!run()) {
      std::fprintf(stderr, "bench_project: a run failed\n");
      std::exit(1);
    }
    best = std::min(best, Seconds(start));
  }
  return best;
}

// Times the stages of a save or load by their progress captions.
class CStageTimer final : public CProjectProgress {
 public:
  void SetCaption(const std::string& strCaption) override {
    Close();
    m_strStage = strCaption;
    m_start = std::chrono::steady_clock::now();
  }
  void SetRange(int, int) override {}
  void SetPos(int) override {}
  void Close() {
    if (!m_strStage.empty()) std::printf("  %-20s %8.3f s\n", m_strStage.c_str(), Seconds(m_start));
    m_strStage.clear();
  }

 private:
  std::string m_strStage;
  std::chrono::steady_clock::time_point m_start;
};

}  // namespace

int main(int argc, char** argv) {
  const int nRows = argc > 2 ? std::atoi(argv[1]) : 5000;
  const int nColumns = argc > 2 ? std::atoi(argv[2]) : 5000;
  SetLogFilePath({});

  std::string tmpl = (fs::temp_directory_path() / "vexlor_bench_project_XXXXXX").string();
  if (!mkdtemp(tmpl.data())) return 1;
  const fs::path folder = tmpl;

  CAnalysisOptions options;
  options.m_astrRecordingFilenames = {"/recordings/bench 0001.wav"};
  options.m_nAnalysisDisplayRows = nRows;
  CImageRows rows;
  std::mt19937 rng(1);
  std::normal_distribution<float> noise(-120.0f, 4.0f);
  std::vector<float> all;
  all.reserve(static_cast<std::size_t>(nRows) * nColumns);
  for (int r = 0; r < nRows; ++r) {
    std::vector<float> line(static_cast<std::size_t>(nColumns));
    for (float& v : line) v = noise(rng);
    all.insert(all.end(), line.begin(), line.end());
    rows.Append(std::move(line), static_cast<std::uint32_t>(r));
  }
  const std::size_t nBytes = all.size() * sizeof(float);

  const fs::path project = folder / "bench (Project).xml";
  const fs::path raw = folder / "bench.raw";
  std::string strError;
  const double dSave = BestOf3(
      [&] { return CProjectFile::Save(options, project, rows, nColumns, nRows, "", nullptr, strError); });
  const double dRawWrite = BestOf3([&] { return WriteFileAtomically(raw, all.data(), nBytes); });

  const double dLoad = BestOf3([&] {
    CAnalysisOptions loaded;
    CImageRows back;
    int w = 0, h = 0;
    std::string tags;
    return CProjectFile::Load(loaded, project, back, w, h, tags, nullptr, strError) && back.Count() == rows.Count();
  });
  std::vector<float> readBack(all.size());
  const double dRawRead = BestOf3([&] {
    std::ifstream in(raw, std::ios::binary);
    in.read(reinterpret_cast<char*>(readBack.data()), static_cast<std::streamsize>(nBytes));
    return static_cast<std::size_t>(in.gcount()) == nBytes;
  });

  const double dMB = nBytes / 1e6;
  std::printf("Project of %d rows x %d columns: %.1f MB of row data, file %.1f MB\n", nRows, nColumns, dMB,
              fs::file_size(project) / 1e6);
  std::printf("%-12s %10s %10s %8s\n", "", "project s", "raw s", "ratio");
  std::printf("%-12s %10.3f %10.3f %8.2f\n", "save/write", dSave, dRawWrite, dSave / dRawWrite);
  std::printf("%-12s %10.3f %10.3f %8.2f\n", "load/read", dLoad, dRawRead, dLoad / dRawRead);

  std::printf("Stages of one save:\n");
  CStageTimer saveStages;
  CProjectFile::Save(options, project, rows, nColumns, nRows, "", &saveStages, strError);
  saveStages.Close();
  std::printf("Stages of one load:\n");
  CStageTimer loadStages;
  {
    CAnalysisOptions loaded;
    CImageRows back;
    int w = 0, h = 0;
    std::string tags;
    CProjectFile::Load(loaded, project, back, w, h, tags, &loadStages, strError);
  }
  loadStages.Close();
  fs::remove_all(folder);
  return 0;
}
