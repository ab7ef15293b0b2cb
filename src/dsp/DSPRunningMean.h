#pragma once
// Mean of the last N values fed in. The first value after a reset fills every entry, so the
// mean starts at that value instead of climbing up from zero.

#include <vector>

class CDSPRunningMean {
 public:
  explicit CDSPRunningMean(int entries = 20);

  // Adds value and returns the mean of the last N values.
  double Add(double value);
  void Reset() { m_bStarted = false; }

  double Mean() const { return m_dMean; }
  int Entries() const { return static_cast<int>(m_aValues.size()); }

 private:
  std::vector<double> m_aValues;
  double m_dSum = 0.0;
  double m_dMean = 0.0;
  int m_nIndex = 0;
  bool m_bStarted = false;
};
