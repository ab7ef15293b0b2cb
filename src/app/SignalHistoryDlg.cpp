#include "app/SignalHistoryDlg.h"

#include <QChart>
#include <QChartView>
#include <QDateTime>
#include <QDateTimeAxis>
#include <QKeyEvent>
#include <QLineSeries>
#include <QValueAxis>
#include <QVBoxLayout>

#include "persist/MySettingsStore.h"

namespace {

constexpr const char* kLineColourKey = "CSignalHistoryDlg::m_clrLine";
constexpr const char* kLeftKey = "CSignalHistoryDlg::m_bLeft";
constexpr const char* kDisplayPeriodKey = "CSignalHistoryDlg::m_nDisplayPeriod";
constexpr const char* kAppearanceKey = "CSignalHistoryDlg::m_strAppearance";
constexpr const char* kLevelTitle = "Signal level in dBm";

QFont Tahoma(int nPoints) {
  QFont font("Tahoma", nPoints);
  font.setStyleHint(QFont::SansSerif);
  return font;
}

QValueAxis* MakeLevelAxis() {
  auto* pAxis = new QValueAxis;
  pAxis->setTitleText(kLevelTitle);
  pAxis->setTitleFont(Tahoma(8));
  pAxis->setMinorTickCount(1);
  pAxis->setMinorGridLineVisible(true);
  pAxis->setShadesVisible(false);
  return pAxis;
}

}  // namespace

CSignalHistoryDlg::CSignalHistoryDlg(CMySettingsStore& settings, QWidget* pParent)
    : QWidget(pParent), m_settings(settings) {
  setObjectName("CSignalHistoryDlg");
  m_settings.Read(kLineColourKey, m_nLineColour);
  m_settings.Read(kLeftKey, m_bLeft);
  m_settings.Read(kDisplayPeriodKey, m_nDisplayPeriod);
  std::string strAppearance;
  if (m_settings.Read(kAppearanceKey, strAppearance) && !strAppearance.empty())
    m_strAppearance = QString::fromStdString(strAppearance);

  m_pChart = new QChart;
  m_pChart->legend()->hide();
  m_pChart->setTitleFont(Tahoma(12));
  m_pSeries = new QLineSeries;
  m_pSeries->setName("Signal");
  m_pSeries->setPointsVisible(false);
  m_pSeries->setPointLabelsVisible(false);
  m_pChart->addSeries(m_pSeries);

  m_pTimeAxis = new QDateTimeAxis;
  m_pTimeAxis->setFormat("HH:mm");
  m_pTimeAxis->setLabelsAngle(315);
  m_pTimeAxis->setShadesVisible(false);  // not interlaced
  m_pLevelPrimary = MakeLevelAxis();
  m_pLevelSecondary = MakeLevelAxis();
  m_pChart->addAxis(m_pTimeAxis, Qt::AlignBottom);
  m_pSeries->attachAxis(m_pTimeAxis);
  PlaceAxes();

  m_pView = new QChartView(m_pChart, this);
  m_pView->setRenderHint(QPainter::Antialiasing);
  // Dragging across the chart zooms into a time span; a right click or Escape zooms out.
  m_pView->setRubberBand(QChartView::HorizontalRubberBand);
  auto* pLayout = new QVBoxLayout(this);
  pLayout->setContentsMargins(0, 0, 0, 0);
  pLayout->addWidget(m_pView);

  ApplyAppearance();
  Clear();
}

CSignalHistoryDlg::~CSignalHistoryDlg() = default;

void CSignalHistoryDlg::PlaceAxes() {
  for (QValueAxis* pAxis : {m_pLevelPrimary, m_pLevelSecondary}) {
    if (m_pSeries->attachedAxes().contains(pAxis)) m_pSeries->detachAxis(pAxis);
    if (m_pChart->axes().contains(pAxis)) m_pChart->removeAxis(pAxis);
  }
  m_pChart->addAxis(m_pLevelPrimary, m_bLeft ? Qt::AlignLeft : Qt::AlignRight);
  m_pChart->addAxis(m_pLevelSecondary, m_bLeft ? Qt::AlignRight : Qt::AlignLeft);
  m_pSeries->attachAxis(m_pLevelPrimary);
  m_pSeries->attachAxis(m_pLevelSecondary);
  m_pLevelSecondary->setGridLineVisible(false);
  m_pLevelSecondary->setMinorGridLineVisible(false);
}

void CSignalHistoryDlg::Clear() {
  m_history.Clear();
  m_pSeries->clear();
  m_pChart->setTitle("Choose a frequency: \"Signal history here\" in the picture's menu, or Ctrl+click");
  m_nInvalidTimes = 0;
  ApplyScale();
  ApplyTimeRange();
}

void CSignalHistoryDlg::Fill(const CSignalHistory& history, const QString& strTitle) {
  // All points at once: the chart redraws once, not once per point.
  setUpdatesEnabled(false);
  m_history = history;
  m_pChart->setTitle(strTitle);
  m_nInvalidTimes = 0;
  QList<QPointF> points;
  points.reserve(static_cast<qsizetype>(history.Points().size()));
  for (const CSignalHistory::SPoint& point : history.Points()) {
    // The chart counts in local calendar time.
    const QDateTime local = QDateTime::fromSecsSinceEpoch(point.tSeconds, Qt::LocalTime);
    if (!local.isValid() || local.toSecsSinceEpoch() != point.tSeconds) ++m_nInvalidTimes;
    points.append(QPointF(static_cast<qreal>(local.toMSecsSinceEpoch()), point.dLevel));
  }
  m_pSeries->replace(points);
  m_pChart->zoomReset();
  setUpdatesEnabled(true);
  ApplyScale();
  ApplyTimeRange();
}

