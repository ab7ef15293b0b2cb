#include "dsp/EphraimMalah.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <mutex>
#include <numbers>
#include <vector>

#include "core/Int16Samples.h"
#include "dsp/DSPNoiseSpectrumTracker.h"
#include "dsp/DSPSpectralFrames.h"

namespace {

constexpr double kFrameSeconds = 0.032;
constexpr float kDecisionDirected = 0.98f;            // weight of the previous frame's estimate
constexpr float kMinPrioriSnr = 0.0031622777f;        // -25 dB: limits musical noise
constexpr float kMaxPosterioriSnr = 1000.0f;

// exp(-x) I0(x) and exp(-x) I1(x) for x >= 0 (Abramowitz and Stegun 9.8.1 - 9.8.4).
double ScaledI0(double x) {
  if (x < 3.75) {
    const double t = (x / 3.75) * (x / 3.75);
    return std::exp(-x) *
           (1.0 + t * (3.5156229 + t * (3.0899424 + t * (1.2067492 + t * (0.2659732 + t * (0.0360768 + t * 0.0045813))))));
  }
  const double t = 3.75 / x;
  return (0.39894228 + t * (0.01328592 + t * (0.00225319 + t * (-0.00157565 + t * (0.00916281 +
         t * (-0.02057706 + t * (0.02635537 + t * (-0.01647633 + t * 0.00392377)))))))) / std::sqrt(x);
}

double ScaledI1(double x) {
  if (x < 3.75) {
    const double t = (x / 3.75) * (x / 3.75);
    return std::exp(-x) * x *
           (0.5 + t * (0.87890594 + t * (0.51498869 + t * (0.15084934 + t * (0.02658733 + t * (0.00301532 + t * 0.00032411))))));
  }
  const double t = 3.75 / x;
  return (0.39894228 + t * (-0.03988024 + t * (-0.00362018 + t * (0.00163801 + t * (-0.01031555 +
         t * (0.02282967 + t * (-0.02895312 + t * (0.01787654 - t * 0.00420059)))))))) / std::sqrt(x);
}

// MMSE-STSA gain for a-priori SNR xi and a-posteriori SNR gamma, at most 1.
float SpectralAmplitudeGain(float xi, float gamma) {
  const double v = xi / (1.0 + xi) * gamma;
  double g;
  if (v > 200.0) {
    g = xi / (1.0 + xi);  // the estimator tends to the Wiener gain at high SNR
  } else {
    const double half = v / 2.0;
    g = std::sqrt(std::numbers::pi) / 2.0 * std::sqrt(v) / gamma *
        ((1.0 + v) * ScaledI0(half) + v * ScaledI1(half));
  }
  return static_cast<float>(std::min(g, 1.0));
}

class CEphraimMalahEstimator {
 public:
  explicit CEphraimMalahEstimator(int sampleRate) : m_frames(FrameSizeFor(sampleRate)) {
    const int bins = m_frames.Bins();
    m_tracker = CDSPNoiseSpectrumTracker(bins, sampleRate / static_cast<double>(m_frames.HopSize()));
    m_aGain.assign(bins, 1.0f);
    m_aPrevAmplitude2.assign(bins, 0.0f);
    m_aIn.assign(m_frames.HopSize(), 0.0f);
    m_aOut.assign(m_frames.HopSize(), 0.0f);
  }

  int FrameSize() const { return m_frames.FrameSize(); }
  bool DelaySet() const { return m_bDelaySet; }

  void SetDelayLine(const short* samples) {
    for (int k = 0; k < m_frames.HopSize(); ++k) m_aIn[k] = samples[k];
    m_frames.Prime(m_aIn.data());
    m_bDelaySet = true;
  }

