#pragma once
// One-pole de-emphasis of the FM modes: y <- (1 - a) y + a x with a = 1 - exp(-1 / (tau fs)),
// output 2 y. The gain of two is deliberate: the FM modes' output levels are set with it.

class CFMDeemphasis
{
public:
    CFMDeemphasis() = default;
    // Time constant in microseconds at rateHz; enables the stage and clears its state.
    // Values of 0 or below leave it unchanged.
    void Init(double tauMicroseconds, double rateHz);
    void Process(float* io, int n);

    bool IsEnabled() const { return m_bEnabled; }
    float Alpha() const { return m_fAlpha; }
    double AlphaD() const { return m_dAlpha; }

private:
    bool m_bEnabled = false;
    float m_fAlpha = 0.0f;
    double m_dAlpha = 0.0;
    float m_fState = 0.0f;
};
