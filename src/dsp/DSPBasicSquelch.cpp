#include "dsp/DSPBasicSquelch.h"

#include <algorithm>
#include <cmath>

void CDSPBasicSquelch::Setup(bool enabled, float openDb, float closeDb, int hangSamples) {
  m_bEnabled = enabled;
  m_fOpenDb = openDb;
  m_fCloseDb = closeDb;
  m_nHangLimit = std::max(0, hangSamples);
}

void CDSPBasicSquelch::Process(float* audio, int audioCount, const std::complex<float>* ifSamples, int ifCount,
                               double bandwidthFraction) {
  if (!m_bEnabled) return;
  if (ifCount > 0 && bandwidthFraction > 0.0) {
    if (static_cast<int>(m_aLevels.size()) < ifCount)
      m_aLevels.resize(static_cast<std::size_t>(ifCount) + 4096);
    const float widthTerm = static_cast<float>(10.0 * std::log10(1.0 / bandwidthFraction));
    for (int k = 0; k < ifCount; ++k)
      m_aLevels[k] = 20.0f * std::log10(std::max(std::abs(ifSamples[k]), 1e-5f)) + widthTerm;

    for (int k = 0; k < ifCount; ++k) {
      m_fLevel = 0.01f * m_aLevels[k] + 0.99f * m_fLevel;
      if (m_fLevel > m_fHeld) {
        m_nHangCount = 0;
        m_fHeld = m_fLevel;
      } else if (m_nHangCount < m_nHangLimit) {
        ++m_nHangCount;
      } else {
        m_fHeld = m_fLevel;
      }
      if (m_fHeld >= m_fOpenDb) m_bMuted = false;
      if (m_fHeld <= m_fCloseDb) m_bMuted = true;
      if (m_bMuted && k < audioCount) audio[k] = 0.0f;
    }
  }
  if (m_bMuted && audioCount > ifCount) std::fill(audio + std::max(ifCount, 0), audio + audioCount, 0.0f);
}
