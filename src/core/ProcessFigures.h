#pragma once
// Process and machine figures: processors, physical memory, this process's private memory
// and its peak, and CPU time consumed.

#include <cstdint>

// Processors this process may run on (sched_getaffinity), at least 1.
int ProcessorCount();
// FFT worker count: processors - 1, at least 1.
int UsableProcessors();
// Physical memory of the machine in bytes (/proc/meminfo MemTotal).
std::uint64_t PhysicalMemoryBytes();
// Memory the machine can give without swapping, in bytes (/proc/meminfo MemAvailable).
std::uint64_t AvailableMemoryBytes();
// This process's private memory now and at its peak, in bytes (/proc/self/status).
std::uint64_t PrivateMemoryBytes();
std::uint64_t PeakPrivateMemoryBytes();
// User plus kernel CPU time consumed by this process so far, in seconds.
double ProcessCpuSeconds();
