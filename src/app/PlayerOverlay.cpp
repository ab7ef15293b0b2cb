#include "app/PlayerOverlay.h"

#include <algorithm>

#include "analysis/AnalysisSession.h"
#include "app/PlayerController.h"

void CPlayerOverlay::SetDrag(double tFromUtc, double tToUtc) {
  m_bDragging = true;
  m_tDragFrom = tFromUtc;
  m_tDragTo = tToUtc;
}

double CPlayerOverlay::PictureY(double tUtc) const {
  const auto nRow = m_document.RowAtTime(tUtc);
  const int nMax = std::max(0, m_document.Height() - 1);
  return std::clamp<double>(static_cast<double>(m_document.PixelYOfRow(static_cast<int>(
                                std::clamp<std::int64_t>(nRow, -1, m_document.Height())))),
                            0.0, nMax);
}

void CPlayerOverlay::DrawTimeBand(QPainter& painter, const CPictureAnnotations::SMapping& map, double tFrom,
                                  double tTo, const QColor& fill) const {
  const double y0 = map.Y(PictureY(tFrom) + 1.0);
  const double y1 = map.Y(PictureY(tTo));
  const QRectF rc(map.rcPicture.left(), std::min(y0, y1), map.rcPicture.width(), std::max(2.0, std::abs(y1 - y0)));
  painter.fillRect(rc, fill);
  painter.setPen(QPen(fill.lighter(170), 1, Qt::DashLine));
  painter.drawLine(rc.topLeft(), rc.topRight());
  painter.drawLine(rc.bottomLeft(), rc.bottomRight());
}

void CPlayerOverlay::Draw(QPainter& painter, const CPictureAnnotations::SMapping& map) const {
  if (m_document.Height() <= 0) return;
  if (m_player.HasRepeatRange())
    DrawTimeBand(painter, map, m_player.RepeatStartUtc(), m_player.RepeatEndUtc(),
                 m_player.Repeat() ? QColor(255, 200, 0, 55) : QColor(160, 160, 160, 40));
  if (m_bDragging) DrawTimeBand(painter, map, m_tDragFrom, m_tDragTo, QColor(255, 255, 255, 45));
  if (!m_player.IsPlaying()) return;
  // The tuned pass band down the picture, the tuned frequency in its middle.
  double dLow = 0.0, dHigh = 0.0;
  m_player.PassBand(dLow, dHigh);
  const double x0 = map.X(m_document.XAtFrequency(dLow));
  const double x1 = map.X(m_document.XAtFrequency(dHigh));
  const QRectF rcBand(std::min(x0, x1), map.rcPicture.top(), std::max(2.0, std::abs(x1 - x0)), map.rcPicture.height());
  painter.fillRect(rcBand, QColor(80, 160, 255, 60));
  painter.setPen(QPen(QColor(120, 190, 255, 220), 1));
  painter.drawLine(rcBand.topLeft(), rcBand.bottomLeft());
  painter.drawLine(rcBand.topRight(), rcBand.bottomRight());
  const double xTuned = map.X(m_document.XAtFrequency(m_player.TunedFrequency()));
  painter.setPen(QPen(QColor(80, 160, 255, 200), 1, Qt::DotLine));
  painter.drawLine(QPointF(xTuned, map.rcPicture.top()), QPointF(xTuned, map.rcPicture.bottom()));
  // The playing position across the picture.
  if (m_player.HasPlayingPoint()) {
    const double y = map.Y(PictureY(m_player.PlayingPointUtc()) + 0.5);
    painter.setPen(QPen(QColor(255, 60, 60), 2));
    painter.drawLine(QPointF(map.rcPicture.left(), y), QPointF(map.rcPicture.right(), y));
    painter.setBrush(QColor(255, 60, 60));
    painter.drawEllipse(QPointF(xTuned, y), 4, 4);
  }
}
