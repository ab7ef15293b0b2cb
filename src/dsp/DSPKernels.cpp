#include "dsp/DSPKernels.h"

#include <algorithm>
#include <cmath>

#include "dsp/KernelTargets.h"

// Each kernel is built for the baseline processor and for AVX2 with FMA (KernelTargets.h).
// The loops are written in the shapes GCC turns into vector code: fixed-width blocks of
// independent accumulators (no reassociation of one sum is needed) and branch-free bodies.

VEXLOR_KERNEL
void FIRCorrelate(const float* x, const float* h, int taps, int stride, float* y, int n)
{
    constexpr int kBlock = 16;
    int i = 0;
    for (; i + kBlock <= n; i += kBlock) {
        float acc[kBlock] = {};
        const float* xp = x + i;
        for (int j = 0; j < taps; ++j) {
            const float hj = h[j];
            const float* xj = xp + j * stride;
            for (int e = 0; e < kBlock; ++e)
                acc[e] += hj * xj[e];
        }
        for (int e = 0; e < kBlock; ++e)
            y[i + e] = acc[e];
    }
    for (; i < n; ++i) {
        float acc = 0.0f;
        for (int j = 0; j < taps; ++j)
            acc += h[j] * x[i + j * stride];
        y[i] = acc;
    }
}

VEXLOR_KERNEL
float DotProduct(const float* a, const float* b, int n)
{
    constexpr int kBlock = 16;
    float acc[kBlock] = {};
    int k = 0;
    for (; k + kBlock <= n; k += kBlock)
        for (int e = 0; e < kBlock; ++e)
            acc[e] += a[k + e] * b[k + e];
    float sum = 0.0f;
    for (int e = 0; e < kBlock; ++e)
        sum += acc[e];
    for (; k < n; ++k)
        sum += a[k] * b[k];
    return sum;
}

VEXLOR_KERNEL
void DotProductPairs(const float* a, const float* b, int n, float& even, float& odd)
{
    constexpr int kBlock = 16;
    float acc[kBlock] = {};
    int k = 0;
    for (; k + kBlock <= n; k += kBlock)
        for (int e = 0; e < kBlock; ++e)
            acc[e] += a[k + e] * b[k + e];
    float sumEven = 0.0f;
    float sumOdd = 0.0f;
    for (int e = 0; e < kBlock; e += 2) {
        sumEven += acc[e];
        sumOdd += acc[e + 1];
    }
    for (; k + 1 < n; k += 2) {
        sumEven += a[k] * b[k];
        sumOdd += a[k + 1] * b[k + 1];
    }
    even = sumEven;
    odd = sumOdd;
}

VEXLOR_KERNEL
void ComplexMultiply(const float* a, const float* b, float* out, int n)
{
    for (int k = 0; k < n; ++k) {
        const float ar = a[2 * k];
        const float ai = a[2 * k + 1];
        const float br = b[2 * k];
        const float bi = b[2 * k + 1];
        out[2 * k] = ar * br - ai * bi;
        out[2 * k + 1] = ar * bi + ai * br;
    }
}

VEXLOR_KERNEL
void Atan2Block(const float* y, const float* x, float* out, int n)
{
    // atan(a) = a * P(a^2) on 0 <= a <= 1, a least-squares fit within 1e-8 rad; the octant
    // is restored by selects, so the loop has no branches.
    constexpr float c0 = 0.999999908f, c1 = -0.333326693f, c2 = 0.199866996f, c3 = -0.141653547f,
                    c4 = 0.105107177f, c5 = -0.072543538f, c6 = 0.0399682485f, c7 = -0.0144977938f,
                    c8 = 0.00247741131f;
    constexpr float kHalfPi = 1.57079632679489662f;
    constexpr float kPi = 3.14159265358979324f;
    for (int k = 0; k < n; ++k) {
        const float xv = x[k];
        const float yv = y[k];
        const float ax = std::fabs(xv);
        const float ay = std::fabs(yv);
        const float hi = std::max(ax, ay);
        const float lo = std::min(ax, ay);
        const float a = lo / std::max(hi, 1e-30f);
        const float s = a * a;
        float p = c8;
        p = p * s + c7;
        p = p * s + c6;
        p = p * s + c5;
        p = p * s + c4;
        p = p * s + c3;
        p = p * s + c2;
        p = p * s + c1;
        p = p * s + c0;
        float r = a * p;
        const float swapped = ay > ax ? 1.0f : 0.0f;
        r += swapped * (kHalfPi - 2.0f * r);
        const float left = xv < 0.0f ? 1.0f : 0.0f;
        r += left * (kPi - 2.0f * r);
        out[k] = std::copysign(r, yv);
    }
}

VEXLOR_KERNEL
void MagnitudeBlock(const float* z, float* out, int n)
{
    for (int k = 0; k < n; ++k) {
        const float re = z[2 * k];
        const float im = z[2 * k + 1];
        out[k] = std::sqrt(re * re + im * im);
    }
}
