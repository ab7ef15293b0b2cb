#pragma once
// A saved project as the sub-commands that work without the recording (render, history)
// take it: loaded into a session, with what went wrong printed.

#include <string>

class CAnalysisSession;
class CCliOptions;

// Loads the project at path into session. Damage the loader worked around is reported and
// what is sound is kept; a file that is no project, or one without picture rows, prints
// why and fails.
bool LoadProjectPicture(const CCliOptions& cli, const std::string& path, CAnalysisSession& session);
