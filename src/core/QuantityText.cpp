#include "core/QuantityText.h"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <strings.h>

#include "core/SystemTime.h"

namespace {

// About 8030 years: from 1970 to the year 9999, either way.
constexpr double kMaxRecordingSeconds = 253402300800.0;

}  // namespace

bool ParseFrequencyText(const std::string& strText, double& dHz, std::string& strError) {
  std::string text = strText;
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.pop_back();
  if (text.size() >= 2 && strcasecmp(text.c_str() + text.size() - 2, "hz") == 0) text.resize(text.size() - 2);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.pop_back();
  double scale = 1.0;
  if (!text.empty()) {
    switch (text.back()) {
      case 'k': case 'K': scale = 1e3; break;
      case 'M': scale = 1e6; break;
      case 'G': case 'g': scale = 1e9; break;
      default: break;
    }
    if (scale != 1.0) text.pop_back();
  }
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.pop_back();
  char* pEnd = nullptr;
  const double value = text.empty() ? 0.0 : std::strtod(text.c_str(), &pEnd);
  // "nan", "inf" and values that overflow once scaled ("1e308G") are no frequency.
  if (text.empty() || pEnd != text.c_str() + text.size() || !std::isfinite(value) || value < 0.0 ||
      !std::isfinite(value * scale) || std::isspace(static_cast<unsigned char>(text.front()))) {
    strError = "\"" + strText + "\" is not a frequency (7100000, 7100k, 7.1M, with or without Hz)";
    return false;
  }
  dHz = value * scale;
  return true;
}

bool ParseRecordingTimeText(const std::string& strText, std::int64_t tRecordingStart, double& dSeconds,
                            std::string& strError) {
  if (strText.find('-', 1) != std::string::npos || strText.find(':') != std::string::npos) {
    std::string text = strText;
    if (text.size() > 10 && (text[10] == 'T' || text[10] == 't')) text[10] = ' ';
    if (!text.empty() && (text.back() == 'Z' || text.back() == 'z')) text.pop_back();
    std::int64_t tUtc = 0;
    if (!ParseUtcSeconds(text, tUtc)) {
      strError = "\"" + strText + "\" is not a UTC time \"YYYY-MM-DD HH:MM:SS\" or seconds";
      return false;
    }
    dSeconds = static_cast<double>(tUtc - tRecordingStart);
    return true;
  }
  char* pEnd = nullptr;
  const double value = std::strtod(strText.c_str(), &pEnd);
  // Seconds beyond the calendar's years (1970..9999) are refused here, so that every caller
  // may turn them into whole UTC seconds without overflow.
  if (strText.empty() || pEnd != strText.c_str() + strText.size() || !std::isfinite(value) ||
      std::fabs(value) > kMaxRecordingSeconds) {
    strError = "\"" + strText + "\" is not a time (\"YYYY-MM-DD HH:MM:SS\" UTC or seconds from the start)";
    return false;
  }
  dSeconds = value;
  return true;
}
