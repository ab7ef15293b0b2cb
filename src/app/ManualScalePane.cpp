#include "app/ManualScalePane.h"

#include <QAction>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QSlider>
#include <QSpinBox>
#include <QToolButton>
#include <cstdlib>

#include "analysis/ImageScaling.h"
#include "persist/MySettingsStore.h"

namespace {

constexpr const char* kFirstKey = "CManualScalePane::m_nManualFirst";
constexpr const char* kSecondKey = "CManualScalePane::m_nManualSecond";
constexpr const char* kContrastKey = "CManualScalePane::m_nContrast";

}  // namespace

CManualScalePane::CManualScalePane(CMySettingsStore& settings, QWidget* pParent)
    : QWidget(pParent), m_settings(settings) {
  int nFirst = CImageScaling::kDefaultManualFirst, nSecond = CImageScaling::kDefaultManualSecond;
  int nContrast = CImageScaling::kDefaultContrast;
  m_settings.Read(kFirstKey, nFirst);
  m_settings.Read(kSecondKey, nSecond);
  m_settings.Read(kContrastKey, nContrast);
  const auto makeLevel = [this](int nMagnitude, const char* pszTip) {
    auto* p = new QSpinBox(this);
    p->setRange(-300, 0);
    p->setSuffix(" dB");
    p->setValue(-std::abs(nMagnitude));
    p->setToolTip(pszTip);
    return p;
  };
  m_pWeakest = makeLevel(nFirst, "The level shown in the palette's first (weakest) colour under manual scaling");
  m_pStrongest = makeLevel(nSecond, "The level shown in the palette's last (strongest) colour under manual scaling");
  m_pContrast = new QSlider(Qt::Horizontal, this);
  m_pContrast->setRange(0, 100);
  m_pContrast->setValue(nContrast);
  m_pContrast->setToolTip("Contrast of automatic scaling: higher darkens the noise floor");
  auto* pLayout = new QFormLayout(this);
  pLayout->addRow(new QLabel("Manual scale"));
  pLayout->addRow("Weakest:", m_pWeakest);
  pLayout->addRow("Strongest:", m_pStrongest);
  pLayout->addRow(new QLabel("Automatic scale"));
  pLayout->addRow("Contrast:", m_pContrast);
  connect(m_pWeakest, &QSpinBox::valueChanged, this, &CManualScalePane::Changed);
  connect(m_pStrongest, &QSpinBox::valueChanged, this, &CManualScalePane::Changed);
  connect(m_pContrast, &QSlider::valueChanged, this, &CManualScalePane::Changed);
}

void CManualScalePane::AddScaleSwitch(QAction* pAutomatic, QAction* pManual) {
  auto* pSwitch = new QHBoxLayout;
  for (QAction* p : {pAutomatic, pManual}) {
    auto* pButton = new QToolButton(this);
    pButton->setDefaultAction(p);
    pButton->setToolButtonStyle(Qt::ToolButtonTextOnly);
    pButton->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    pSwitch->addWidget(pButton);
  }
  static_cast<QFormLayout*>(layout())->insertRow(0, pSwitch);
  const auto enable = [this, pAutomatic] {
    const bool bAutomatic = pAutomatic->isChecked();
    m_pWeakest->setEnabled(!bAutomatic);
    m_pStrongest->setEnabled(!bAutomatic);
    m_pContrast->setEnabled(bAutomatic);
  };
  connect(pAutomatic, &QAction::toggled, this, enable);
  enable();
}

int CManualScalePane::ManualFirst() const { return std::abs(m_pWeakest->value()); }
int CManualScalePane::ManualSecond() const { return std::abs(m_pStrongest->value()); }
int CManualScalePane::Contrast() const { return m_pContrast->value(); }

void CManualScalePane::SetLevels(int nWeakestDb, int nStrongestDb) {
  m_pWeakest->setValue(nWeakestDb);
  m_pStrongest->setValue(nStrongestDb);
}

void CManualScalePane::Changed() {
  m_settings.Write(kFirstKey, ManualFirst());
  m_settings.Write(kSecondKey, ManualSecond());
  m_settings.Write(kContrastKey, Contrast());
  emit ScalingChanged(Contrast(), ManualFirst(), ManualSecond());
}
