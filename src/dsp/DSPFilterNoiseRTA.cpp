#include "dsp/DSPFilterNoiseRTA.h"

#include <algorithm>
#include <cmath>

namespace {
constexpr double kFrameSeconds = 0.032;
constexpr float kFloor = 0.1f;      // -20 dB
constexpr float kGainRise = 0.5f;   // share of a new, higher gain taken per frame
}  // namespace

CDSPFilterNoiseRTA::CDSPFilterNoiseRTA(double rateHz) { Setup(rateHz); }

void CDSPFilterNoiseRTA::Setup(double rateHz) {
  if (!(rateHz > 0.0) || rateHz == m_dRate) return;
  m_dRate = rateHz;
  int n = 16;
  while (n < rateHz * kFrameSeconds && n < 65536) n *= 2;
  m_frames = std::make_unique<CDSPSpectralFrames>(n);
  const int hop = n / 2;
  m_tracker = std::make_unique<CDSPNoiseSpectrumTracker>(m_frames->Bins(), rateHz / hop);
  m_aGain.assign(m_frames->Bins(), 1.0f);
  m_aHop.assign(hop, 0.0f);
  m_aInput.clear();
  m_aOutput.assign(hop, 0.0f);
}

void CDSPFilterNoiseRTA::Process(float* audio, int& count) {
  if (count <= 0 || !m_frames) return;
  const int hop = m_frames->HopSize();
  const int bins = m_frames->Bins();
  m_aInput.insert(m_aInput.end(), audio, audio + count);
  std::size_t used = 0;
  while (m_aInput.size() - used >= static_cast<std::size_t>(hop)) {
    const float* power = m_frames->Analyse(m_aInput.data() + used);
    used += hop;
    const float* noise = m_tracker->Update(power);
    for (int k = 0; k < bins; ++k) {
      const float snr = power[k] / std::max(noise[k], 1e-12f);
      const float snrDb = 10.0f * std::log10(std::max(snr, 1e-6f));
      // Berouti's over-subtraction: 4 at 0 dB SNR falling to 1 at 20 dB.
      const float alpha = std::clamp(4.0f - 0.15f * snrDb, 1.0f, 5.0f);
      const float remaining = 1.0f - alpha / std::max(snr, 1e-6f);
      const float target = std::sqrt(std::max(remaining, kFloor * kFloor));
      const float g = target > m_aGain[k] ? m_aGain[k] + kGainRise * (target - m_aGain[k]) : target;
      m_aGain[k] = g;
    }
    m_frames->Synthesise(m_aGain.data(), m_aHop.data());
    m_aOutput.insert(m_aOutput.end(), m_aHop.begin(), m_aHop.end());
  }
  m_aInput.erase(m_aInput.begin(), m_aInput.begin() + static_cast<std::ptrdiff_t>(used));
  // One hop of output was queued at set-up, so there are always count samples to return.
  std::copy(m_aOutput.begin(), m_aOutput.begin() + count, audio);
  m_aOutput.erase(m_aOutput.begin(), m_aOutput.begin() + count);
}
