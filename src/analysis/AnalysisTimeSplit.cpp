#include "analysis/AnalysisTimeSplit.h"

#include "core/Log.h"

std::string CAnalysisTimeSplit::Text() const {
  static constexpr const char* kNames[kStages] = {"read", "forward", "convert", "FFT", "levels", "rows"};
  std::string strText;
  for (int i = 0; i < kStages; ++i) {
    if (i) strText += ", ";
    strText += StrFormat("%s %.2f s", kNames[i], Seconds(static_cast<EStage>(i)));
  }
  return strText;
}
