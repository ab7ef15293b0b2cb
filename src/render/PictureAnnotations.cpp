#include "render/PictureAnnotations.h"

#include <QDateTime>
#include <QFontMetrics>
#include <QFontMetricsF>
#include <QPainter>
#include <algorithm>
#include <cmath>

#include "analysis/AnalysisSession.h"
#include "analysis/ScaleTicks.h"
#include "core/StatusFigures.h"

namespace {

const QColor kGridColour(255, 255, 255, 70);

QDateTime Time(std::int64_t tUtc, bool bLocal) {
  return QDateTime::fromSecsSinceEpoch(tUtc, bLocal ? Qt::LocalTime : Qt::UTC);
}

bool TimesLocal(const CAnalysisSession& session) { return session.Options().m_bTimeFormatLocal != 0; }

std::vector<SScaleTick> PictureFrequencyTicks(const CAnalysisSession& session, double dZoom) {
  const int nWidth = session.Width();
  return FrequencyTicks(session.FrequencyAtX(0), session.FrequencyAtX(nWidth), nWidth * dZoom,
                        CPictureAnnotations::kFrequencyLabelSpacing);
}

}  // namespace

void CPictureAnnotations::DrawFrequencyScale(QPainter& painter, const CAnalysisSession& session, const SMapping& map,
                                             double dBaselineY) {
  const QRectF& rc = map.rcPicture;
  const QFontMetricsF fm(painter.font());
  painter.setPen(kTextColour);
  for (const SScaleTick& tick : PictureFrequencyTicks(session, map.dZoom)) {
    const double x = rc.left() + tick.dPosition - map.dScrollX;
    if (x < rc.left() - 0.5 || x > rc.right() + 0.5) continue;
    painter.drawLine(QPointF(x, rc.top() - 7), QPointF(x, rc.top() - 1));
    const QString strLabel = QString::fromStdString(tick.strLabel);
    const double w = fm.horizontalAdvance(strLabel);
    // The first label starts no further left than the picture (the time zone is there).
    const double left = std::max(x - w / 2, rc.left());
    painter.drawText(QPointF(left, dBaselineY), strLabel);
  }
}

void CPictureAnnotations::DrawTimeLabels(QPainter& painter, const CAnalysisSession& session, const SMapping& map) {
  const QRectF& rc = map.rcPicture;
  const bool bLocal = TimesLocal(session);
  const QFontMetricsF fm(painter.font());
  painter.setPen(kTextColour);
  painter.drawText(QRectF(0, rc.top() - fm.height() - 8, rc.left() - 6, fm.height()), Qt::AlignRight | Qt::AlignBottom,
                   bLocal ? "Local" : "UTC");
  QString strLastDate;
  double dLastY = 1e12;
  // Labels run from the first row (the bottom) upward.
  for (const auto& label : session.Image().TimeLabels()) {
    const double y = map.Y(session.PixelYOfRow(static_cast<int>(label.nRow)) + 0.5);
    if (y < rc.top() || y > rc.bottom() + 1) continue;
    const QString strDate = Time(label.tSeconds, bLocal).toString("yyyy-MM-dd");
    const bool bDate = strDate != strLastDate;
    if (dLastY - y < fm.height() * (bDate ? 2.2 : 1.2)) continue;
    painter.drawLine(QPointF(rc.left() - 6, y), QPointF(rc.left() - 1, y));
    const QRectF rcText(0, y - fm.height() / 2.0, rc.left() - 9, fm.height());
    painter.drawText(rcText, Qt::AlignRight | Qt::AlignVCenter, QString::fromStdString(label.strText));
    if (bDate) painter.drawText(rcText.translated(0, -fm.height()), Qt::AlignRight | Qt::AlignVCenter, strDate);
    strLastDate = strDate;
    dLastY = y;
  }
}

