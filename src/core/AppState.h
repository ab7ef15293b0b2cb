#pragma once
// The few application-wide values, kept in one visible place.

#include <atomic>

namespace AppState {

// Set when closing begins: from then on no worker logs, changes priority, reports its
// queue or queues new FFT work.
inline std::atomic<bool> bShuttingDown{false};

// The queue-size diagnostic reports (RegMsgSDR::nMsgQueueSize) are off unless turned on.
inline std::atomic<bool> bQueueDiagnostics{false};

}  // namespace AppState
