#include "analysis/AnalysisWindow.h"

#include <cmath>
#include <numbers>

#include "analysis/AnalysisOptions.h"

std::uint32_t EffectiveAnalysisWindow(std::uint32_t eWindow) {
  switch (eWindow) {
    case ANALYSIS_WINDOW_BARTLETT:
    case ANALYSIS_WINDOW_BLACKMAN_STD:
    case ANALYSIS_WINDOW_BLACKMAN_OPT:
    case ANALYSIS_WINDOW_HAMMING:
    case ANALYSIS_WINDOW_HANN:
    case ANALYSIS_WINDOW_NONE:
      return eWindow;
    default:
      return ANALYSIS_WINDOW_DEFAULT;
  }
}

namespace {

// The generalised Blackman form: (α+1)/2 − 0.5·cos(2πn/(N−1)) − (α/2)·cos(4πn/(N−1)).
void MultiplyBlackman(std::vector<float>& w, double alpha) {
  const double m = static_cast<double>(w.size() - 1);
  for (std::size_t n = 0; n < w.size(); ++n) {
    const double x = 2.0 * std::numbers::pi * static_cast<double>(n) / m;
    w[n] *= static_cast<float>((alpha + 1.0) / 2.0 - 0.5 * std::cos(x) - alpha / 2.0 * std::cos(2.0 * x));
  }
}

void MultiplyRaisedCosine(std::vector<float>& w, double a0, double a1) {
  const double m = static_cast<double>(w.size() - 1);
  for (std::size_t n = 0; n < w.size(); ++n)
    w[n] *= static_cast<float>(a0 - a1 * std::cos(2.0 * std::numbers::pi * static_cast<double>(n) / m));
}

void MultiplyBartlett(std::vector<float>& w) {
  const double m = static_cast<double>(w.size() - 1);
  for (std::size_t n = 0; n < w.size(); ++n) {
    const double r = 2.0 * static_cast<double>(n) / m;
    w[n] *= static_cast<float>(static_cast<double>(n) <= m / 2.0 ? r : 2.0 - r);
  }
}

}  // namespace

std::vector<float> BuildAnalysisWindow(std::uint32_t eWindow, std::uint32_t nSize) {
  std::vector<float> w(nSize, 1.0f);
  // A one-point window has no N − 1 to divide by; it stays 1.0.
  if (nSize < 2) return w;
  switch (EffectiveAnalysisWindow(eWindow)) {
    case ANALYSIS_WINDOW_BARTLETT:
      MultiplyBartlett(w);
      break;
    case ANALYSIS_WINDOW_BLACKMAN_STD:
      MultiplyBlackman(w, -0.16);
      break;
    case ANALYSIS_WINDOW_BLACKMAN_OPT:
      MultiplyBlackman(w, -0.5 / (1.0 + std::cos(2.0 * std::numbers::pi / static_cast<double>(nSize - 1))));
      break;
    case ANALYSIS_WINDOW_HAMMING:
      MultiplyRaisedCosine(w, 0.54, 0.46);
      break;
    case ANALYSIS_WINDOW_NONE:
      break;
    default:  // "Default" and "Hann"
      MultiplyRaisedCosine(w, 0.5, 0.5);
      break;
  }
  return w;
}
