#include "dsp/DSPDemodulate.h"

#include "dsp/DSPGlobalFlags.h"
#include "dsp/DSPKernels.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {
constexpr int kScratchExtra = 65536;
constexpr int kBFMResamplerRateLimit = 192000;
// Decimate-by-2 low-passes of "FM-Broadcast": 250 kHz -> 125 kHz keeps 0 .. 40 kHz clean
// of aliases; 125 kHz -> 62.5 kHz keeps 0 .. 24 kHz (the audio band and the resampler's
// pass band) clean.
constexpr int kBFMDecimate1Taps = 31;
constexpr int kBFMDecimate2Taps = 51;
constexpr double kBFMDecimateCutoff = 0.25;
}  // namespace

CDSPDemodulate::CDSPDemodulate()
{
    const int audioTaps = g_bDSPReducedLoad.load(std::memory_order_relaxed) ? 99 : 299;
    m_deemphasisNFM.Init(530.0, 16000.0);
    m_deemphasisBFM.Init(50.0, 48000.0);
    m_fmHighPass.Design(0.015625, 299);
    m_fmLowPass.Design(0.25, audioTaps);
    m_bfmLowPass.Design(0.3125, audioTaps);
    m_spareLowPass.Design(0.3125, audioTaps);
    m_amHighPass.Design(0.0011337868480725624, audioTaps);
    m_bfmDecimate1.DesignLowPass(kBFMDecimateCutoff, kBFMDecimate1Taps);
    m_bfmDecimate2.DesignLowPass(kBFMDecimateCutoff, kBFMDecimate2Taps);
}

void CDSPDemodulate::SetUp(int mode, int ifRateHz)
{
    if (ifRateHz <= 0)
        return;
    m_nIFRate = ifRateHz;
    if (mode != m_nMode) {
        m_nMode = mode;
        m_nCarry = 0;
        m_tracker.ClearDisplay();
    }
    switch (mode) {
    case eDemodLSB:
    case eDemodUSB:
    case eDemodCWL:
    case eDemodCWU:
        m_sideband.Init(mode, ifRateHz);
        break;
    case eDemodWFM:
    case eDemodBFM: {
        // 2 pi as a 32-bit value, as the constants were always computed with it.
        const float k = 6.2831853071795862f / static_cast<float>(ifRateHz);
        m_aFMConstants[0] = -5000.0f * k;
        m_aFMConstants[1] = 5000.0f * k;
        m_aFMConstants[2] = 4242.0f * k;
        m_aFMConstants[3] = 10000.0f / (5000.0f * k);
        m_aFMConstants[4] = static_cast<float>((4242.0 * k) * (4242.0 * k) / 1.9993959999999997);
        m_aFMConstants[5] = static_cast<float>(1.0 - std::exp(-1.0 / (ifRateHz * 0.001)));
        if (mode == eDemodBFM && ifRateHz > kBFMResamplerRateLimit)
            m_bfmResampler.Init(ifRateHz / 4, 48000, false, 512, 512);
        break;
    }
    case eDemodECSS:
    case eDemodECSSL:
    case eDemodECSSU:
        m_tracker.Reset();
        m_ecssPll.Reset();
        break;
    default:
        break;
    }
}

int CDSPDemodulate::MaxOutputCount(int mode, int n) const
{
    switch (mode) {
    case eDemodLSB:
    case eDemodUSB:
    case eDemodCWL:
    case eDemodCWU:
        return m_sideband.MaxOutputCount(n);
    case eDemodWUSB:
        return 0;
    case eDemodBFM:
        return m_nIFRate > kBFMResamplerRateLimit ? m_bfmResampler.MaxOutputCount((n + 3) / 4) : (n + 3) / 4;
    default:
        return std::max(n, 0);
    }
}

double CDSPDemodulate::Delay(int mode) const
{
    switch (mode) {
    case eDemodLSB:
    case eDemodUSB:
    case eDemodCWL:
    case eDemodCWU:
        return m_sideband.Delay();
    case eDemodNFM:
        return m_fmHighPass.Delay() + m_fmLowPass.Delay();
    case eDemodBFM: {
        // The decimators' delays in seconds, at the 48,000 Hz output, plus the low-pass.
        if (m_nIFRate <= 0)
            return 0.0;
        const double seconds = (m_bfmDecimate1.Delay() + 2.0 * m_bfmDecimate2.Delay()) / m_nIFRate;
        return seconds * 48000.0 + m_bfmLowPass.Delay();
    }
    case eDemodSAM:
    case eDemodECSS:
    case eDemodECSSL:
    case eDemodECSSU:
        return m_amHighPass.Delay();
    default:
        return 0.0;
    }
}

void CDSPDemodulate::EnsureScratch(int n)
{
    const std::size_t needed = static_cast<std::size_t>(n) + 4;
    if (m_aScratchA.size() >= needed)
        return;
    const std::size_t size = static_cast<std::size_t>(n) + kScratchExtra;
    m_aScratchA.Resize(size);
    m_aScratchB.Resize(size);
    m_aScratchC.Resize(size);
    m_aScratchD.Resize(size);
}

