#include "dsp/DSPSpectrumTap.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "dsp/SpectrumKernel.h"

namespace {
// Larger sizes would take seconds of signal per line; 2^31 is the design limit of the size
// rule, far beyond what a display can use.
constexpr std::int64_t kMaxFFTSize = 1 << 22;
}  // namespace

void CDSPSpectrumTap::Configure(bool enable, int linesPerSecond, std::uint64_t destination) {
  const bool switchedOn = enable && !m_bEnabled;
  const bool rateChanged = linesPerSecond != m_nLinesPerSecond;
  m_bEnabled = enable;
  m_nLinesPerSecond = linesPerSecond;
  m_nDestination = destination;
  if ((rateChanged || switchedOn) && m_bEnabled && m_nSampleRate > 0) Setup();
}

void CDSPSpectrumTap::SetSampleRate(int rateHz) {
  if (rateHz == m_nSampleRate) return;
  m_nSampleRate = rateHz;
  if (m_bEnabled && m_nLinesPerSecond != 0) Setup();
}

void CDSPSpectrumTap::Setup() {
  m_aFrame.Resize(0);
  m_aWork.Resize(0);
  m_aSpectrum.Resize(0);
  m_aWindow.Resize(0);
  m_plan = CFFTWPlanF();
  m_aPending.clear();
  m_nFFTSize = 0;
  m_nFill = 0;
  if (m_nSampleRate <= 0 || m_nLinesPerSecond <= 0) return;

  const std::int64_t per = std::max(1, m_nSampleRate / m_nLinesPerSecond);
  std::int64_t n = 2;
  while (n < per && n < (std::int64_t{1} << 31)) n *= 2;
  m_nOverlap = static_cast<int>((n - per) * 100 / n);
  m_nOrder = static_cast<int>(std::floor(std::log2(static_cast<double>(n)) + 0.0001));
  if (n > kMaxFFTSize) return;
  m_nFFTSize = static_cast<int>(n);
  m_nHop = std::max(1, m_nFFTSize - static_cast<int>(static_cast<std::int64_t>(m_nFFTSize) * m_nOverlap / 100));

  m_aFrame.Resize(m_nFFTSize);
  m_aWork.Resize(m_nFFTSize);
  m_aSpectrum.Resize(m_nFFTSize);
  m_aWindow.Resize(m_nFFTSize);
  for (int k = 0; k < m_nFFTSize; ++k)
    m_aWindow[k] = static_cast<float>(0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * k / m_nFFTSize));
  // A Hann-windowed full-scale complex tone peaks at 32767 * N * 0.5.
  m_fReferenceDb = SpectrumKernel::ReferenceLevel(static_cast<std::uint32_t>(m_nFFTSize));
  m_plan = CFFTWPlanF::Complex(m_nFFTSize, m_aWork.data(), m_aSpectrum.data(), FFTW_FORWARD);
}

void CDSPSpectrumTap::Process(const std::complex<float>* samples, int n) {
  if (!m_bEnabled || m_nFFTSize == 0 || !m_plan) return;
  while (n > 0) {
    const int take = std::min(n, m_nFFTSize - m_nFill);
    std::copy(samples, samples + take, m_aFrame.data() + m_nFill);
    m_nFill += take;
    samples += take;
    n -= take;
    if (m_nFill == m_nFFTSize) {
      MakeSpectrum();
      std::copy(m_aFrame.begin() + m_nHop, m_aFrame.end(), m_aFrame.begin());
      m_nFill = m_nFFTSize - m_nHop;
    }
  }
}

void CDSPSpectrumTap::MakeSpectrum() {
  const int n = m_nFFTSize;
  SpectrumKernel::ApplyWindow(reinterpret_cast<const float*>(m_aFrame.data()), m_aWindow.data(),
                              static_cast<std::uint32_t>(n), reinterpret_cast<float*>(m_aWork.data()));
  m_plan.Execute();
  std::vector<float> line(static_cast<std::size_t>(n) + kHeaderLength, 0.0f);
  line[0] = static_cast<float>(n + kHeaderLength);
  line[1] = static_cast<float>(kHeaderLength);
  line[2] = static_cast<float>(n);
  line[3] = static_cast<float>(m_nSampleRate);
  // Negative frequencies (the upper half of the bins) first.
  SpectrumKernel::ComputeLevels(reinterpret_cast<const float*>(m_aSpectrum.data()), static_cast<std::uint32_t>(n),
                                m_fReferenceDb, line.data() + kHeaderLength);
  if (static_cast<int>(m_aPending.size()) >= kMaxPending) m_aPending.erase(m_aPending.begin());
  m_aPending.push_back(std::move(line));
}

std::vector<std::vector<float>> CDSPSpectrumTap::TakeSpectra() {
  std::vector<std::vector<float>> out;
  out.swap(m_aPending);
  return out;
}
