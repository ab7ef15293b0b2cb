#pragma once
// CTuningBar: the tuned frequency in "MHz.kHz.Hz" groups and the pass band under it. It
// asks to retune (TuneRequested) by dragging sideways (one step per 4 pixels), by the wheel
// (one step: the frequency snap step when snapping, otherwise 1 kHz) and by typing a
// frequency (double-click or Enter opens the field: "7.100.000", "7100000", "7100k",
// "7.1M").

#include <QWidget>
#include <optional>

class QLineEdit;

class CTuningBar final : public QWidget {
  Q_OBJECT
 public:
  static constexpr int kPixelsPerStep = 4;
  explicit CTuningBar(QWidget* pParent = nullptr);

  void SetTuning(double dTunedHz, double dPassLowHz, double dPassHighHz, const QString& strMode);
  // The step of the wheel and of dragging, Hz.
  void SetStep(double dStepHz) { m_dStepHz = dStepHz > 0.0 ? dStepHz : 1000.0; }
  double Step() const { return m_dStepHz; }
  double TunedFrequency() const { return m_dTunedHz; }
  QString FrequencyText() const;
  QLineEdit* Editor() const { return m_pEditor; }
  // A typed frequency in Hz; none when the text is not a frequency.
  static std::optional<double> ParseFrequency(const QString& strText);

  QSize sizeHint() const override { return {360, 54}; }

 signals:
  void TuneRequested(double dFrequencyHz);

 protected:
  void paintEvent(QPaintEvent* pEvent) override;
  void mousePressEvent(QMouseEvent* pEvent) override;
  void mouseMoveEvent(QMouseEvent* pEvent) override;
  void mouseReleaseEvent(QMouseEvent* pEvent) override;
  void mouseDoubleClickEvent(QMouseEvent* pEvent) override;
  void wheelEvent(QWheelEvent* pEvent) override;
  void keyPressEvent(QKeyEvent* pEvent) override;

 private:
  void OpenEditor();
  void EditorDone();

  QLineEdit* m_pEditor = nullptr;
  double m_dTunedHz = 0.0;
  double m_dPassLowHz = 0.0;
  double m_dPassHighHz = 0.0;
  QString m_strMode;
  double m_dStepHz = 1000.0;
  bool m_bDragging = false;
  int m_nDragStartX = 0;
  double m_dDragStartHz = 0.0;
};
