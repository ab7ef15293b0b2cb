#pragma once
// CPlayerWaterfall: the player's waterfall. Each display spectrum of the player becomes one
// line at the top, older lines move down; the lines are coloured with the picture's
// palette between the line's noise floor and 50 dB above it. The tuned pass band is marked
// along the top. It is erased when play moves (a click, a restart at the repeat start).

#include <QImage>
#include <QWidget>

#include "player/PlayerSession.h"

class CPlayerWaterfall final : public QWidget {
  Q_OBJECT
 public:
  static constexpr double kRangeDb = 50.0;

  explicit CPlayerWaterfall(QWidget* pParent = nullptr);

  void SetPalette(int nPalette);
  void AddLine(const CDisplaySpectrum& spectrum, double dCentreHz);
  void SetTuning(double dTunedHz, double dPassLowHz, double dPassHighHz);
  void Erase();
  int Lines() const { return m_nLines; }

  QSize sizeHint() const override { return {360, 160}; }
  QSize minimumSizeHint() const override { return {200, 60}; }

 protected:
  void paintEvent(QPaintEvent* pEvent) override;
  void resizeEvent(QResizeEvent* pEvent) override;

 private:
  double ColumnOfFrequency(double dFrequencyHz) const;

  QImage m_image;
  int m_nPalette = 4;
  int m_nLines = 0;
  double m_dCentreHz = 0.0;
  double m_dSpanHz = 0.0;
  double m_dTunedHz = 0.0;
  double m_dPassLowHz = 0.0;
  double m_dPassHighHz = 0.0;
};
