#include "dsp/DSPNoiseReduction.h"

#include <algorithm>
#include <cmath>

#include "core/Int16Samples.h"
#include "dsp/EphraimMalah.h"

namespace {
constexpr int kQueueLength = 65536;
constexpr int kPeakHistory = 100;
constexpr float kTargetPeak = 26213.6f;  // 80 % of 32767

short ToHalvedShort(float v) { return SaturateToInt16(std::trunc(v * 0.5f)); }
}  // namespace

CDSPNoiseReduction::CDSPNoiseReduction()
    : m_nContext(EphraimMalahGetContext()),
      m_rta(8000.0),
      m_aQueue(kQueueLength, 0),
      m_aOutput(kQueueLength, 0),
      m_aPeaks(kPeakHistory, 0.0f) {
  EphraimMalahInit(m_nContext, m_nLibraryRate);
  m_nFrameSize = EphraimMalahGetFrameSize(m_nContext);
  m_firLms.Setup(m_firLms.Delay(), m_firLms.Mu(), m_firLms.Lambda(), 199);
}

CDSPNoiseReduction::~CDSPNoiseReduction() { EphraimMalahReleaseContext(m_nContext); }

void CDSPNoiseReduction::ProcessEphraimMalah(float* audio, int& count, int capacity) {
  const int half = m_nFrameSize / 2;
  if (count <= 0 || half <= 0) {
    count = 0;
    return;
  }
  const int n = std::min(count, kQueueLength - m_nQueued);

  float hi = 0.0f, lo = 0.0f;
  for (int k = 0; k < count; ++k) {
    hi = std::max(hi, audio[k]);
    lo = std::min(lo, audio[k]);
  }
  std::copy_backward(m_aPeaks.begin(), m_aPeaks.end() - 1, m_aPeaks.end());
  m_aPeaks[0] = std::max(hi, -lo);
  const float peak = *std::max_element(m_aPeaks.begin(), m_aPeaks.end());
  const float scale = peak > 0.0f ? kTargetPeak / peak : 1.0f;

  for (int k = 0; k < n; ++k) m_aQueue[m_nQueued + k] = ToHalvedShort(audio[k] * scale);
  m_nQueued += n;

  int produced = 0;
  int taken = 0;
  if (m_nQueued >= half && !EphraimMalahDelaySet(m_nContext)) {
    EphraimMalahSetDelayLine(m_nContext, m_aQueue.data(), half);
    taken = half;
  }
  const int room = std::min(capacity, kQueueLength);
  while (m_nQueued - taken >= half && produced + half <= room) {
    EphraimMalahRun(m_nContext, m_aQueue.data() + taken, half, m_aOutput.data() + produced);
    taken += half;
    produced += half;
  }
  std::copy(m_aQueue.begin() + taken, m_aQueue.begin() + m_nQueued, m_aQueue.begin());
  m_nQueued -= taken;

  const float back = 0.5f / scale;
  for (int k = 0; k < produced; ++k) audio[k] = static_cast<float>(m_aOutput[k]) * back;
  count = produced;
}

void CDSPNoiseReduction::SetupFIRLMS(int delay, double mu, double lambda, int taps) {
  m_firLms.Setup(delay, mu, lambda, taps);
}

void CDSPNoiseReduction::ProcessFIRLMS(float* audio, int count) {
  if (count > 0) m_firLms.Process(audio, count);
}

void CDSPNoiseReduction::ProcessRTA(float* audio, int& count) { m_rta.Process(audio, count); }
