#include "app/VexlorView.h"

#include <QApplication>
#include <QDateTime>
#include <QKeyEvent>
#include <QMenu>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "analysis/ImageScaling.h"
#include "app/AnalyseStatusDlg.h"
#include "app/PlayerOverlay.h"
#include "app/VexlorApp.h"
#include "core/MessageQueue.h"
#include "player/SoundPlayer.h"
#include "render/PictureAnnotations.h"

namespace {

constexpr const char* kScaleAutomaticKey = "CVexlorView::m_bScaleAutomatic";
constexpr const char* kShowLegendKey = "CVexlorView::m_bShowLegend";

QColor FromArgb(std::uint32_t nArgb) { return QColor::fromRgba(nArgb); }

}  // namespace

CVexlorView::CVexlorView(CVexlorApp& app, CMessageTarget& mainFrame, QWidget* pParent)
    : QAbstractScrollArea(pParent),
      m_app(app),
      m_target([this](CMessage& msg) {
        if (!m_pSession->HandleMessage(msg)) WriteIfLogMessage(msg);
      }),
      m_pSession(std::make_unique<CAnalysisSession>(app.Pool(), app.Settings(), m_target, mainFrame)),
      m_nContrast(CImageScaling::kDefaultContrast),
      m_nManualFirst(CImageScaling::kDefaultManualFirst),
      m_nManualSecond(CImageScaling::kDefaultManualSecond) {
  m_pSession->SetListener(this);
  m_pSession->SetSound(&app.Sounds());
  m_pSession->LoadDefaultTags();
  app.Settings().Read(kScaleAutomaticKey, m_bScaleAutomatic);
  app.Settings().Read(kShowLegendKey, m_bShowLegend);
  m_runTimer.setInterval(CAnalysisSession::kTimerMs);
  connect(&m_runTimer, &QTimer::timeout, this, [this] { m_pSession->OnTimer(); });
  setMouseTracking(true);
  viewport()->setMouseTracking(true);
  setFocusPolicy(Qt::StrongFocus);
  setFrameShape(QFrame::NoFrame);
  horizontalScrollBar()->setSingleStep(20);
  verticalScrollBar()->setSingleStep(20);
  ApplyColouring();
  m_lastScroll.start();
}

CVexlorView::~CVexlorView() {
  m_runTimer.stop();
  m_pSession->SetListener(nullptr);
  // Answers still queued for the session are freed before it goes.
  m_target.Close();
}

bool CVexlorView::IsBusy() const { return m_pSession->IsBusy(); }

CAnalyseStatusDlg* CVexlorView::StatusDialog() const { return m_pStatusDlg; }

bool CVexlorView::Analyse(QString& strError) {
  if (m_pSession->IsBusy()) {
    m_pSession->RequestAbort();
    return true;
  }
  ApplyColouring();
  std::string strMessage;
  if (!m_pSession->StartAnalysis(strMessage)) {
    strError = QString::fromStdString(strMessage);
    return false;
  }
  return true;
}

// --- Colouring and switches ---------------------------------------------------------------

void CVexlorView::ApplyColouring() {
  m_pSession->SetColouring(m_app.Palette(), m_bScaleAutomatic, m_nContrast, m_nManualFirst, m_nManualSecond);
  viewport()->update();
}

void CVexlorView::SetScaling(int nContrast, int nManualFirst, int nManualSecond) {
  m_nContrast = nContrast;
  m_nManualFirst = nManualFirst;
  m_nManualSecond = nManualSecond;
  ApplyColouring();
}

void CVexlorView::SetScaleAutomatic(bool bAutomatic) {
  m_bScaleAutomatic = bAutomatic;
  m_app.Settings().Write(kScaleAutomaticKey, bAutomatic);
  ApplyColouring();
}

void CVexlorView::SetShowLegend(bool bShow) {
  m_bShowLegend = bShow;
  m_app.Settings().Write(kShowLegendKey, bShow);
  UpdateScrollBars();
  viewport()->update();
}

bool CVexlorView::ShowGrid() const { return m_pSession->Options().m_bAnalysisShowGrid != 0; }

