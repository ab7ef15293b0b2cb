#pragma once
// Demodulation mode numbers (the key used in settings, the player's list and the chain)
// and the mode groups the stages test. The names and rates of the modes live with the
// chain's mode table.

enum EDemodMode : int
{
    eDemodLSB = 0,
    eDemodUSB = 1,
    eDemodDSB = 2,
    eDemodWUSB = 3,
    eDemodCWL = 4,
    eDemodCWU = 5,
    eDemodAM = 6,
    eDemodNFM = 7,   // "FM-Narrow (Voice)"
    eDemodWFM = 8,   // "FM-Wide (Data)"
    eDemodBFM = 9,   // "FM-Broadcast"
    eDemodSAM = 10,  // "Sync. AM"
    eDemodECSS = 11,
    eDemodECSSL = 12,
    eDemodECSSU = 13,
    eDemodDataL = 14,
    eDemodDataU = 15,
    eDemodWideL = 16,
    eDemodWideU = 17,
    eDemodModeCount = 18,
};

constexpr bool IsSidebandMode(int mode) { return mode >= eDemodLSB && mode <= eDemodCWU; }
constexpr bool IsCWMode(int mode) { return mode == eDemodCWL || mode == eDemodCWU; }
constexpr bool IsFMMode(int mode) { return mode >= eDemodNFM && mode <= eDemodBFM; }
constexpr bool IsECSSMode(int mode) { return mode >= eDemodECSS && mode <= eDemodECSSU; }
