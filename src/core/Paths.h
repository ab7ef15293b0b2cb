#pragma once
// The per-user folders: settings, program data and pictures.
//
//   settings  $XDG_CONFIG_HOME/Brannock (V2)/Vexlor/        (default ~/.config/...)
//   data      $XDG_DATA_HOME/Brannock (V2)/Vexlor/          (default ~/.local/share/...)
//   pictures  $XDG_PICTURES_DIR, else ~/Pictures
//
// Each function creates the folder when it is missing and returns its path.

#include <filesystem>

#include "core/AtomicFile.h"  // every file in these folders is written atomically

inline constexpr const char* kCompanyKey = "Brannock (V2)";
inline constexpr const char* kProgramName = "Vexlor";

std::filesystem::path SettingsFolder();
std::filesystem::path DataFolder();
std::filesystem::path PicturesFolder();

// A folder that cannot be made is reported once as an engine fault (core/EngineFaults.h) and
// its path is still returned; the write that follows fails with its own reason.