void CVexlorView::SetShowGrid(bool bShow) {
  m_pSession->MutableOptions().m_bAnalysisShowGrid = bShow ? 1 : 0;
  viewport()->update();
}

// --- Zoom -----------------------------------------------------------------------------------

double CVexlorView::Zoom() const { return std::ldexp(1.0, m_nZoomStep); }

void CVexlorView::SetZoomStep(int nStep) {
  nStep = std::clamp(nStep, kMinZoomStep, kMaxZoomStep);
  if (nStep == m_nZoomStep) return;
  // Keep the centre of the view where it is.
  const QRect rc = PictureArea();
  const double dOld = Zoom();
  const double dCentreX = (horizontalScrollBar()->value() + rc.width() / 2.0) / dOld;
  const double dCentreY = (verticalScrollBar()->value() + rc.height() / 2.0) / dOld;
  m_nZoomStep = nStep;
  UpdateScrollBars();
  horizontalScrollBar()->setValue(static_cast<int>(dCentreX * Zoom() - rc.width() / 2.0));
  verticalScrollBar()->setValue(static_cast<int>(dCentreY * Zoom() - rc.height() / 2.0));
  viewport()->update();
  emit TitleChanged(TitleText());
}

// --- Geometry -------------------------------------------------------------------------------

QRect CVexlorView::PictureArea() const {
  const QRect rc = viewport()->rect();
  const int nRight = m_bShowLegend ? kLegendWidth : 4;
  return QRect(rc.left() + kTimeWidth, rc.top() + kScaleHeight, std::max(1, rc.width() - kTimeWidth - nRight),
               std::max(1, rc.height() - kScaleHeight - 4));
}

CPictureAnnotations::SMapping CVexlorView::Mapping() const {
  CPictureAnnotations::SMapping map;
  map.rcPicture = PictureArea();
  map.dZoom = Zoom();
  map.dScrollX = horizontalScrollBar()->value();
  map.dScrollY = verticalScrollBar()->value();
  return map;
}

double CVexlorView::ViewX(double dPictureX) const { return Mapping().X(dPictureX); }

double CVexlorView::ViewY(double dPictureY) const { return Mapping().Y(dPictureY); }

bool CVexlorView::PicturePixelAt(const QPoint& pt, int& nX, int& nY) const {
  const QRect rc = PictureArea();
  if (!rc.contains(pt) || m_pSession->Image().Rows().Count() == 0) return false;
  nX = static_cast<int>(std::floor((pt.x() - rc.left() + horizontalScrollBar()->value()) / Zoom()));
  nY = static_cast<int>(std::floor((pt.y() - rc.top() + verticalScrollBar()->value()) / Zoom()));
  return nX >= 0 && nY >= 0 && nX < m_pSession->Width() && nY < m_pSession->Height();
}

void CVexlorView::UpdateScrollBars() {
  const QRect rc = PictureArea();
  const double dZoom = Zoom();
  const int nWidth = static_cast<int>(std::ceil(m_pSession->Width() * dZoom));
  const int nHeight = static_cast<int>(std::ceil(m_pSession->Height() * dZoom));
  horizontalScrollBar()->setRange(0, std::max(0, nWidth - rc.width()));
  horizontalScrollBar()->setPageStep(rc.width());
  verticalScrollBar()->setRange(0, std::max(0, nHeight - rc.height()));
  verticalScrollBar()->setPageStep(rc.height());
}

void CVexlorView::PictureReplaced() {
  UpdateScrollBars();
  // The newest rows are at the top.
  verticalScrollBar()->setValue(0);
  horizontalScrollBar()->setValue(0);
  m_bHaveMark = false;
  viewport()->update();
  emit TitleChanged(TitleText());
}

