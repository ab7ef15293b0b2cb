#pragma once
// The per-user folders: settings, program data and pictures.
//
//   settings  $XDG_CONFIG_HOME/Brannock (V2)/Vexlor/        (default ~/.config/...)
//   data      $XDG_DATA_HOME/Brannock (V2)/Vexlor/          (default ~/.local/share/...)
//   pictures  $XDG_PICTURES_DIR, else ~/Pictures
//
// Each function creates the folder when it is missing and returns its path.

#include <filesystem>

inline constexpr const char* kCompanyKey = "Brannock (V2)";
inline constexpr const char* kProgramName = "Vexlor";

std::filesystem::path SettingsFolder();
std::filesystem::path DataFolder();
std::filesystem::path PicturesFolder();

// Writes text to path atomically: a temporary file in the same folder, flushed, then
// renamed over the target. On failure the previous file is untouched and false returned.
bool WriteFileAtomically(const std::filesystem::path& path, const void* data, std::size_t size);

// True when a and b name the same file: the same file on disk, or (for files that do not
// exist yet) the same path once "..", "." and links are resolved.
bool IsSameFile(const std::filesystem::path& a, const std::filesystem::path& b);
