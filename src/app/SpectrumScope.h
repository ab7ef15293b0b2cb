#pragma once
// CSpectrumScope: the player's spectrum scope. It draws the newest spectrum of a spectrum
// tap (the channel around the tuned frequency) as a trace over a dB grid, with the
// frequency scale below, the pass band shaded and the tuned frequency as a line. It keeps
// only the newest spectrum; nothing queues up behind a slow paint.

#include <QWidget>
#include <vector>

#include "player/PlayerSession.h"

class CSpectrumScope final : public QWidget {
  Q_OBJECT
 public:
  static constexpr double kTopDb = 0.0;
  static constexpr double kBottomDb = -130.0;
  static constexpr int kScaleHeight = 18;

  explicit CSpectrumScope(QWidget* pParent = nullptr);

  // A spectrum of nSampleRate Hz centred on dCentreHz, lowest frequency first.
  void SetSpectrum(const CDisplaySpectrum& spectrum, double dCentreHz);
  void SetTuning(double dTunedHz, double dPassLowHz, double dPassHighHz);
  void Clear();

  bool HasSpectrum() const { return !m_afLevels.empty(); }
  // The frequency shown at a column of the trace area and the column of a frequency.
  double FrequencyAtColumn(double dX) const;
  double ColumnOfFrequency(double dFrequencyHz) const;
  // The column of the strongest level as drawn (-1 without a spectrum).
  int PeakColumn() const;

  QSize sizeHint() const override { return {360, 150}; }
  QSize minimumSizeHint() const override { return {200, 100}; }

 protected:
  void paintEvent(QPaintEvent* pEvent) override;

 private:
  // The level drawn at a column: the strongest bin the column covers.
  double LevelAtColumn(int nX) const;
  QRect TraceArea() const;

  std::vector<float> m_afLevels;
  double m_dCentreHz = 0.0;
  double m_dSpanHz = 0.0;
  double m_dTunedHz = 0.0;
  double m_dPassLowHz = 0.0;
  double m_dPassHighHz = 0.0;
};
