#pragma once
// Decimation by a power of two (up to 4096) in half-band stages, the first step of the
// down-converter's rate reduction.
//
// Stage k runs at input rate / 2^k. The last (lowest-rate) three stages use the 59-tap
// half-band prototype, earlier ones the 19-tap prototype (all 19-tap with the reduced-load
// flag); early high-rate stages whose aliases fall where later stages remove them anyway
// use the 4-tap binomial filter (1 3 3 1)/8, which costs almost nothing at the full
// recording rate.

#include "dsp/AlignedVector.h"

#include <array>
#include <complex>
#include <vector>

class CDSPHalfBandCascade
{
public:
    static constexpr int kMaxStages = 12;

    CDSPHalfBandCascade() = default;
    CDSPHalfBandCascade(CDSPHalfBandCascade&&) noexcept = default;
    CDSPHalfBandCascade& operator=(CDSPHalfBandCascade&&) noexcept = default;

    // Plans for the ratio q = input rate / output rate and returns the decimation D: the
    // largest power of two from 4096 down with q / D above 1.0 (1 when none, no stages).
    // inRateHz decides which early stages use the binomial filter. Resets all states.
    int Plan(float ratio, int inRateHz);
    // Plans one stage per entry, in order from the input rate down, each with the filter
    // named by its tap count: 4 (the binomial filter), 19 or 59. Returns the decimation
    // 2^stages (1, no stage, for an empty list or any other tap count). Resets all states.
    int PlanStages(const std::vector<int>& stageTaps);

    // Decimates n samples (any count; a stage keeps an odd sample for the next call);
    // writes the outputs to out and returns their count (about n / D).
    int Process(const std::complex<float>* in, int n, std::complex<float>* out);

    int Decimation() const { return m_nDecimation; }
    int StageCount() const { return m_nStages; }
    int LastStageIndex() const { return m_nStages - 1; }
    bool IsSimpleStage(int index) const { return m_aStages[index].bSimple; }
    int StageTaps(int index) const;
    // Output sample m is the input signal at input position D * m - Delay().
    double Delay() const;

    static const std::array<float, 59>& Prototype59();
    static const std::array<float, 19>& Prototype19();

private:
    struct SStage
    {
        bool bSimple = false;
        int nTaps = 0;                 // 59 or 19 when not simple
        std::vector<float> aEvenTaps;  // the (taps + 1) / 2 taps at even positions, reversed
        std::complex<float> prev[2];   // binomial state: the two previous inputs
        CAlignedVector<std::complex<float>> aEven;  // half-band: even-position input stream
        CAlignedVector<std::complex<float>> aOdd;   // and odd-position input stream, each with history
        bool bHavePending = false;                  // an odd input waiting for its partner
        std::complex<float> pending;
    };

    void SetupStage(int index, int taps);
    int RunStage(SStage& stage, const std::complex<float>* in, int n, std::complex<float>* out);

    std::array<SStage, kMaxStages> m_aStages;
    int m_nStages = 0;
    int m_nDecimation = 1;
    CAlignedVector<std::complex<float>> m_aScratch[2];
};
