#pragma once
// CVexlorView: the waterfall of the analysis, and the driver of its runs.
//
// The view owns the document (CAnalysisSession) and the message target its workers answer
// to; it hands each answer to the session on the GUI thread and ticks the session's
// 100-ms timer while a run is busy. It draws and forwards user actions; every figure it
// shows comes from the session.
//
// Drawing: the engine's ARGB picture is wrapped in a QImage without copying and only the
// part in view is painted, so pictures of 5000 x 100000 pixels scroll smoothly. Around
// it: the frequency scale on top, the time labels (with the date where it changes) on the
// left, the legend's colour bar with its dB scale on the right, the grid and the tags over
// the picture. Zoom scales the picture by powers of two.

#include <QAbstractScrollArea>
#include <QElapsedTimer>
#include <QPointer>
#include <QTimer>
#include <memory>

#include "analysis/AnalysisSession.h"
#include "app/QtMessageTarget.h"
#include "render/PictureAnnotations.h"

class CAnalyseStatusDlg;
class CPlayerOverlay;
class CVexlorApp;

class CVexlorView final : public QAbstractScrollArea, private IAnalysisSessionListener {
  Q_OBJECT
 public:
  static constexpr int kScaleHeight = 40;  // the frequency scale above the picture
  static constexpr int kTimeWidth = 92;    // the time labels left of it
  static constexpr int kLegendWidth = 96;  // the colour bar and its dB labels
  static constexpr int kMinZoomStep = -4;  // 1/16
  static constexpr int kMaxZoomStep = 4;   // 16

  CVexlorView(CVexlorApp& app, CMessageTarget& mainFrame, QWidget* pParent = nullptr);
  ~CVexlorView() override;

  CAnalysisSession& Session() { return *m_pSession; }
  const CAnalysisSession& Session() const { return *m_pSession; }

  // The "Analyse" command: starts a run with the session's options, or asks a busy run to
  // abort. False (with strError) when no run could start.
  bool Analyse(QString& strError);
  bool IsBusy() const;
  CAnalyseStatusDlg* StatusDialog() const;

  // Colouring and switches: each redraws from the kept rows without a new analysis.
  void ApplyColouring();
  // The contrast of automatic scaling and the levels of manual scaling (magnitudes in dB).
  void SetScaling(int nContrast, int nManualFirst, int nManualSecond);
  bool ScaleAutomatic() const { return m_bScaleAutomatic; }
  void SetScaleAutomatic(bool bAutomatic);
  bool ShowLegend() const { return m_bShowLegend; }
  void SetShowLegend(bool bShow);
  bool ShowGrid() const;
  void SetShowGrid(bool bShow);

  // Tags and the signal history from the picture. ShowTag scrolls the tag into view and
  // clicks its start at its frequency (so that the player, when there is one, plays it).
  // The next left drag draws a tag's rectangle (as Alt+drag does).
  void ShowTag(const CTagDefinition& tag);
  void BeginTagRectangle();

  // Zoom by powers of two: 0 is one picture pixel per screen pixel.
  int ZoomStep() const { return m_nZoomStep; }
  void SetZoomStep(int nStep);
  double Zoom() const;

  // After a project was loaded or the options changed: sizes, scroll range, title.
  void PictureReplaced();
  // The window title: "%s %s, %s to %s" ("Zoom, " or nothing, the product name, the start
  // and end of the analysed range).
  QString TitleText() const;

  // The picture pixel under a point of the viewport; false outside the picture.
  bool PicturePixelAt(const QPoint& ptViewport, int& nX, int& nY) const;
  // The rectangle the picture occupies in the viewport.
  QRect PictureArea() const;

  // The player: drawn over the picture; a Shift+drag or the context menu selects a time
  // range, and the context menu holds the repeat switch (pRepeat, may be null).
  static constexpr double kRepeatHereSeconds = 10.0;  // "Set repeat range here"
  void SetPlayerOverlay(CPlayerOverlay* pOverlay, QAction* pRepeat = nullptr) {
    m_pPlayerOverlay = pOverlay;
    m_pRepeatAction = pRepeat;
  }

 signals:
  void TitleChanged(const QString& strTitle);
  // The point under the mouse (bInside false: none) and a click's point.
  void PointChanged(bool bInside, const CPictureClick& click);
  void PointClicked(const CPictureClick& click);
  // A time range dragged with Shift or chosen in the context menu (UTC seconds, in either
  // order).
  void RangeSelected(double tFromUtc, double tToUtc);
  void RunStateChanged(bool bBusy);
  // "Signal history here" or Ctrl+click on a picture column.
  void HistoryRequested(int nColumn);
  // A rectangle was dragged on the picture for a tag: the tag it marks.
  void TagRectangleDrawn(const CTagDefinition& tag);

 protected:
  void paintEvent(QPaintEvent* pEvent) override;
  void resizeEvent(QResizeEvent* pEvent) override;
  void scrollContentsBy(int dx, int dy) override;
  void wheelEvent(QWheelEvent* pEvent) override;
  void keyPressEvent(QKeyEvent* pEvent) override;
  void mouseMoveEvent(QMouseEvent* pEvent) override;
  void mousePressEvent(QMouseEvent* pEvent) override;
  void mouseReleaseEvent(QMouseEvent* pEvent) override;
  void contextMenuEvent(QContextMenuEvent* pEvent) override;
  void leaveEvent(QEvent* pEvent) override;

 private:
  // IAnalysisSessionListener
  void RunStarted() override;
  void RunProgress(const SAnalysisRunState& state) override;
  void PictureChanged() override;
  void FileOpenFailed() override;
  void RunFinished(const SAnalysisRunState& state) override;
  void EngineFault(const CEngineFault& fault) override;

  void UpdateScrollBars();
  void ScrollToNewestRow();
  // Picture x (pixels, unzoomed) to viewport x and back; likewise y.
  double ViewX(double dPictureX) const;
  double ViewY(double dPictureY) const;
  CPictureAnnotations::SMapping Mapping() const;
  // The recording time (UTC) of the picture row at a viewport y, held within the picture.
  double TimeAtViewportY(int nViewportY) const;
  // The range of kRepeatHereSeconds from tUtc, moved back where the picture ends sooner.
  void SelectRangeFrom(double tUtc);

  CVexlorApp& m_app;
  CQtMessageTarget m_target;
  std::unique_ptr<CAnalysisSession> m_pSession;
  QTimer m_runTimer;
  QPointer<CAnalyseStatusDlg> m_pStatusDlg;
  QElapsedTimer m_lastScroll;
  bool m_bScaleAutomatic = true;
  int m_nContrast;
  int m_nManualFirst;
  int m_nManualSecond;
  bool m_bShowLegend = true;
  int m_nZoomStep = 0;
  bool m_bHaveMark = false;
  QPoint m_ptMark;  // the last click, in picture pixels
  CPlayerOverlay* m_pPlayerOverlay = nullptr;
  QAction* m_pRepeatAction = nullptr;
  bool m_bRangeDrag = false;
  double m_tRangeFrom = 0.0;  // UTC seconds where the Shift+drag began
  // A tag's rectangle being dragged (picture pixels), or armed by BeginTagRectangle.
  bool m_bTagArmed = false;
  bool m_bTagDrag = false;
  QPoint m_ptTagStart;
  QPoint m_ptTagEnd;
};
