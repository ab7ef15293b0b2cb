#include "app/PlayerWaterfall.h"

#include <QPainter>
#include <algorithm>
#include <vector>

#include "analysis/Palettes.h"

CPlayerWaterfall::CPlayerWaterfall(QWidget* pParent) : QWidget(pParent) {
  setObjectName("PlayerWaterfall");
  setAttribute(Qt::WA_OpaquePaintEvent);
  setToolTip("The band around the playing point over the last seconds; the tuned pass band is marked on top");
}

void CPlayerWaterfall::SetPalette(int nPalette) { m_nPalette = nPalette; }

void CPlayerWaterfall::resizeEvent(QResizeEvent*) {
  QImage image(std::max(1, width()), std::max(1, height()), QImage::Format_RGB32);
  image.fill(Qt::black);
  if (!m_image.isNull()) {
    QPainter painter(&image);
    painter.drawImage(QRect(0, 0, image.width(), m_image.height()), m_image);
  }
  m_image = image;
}

void CPlayerWaterfall::Erase() {
  m_image.fill(Qt::black);
  m_nLines = 0;
  update();
}

void CPlayerWaterfall::SetTuning(double dTunedHz, double dPassLowHz, double dPassHighHz) {
  m_dTunedHz = dTunedHz;
  m_dPassLowHz = dPassLowHz;
  m_dPassHighHz = dPassHighHz;
  update();
}

double CPlayerWaterfall::ColumnOfFrequency(double dFrequencyHz) const {
  if (m_dSpanHz <= 0.0) return -1.0;
  return (dFrequencyHz - (m_dCentreHz - m_dSpanHz / 2.0)) / m_dSpanHz * width();
}

void CPlayerWaterfall::AddLine(const CDisplaySpectrum& spectrum, double dCentreHz) {
  const std::vector<float>& af = spectrum.m_afLevels;
  if (af.empty() || m_image.isNull()) return;
  m_dCentreHz = dCentreHz;
  m_dSpanHz = spectrum.m_nSampleRate;
  // The floor: the level a fifth of the bins stay below.
  std::vector<float> afSorted(af);
  std::nth_element(afSorted.begin(), afSorted.begin() + static_cast<std::ptrdiff_t>(afSorted.size() / 5), afSorted.end());
  const double dFloor = afSorted[afSorted.size() / 5];
  const PaletteTable& table = CPalettes::Table(m_nPalette);
  // Move the picture one line down and draw the new line on top.
  const int nWidth = m_image.width();
  const int nStride = static_cast<int>(m_image.bytesPerLine());
  uchar* pBits = m_image.bits();
  std::memmove(pBits + nStride, pBits, static_cast<std::size_t>(nStride) * (m_image.height() - 1));
  auto* pLine = reinterpret_cast<QRgb*>(pBits);
  const int nBins = static_cast<int>(af.size());
  for (int x = 0; x < nWidth; ++x) {
    const int b0 = std::clamp(static_cast<int>(static_cast<double>(x) * nBins / nWidth), 0, nBins - 1);
    const int b1 = std::clamp(static_cast<int>(static_cast<double>(x + 1) * nBins / nWidth), b0 + 1, nBins);
    const double d = *std::max_element(af.begin() + b0, af.begin() + b1);
    const int n = std::clamp(static_cast<int>((d - dFloor) / kRangeDb * 255.0), 0, 255);
    pLine[x] = qRgb(table[n].r, table[n].g, table[n].b);
  }
  ++m_nLines;
  update();
}

void CPlayerWaterfall::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.drawImage(0, 0, m_image);
  if (m_dSpanHz > 0.0) {
    const double xLow = ColumnOfFrequency(m_dPassLowHz);
    const double xHigh = ColumnOfFrequency(m_dPassHighHz);
    painter.fillRect(QRectF(xLow, 0, std::max(2.0, xHigh - xLow), 5), QColor(255, 255, 255, 200));
    painter.setPen(QPen(QColor(230, 60, 60, 160), 1, Qt::DotLine));
    const double xTuned = ColumnOfFrequency(m_dTunedHz);
    painter.drawLine(QPointF(xTuned, 5), QPointF(xTuned, height()));
  }
  if (m_nLines == 0) {
    painter.setPen(QColor(120, 130, 150));
    painter.drawText(rect(), Qt::AlignCenter, "Player waterfall");
  }
}