QString CVexlorView::TitleText() const {
  const CAnalysisOptions& options = m_pSession->Options();
  if (!m_pSession->HasRecording() && options.m_astrRecordingFilenames.empty()) return CVexlorApp::kProductName;
  const bool bLocal = options.m_bTimeFormatLocal != 0;
  const auto format = [bLocal](std::int64_t t) {
    return QDateTime::fromSecsSinceEpoch(t, bLocal ? Qt::LocalTime : Qt::UTC).toString("yyyy-MM-dd HH:mm:ss");
  };
  // "%s %s, %s to %s": "Zoom, " or nothing, the product, the start and end of the range.
  return QString("%1 %2, %3 to %4")
      .arg(m_nZoomStep != 0 ? "Zoom," : "", CVexlorApp::kProductName, format(options.m_tAnalysisStartUTC),
           format(options.m_tAnalysisEndUTC))
      .trimmed();
}

// --- Painting -------------------------------------------------------------------------------

void CVexlorView::paintEvent(QPaintEvent*) {
  QPainter painter(viewport());
  painter.fillRect(viewport()->rect(), CPictureAnnotations::kBackground);
  const QRect rc = PictureArea();
  const CAnalysisImage& image = m_pSession->Image();
  const bool bHavePicture = image.Rows().Count() > 0 || m_pSession->IsBusy();
  if (!bHavePicture) {
    painter.setPen(CPictureAnnotations::kTextColour);
    painter.drawText(rc, Qt::AlignCenter,
                     "No analysis yet.\n\nNew Project (Ctrl+N) chooses a recording and analyses it;\n"
                     "Open Project (Ctrl+O) shows a saved analysis.");
    return;
  }
  // The engine's pixels, wrapped without a copy; only what is in view is drawn.
  const QImage picture(reinterpret_cast<const uchar*>(image.Pixels()), image.Width(), image.Height(),
                       image.Stride(), QImage::Format_RGB32);
  const double dZoom = Zoom();
  const int hx = horizontalScrollBar()->value();
  const int vy = verticalScrollBar()->value();
  const int x0 = std::max(0, static_cast<int>(std::floor(hx / dZoom)));
  const int y0 = std::max(0, static_cast<int>(std::floor(vy / dZoom)));
  const int x1 = std::min(image.Width(), static_cast<int>(std::ceil((hx + rc.width()) / dZoom)));
  const int y1 = std::min(image.Height(), static_cast<int>(std::ceil((vy + rc.height()) / dZoom)));
  painter.save();
  painter.setClipRect(rc);
  if (x1 > x0 && y1 > y0) {
    const QRectF target(ViewX(x0), ViewY(y0), (x1 - x0) * dZoom, (y1 - y0) * dZoom);
    painter.drawImage(target, picture, QRectF(x0, y0, x1 - x0, y1 - y0));
  }
  const CPictureAnnotations::SMapping map = Mapping();
  if (ShowGrid()) CPictureAnnotations::DrawGrid(painter, *m_pSession, map);
  CPictureAnnotations::DrawTags(painter, *m_pSession, map);
  if (m_pPlayerOverlay) m_pPlayerOverlay->Draw(painter, map);
  if (m_bTagDrag) {
    QPen pen(FromArgb(image.Colours().OverlayColour()), 1, Qt::DashLine);
    painter.setPen(pen);
    const QPoint a(std::min(m_ptTagStart.x(), m_ptTagEnd.x()), std::min(m_ptTagStart.y(), m_ptTagEnd.y()));
    const QPoint b(std::max(m_ptTagStart.x(), m_ptTagEnd.x()) + 1, std::max(m_ptTagStart.y(), m_ptTagEnd.y()) + 1);
    painter.drawRect(QRectF(QPointF(ViewX(a.x()), ViewY(a.y())), QPointF(ViewX(b.x()), ViewY(b.y()))));
  }
  if (m_bHaveMark) {
    painter.setPen(QPen(FromArgb(image.Colours().OverlayColour()), 1));
    const QPointF pt(ViewX(m_ptMark.x() + 0.5), ViewY(m_ptMark.y() + 0.5));
    painter.drawLine(pt - QPointF(8, 0), pt + QPointF(8, 0));
    painter.drawLine(pt - QPointF(0, 8), pt + QPointF(0, 8));
  }
  painter.restore();
  // A frame around the part of the picture in view.
  const QRectF rcShown = QRectF(QPointF(ViewX(0), ViewY(0)), QPointF(ViewX(image.Width()), ViewY(image.Height())))
                             .intersected(QRectF(rc));
  painter.setPen(QColor(90, 90, 90));
  painter.drawRect(rcShown.adjusted(-1, -1, 0, 0));
  CPictureAnnotations::DrawFrequencyScale(painter, *m_pSession, map, rc.top() - 12);
  CPictureAnnotations::DrawTimeLabels(painter, *m_pSession, map);
  if (m_bShowLegend)
    CPictureAnnotations::DrawColourBar(painter, *m_pSession,
                                       QRectF(rc.right() + 10, rc.top(), 16, std::min(rc.height(), 400)));
}

