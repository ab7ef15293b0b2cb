#include "app/TagDialog.h"

#include <QDateTimeEdit>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QMessageBox>
#include <QSpinBox>
#include <QTimeZone>

CTagDialog::CTagDialog(const CTagDefinition& tag, bool bNew, QWidget* pParent) : QDialog(pParent) {
  setObjectName("CTagDialog");
  setWindowTitle(QString("%1 - %2").arg(bNew ? "New tag" : "Edit tag", QString::fromStdString(TagCaption(tag))));
  m_pTitle = new QLineEdit(QString::fromStdString(tag.m_strTitle));
  m_pTitle->setPlaceholderText("<Title>");
  m_pDescription = new QLineEdit(QString::fromStdString(tag.m_strDescription));
  m_pFrequency = new QLineEdit;
  m_pFrequency->setObjectName("Frequency");
  // MHz (4 digits), kHz and Hz; "_" marks an empty place.
  m_pFrequency->setInputMask("0000.000.000;_");
  m_pFrequency->setText(FrequencyFieldText(tag.m_nFrequency));
  m_pFrequency->setToolTip("Frequency in MHz.kHz.Hz");
  m_pBandwidth = new QSpinBox;
  m_pBandwidth->setRange(0, 100000000);
  m_pBandwidth->setSuffix(" Hz");
  m_pBandwidth->setGroupSeparatorShown(true);
  m_pBandwidth->setValue(static_cast<int>(std::min<std::uint32_t>(tag.m_nBandwidth, 100000000)));
  m_pStart = new QDateTimeEdit(QDateTime::fromSecsSinceEpoch(tag.m_tStartTime, Qt::UTC));
  m_pStart->setTimeSpec(Qt::UTC);
  m_pStart->setDisplayFormat("yyyy-MM-dd HH:mm:ss 'UTC'");
  m_pDuration = new QSpinBox;
  m_pDuration->setRange(0, 1000000000);
  m_pDuration->setSuffix(" s");
  m_pDuration->setValue(static_cast<int>(std::min<std::uint32_t>(tag.m_nDuration, 1000000000)));

  auto* pForm = new QFormLayout;
  pForm->addRow("&Title:", m_pTitle);
  pForm->addRow("&Description:", m_pDescription);
  pForm->addRow("&Frequency (MHz.kHz.Hz):", m_pFrequency);
  pForm->addRow("&Bandwidth:", m_pBandwidth);
  pForm->addRow("&Start time:", m_pStart);
  pForm->addRow("D&uration:", m_pDuration);
  auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  connect(pButtons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* pLayout = new QVBoxLayout(this);
  pLayout->addLayout(pForm);
  pLayout->addWidget(pButtons);
}

QString CTagDialog::FrequencyFieldText(std::uint32_t nFrequencyHz) {
  return QString("%1.%2.%3")
      .arg(nFrequencyHz / 1000000, 4, 10, QChar('0'))
      .arg(nFrequencyHz / 1000 % 1000, 3, 10, QChar('0'))
      .arg(nFrequencyHz % 1000, 3, 10, QChar('0'));
}

bool CTagDialog::ParseFrequencyField(const QString& strText, std::uint32_t& nFrequencyHz) {
  // Each group counts on its own, so "7___.1__.___" reads as 7 MHz 1 kHz as typed.
  const QStringList groups = strText.split('.');
  if (groups.size() != 3) return false;
  std::uint64_t nHz = 0;
  bool bAnyDigit = false;
  const std::uint64_t anUnit[] = {1000000, 1000, 1};
  for (int i = 0; i < 3; ++i) {
    QString strDigits;
    for (QChar c : groups[i])
      if (c.isDigit()) strDigits += c;
    if (strDigits.isEmpty()) continue;
    bAnyDigit = true;
    nHz += strDigits.toULongLong() * anUnit[i];
  }
  if (!bAnyDigit || nHz > 0xFFFFFFFFull) return false;
  nFrequencyHz = static_cast<std::uint32_t>(nHz);
  return true;
}

CTagDefinition CTagDialog::Tag() const {
  CTagDefinition tag;
  tag.m_strTitle = m_pTitle->text().toStdString();
  tag.m_strDescription = m_pDescription->text().toStdString();
  ParseFrequencyField(m_pFrequency->text(), tag.m_nFrequency);
  tag.m_nBandwidth = static_cast<std::uint32_t>(m_pBandwidth->value());
  tag.m_tStartTime = m_pStart->dateTime().toSecsSinceEpoch();
  tag.m_nDuration = static_cast<std::uint32_t>(m_pDuration->value());
  return tag;
}

void CTagDialog::accept() {
  std::uint32_t nHz = 0;
  if (!ParseFrequencyField(m_pFrequency->text(), nHz)) {
    QMessageBox::warning(this, windowTitle(), "Enter the frequency as MHz.kHz.Hz, for example 0007.100.000.");
    m_pFrequency->setFocus();
    return;
  }
  QDialog::accept();
}