void CSignalHistoryDlg::SetFixedScale(bool bFixed) {
  m_bFixedScale = bFixed;
  ApplyScale();
}

void CSignalHistoryDlg::ApplyScale() {
  const CSignalHistory::SScale scale = m_history.Scale(m_bFixedScale || m_history.Points().empty());
  for (QValueAxis* pAxis : {m_pLevelPrimary, m_pLevelSecondary}) {
    pAxis->setRange(scale.dLow, scale.dHigh);
    pAxis->setLabelFormat(scale.pszFormat);
  }
  m_pView->update();
}

void CSignalHistoryDlg::ApplyTimeRange() {
  const auto& points = m_history.Points();
  if (points.empty()) {
    const QDateTime now = QDateTime::currentDateTime();
    m_pTimeAxis->setRange(now.addSecs(-3600), now);
    return;
  }
  std::int64_t tFirst = points.front().tSeconds;
  const std::int64_t tLast = points.back().tSeconds;
  if (m_nDisplayPeriod > 0) tFirst = std::max(tFirst, tLast - std::int64_t{m_nDisplayPeriod} * 60);
  // One point still needs a span to be drawn in.
  const std::int64_t tEnd = tLast > tFirst ? tLast : tFirst + 60;
  m_pTimeAxis->setRange(QDateTime::fromSecsSinceEpoch(tFirst), QDateTime::fromSecsSinceEpoch(tEnd));
  // About one label per 80 pixels.
  m_pTimeAxis->setTickCount(std::clamp(width() / 80, 2, 13));
}

QColor CSignalHistoryDlg::LineColour() const { return QColor::fromRgb(m_nLineColour & 0xFFFFFFu); }

void CSignalHistoryDlg::SetLineColour(const QColor& colour) {
  m_nLineColour = colour.rgb() & 0xFFFFFFu;
  m_settings.Write(kLineColourKey, m_nLineColour);
  QPen pen = m_pSeries->pen();
  pen.setColor(LineColour());
  m_pSeries->setPen(pen);
}

void CSignalHistoryDlg::SetAxisLeft(bool bLeft) {
  m_bLeft = bLeft;
  m_settings.Write(kLeftKey, bLeft);
  PlaceAxes();
  ApplyAppearance();
  ApplyScale();
}

void CSignalHistoryDlg::SetDisplayPeriod(int nMinutes) {
  m_nDisplayPeriod = std::max(0, nMinutes);
  m_settings.Write(kDisplayPeriodKey, m_nDisplayPeriod);
  ApplyTimeRange();
}

void CSignalHistoryDlg::SetAppearance(const QString& strAppearance) {
  m_strAppearance = strAppearance;
  m_settings.Write(kAppearanceKey, strAppearance.toStdString());
  ApplyAppearance();
}

void CSignalHistoryDlg::ApplyAppearance() {
  const bool bDark = m_strAppearance == kAppearanceDark;
  // A theme resets fonts and pens: set it first, then what the chart always has.
  m_pChart->setTheme(bDark ? QChart::ChartThemeDark : QChart::ChartThemeLight);
  if (!bDark) {
    // The natural style: a pale green-grey ground with darker green grid lines.
    m_pChart->setBackgroundBrush(QColor(0xF4, 0xF7, 0xEE));
    m_pChart->setPlotAreaBackgroundBrush(QColor(0xFB, 0xFD, 0xF7));
    m_pChart->setPlotAreaBackgroundVisible(true);
    for (QAbstractAxis* pAxis : m_pChart->axes()) {
      pAxis->setGridLineColor(QColor(0xC5, 0xD3, 0xB8));
      pAxis->setMinorGridLineColor(QColor(0xE3, 0xEA, 0xDC));
    }
  }
  m_pChart->setTitleFont(Tahoma(12));
  for (QValueAxis* pAxis : {m_pLevelPrimary, m_pLevelSecondary}) {
    pAxis->setTitleFont(Tahoma(8));
    pAxis->setMinorGridLineVisible(pAxis == m_pLevelPrimary);
  }
  m_pTimeAxis->setShadesVisible(false);
  m_pLevelSecondary->setGridLineVisible(false);
  QPen pen(LineColour(), 1.5);
  m_pSeries->setPen(pen);
  m_pView->setRenderHint(QPainter::Antialiasing);
}

QImage CSignalHistoryDlg::ChartImage() const { return m_pView->grab().toImage(); }

void CSignalHistoryDlg::keyPressEvent(QKeyEvent* pEvent) {
  if (pEvent->key() == Qt::Key_Escape) {
    // A drag in progress ends, and the chart shows the whole history again.
    if (QWidget* pGrabber = QWidget::mouseGrabber(); pGrabber && isAncestorOf(pGrabber)) pGrabber->releaseMouse();
    m_pChart->zoomReset();
    pEvent->accept();
    return;
  }
  QWidget::keyPressEvent(pEvent);
}

void CSignalHistoryDlg::resizeEvent(QResizeEvent* pEvent) {
  QWidget::resizeEvent(pEvent);
  if (isVisible()) ApplyTimeRange();
}
