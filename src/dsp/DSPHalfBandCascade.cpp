#include "dsp/DSPHalfBandCascade.h"

#include "dsp/DSPGlobalFlags.h"
#include "dsp/DSPKernels.h"

#include <cstring>

namespace {
// Prototypes from the outer tap to the centre; the odd taps are zero and the rest mirror.
constexpr float kHalf59[15] = {6.16264572e-07f,  -5.14058229e-06f, 2.47943317e-05f, -8.89856019e-05f,
                               0.000261877954f,  -0.000665016763f, 0.00150394882f,  -0.00309654092f,
                               0.00590558583f,   -0.0105953896f,   0.018181514f,    -0.0305062681f,
                               0.0519958176f,    -0.0986750424f,   0.315758228f};
constexpr float kHalf19[5] = {0.000357066863f, -0.00367893977f, 0.0189055372f, -0.0694631711f, 0.303879499f};

template <std::size_t N, std::size_t H>
std::array<float, N> Expand(const float (&outer)[H])
{
    std::array<float, N> taps{};
    for (std::size_t i = 0; i < H; ++i) {
        taps[2 * i] = outer[i];
        taps[N - 1 - 2 * i] = outer[i];
    }
    taps[(N - 1) / 2] = 0.5f;
    return taps;
}

// Samples processed per pass through a stage; bounds the stage buffers.
constexpr int kStagePiece = 4096;
}  // namespace

const std::array<float, 59>& CDSPHalfBandCascade::Prototype59()
{
    static const std::array<float, 59> taps = Expand<59>(kHalf59);
    return taps;
}

const std::array<float, 19>& CDSPHalfBandCascade::Prototype19()
{
    static const std::array<float, 19> taps = Expand<19>(kHalf19);
    return taps;
}

int CDSPHalfBandCascade::Plan(float ratio, int inRateHz)
{
    int decimation = 4096;
    while (decimation > 0 && !(ratio / static_cast<float>(decimation) > 1.0f))
        decimation /= 2;
    m_nStages = 0;
    m_nDecimation = 1;
    for (SStage& stage : m_aStages)
        stage = SStage{};
    if (decimation <= 1)
        return m_nDecimation;

    m_nDecimation = decimation;
    while ((1 << m_nStages) < decimation)
        ++m_nStages;
    const bool bReduced = g_bDSPReducedLoad.load(std::memory_order_relaxed);
    const int last = m_nStages - 1;
    // Walk from the last (lowest-rate) stage to the first: the sharp 59-tap filter is
    // needed only where the band edge is close to the output's Nyquist frequency.
    for (int index = last, visited = 0; index >= 0; --index, ++visited) {
        const int stageRate = inRateHz >> index;
        const bool bSimple = (visited > 2 && index <= (bReduced ? 3 : 1)) || (stageRate > 100000 && index < last - 1);
        SetupStage(index, bSimple ? 4 : ((visited < 3 && !bReduced) ? 59 : 19));
    }
    return m_nDecimation;
}

int CDSPHalfBandCascade::PlanStages(const std::vector<int>& stageTaps)
{
    m_nStages = 0;
    m_nDecimation = 1;
    for (SStage& stage : m_aStages)
        stage = SStage{};
    if (stageTaps.size() > static_cast<std::size_t>(kMaxStages))
        return m_nDecimation;
    for (const int taps : stageTaps)
        if (taps != 4 && taps != 19 && taps != 59)
            return m_nDecimation;
    m_nStages = static_cast<int>(stageTaps.size());
    m_nDecimation = 1 << m_nStages;
    for (int index = 0; index < m_nStages; ++index)
        SetupStage(index, stageTaps[static_cast<std::size_t>(index)]);
    return m_nDecimation;
}

void CDSPHalfBandCascade::SetupStage(int index, int taps)
{
    SStage& stage = m_aStages[static_cast<std::size_t>(index)];
    stage.bSimple = taps == 4;
    if (stage.bSimple)
        return;
    stage.nTaps = taps;
    const float* prototype = taps == 59 ? Prototype59().data() : Prototype19().data();
    const int evenTaps = (taps + 1) / 2;
    stage.aEvenTaps.resize(static_cast<std::size_t>(evenTaps));
    for (int m = 0; m < evenTaps; ++m)
        stage.aEvenTaps[static_cast<std::size_t>(m)] = prototype[2 * m];  // symmetric: reversed = same
    stage.aEven.Resize(static_cast<std::size_t>(evenTaps - 1 + kStagePiece / 2 + 1));
    stage.aOdd.Resize(static_cast<std::size_t>(evenTaps - 1 + kStagePiece / 2 + 1));
}

