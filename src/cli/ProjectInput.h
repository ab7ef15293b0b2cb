#pragma once
// A saved project as the sub-commands that work without the recording (render, history)
// take it: options, picture rows and the picture size fitted to those rows.

#include <string>

#include "analysis/AnalysisOptions.h"
#include "analysis/ImageRows.h"

class CCliOptions;

struct SLoadedProject {
  CAnalysisOptions options;
  CImageRows rows;
  // The project's stated picture size, kept within its rows (CAnalysisImage::FitToRows).
  int nWidth = 0;
  int nHeight = 0;
};

// Loads the project at path. Damage the loader worked around is reported and what is sound
// is kept; a file that is no project, or one without picture rows, prints why and fails.
bool LoadProjectPicture(const CCliOptions& cli, const std::string& path, SLoadedProject& project);
