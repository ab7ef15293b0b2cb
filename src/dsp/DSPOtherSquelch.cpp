#include "dsp/DSPOtherSquelch.h"

#include <algorithm>
#include <cmath>

#include "dsp/SquelchFade.h"

namespace {
constexpr double kFullScale = 32767.0;
constexpr double kHysteresisDb = 6.0;
constexpr double kAveragingSeconds = 0.020;
constexpr double kHangSeconds = 0.200;
}  // namespace

void CDSPOtherSquelch::Setup(bool enabled, int level, double rateHz) {
  m_bEnabled = enabled;
  m_dOpenDb = std::clamp(level, 0, 100) - 100.0;
  m_dCloseDb = m_dOpenDb - kHysteresisDb;
  if (rateHz > 0.0 && rateHz != m_dRate) {
    m_dRate = rateHz;
    m_dAlpha = 1.0 - std::exp(-1.0 / (rateHz * kAveragingSeconds));
    m_nHangLength = static_cast<int>(rateHz * kHangSeconds);
    m_nHangCount = 0;
  }
}

double CDSPOtherSquelch::LevelDb() const {
  return 10.0 * std::log10(std::max(m_dMeanSquare, 1e-20) / (kFullScale * kFullScale));
}

void CDSPOtherSquelch::Process(float* audio, int n) {
  if (!m_bEnabled || n <= 0 || m_dRate <= 0.0) return;
  const double openMs = kFullScale * kFullScale * std::pow(10.0, m_dOpenDb / 10.0);
  const double closeMs = kFullScale * kFullScale * std::pow(10.0, m_dCloseDb / 10.0);
  const bool wasMuted = m_bMuted;
  for (int k = 0; k < n; ++k) {
    const double x = audio[k];
    m_dMeanSquare += m_dAlpha * (x * x - m_dMeanSquare);
    if (m_dMeanSquare >= openMs) {
      m_bMuted = false;
      m_nHangCount = 0;
    } else if (m_dMeanSquare >= closeMs) {
      m_nHangCount = 0;
    } else if (!m_bMuted) {
      if (m_nHangCount < m_nHangLength)
        ++m_nHangCount;
      else
        m_bMuted = true;
    }
  }
  ApplySquelchFade(audio, n, wasMuted, m_bMuted);
}