int CDSPHalfBandCascade::StageTaps(int index) const
{
    const SStage& stage = m_aStages[static_cast<std::size_t>(index)];
    return stage.bSimple ? 4 : stage.nTaps;
}

double CDSPHalfBandCascade::Delay() const
{
    // A stage's output o is its input around 2o - d: d = 29 or 9 for the half-bands (their
    // centre tap) and 0.5 for the binomial filter (centre of its four inputs).
    double delay = 0.0;
    for (int index = 0; index < m_nStages; ++index) {
        const SStage& stage = m_aStages[static_cast<std::size_t>(index)];
        const double d = stage.bSimple ? 0.5 : (stage.nTaps - 1) / 2.0;
        delay += d * (1 << index);
    }
    return delay;
}

int CDSPHalfBandCascade::RunStage(SStage& stage, const std::complex<float>* in, int n, std::complex<float>* out)
{
    int produced = 0;
    int k = 0;
    if (stage.bHavePending && n > 0) {
        // complete the pair left over from the previous call
        const std::complex<float> pair[2] = {stage.pending, in[0]};
        stage.bHavePending = false;
        produced += RunStage(stage, pair, 2, out);
        k = 1;
    }
    const int pairs = (n - k) / 2;
    if (stage.bSimple) {
        std::complex<float> p0 = stage.prev[0];
        std::complex<float> p1 = stage.prev[1];
        const float* x = reinterpret_cast<const float*>(in + k);
        float* y = reinterpret_cast<float*>(out + produced);
        // y[i] = (x[2i-2] + 3 x[2i-1] + 3 x[2i] + x[2i+1]) / 8, the first from the state
        if (pairs > 0) {
            const std::complex<float> a = in[k], b = in[k + 1];
            out[produced] = (p0 + 3.0f * p1 + 3.0f * a + b) * 0.125f;
        }
        for (int i = 1; i < pairs; ++i)
            for (int c = 0; c < 2; ++c)
                y[2 * i + c] = (x[4 * i - 4 + c] + 3.0f * x[4 * i - 2 + c] + 3.0f * x[4 * i + c] + x[4 * i + 2 + c]) * 0.125f;
        if (pairs > 0) {
            p0 = in[k + 2 * pairs - 2];
            p1 = in[k + 2 * pairs - 1];
        }
        stage.prev[0] = p0;
        stage.prev[1] = p1;
        produced += pairs;
    } else {
        const int evenTaps = static_cast<int>(stage.aEvenTaps.size());
        const int history = evenTaps - 1;
        const int centre = (stage.nTaps - 3) / 4;  // the odd stream's sample under the centre tap
        for (int done = 0; done < pairs;) {
            const int piece = std::min(kStagePiece / 2, pairs - done);
            std::complex<float>* even = stage.aEven.data();
            std::complex<float>* odd = stage.aOdd.data();
            const std::complex<float>* src = in + k + 2 * done;
            for (int i = 0; i < piece; ++i) {
                even[history + i] = src[2 * i];
                odd[history + i] = src[2 * i + 1];
            }
            std::complex<float>* dst = out + produced;
            FIRCorrelate(reinterpret_cast<const float*>(even), stage.aEvenTaps.data(), evenTaps, 2,
                         reinterpret_cast<float*>(dst), 2 * piece);
            for (int i = 0; i < piece; ++i)
                dst[i] += 0.5f * odd[centre + i];
            std::memmove(static_cast<void*>(even), even + piece, static_cast<std::size_t>(history) * sizeof(*even));
            std::memmove(static_cast<void*>(odd), odd + piece, static_cast<std::size_t>(history) * sizeof(*odd));
            produced += piece;
            done += piece;
        }
    }
    if ((n - k) % 2 != 0) {
        stage.pending = in[n - 1];
        stage.bHavePending = true;
    }
    return produced;
}

int CDSPHalfBandCascade::Process(const std::complex<float>* in, int n, std::complex<float>* out)
{
    if (n <= 0)
        return 0;
    if (m_nStages == 0) {
        std::memmove(static_cast<void*>(out), in, static_cast<std::size_t>(n) * sizeof(*in));
        return n;
    }
    const std::size_t needed = static_cast<std::size_t>(n / 2 + 1);
    for (auto& scratch : m_aScratch)
        if (scratch.size() < needed)
            scratch.Resize(needed);
    const std::complex<float>* src = in;
    int count = n;
    for (int index = 0; index < m_nStages; ++index) {
        std::complex<float>* dst = index == m_nStages - 1 ? out : m_aScratch[index % 2].data();
        count = RunStage(m_aStages[static_cast<std::size_t>(index)], src, count, dst);
        src = dst;
    }
    return count;
}
