#pragma once
// CImageRows: the rows of one analysis picture, as four parallel arrays indexed by row
// number (0 = first row of the run). They are what the picture draws from, what a project
// file stores per row ("Data", "Size", "Time", "Flag") and what the signal history reads.

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

class CImageRows {
 public:
  // Flag word of every row produced by an analysis.
  static constexpr std::uint32_t kFlagAnalysed = 1;

  // Levels in dB per pixel column; m_anWidths[r] == m_aLines[r].size() always holds.
  std::vector<std::vector<float>> m_aLines;
  std::vector<std::uint32_t> m_anWidths;
  // Whole seconds after the start of the analysed range.
  std::vector<std::uint32_t> m_anTimes;
  std::vector<std::uint32_t> m_anFlags;

  std::size_t Count() const { return m_aLines.size(); }
  bool Empty() const { return m_aLines.empty(); }

  void Clear() {
    m_aLines.clear();
    m_anWidths.clear();
    m_anTimes.clear();
    m_anFlags.clear();
  }

  void Append(std::vector<float> line, std::uint32_t nTime, std::uint32_t nFlag = kFlagAnalysed) {
    m_anWidths.push_back(static_cast<std::uint32_t>(line.size()));
    m_anTimes.push_back(nTime);
    m_anFlags.push_back(nFlag);
    m_aLines.push_back(std::move(line));
  }

  bool operator==(const CImageRows&) const = default;
};
