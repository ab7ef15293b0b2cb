#include "analysis/HeadlessAnalysis.h"

#include <chrono>

CHeadlessAnalysis::CHeadlessAnalysis(CMySettingsStore& settings, int nFFTWorkers, int nFFTPriority)
    : m_bCreated(m_pool.Create(&m_queue, nFFTWorkers, nFFTPriority)), m_run(m_pool, settings, m_queue, m_queue) {}

CHeadlessAnalysis::~CHeadlessAnalysis() { PumpPending(); }

void CHeadlessAnalysis::Handle(CMessage& msg) {
  if (!WriteIfLogMessage(msg)) m_run.HandleMessage(msg);
}

void CHeadlessAnalysis::PumpPending() {
  m_queue.PumpPending([this](CMessage& msg) { Handle(msg); });
}

void CHeadlessAnalysis::PumpUntilFinished(const std::atomic<bool>* pbAbort, const std::function<void()>& onTick,
                                          bool bReturnOnAbort) {
  using namespace std::chrono;
  constexpr auto kTimer = milliseconds(100);
  auto tNextTick = steady_clock::now() + kTimer;
  bool bAbortSent = false;
  bool bForwardsDropped = false;
  bool bBlocksDropped = false;
  while (m_run.IsBusy()) {
    if (pbAbort && pbAbort->load() && !bAbortSent) {
      bAbortSent = true;
      m_run.RequestAbort();
    }
    if (bReturnOnAbort && m_run.IsAborting() && !bForwardsDropped) {
      m_run.DropQueuedForwards();
      bForwardsDropped = true;
    }
    if (bReturnOnAbort && m_run.IsAborting() && m_run.ForwarderIdle()) {
      // The forwarder forwards nothing after the abort; what the workers have not begun
      // beyond the rows computed so far is dropped, the rest is waited for.
      if (!bBlocksDropped) {
        PumpPending();
        m_run.DropBlocksBeyondComputedRows();
        bBlocksDropped = true;
      }
      if (m_run.WorkersIdle()) {
        PumpPending();
        return;
      }
    }
    const auto tNow = steady_clock::now();
    const auto wait = tNextTick > tNow ? duration_cast<milliseconds>(tNextTick - tNow) : milliseconds(0);
    if (auto msg = m_queue.Wait(wait)) Handle(*msg);
    if (steady_clock::now() >= tNextTick) {
      tNextTick += kTimer;
      if (steady_clock::now() > tNextTick) tNextTick = steady_clock::now() + kTimer;
      m_run.OnTimer();
      if (onTick) onTick();
    }
  }
  PumpPending();
}
