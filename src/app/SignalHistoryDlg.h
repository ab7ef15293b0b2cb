#pragma once
// CSignalHistoryDlg: the chart of the signal history, a line of the level in dBm against
// the time of day.
//
// One series "Signal" on two level axes (left and right; "CSignalHistoryDlg::m_bLeft" says
// which one is the primary), the legend hidden, the frequency as the title. The level axes
// run -150..0 dBm with "%.0f" labels in the fixed scale, or follow the points with "%.2f"
// labels in the automatic one; the time axis shows "HH:mm" at 315 degrees. The points and
// the scale come from the engine's CSignalHistory; the chart only shows them.
//
// Settings: "CSignalHistoryDlg::m_clrLine" (0xRRGGBB), "CSignalHistoryDlg::m_bLeft",
// "CSignalHistoryDlg::m_nDisplayPeriod" (minutes of the newest points shown; 0 all of
// them), "CSignalHistoryDlg::m_strAppearance" ("CHART_APPEARANCE_NATURE", a light style,
// or "CHART_APPEARANCE_DARK").

#include <QWidget>

#include "analysis/SignalHistory.h"

class CMySettingsStore;
class QChart;
class QChartView;
class QDateTimeAxis;
class QLineSeries;
class QValueAxis;

class CSignalHistoryDlg final : public QWidget {
  Q_OBJECT
 public:
  static constexpr const char* kAppearanceNature = "CHART_APPEARANCE_NATURE";
  static constexpr const char* kAppearanceDark = "CHART_APPEARANCE_DARK";

  CSignalHistoryDlg(CMySettingsStore& settings, QWidget* pParent = nullptr);
  ~CSignalHistoryDlg() override;

  // Shows history's points with strTitle (the frequency) as the title.
  void Fill(const CSignalHistory& history, const QString& strTitle);
  void Clear();
  const CSignalHistory& History() const { return m_history; }

  bool FixedScale() const { return m_bFixedScale; }
  void SetFixedScale(bool bFixed);

  // The four settings; each is stored at once and redraws the chart.
  QColor LineColour() const;
  void SetLineColour(const QColor& colour);
  bool AxisLeft() const { return m_bLeft; }
  void SetAxisLeft(bool bLeft);
  int DisplayPeriod() const { return m_nDisplayPeriod; }
  void SetDisplayPeriod(int nMinutes);
  QString Appearance() const { return m_strAppearance; }
  void SetAppearance(const QString& strAppearance);

  // Points whose time did not convert to the chart's local date-time and back to the same
  // second (they are shown all the same).
  int InvalidTimes() const { return m_nInvalidTimes; }

  QChart* Chart() const { return m_pChart; }
  QChartView* ChartView() const { return m_pView; }
  QLineSeries* Series() const { return m_pSeries; }
  QValueAxis* LevelAxis(bool bPrimary) const { return bPrimary ? m_pLevelPrimary : m_pLevelSecondary; }
  QDateTimeAxis* TimeAxis() const { return m_pTimeAxis; }

  // The chart as an image of its current size.
  QImage ChartImage() const;

 protected:
  void keyPressEvent(QKeyEvent* pEvent) override;
  void resizeEvent(QResizeEvent* pEvent) override;

 private:
  void ApplyScale();
  void ApplyTimeRange();
  void ApplyAppearance();
  void PlaceAxes();

  CMySettingsStore& m_settings;
  QChart* m_pChart = nullptr;
  QChartView* m_pView = nullptr;
  QLineSeries* m_pSeries = nullptr;
  QValueAxis* m_pLevelPrimary = nullptr;
  QValueAxis* m_pLevelSecondary = nullptr;
  QDateTimeAxis* m_pTimeAxis = nullptr;
  CSignalHistory m_history;
  bool m_bFixedScale = false;
  unsigned m_nLineColour = 0x1F5FBF;
  bool m_bLeft = true;
  int m_nDisplayPeriod = 0;
  QString m_strAppearance = kAppearanceNature;
  int m_nInvalidTimes = 0;
};
