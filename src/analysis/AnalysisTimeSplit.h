#pragma once
// CAnalysisTimeSplit: where a run's time goes, stage by stage, summed over the threads
// that do each stage: reading the files, forwarding blocks, converting and windowing the
// samples, the transforms, the levels and applying the rows to the picture. The run logs it
// when it finishes ("Time split: ..."); the figures are thread time, so on several cores
// they add up to more than the run's own duration.

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

class CAnalysisTimeSplit {
 public:
  enum EStage { READ, FORWARD, CONVERT, FFT, LEVELS, ROWS, kStages };

  void Reset() {
    for (auto& n : m_anNanoseconds) n.store(0, std::memory_order_relaxed);
  }
  void Add(EStage eStage, std::chrono::steady_clock::duration d) {
    m_anNanoseconds[eStage].fetch_add(std::chrono::duration_cast<std::chrono::nanoseconds>(d).count(),
                                      std::memory_order_relaxed);
  }
  double Seconds(EStage eStage) const {
    return static_cast<double>(m_anNanoseconds[eStage].load(std::memory_order_relaxed)) / 1e9;
  }
  // "read 0.12 s, forward 0.01 s, convert 0.10 s, FFT 0.61 s, levels 0.09 s, rows 0.15 s"
  std::string Text() const;

  // Adds the time from its making to its end (or to the next Lap) to a stage.
  class CTimer {
   public:
    explicit CTimer(CAnalysisTimeSplit* pSplit) : m_pSplit(pSplit), m_t(std::chrono::steady_clock::now()) {}
    ~CTimer() {
      if (m_pSplit && m_eStage != kStages) Lap(m_eStage);
    }
    CTimer(const CTimer&) = delete;
    CTimer& operator=(const CTimer&) = delete;
    // The time since the last lap goes to eStage.
    void Lap(EStage eStage) {
      const auto t = std::chrono::steady_clock::now();
      if (m_pSplit) m_pSplit->Add(eStage, t - m_t);
      m_t = t;
    }
    // The time from here to the end goes to eStage.
    void Until(EStage eStage) { m_eStage = eStage; }

   private:
    CAnalysisTimeSplit* m_pSplit;
    std::chrono::steady_clock::time_point m_t;
    EStage m_eStage = kStages;
  };

 private:
  std::array<std::atomic<std::int64_t>, kStages> m_anNanoseconds{};
};
