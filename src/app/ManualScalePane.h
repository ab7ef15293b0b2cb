#pragma once
// CManualScalePane: the levels of manual scaling and the contrast of automatic scaling.
// Manual scaling colours the picture from the weakest level (the palette's first colour)
// to the strongest (its last); the levels are dB values, stored as their magnitudes as the
// picture takes them. Every change redraws the picture from its rows and is stored.

#include <QWidget>

class QAction;
class QSlider;
class QSpinBox;
class CMySettingsStore;

class CManualScalePane final : public QWidget {
  Q_OBJECT
 public:
  CManualScalePane(CMySettingsStore& settings, QWidget* pParent = nullptr);

  // Magnitudes of the weakest and strongest levels, and the contrast (0 .. 100).
  int ManualFirst() const;
  int ManualSecond() const;
  int Contrast() const;
  void SetLevels(int nWeakestDb, int nStrongestDb);
  // Puts the switch between automatic and manual scaling (the frame's two commands) on top
  // of the pane; the levels are editable under manual scaling, the contrast under automatic.
  void AddScaleSwitch(QAction* pAutomatic, QAction* pManual);
  QSpinBox* WeakestField() const { return m_pWeakest; }
  QSpinBox* StrongestField() const { return m_pStrongest; }

 signals:
  void ScalingChanged(int nContrast, int nManualFirst, int nManualSecond);

 private:
  void Changed();

  CMySettingsStore& m_settings;
  QSpinBox* m_pWeakest;
  QSpinBox* m_pStrongest;
  QSlider* m_pContrast;
};
