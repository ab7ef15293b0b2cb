#pragma once
// CManualScalePane: the "Manual Scale" pane. The switch between automatic and manual
// scaling (the main frame's two commands, `CVexlorView::m_bScaleAutomatic`), the two
// integer levels of manual scaling (magnitudes of dB values: -second gets the strongest
// colour, -first the weakest) and the contrast of automatic scaling (0 .. 100). Every
// change redraws the picture from its kept rows; nothing is analysed again.

#include <QWidget>

class CVexlorView;
class QAction;
class QSlider;
class QSpinBox;

class CManualScalePane final : public QWidget {
  Q_OBJECT
 public:
  CManualScalePane(CVexlorView& view, QAction* pAutomatic, QAction* pManual, QWidget* pParent = nullptr);

  QSpinBox* FirstLevel() const { return m_pFirst; }
  QSpinBox* SecondLevel() const { return m_pSecond; }
  QSlider* Contrast() const { return m_pContrast; }

 private:
  void Apply();
  void UpdateEnabled();

  CVexlorView& m_view;
  QAction* m_pAutomatic = nullptr;
  QSpinBox* m_pFirst = nullptr;
  QSpinBox* m_pSecond = nullptr;
  QSlider* m_pContrast = nullptr;
};