void CPictureAnnotations::DrawColourBar(QPainter& painter, const CAnalysisSession& session, const QRectF& rcBar) {
  const CAnalysisImage& image = session.Image();
  const int nHeight = std::max(2, static_cast<int>(rcBar.height()));
  for (int y = 0; y < nHeight; ++y) {
    const int k = static_cast<int>((nHeight - 1 - y) * 65535.0 / (nHeight - 1));
    painter.setPen(QColor::fromRgba(image.Colours()[k]));
    painter.drawLine(QPointF(rcBar.left(), rcBar.top() + y + 0.5), QPointF(rcBar.right(), rcBar.top() + y + 0.5));
  }
  painter.setPen(QColor(90, 90, 90));
  painter.drawRect(rcBar);
  painter.setPen(kTextColour);
  const QFontMetricsF fm(painter.font());
  const SColourBarRange range = ColourBarRange(image.Scaling());
  for (const SScaleTick& tick : LevelTicks(range.dLowDb, range.dHighDb, nHeight, 2.0 * fm.height())) {
    const double y = rcBar.bottom() - tick.dPosition;
    painter.drawLine(QPointF(rcBar.right() + 1, y), QPointF(rcBar.right() + 4, y));
    painter.drawText(QPointF(rcBar.right() + 7, y + fm.ascent() / 2.5), QString::fromStdString(tick.strLabel));
  }
}

void CPictureAnnotations::DrawGrid(QPainter& painter, const CAnalysisSession& session, const SMapping& map) {
  const QRectF& rc = map.rcPicture;
  painter.setPen(QPen(kGridColour, 1, Qt::DotLine));
  for (const SScaleTick& tick : PictureFrequencyTicks(session, map.dZoom)) {
    const double x = rc.left() + tick.dPosition - map.dScrollX;
    if (x >= rc.left() && x <= rc.right()) painter.drawLine(QPointF(x, rc.top()), QPointF(x, rc.bottom()));
  }
  const QFontMetricsF fm(painter.font());
  double dLastY = 1e12;
  for (const auto& label : session.Image().TimeLabels()) {
    const double y = map.Y(session.PixelYOfRow(static_cast<int>(label.nRow)) + 0.5);
    if (y < rc.top() || y > rc.bottom() || dLastY - y < fm.height() * 1.2) continue;
    painter.drawLine(QPointF(rc.left(), y), QPointF(rc.right(), y));
    dLastY = y;
  }
}

void CPictureAnnotations::DrawTags(QPainter& painter, const CAnalysisSession& session, const SMapping& map) {
  painter.setPen(QPen(QColor::fromRgba(session.Image().Colours().OverlayColour()), 1));
  for (const CTagDefinition& tag : session.Tags().Tags()) {
    const SPictureRect rect = session.TagRect(tag);
    if (!rect.bVisible) continue;
    const QRectF rcTag(QPointF(map.X(rect.nLeft), map.Y(rect.nTop)), QPointF(map.X(rect.nRight), map.Y(rect.nBottom)));
    painter.drawRect(rcTag);
    // The title on a dark plate, so that it stays readable over a strong signal.
    const QString strTitle = QString::fromStdString(tag.m_strTitle);
    if (strTitle.isEmpty()) continue;
    const QFontMetricsF metrics(painter.font());
    const QRectF rcText(rcTag.left(), rcTag.top() - metrics.height() - 1, metrics.horizontalAdvance(strTitle) + 6,
                        metrics.height());
    painter.fillRect(rcText, QColor(0, 0, 0, 170));
    painter.drawText(rcText, Qt::AlignCenter, strTitle);
  }
}

QString CPictureAnnotations::TitleText(const CAnalysisSession& session) {
  const CAnalysisOptions& o = session.Options();
  const bool bLocal = TimesLocal(session);
  const QDateTime start = Time(o.m_tAnalysisStartUTC, bLocal);
  const QDateTime end = Time(o.m_tAnalysisEndUTC, bLocal);
  const QString strEnd = end.toString(start.date() == end.date() ? "HH:mm:ss" : "yyyy-MM-dd HH:mm:ss");
  return QString("Centre %1, span %2 kHz, RBW %3, %4 to %5 %6")
      .arg(QString::fromStdString(CStatusFigures::FrequencyText(o.m_nAnalysisCenterFreq)),
           QString::number(o.m_nAnalysisBandwidth / 1000.0, 'f', 3),
           QString::fromStdString(o.ResolutionBandwidthText()), start.toString("yyyy-MM-dd HH:mm:ss"), strEnd,
           bLocal ? "local time" : "UTC");
}
