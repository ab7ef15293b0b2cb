#pragma once
// Silence, then a linear fade-in, at the start of a stream of audio. The FM discriminator
// turns the start-up transient of the channel filter (its history fills from zeros, and the
// windowed sinc rings through zero, flipping the phase) into full-scale spikes; the audio
// that stands for those samples is held silent and the signal fades in after them.

#include <algorithm>

class CDSPStartFade
{
public:
    // The next silenceSamples samples become 0, the fadeSamples after them rise linearly.
    void Restart(int silenceSamples, int fadeSamples)
    {
        m_nSilence = std::max(0, silenceSamples);
        m_nFade = std::max(1, fadeSamples);
        m_nPosition = 0;
    }
    void Stop() { m_nPosition = m_nSilence + m_nFade; }
    bool IsActive() const { return m_nPosition < m_nSilence + m_nFade; }

    void Process(float* audio, int n)
    {
        for (int k = 0; k < n && IsActive(); ++k, ++m_nPosition) {
            const int intoFade = m_nPosition - m_nSilence;
            audio[k] *= intoFade < 0 ? 0.0f : static_cast<float>(intoFade) / static_cast<float>(m_nFade);
        }
    }

private:
    int m_nSilence = 0;
    int m_nFade = 1;
    int m_nPosition = 0;
};