  void Run(const short* in, short* out) {
    const int hop = m_frames.HopSize();
    for (int k = 0; k < hop; ++k) m_aIn[k] = in[k];
    const float* power = m_frames.Analyse(m_aIn.data());
    const float* noise = m_tracker.Update(power);
    for (int k = 0; k < m_frames.Bins(); ++k) {
      const float lambda = std::max(noise[k], 1e-6f);
      const float gamma = std::min(power[k] / lambda, kMaxPosterioriSnr);
      float xi = m_bFirstFrame ? std::max(gamma - 1.0f, 0.0f)
                               : kDecisionDirected * m_aPrevAmplitude2[k] / lambda +
                                     (1.0f - kDecisionDirected) * std::max(gamma - 1.0f, 0.0f);
      xi = std::max(xi, kMinPrioriSnr);
      const float g = SpectralAmplitudeGain(xi, std::max(gamma, 1e-6f));
      m_aGain[k] = g;
      m_aPrevAmplitude2[k] = g * g * power[k];
    }
    m_bFirstFrame = false;
    m_bDelaySet = true;
    m_frames.Synthesise(m_aGain.data(), m_aOut.data());
    for (int k = 0; k < hop; ++k)
      out[k] = RoundToInt16(m_aOut[k]);
  }

 private:
  static int FrameSizeFor(int sampleRate) {
    int n = 16;
    while (n < sampleRate * kFrameSeconds && n < 65536) n *= 2;
    return n;
  }

  CDSPSpectralFrames m_frames;
  CDSPNoiseSpectrumTracker m_tracker;
  std::vector<float> m_aGain;
  std::vector<float> m_aPrevAmplitude2;  // |estimated clean amplitude|^2 of the last frame
  std::vector<float> m_aIn;
  std::vector<float> m_aOut;
  bool m_bDelaySet = false;
  bool m_bFirstFrame = true;
};

struct SContext {
  std::unique_ptr<CEphraimMalahEstimator> estimator;  // absent until Init
};

// Contexts by handle. The lock guards the table only; a context is used by one thread.
struct SContextTable {
  std::mutex lock;
  std::map<int, SContext> contexts;
  int nextHandle = 1;
};

SContextTable& Table() {
  static SContextTable table;
  return table;
}

SContext* Find(int context) {
  SContextTable& t = Table();
  std::lock_guard guard(t.lock);
  auto it = t.contexts.find(context);
  return it == t.contexts.end() ? nullptr : &it->second;
}

}  // namespace

extern "C" {

int EphraimMalahGetContext(void) {
  SContextTable& t = Table();
  std::lock_guard guard(t.lock);
  if (t.nextHandle <= 0) return 0;
  const int handle = t.nextHandle++;
  t.contexts.emplace(handle, SContext{});
  return handle;
}

int EphraimMalahInit(int context, int sampleRate) {
  SContext* c = Find(context);
  if (!c || sampleRate <= 0) return 0;
  c->estimator = std::make_unique<CEphraimMalahEstimator>(sampleRate);
  return 1;
}

void EphraimMalahReleaseContext(int context) {
  SContextTable& t = Table();
  std::lock_guard guard(t.lock);
  t.contexts.erase(context);
}

int EphraimMalahGetFrameSize(int context) {
  SContext* c = Find(context);
  return c && c->estimator ? c->estimator->FrameSize() : 0;
}

int EphraimMalahDelaySet(int context) {
  SContext* c = Find(context);
  return c && c->estimator && c->estimator->DelaySet() ? 1 : 0;
}

void EphraimMalahSetDelayLine(int context, const short* samples, int count) {
  SContext* c = Find(context);
  if (!c || !c->estimator || !samples || count != c->estimator->FrameSize() / 2) return;
  c->estimator->SetDelayLine(samples);
}

void EphraimMalahRun(int context, const short* in, int count, short* out) {
  if (!out || count <= 0) return;
  SContext* c = Find(context);
  if (!c || !c->estimator || !in || count != c->estimator->FrameSize() / 2) {
    std::fill(out, out + count, static_cast<short>(0));
    return;
  }
  c->estimator->Run(in, out);
}

}