// --- Scrolling, zoom and the mouse ----------------------------------------------------------

void CVexlorView::resizeEvent(QResizeEvent* pEvent) {
  QAbstractScrollArea::resizeEvent(pEvent);
  UpdateScrollBars();
}

void CVexlorView::scrollContentsBy(int, int) { viewport()->update(); }

void CVexlorView::wheelEvent(QWheelEvent* pEvent) {
  if (pEvent->modifiers() & Qt::ControlModifier) {
    const int nDelta = pEvent->angleDelta().y();
    if (nDelta != 0) SetZoomStep(m_nZoomStep + (nDelta > 0 ? 1 : -1));
    pEvent->accept();
    return;
  }
  QAbstractScrollArea::wheelEvent(pEvent);
}

void CVexlorView::keyPressEvent(QKeyEvent* pEvent) {
  switch (pEvent->key()) {
    case Qt::Key_Home:
      verticalScrollBar()->setValue(0);
      return;
    case Qt::Key_End:
      verticalScrollBar()->setValue(verticalScrollBar()->maximum());
      return;
    case Qt::Key_Escape:
      if (m_bTagArmed || m_bTagDrag) {
        m_bTagArmed = m_bTagDrag = false;
        unsetCursor();
        viewport()->update();
        return;
      }
      QAbstractScrollArea::keyPressEvent(pEvent);
      return;
    default:
      QAbstractScrollArea::keyPressEvent(pEvent);
  }
}

void CVexlorView::mouseMoveEvent(QMouseEvent* pEvent) {
  if (m_bTagDrag) {
    // The rectangle follows the mouse, held within the picture.
    const QRect rc = PictureArea();
    const QPointF pt = pEvent->position();
    m_ptTagEnd = QPoint(std::clamp(static_cast<int>(std::floor((pt.x() - rc.left() + horizontalScrollBar()->value()) / Zoom())), 0,
                                   m_pSession->Width() - 1),
                        std::clamp(static_cast<int>(std::floor((pt.y() - rc.top() + verticalScrollBar()->value()) / Zoom())), 0,
                                   m_pSession->Height() - 1));
    viewport()->update();
  }
  int nX = 0, nY = 0;
  if (m_bRangeDrag && m_pPlayerOverlay) {
    m_pPlayerOverlay->SetDrag(m_tRangeFrom, TimeAtViewportY(pEvent->position().toPoint().y()));
    viewport()->update();
  }
  if (PicturePixelAt(pEvent->position().toPoint(), nX, nY))
    emit PointChanged(true, m_pSession->Click(nX, nY));
  else
    emit PointChanged(false, CPictureClick{});
}

void CVexlorView::mousePressEvent(QMouseEvent* pEvent) {
  int nX = 0, nY = 0;
  if (pEvent->button() != Qt::LeftButton || !PicturePixelAt(pEvent->position().toPoint(), nX, nY)) return;
  if ((pEvent->modifiers() & Qt::ShiftModifier) && m_pPlayerOverlay) {
    m_bRangeDrag = true;
    m_tRangeFrom = m_pSession->Click(nX, nY).m_tTime;
    m_pPlayerOverlay->SetDrag(m_tRangeFrom, m_tRangeFrom);
    viewport()->update();
    return;
  }
  if (m_bTagArmed || (pEvent->modifiers() & Qt::AltModifier)) {
    m_bTagArmed = false;
    m_bTagDrag = true;
    m_ptTagStart = m_ptTagEnd = QPoint(nX, nY);
    viewport()->update();
    return;
  }
  m_bHaveMark = true;
  m_ptMark = QPoint(nX, nY);
  viewport()->update();
  // Ctrl+click charts the column's history; it does not play.
  if (pEvent->modifiers() & Qt::ControlModifier) {
    emit HistoryRequested(nX);
    return;
  }
  emit PointClicked(m_pSession->Click(nX, nY));
}

