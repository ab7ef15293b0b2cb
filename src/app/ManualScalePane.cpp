#include "app/ManualScalePane.h"

#include <QAction>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QSlider>
#include <QSpinBox>
#include <QToolButton>
#include <QVBoxLayout>

#include "app/VexlorView.h"

namespace {

QSpinBox* MakeLevel(int nValue, const QString& strTip) {
  auto* p = new QSpinBox;
  // Magnitudes of dB values: shown with their sign, entered as magnitudes.
  p->setRange(0, 250);
  p->setPrefix("-");
  p->setSuffix(" dB");
  p->setValue(std::abs(nValue));
  p->setToolTip(strTip);
  p->setKeyboardTracking(false);
  return p;
}

}  // namespace

CManualScalePane::CManualScalePane(CVexlorView& view, QAction* pAutomatic, QAction* pManual, QWidget* pParent)
    : QWidget(pParent), m_view(view), m_pAutomatic(pAutomatic) {
  setObjectName("CManualScalePane");
  auto* pSwitch = new QHBoxLayout;
  for (QAction* p : {pAutomatic, pManual}) {
    auto* pButton = new QToolButton(this);
    pButton->setDefaultAction(p);
    pButton->setToolButtonStyle(Qt::ToolButtonTextOnly);
    pButton->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    pSwitch->addWidget(pButton);
  }

  m_pFirst = MakeLevel(view.ScaleManualFirst(), "The level drawn in the weakest colour");
  m_pFirst->setObjectName("ManualFirst");
  m_pSecond = MakeLevel(view.ScaleManualSecond(), "The level drawn in the strongest colour");
  m_pSecond->setObjectName("ManualSecond");
  auto* pManualBox = new QGroupBox("Manual levels", this);
  auto* pManualForm = new QFormLayout(pManualBox);
  pManualForm->addRow("Weakest colour at:", m_pFirst);
  pManualForm->addRow("Strongest colour at:", m_pSecond);

  m_pContrast = new QSlider(Qt::Horizontal, this);
  m_pContrast->setObjectName("Contrast");
  m_pContrast->setRange(0, 100);
  m_pContrast->setValue(view.ScaleContrast());
  m_pContrast->setToolTip("Higher contrast keeps more of the noise floor dark");
  auto* pContrastValue = new QLabel(QString::number(m_pContrast->value()), this);
  pContrastValue->setMinimumWidth(pContrastValue->fontMetrics().horizontalAdvance("100 "));
  auto* pAutoBox = new QGroupBox("Automatic scaling", this);
  auto* pAutoLayout = new QHBoxLayout(pAutoBox);
  pAutoLayout->addWidget(new QLabel("Contrast:", this));
  pAutoLayout->addWidget(m_pContrast, 1);
  pAutoLayout->addWidget(pContrastValue);

  auto* pLayout = new QVBoxLayout(this);
  pLayout->addLayout(pSwitch);
  pLayout->addWidget(pManualBox);
  pLayout->addWidget(pAutoBox);
  pLayout->addStretch(1);

  connect(m_pFirst, &QSpinBox::valueChanged, this, &CManualScalePane::Apply);
  connect(m_pSecond, &QSpinBox::valueChanged, this, &CManualScalePane::Apply);
  connect(m_pContrast, &QSlider::valueChanged, pContrastValue, qOverload<int>(&QLabel::setNum));
  // The picture is redrawn when the slider is let go (or moved by the keyboard).
  m_pContrast->setTracking(false);
  connect(m_pContrast, &QSlider::valueChanged, this, &CManualScalePane::Apply);
  connect(m_pContrast, &QSlider::sliderMoved, pContrastValue, qOverload<int>(&QLabel::setNum));
  connect(pAutomatic, &QAction::toggled, this, &CManualScalePane::UpdateEnabled);
  UpdateEnabled();
}

void CManualScalePane::Apply() {
  m_view.SetScaleLevels(m_pContrast->value(), m_pFirst->value(), m_pSecond->value());
}

void CManualScalePane::UpdateEnabled() {
  const bool bAutomatic = m_pAutomatic->isChecked();
  m_pContrast->setEnabled(bAutomatic);
  m_pFirst->setEnabled(!bAutomatic);
  m_pSecond->setEnabled(!bAutomatic);
}
