#pragma once
// The down-converter's oscillator: mixes complex samples with exp(-j 2 pi f k / R) read
// from a table that holds one period of the phase sequence, found once per offset change.
//
// The table holds L phases (1,000,000, or 100,000 with the reduced-load flag) of the
// sequence phi0 - k*omega; its period P is the entry from 2048 on whose phase comes closest
// back to phi0, so reading it cyclically repeats the mixing sequence with a phase error of
// that closest distance once per P samples. The complex entries are computed while they
// are first used.

#include "dsp/AlignedVector.h"

#include <complex>

class CDSPTableOscillator
{
public:
    CDSPTableOscillator() = default;
    CDSPTableOscillator(CDSPTableOscillator&&) noexcept = default;
    CDSPTableOscillator& operator=(CDSPTableOscillator&&) noexcept = default;

    // out[k] = in[k] * exp(j theta[k]); out may equal in.
    void Mix(const std::complex<float>* in, std::complex<float>* out, int n, double offsetHz, int inRateHz);

    // Forgets the running phase (the down-converter does so when the rates change).
    void ResetPhase() { m_dRunningPhase = 0.0; }
    double RunningPhase() const { return m_dRunningPhase; }
    int Period() const { return m_nPeriod; }
    int TableLength() const { return m_nTableLength; }

private:
    void BuildTable(double offsetHz, double omega);

    double m_dRunningPhase = 0.0;  // radians, fmod(start - n*omega, 2 pi) after each block
    double m_dOffsetHz = 0.0;
    int m_nRateHz = 0;
    bool m_bHaveOffset = false;
    int m_nTableLength = 0;
    int m_nAllocatedLength = 0;
    CAlignedVector<double> m_aPhases;
    CAlignedVector<float> m_aPhasesF;
    CAlignedVector<std::complex<float>> m_aTable;
    int m_nPeriod = 0;
    int m_nPosition = 0;
    int m_nFilled = 0;  // complex entries computed so far; the table is complete at m_nPeriod
};
