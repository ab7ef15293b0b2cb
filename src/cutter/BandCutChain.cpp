#include "cutter/BandCutChain.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace {
// Alias rejection every half-band stage must reach over its folding band, and the most a
// stage may bend the flat band.
constexpr double kStageRejectionDb = -90.0;
constexpr double kStageDroopDb = -0.005;
// Resampler input samples on either side of an output that its kernel reaches.
constexpr int kResamplerHalfSpan = 256;
constexpr int kResamplerHistory = 512;

// Decimation before the resampler: the largest power of two (at most 4096) that leaves a
// rate of at least twice the output rate; 1 when the input is below that.
int DecimationFor(std::uint32_t inRateHz, std::uint32_t outRateHz) {
  int decimation = 1;
  while (decimation < 4096 && static_cast<double>(inRateHz) / (2.0 * decimation) >= 2.0 * outRateHz)
    decimation *= 2;
  return decimation;
}

double ResponseDb(int taps, double f) {
  if (taps == 4) {
    // (1 3 3 1) / 8 = ((1 + z^-1) / 2)^3
    return 60.0 * std::log10(std::max(std::fabs(std::cos(std::numbers::pi * f)), 1e-30));
  }
  const float* h = taps == 59 ? CDSPHalfBandCascade::Prototype59().data() : CDSPHalfBandCascade::Prototype19().data();
  const double centre = (taps - 1) / 2.0;
  double sum = 0.0;
  for (int n = 0; n < taps; ++n) sum += h[n] * std::cos(2.0 * std::numbers::pi * f * (n - centre));
  return 20.0 * std::log10(std::max(std::fabs(sum), 1e-30));
}
}  // namespace

int CBandCutChain::StageFilter(double stageRateHz, double outRateHz) {
  // Everything within half the output rate of the stage's Nyquist frequency folds into the
  // output band; the flat part of the band must not droop.
  const double fold = 0.5 * outRateHz / stageRateHz;
  const double flat = 0.5 * kFlatFraction * outRateHz / stageRateHz;
  constexpr int kPoints = 64;
  for (const int taps : {4, 19, 59}) {
    bool bGood = true;
    for (int i = 0; i <= kPoints && bGood; ++i) {
      const double x = static_cast<double>(i) / kPoints;
      bGood = ResponseDb(taps, 0.5 - fold * x) <= kStageRejectionDb && ResponseDb(taps, flat * x) >= kStageDroopDb;
    }
    if (bGood) return taps;
  }
  return 59;
}

bool CBandCutChain::IsExactRate(std::uint32_t inRateHz, std::uint32_t outRateHz) {
  if (inRateHz == 0 || outRateHz == 0 || outRateHz > inRateHz) return false;
  const std::uint64_t decimatedOut = static_cast<std::uint64_t>(outRateHz) * DecimationFor(inRateHz, outRateHz);
  if (decimatedOut > 0x7FFFFFFFu) return false;
  const std::uint64_t divisor = std::gcd(static_cast<std::uint64_t>(inRateHz), decimatedOut);
  return decimatedOut / divisor <= static_cast<std::uint64_t>(kMaxExactPhases);
}

std::uint32_t CBandCutChain::DefaultRate(std::uint32_t inRateHz, double bandwidthHz) {
  if (!(bandwidthHz > 0.0) || inRateHz == 0) return 0;
  const double wanted = std::ceil(bandwidthHz / kFlatFraction - 1e-9);
  if (wanted >= inRateHz) return inRateHz;
  for (auto rate = static_cast<std::uint32_t>(wanted); rate < inRateHz; ++rate)
    if (IsExactRate(inRateHz, rate)) return rate;
  return inRateHz;
}

