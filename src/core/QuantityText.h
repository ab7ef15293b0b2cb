#pragma once
// The forms in which a user types a frequency or a time, shared by the front ends:
//   frequencies  "7100000", "7100k", "7.1M", "0.0071G", each with or without "Hz";
//   times        "YYYY-MM-DD HH:MM:SS" or ISO 8601 "YYYY-MM-DDTHH:MM:SS[Z]" (UTC), or
//                seconds from the start of the recording ("90", "12.5").
// Failures leave a message that names what was expected.

#include <cstdint>
#include <string>

// Hz; false (strError set) for anything else, a negative value included.
bool ParseFrequencyText(const std::string& strText, double& dHz, std::string& strError);

// Seconds from tRecordingStart (UTC seconds since 1970); may be negative for a UTC time
// before it. False (strError set) for text that is neither form.
bool ParseRecordingTimeText(const std::string& strText, std::int64_t tRecordingStart, double& dSeconds,
                            std::string& strError);
