#include "app/TuningBar.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>
#include <QRegularExpression>
#include <QWheelEvent>
#include <cmath>

#include "core/QuantityText.h"
#include "core/StatusFigures.h"

CTuningBar::CTuningBar(QWidget* pParent) : QWidget(pParent) {
  setObjectName("TuningBar");
  setFocusPolicy(Qt::StrongFocus);
  setCursor(Qt::SizeHorCursor);
  setToolTip("The tuned frequency: drag sideways or turn the wheel to retune; double-click to type a frequency");
  m_pEditor = new QLineEdit(this);
  m_pEditor->setObjectName("TuningEditor");
  m_pEditor->setPlaceholderText("7.100.000, 7100k or 7.1M");
  m_pEditor->hide();
  connect(m_pEditor, &QLineEdit::returnPressed, this, &CTuningBar::EditorDone);
  connect(m_pEditor, &QLineEdit::editingFinished, m_pEditor, &QWidget::hide);
}

void CTuningBar::SetTuning(double dTunedHz, double dPassLowHz, double dPassHighHz, const QString& strMode) {
  m_dTunedHz = dTunedHz;
  m_dPassLowHz = dPassLowHz;
  m_dPassHighHz = dPassHighHz;
  m_strMode = strMode;
  update();
}

QString CTuningBar::FrequencyText() const {
  if (m_dTunedHz <= 0.0) return "---.---.--- MHz";
  return QString::fromStdString(CStatusFigures::FrequencyText(m_dTunedHz));
}

std::optional<double> CTuningBar::ParseFrequency(const QString& strText) {
  QString str = strText.trimmed().remove(' ');
  // "7.100.000": dots that separate groups of three digits, as the bar shows the frequency.
  static const QRegularExpression groups("^\\d{1,4}(\\.\\d{3})+$");
  if (groups.match(str).hasMatch()) str.remove('.');
  double d = 0.0;
  std::string strError;
  if (!ParseFrequencyText(str.toStdString(), d, strError) || !(d > 0.0)) return std::nullopt;
  return std::round(d);
}

void CTuningBar::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), QColor(10, 12, 16));
  QFont big = font();
  big.setPointSizeF(font().pointSizeF() * 1.9);
  big.setBold(true);
  big.setFamily("Monospace");
  big.setStyleHint(QFont::Monospace);
  painter.setFont(big);
  painter.setPen(QColor(255, 190, 60));
  const QRect rcTop(6, 0, width() - 12, height() * 2 / 3);
  painter.drawText(rcTop, Qt::AlignLeft | Qt::AlignVCenter, FrequencyText());
  QFont small = font();
  small.setPointSizeF(font().pointSizeF() * 0.9);
  painter.setFont(small);
  painter.setPen(QColor(170, 180, 200));
  painter.drawText(rcTop, Qt::AlignRight | Qt::AlignVCenter, m_strMode);
  const QString strBand = QString("Pass band %1 .. %2 Hz (%3 Hz wide)")
                              .arg(QString::number(m_dPassLowHz - m_dTunedHz, 'f', 0),
                                   QString::number(m_dPassHighHz - m_dTunedHz, 'f', 0),
                                   QString::number(m_dPassHighHz - m_dPassLowHz, 'f', 0));
  painter.drawText(QRect(6, height() * 2 / 3 - 2, width() - 12, height() / 3), Qt::AlignLeft | Qt::AlignVCenter,
                   strBand);
}

void CTuningBar::mousePressEvent(QMouseEvent* pEvent) {
  if (pEvent->button() != Qt::LeftButton) return;
  m_bDragging = true;
  m_nDragStartX = static_cast<int>(pEvent->position().x());
  m_dDragStartHz = m_dTunedHz;
}

void CTuningBar::mouseMoveEvent(QMouseEvent* pEvent) {
  if (!m_bDragging) return;
  const int nSteps = (static_cast<int>(pEvent->position().x()) - m_nDragStartX) / kPixelsPerStep;
  const double dHz = m_dDragStartHz + nSteps * m_dStepHz;
  if (dHz != m_dTunedHz) emit TuneRequested(dHz);
}

void CTuningBar::mouseReleaseEvent(QMouseEvent*) { m_bDragging = false; }

void CTuningBar::mouseDoubleClickEvent(QMouseEvent*) { OpenEditor(); }

void CTuningBar::wheelEvent(QWheelEvent* pEvent) {
  const int nDelta = pEvent->angleDelta().y();
  if (nDelta == 0) return;
  // A step rounds onto the grid of steps first, as a snapped click lies on it.
  const double dBase = std::round(m_dTunedHz / m_dStepHz) * m_dStepHz;
  const double dHz = dBase == m_dTunedHz ? m_dTunedHz + (nDelta > 0 ? m_dStepHz : -m_dStepHz)
                                          : (nDelta > 0 ? std::ceil(m_dTunedHz / m_dStepHz)
                                                        : std::floor(m_dTunedHz / m_dStepHz)) *
                                                m_dStepHz;
  emit TuneRequested(dHz);
  pEvent->accept();
}

void CTuningBar::keyPressEvent(QKeyEvent* pEvent) {
  if (pEvent->key() == Qt::Key_Return || pEvent->key() == Qt::Key_Enter) {
    OpenEditor();
  } else if (!pEvent->text().isEmpty() && pEvent->text().at(0).isDigit()) {
    OpenEditor();
    m_pEditor->setText(pEvent->text());
  } else {
    QWidget::keyPressEvent(pEvent);
  }
}

void CTuningBar::OpenEditor() {
  m_pEditor->setGeometry(4, 4, width() - 8, height() * 2 / 3 - 4);
  m_pEditor->setText(FrequencyText().remove(" MHz"));
  m_pEditor->selectAll();
  m_pEditor->show();
  m_pEditor->setFocus();
}

void CTuningBar::EditorDone() {
  const auto d = ParseFrequency(m_pEditor->text());
  if (!d) {
    m_pEditor->setStyleSheet("color: red");
    return;
  }
  m_pEditor->setStyleSheet({});
  m_pEditor->hide();
  emit TuneRequested(*d);
}
