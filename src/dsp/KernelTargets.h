#pragma once
// Run-time choice of a kernel's instruction set. The engine is built for any x86-64
// processor; a function marked VEXLOR_KERNEL is built twice, for the baseline and for
// AVX2 with FMA, and the dynamic loader picks one on its first call. The thread
// sanitizer's runtime is not ready when the loader runs the clone resolvers, so that build
// keeps the baseline only.

#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__) && !defined(__SANITIZE_THREAD__)
#define VEXLOR_KERNEL __attribute__((target_clones("arch=x86-64-v3", "default")))
#else
#define VEXLOR_KERNEL
#endif
