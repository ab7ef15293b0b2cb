#pragma once
// How the FM and the other squelch apply their decision to a block: the block in which the
// squelch opens fades in (sample k times k/n) and the one in which it closes fades out
// (times (n - k)/n), so that no click is heard; a block that stays muted is silenced and one
// that stays open is left alone.

#include <algorithm>

inline void ApplySquelchFade(float* audio, int n, bool wasMuted, bool muted)
{
    const float fn = static_cast<float>(n);
    if (wasMuted && !muted) {
        for (int k = 0; k < n; ++k)
            audio[k] *= static_cast<float>(k) / fn;
    } else if (!wasMuted && muted) {
        for (int k = 0; k < n; ++k)
            audio[k] *= static_cast<float>(n - k) / fn;
    } else if (muted) {
        std::fill(audio, audio + n, 0.0f);
    }
}