void CVexlorView::leaveEvent(QEvent*) { emit PointChanged(false, CPictureClick{}); }

void CVexlorView::mouseReleaseEvent(QMouseEvent* pEvent) {
  if (pEvent->button() != Qt::LeftButton) return;
  if (m_bRangeDrag) {
    m_bRangeDrag = false;
    if (m_pPlayerOverlay) m_pPlayerOverlay->ClearDrag();
    viewport()->update();
    emit RangeSelected(m_tRangeFrom, TimeAtViewportY(pEvent->position().toPoint().y()));
    return;
  }
  if (!m_bTagDrag) return;
  m_bTagDrag = false;
  unsetCursor();
  viewport()->update();
  // The pixels from start to end, both included.
  const CTagDefinition tag = m_pSession->TagOfRect(
      std::min(m_ptTagStart.x(), m_ptTagEnd.x()), std::min(m_ptTagStart.y(), m_ptTagEnd.y()),
      std::max(m_ptTagStart.x(), m_ptTagEnd.x()) + 1, std::max(m_ptTagStart.y(), m_ptTagEnd.y()) + 1);
  emit TagRectangleDrawn(tag);
}

void CVexlorView::contextMenuEvent(QContextMenuEvent* pEvent) {
  int nX = 0, nY = 0;
  if (!PicturePixelAt(pEvent->pos(), nX, nY)) return;
  QMenu menu(this);
  menu.addAction("Signal history here\tCtrl+click", this, [this, nX] { emit HistoryRequested(nX); });
  menu.addAction("Tag a rectangle...\tAlt+drag", this, &CVexlorView::BeginTagRectangle);
  if (m_pPlayerOverlay) {
    menu.addSeparator();
    const double tHere = m_pSession->Click(nX, nY).m_tTime;
    menu.addAction(QString("Set repeat range here (%1 s)\tShift+drag").arg(kRepeatHereSeconds), this,
                   [this, tHere] { SelectRangeFrom(tHere); });
    menu.addAction("Set repeat range to the visible time", this, [this] {
      const QRect rc = PictureArea();
      emit RangeSelected(TimeAtViewportY(rc.top()), TimeAtViewportY(rc.bottom()));
    });
    if (m_pRepeatAction) menu.addAction(m_pRepeatAction);
  }
  menu.exec(pEvent->globalPos());
}

double CVexlorView::TimeAtViewportY(int nViewportY) const {
  const QRect rc = PictureArea();
  const double dY = (std::clamp(nViewportY, rc.top(), rc.bottom()) - rc.top() + verticalScrollBar()->value()) / Zoom();
  const int nY = std::clamp(static_cast<int>(std::floor(dY)), 0, std::max(0, m_pSession->Height() - 1));
  return m_pSession->Click(0, nY).m_tTime;
}

void CVexlorView::SelectRangeFrom(double tUtc) {
  const double tTop = m_pSession->Click(0, 0).m_tTime;
  const double tBottom = m_pSession->Click(0, std::max(0, m_pSession->Height() - 1)).m_tTime;
  const double tFirst = std::min(tTop, tBottom);
  const double tLast = std::max(tTop, tBottom);
  const double tEnd = std::min(tUtc + kRepeatHereSeconds, tLast);
  emit RangeSelected(std::max(tFirst, std::min(tUtc, tEnd - kRepeatHereSeconds)), tEnd);
}

void CVexlorView::BeginTagRectangle() {
  if (m_pSession->Image().Rows().Count() == 0) return;
  m_bTagArmed = true;
  setCursor(Qt::CrossCursor);
}