void CDSPDemodulate::Discriminate(const std::complex<float>* in, int n, float* out)
{
    // The phase step between successive samples: arg(z[k] * conj(z[k-1])).
    EnsureScratch(n);
    float* re = m_aScratchC.data();
    float* im = m_aScratchD.data();
    const float* z = reinterpret_cast<const float*>(in);
    re[0] = z[0] * m_prevSample.real() + z[1] * m_prevSample.imag();
    im[0] = z[1] * m_prevSample.real() - z[0] * m_prevSample.imag();
    for (int k = 1; k < n; ++k) {
        const float i = z[2 * k], q = z[2 * k + 1];
        const float ip = z[2 * k - 2], qp = z[2 * k - 1];
        re[k] = i * ip + q * qp;
        im[k] = q * ip - i * qp;
    }
    Atan2Block(im, re, out, n);
    m_prevSample = in[n - 1];
}

int CDSPDemodulate::DemodulateBFM(const std::complex<float>* in, int n, float* out)
{
    EnsureScratch(n + 3);
    float* pcm = m_aScratchA.data();
    std::copy(m_aCarry, m_aCarry + m_nCarry, pcm);
    Discriminate(in, n, pcm + m_nCarry);
    const int total = m_nCarry + n;
    const int used = total & ~3;
    m_nCarry = total - used;
    std::copy(pcm + used, pcm + total, m_aCarry);

    // Two low-pass + keep-the-even-samples stages: 250 kHz -> 62.5 kHz.
    m_bfmDecimate1.Process(pcm, used);
    for (int i = 0; i < used / 2; ++i)
        pcm[i] = pcm[2 * i];
    m_bfmDecimate2.Process(pcm, used / 2);
    const int quarter = used / 4;
    int produced = 0;
    if (m_nIFRate > kBFMResamplerRateLimit) {
        for (int i = 0; i < quarter; ++i)
            pcm[i] = pcm[2 * i];
        produced = m_bfmResampler.Process(pcm, quarter, out);
    } else {
        for (int i = 0; i < quarter; ++i)
            out[i] = pcm[2 * i];
        produced = quarter;
    }
    if (produced > 0) {
        for (int i = 0; i < produced; ++i)
            out[i] *= kBFMGain;
        m_bfmLowPass.Process(out, produced);
        m_deemphasisBFM.Process(out, produced);
    }
    return produced;
}

int CDSPDemodulate::Demodulate(int mode, const std::complex<float>* in, int n, float tune1, float tune2, float* out)
{
    if (n <= 0 || !in || !out)
        return 0;
    if (mode != m_nMode || tune1 != m_fTune1 || tune2 != m_fTune2) {
        m_nMode = mode;
        m_fTune1 = tune1;
        m_fTune2 = tune2;
        m_nCarry = 0;
        m_tracker.ClearDisplay();
    }
    const float* z = reinterpret_cast<const float*>(in);
    switch (mode) {
    case eDemodLSB:
    case eDemodUSB:
    case eDemodCWL:
    case eDemodCWU:
        m_sideband.Init(mode, m_nIFRate);
        return m_sideband.Process(in, n, out);
    case eDemodDSB:
        for (int k = 0; k < n; ++k)
            out[k] = 2.0f * z[2 * k];
        return n;
    case eDemodWUSB:
        // Deliberately silent: the mode is listed, but it has never produced audio.
        return 0;
    case eDemodAM: {
        MagnitudeBlock(z, out, n);
        float s = m_fDCState;
        for (int k = 0; k < n; ++k) {
            const float next = 0.995f * s + 0.5f * out[k];
            out[k] = next - s;
            s = next;
        }
        m_fDCState = s;
        return n;
    }
    case eDemodNFM:
        Discriminate(in, n, out);
        m_fmHighPass.Process(out, n);
        m_deemphasisNFM.Process(out, n);
        m_fmLowPass.Process(out, n);
        for (int k = 0; k < n; ++k)
            out[k] *= kNFMGain;
        return n;
    case eDemodWFM:
        Discriminate(in, n, out);
        for (int k = 0; k < n; ++k)
            out[k] *= kWFMGain;
        return n;
    case eDemodBFM:
        return DemodulateBFM(in, n, out);
    case eDemodSAM:
        m_pll.Process(in, n, out);
        m_amHighPass.Process(out, n);
        return n;
    case eDemodECSS:
        // Both sidebands: the audio is I only while the carrier lies on the I axis. The
        // tracker pulls the tuning to the carrier's frequency; the loop holds its phase, or
        // the audio would fade in and out with the residual offset.
        m_ecssPll.Process(in, n, out);
        m_amHighPass.Process(out, n);
        return n;
    case eDemodECSSL:
    case eDemodECSSU:
        // One sideband: I is the audio whatever the carrier's phase.
        for (int k = 0; k < n; ++k)
            out[k] = z[2 * k];
        m_amHighPass.Process(out, n);
        return n;
    case eDemodDataL:
    case eDemodDataU:
    case eDemodWideL:
    case eDemodWideU:
        for (int k = 0; k < n; ++k)
            out[k] = z[2 * k];
        return n;
    default:
        return 0;
    }
}
