#include "app/SpectrumScope.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

CSpectrumScope::CSpectrumScope(QWidget* pParent) : QWidget(pParent) {
  setObjectName("SpectrumScope");
  setAttribute(Qt::WA_OpaquePaintEvent);
  setToolTip("The channel around the tuned frequency: the pass band shaded, the tuned frequency in red");
}

void CSpectrumScope::SetSpectrum(const CDisplaySpectrum& spectrum, double dCentreHz) {
  m_afLevels = spectrum.m_afLevels;
  m_dCentreHz = dCentreHz;
  m_dSpanHz = spectrum.m_nSampleRate;
  update();
}

void CSpectrumScope::SetTuning(double dTunedHz, double dPassLowHz, double dPassHighHz) {
  m_dTunedHz = dTunedHz;
  m_dPassLowHz = dPassLowHz;
  m_dPassHighHz = dPassHighHz;
  update();
}

void CSpectrumScope::Clear() {
  m_afLevels.clear();
  update();
}

QRect CSpectrumScope::TraceArea() const { return rect().adjusted(0, 0, 0, -kScaleHeight); }

double CSpectrumScope::FrequencyAtColumn(double dX) const {
  const QRect rc = TraceArea();
  return m_dCentreHz - m_dSpanHz / 2.0 + dX / std::max(1, rc.width()) * m_dSpanHz;
}

double CSpectrumScope::ColumnOfFrequency(double dFrequencyHz) const {
  if (m_dSpanHz <= 0.0) return -1.0;
  return (dFrequencyHz - (m_dCentreHz - m_dSpanHz / 2.0)) / m_dSpanHz * TraceArea().width();
}

double CSpectrumScope::LevelAtColumn(int nX) const {
  const int nBins = static_cast<int>(m_afLevels.size());
  const int nWidth = std::max(1, TraceArea().width());
  const int b0 = std::clamp(static_cast<int>(static_cast<double>(nX) * nBins / nWidth), 0, nBins - 1);
  const int b1 = std::clamp(static_cast<int>(static_cast<double>(nX + 1) * nBins / nWidth), b0 + 1, nBins);
  return *std::max_element(m_afLevels.begin() + b0, m_afLevels.begin() + b1);
}

int CSpectrumScope::PeakColumn() const {
  if (m_afLevels.empty()) return -1;
  int nBest = 0;
  double dBest = -1e9;
  for (int x = 0; x < TraceArea().width(); ++x) {
    const double d = LevelAtColumn(x);
    if (d > dBest) {
      dBest = d;
      nBest = x;
    }
  }
  return nBest;
}

void CSpectrumScope::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), QColor(16, 18, 24));
  const QRect rc = TraceArea();
  const auto yOf = [&](double dDb) {
    return rc.top() + (kTopDb - std::clamp(dDb, kBottomDb, kTopDb)) / (kTopDb - kBottomDb) * rc.height();
  };
  // The dB grid, every 20 dB.
  painter.setFont(QFont(font().family(), 7));
  for (double d = kTopDb; d >= kBottomDb; d -= 20.0) {
    painter.setPen(QColor(50, 56, 70));
    painter.drawLine(QPointF(rc.left(), yOf(d)), QPointF(rc.right(), yOf(d)));
    painter.setPen(QColor(130, 140, 160));
    painter.drawText(QPointF(rc.left() + 2, yOf(d) + 10), QString::number(static_cast<int>(d)));
  }
  if (m_dSpanHz > 0.0) {
    // The pass band and the tuned frequency.
    const double xLow = ColumnOfFrequency(m_dPassLowHz);
    const double xHigh = ColumnOfFrequency(m_dPassHighHz);
    painter.fillRect(QRectF(xLow, rc.top(), std::max(1.0, xHigh - xLow), rc.height()), QColor(60, 120, 200, 70));
    painter.setPen(QPen(QColor(230, 60, 60), 1));
    const double xTuned = ColumnOfFrequency(m_dTunedHz);
    painter.drawLine(QPointF(xTuned, rc.top()), QPointF(xTuned, rc.bottom()));
    // The frequency scale: offsets from the centre in kHz.
    const double dHalfKHz = m_dSpanHz / 2000.0;
    const double dStepKHz = dHalfKHz > 40 ? 20.0 : dHalfKHz > 10 ? 5.0 : dHalfKHz > 4 ? 2.0 : 1.0;
    painter.setPen(QColor(170, 180, 200));
    for (double k = -std::floor(dHalfKHz / dStepKHz) * dStepKHz; k <= dHalfKHz; k += dStepKHz) {
      const double x = ColumnOfFrequency(m_dCentreHz + k * 1000.0);
      if (x > rc.right() - 40) continue;  // the unit's place
      painter.drawLine(QPointF(x, rc.bottom()), QPointF(x, rc.bottom() + 4));
      const QString str = k == 0.0 ? QString("0") : QString("%1%2").arg(k > 0 ? "+" : "").arg(k);
      painter.drawText(QRectF(x - 30, rc.bottom() + 4, 60, kScaleHeight - 4), Qt::AlignCenter, str);
    }
    painter.drawText(QRectF(rc.right() - 40, rc.bottom() + 4, 40, kScaleHeight - 4), Qt::AlignRight | Qt::AlignVCenter,
                     "kHz");
  }
  if (!m_afLevels.empty()) {
    QPainterPath path;
    for (int x = 0; x < rc.width(); ++x) {
      const QPointF pt(x + 0.5, yOf(LevelAtColumn(x)));
      if (x == 0)
        path.moveTo(pt);
      else
        path.lineTo(pt);
    }
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(120, 230, 120), 1.2));
    painter.drawPath(path);
  } else {
    painter.setPen(QColor(120, 130, 150));
    painter.drawText(rc, Qt::AlignCenter, "Click the picture to listen");
  }
}