bool CBandCutChain::Setup(std::uint32_t inRateHz, std::uint32_t outRateHz, double offsetHz) {
  if (!IsExactRate(inRateHz, outRateHz)) return false;
  m_nInRate = inRateHz;
  m_nOutRate = outRateHz;
  m_dOffsetHz = offsetHz;
  m_oscillator = CDSPTableOscillator{};

  const int decimation = DecimationFor(inRateHz, outRateHz);
  std::vector<int> stageTaps;
  for (int d = 1; d < decimation; d *= 2) stageTaps.push_back(StageFilter(static_cast<double>(inRateHz) / d, outRateHz));
  m_cascade.PlanStages(stageTaps);

  // The resampler sees the decimated signal; its kernel depends on the ratio alone, so the
  // rates are given as inRate : outRate * D, whole numbers even where inRate / D is not.
  const int resamplerOut = static_cast<int>(outRateHz) * decimation;
  m_resamplerI = CDSPPolyphaseResampler{};
  m_resamplerQ = CDSPPolyphaseResampler{};
  m_resamplerI.Init(static_cast<int>(inRateHz), resamplerOut, true);
  m_resamplerQ.Init(static_cast<int>(inRateHz), resamplerOut, true);
  const std::int64_t divisor = std::gcd(static_cast<std::int64_t>(inRateHz), static_cast<std::int64_t>(resamplerOut));
  const std::int64_t a = inRateHz / divisor;  // decimated samples per ...
  const std::int64_t b = resamplerOut / divisor;  // ... b output samples
  m_nPhases = static_cast<int>(b);

  // Start-up: the cascade's first outputs rest on its zero state, the resampler's first
  // ones on its zero history. Both are dropped, and the pre-roll is chosen so that the
  // first kept output falls on the wanted first sample: the resampler's drop spans a whole
  // number of its a : b cycles, the cascade's delay is rounded to an input sample.
  const double cascadeDelay = m_cascade.Delay();
  const std::int64_t roundedDelay = std::llround(cascadeDelay);
  m_dTimingError = static_cast<double>(roundedDelay) - cascadeDelay;
  m_nCascadeSkip = static_cast<std::int64_t>(std::ceil(2.0 * cascadeDelay / decimation)) + 1;
  const std::int64_t cycles = (kResamplerHalfSpan + 4 + a - 1) / a;
  const std::int64_t resamplerLead = cycles * a;  // decimated samples before the first sample
  m_nResamplerSkip = cycles * b;
  if (m_resamplerI.IsPassThrough()) {
    m_nResamplerSkip = 0;
    m_nCascadeSkip = decimation == 1 ? 0 : m_nCascadeSkip;
  }
  const std::int64_t lead = m_resamplerI.IsPassThrough() ? 0 : resamplerLead;
  m_nPreroll = static_cast<std::int64_t>(decimation) * (m_nCascadeSkip + lead) - roundedDelay;
  if (m_nPreroll < 0) {
    // Only without half-band stages and resampler: nothing to prime.
    m_nPreroll = 0;
  }
  m_nPostroll = static_cast<std::int64_t>(decimation) * (kResamplerHistory + 2) + 2 * roundedDelay + decimation;
  return true;
}

int CBandCutChain::MaxOutputCount(int n) const {
  if (m_nInRate == 0) return 0;
  return static_cast<int>(static_cast<double>(n) * m_nOutRate / m_nInRate) + 16 + n / 16384;
}

int CBandCutChain::Process(std::complex<float>* in, int n, std::complex<float>* out) {
  if (n <= 0 || m_nInRate == 0) return 0;
  if (m_dOffsetHz != 0.0) m_oscillator.Mix(in, in, n, m_dOffsetHz, static_cast<int>(m_nInRate));

  const std::size_t decimatedRoom = static_cast<std::size_t>(n / std::max(1, Decimation()) + 2);
  if (m_aDecimated.size() < decimatedRoom) m_aDecimated.Resize(decimatedRoom * 2);
  int count = m_cascade.Process(in, n, m_aDecimated.data());
  const std::complex<float>* decimated = m_aDecimated.data();
  if (m_nCascadeSkip > 0) {
    const int skip = static_cast<int>(std::min<std::int64_t>(m_nCascadeSkip, count));
    m_nCascadeSkip -= skip;
    decimated += skip;
    count -= skip;
  }
  if (count <= 0) return 0;

  const auto room = static_cast<std::size_t>(m_resamplerI.MaxOutputCount(count));
  if (m_aI.size() < static_cast<std::size_t>(count)) {
    m_aI.Resize(static_cast<std::size_t>(count) * 2);
    m_aQ.Resize(static_cast<std::size_t>(count) * 2);
  }
  if (m_aOutI.size() < room) {
    m_aOutI.Resize(room * 2);
    m_aOutQ.Resize(room * 2);
  }
  for (int k = 0; k < count; ++k) {
    m_aI.data()[k] = decimated[k].real();
    m_aQ.data()[k] = decimated[k].imag();
  }
  const int produced = m_resamplerI.Process(m_aI.data(), count, m_aOutI.data());
  m_resamplerQ.Process(m_aQ.data(), count, m_aOutQ.data());

  int first = 0;
  if (m_nResamplerSkip > 0) {
    first = static_cast<int>(std::min<std::int64_t>(m_nResamplerSkip, produced));
    m_nResamplerSkip -= first;
  }
  const float gain = m_resamplerI.IsPassThrough() ? 1.0f : 1.0f / CDSPPolyphaseResampler::kNorm;
  for (int k = first; k < produced; ++k)
    out[k - first] = std::complex<float>(m_aOutI.data()[k] * gain, m_aOutQ.data()[k] * gain);
  return produced - first;
}