void CVexlorView::ShowTag(const CTagDefinition& tag) {
  const SPictureRect rect = m_pSession->TagRect(tag);
  if (!rect.bVisible) return;
  // The tag's middle into the middle of the view.
  const QRect rc = PictureArea();
  const double dZoom = Zoom();
  horizontalScrollBar()->setValue(static_cast<int>((rect.nLeft + rect.nRight) / 2.0 * dZoom - rc.width() / 2.0));
  verticalScrollBar()->setValue(static_cast<int>((rect.nTop + rect.nBottom) / 2.0 * dZoom - rc.height() / 2.0));
  // Its start (the bottom line) at its frequency is clicked.
  const int nX = std::clamp(static_cast<int>(m_pSession->XAtFrequency(tag.m_nFrequency)), 0, m_pSession->Width() - 1);
  const int nY = std::max(rect.nTop, rect.nBottom - 1);
  m_bHaveMark = true;
  m_ptMark = QPoint(nX, nY);
  viewport()->update();
  emit PointClicked(m_pSession->Click(nX, nY));
}

void CVexlorView::ScrollToNewestRow() {
  const int nRows = static_cast<int>(m_pSession->RunState().nRowsDone);
  if (nRows <= 0) return;
  const QRect rc = PictureArea();
  const int y = static_cast<int>(m_pSession->PixelYOfRow(std::min(nRows, m_pSession->Height()) - 1) * Zoom());
  QScrollBar* pBar = verticalScrollBar();
  if (y < pBar->value() || y > pBar->value() + rc.height() - 1) pBar->setValue(y - rc.height() / 4);
}

// --- The run --------------------------------------------------------------------------------

void CVexlorView::RunStarted() {
  if (!m_pStatusDlg) {
    m_pStatusDlg = new CAnalyseStatusDlg(window());
    connect(m_pStatusDlg, &CAnalyseStatusDlg::AbortRequested, this, [this] {
      if (m_pSession->IsBusy()) m_pSession->RequestAbort();
    });
  }
  const auto& astrFiles = m_pSession->Options().m_astrRecordingFilenames;
  m_pStatusDlg->Start(astrFiles.empty() ? QString() : QString::fromStdString(astrFiles.front()));
  m_runTimer.start();
  m_bHaveMark = false;
  UpdateScrollBars();
  verticalScrollBar()->setValue(verticalScrollBar()->maximum());
  m_lastScroll.restart();
  viewport()->update();
  emit TitleChanged(TitleText());
  emit RunStateChanged(true);
}

void CVexlorView::RunProgress(const SAnalysisRunState& state) {
  if (m_pStatusDlg) m_pStatusDlg->ShowProgress(state);
}

void CVexlorView::PictureChanged() {
  const SPictureChange change = m_pSession->TakePictureChange();
  if (change.bAll) UpdateScrollBars();
  if (!m_pSession->IsBusy()) {
    viewport()->update();
    return;
  }
  // During a run: at most once a second, the newest row into view and a repaint.
  if (m_lastScroll.elapsed() < 1000) return;
  m_lastScroll.restart();
  ScrollToNewestRow();
  viewport()->update();
}

void CVexlorView::FileOpenFailed() {
  if (m_pStatusDlg) m_pStatusDlg->ShowOpenFailed();
}

void CVexlorView::RunFinished(const SAnalysisRunState&) {
  m_runTimer.stop();
  if (m_pStatusDlg) {
    m_pStatusDlg->hide();
    m_pStatusDlg->deleteLater();
    m_pStatusDlg = nullptr;
  }
  UpdateScrollBars();
  ScrollToNewestRow();
  viewport()->update();
  emit TitleChanged(TitleText());
  emit RunStateChanged(false);
}

void CVexlorView::EngineFault(const CEngineFault& fault) {
  // Shown after the message being handled: a message box's own event loop must not run
  // inside the session's handler.
  const QString strText = QString::fromStdString(fault.strText);
  QMetaObject::invokeMethod(
      this, [this, strText] { QMessageBox::warning(window(), CVexlorApp::kProductName, strText); },
      Qt::QueuedConnection);
}
