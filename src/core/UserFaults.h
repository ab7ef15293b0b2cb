#pragma once
// Faults the user must be told about that happen far from any front end: settings that
// cannot be written, a recording description that cannot be written back, a data folder
// that cannot be made. The code that meets one reports it here (it is logged at once); a
// front end takes the queued texts and shows them. Each text is queued once per process,
// so a failure that repeats on every write is shown once, not on every write.

#include <string>
#include <vector>

void ReportUserFault(const std::string& strText);
// The faults reported since the last call, oldest first.
std::vector<std::string> TakeUserFaults();
