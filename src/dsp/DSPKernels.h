#pragma once
// The chain's inner loops, written once and compiled for the processor at run time (a
// plain x86-64-v2 build and an AVX2/FMA build, chosen by the loader on first call), as the
// signal-processing library they replace did. Everything else calls these instead of
// writing its own per-sample loops over long filters.
//
// All pointers must not overlap unless said otherwise.

// FIR by correlation: y[i] = sum over j < taps of h[j] * x[i + j*stride], i = 0 .. n-1.
// With h holding the taps in reverse order this is the usual convolution. stride 1 filters
// real samples; stride 2 filters interleaved complex samples (float pairs) with real taps,
// n then counting floats (2 per complex sample).
void FIRCorrelate(const float* x, const float* h, int taps, int stride, float* y, int n);

// sum over k < n of a[k] * b[k].
float DotProduct(const float* a, const float* b, int n);

// Sums of a[k] * b[k] over the even k and over the odd k of 0 .. n-1 (n even): a complex
// signal (interleaved) weighted by real weights given twice each.
void DotProductPairs(const float* a, const float* b, int n, float& even, float& odd);

// out[k] = a[k] * b[k] for n interleaved complex samples; out may be a.
void ComplexMultiply(const float* a, const float* b, float* out, int n);

// out[k] = atan2(y[k], x[k]) for n values, within 5e-7 rad of the exact value; 0 for 0/0.
void Atan2Block(const float* y, const float* x, float* out, int n);

// out[k] = |z[k]| for n interleaved complex samples.
void MagnitudeBlock(const float* z, float* out, int n);
