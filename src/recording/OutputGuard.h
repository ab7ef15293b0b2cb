#pragma once
// Checks every writer of the program makes before it starts: an output must never replace a
// file it is reading (any file of the recording's series, or the description files beside
// them), and its folder must exist and be writable before a long job begins rather than
// after it. The messages name the file and what is wrong.

#include <filesystem>
#include <string>
#include <vector>

#include "recording/RecordingDescription.h"

// The files a recording is made of: every file of its series and the description beside
// each (whether it exists yet or not: reading a recording may write it).
std::vector<std::filesystem::path> RecordingFiles(const CRecordingDescription& desc);

// False, with "OUT: is a file of the recording being read (IN); choose another output", when
// output names one of inputs (the same file by another path, a link to it, included).
bool CheckOutputIsNotInput(const std::filesystem::path& output, const std::vector<std::filesystem::path>& inputs,
                           std::string& strError);

// False, with the reason, when output cannot be created: its folder is missing, is not a
// folder or is not writable, or output is itself a folder.
bool CheckOutputFolder(const std::filesystem::path& output, std::string& strError);

// Both checks of output against a recording.
bool CheckOutputForRecording(const std::filesystem::path& output, const CRecordingDescription& desc,
                             std::string& strError);
