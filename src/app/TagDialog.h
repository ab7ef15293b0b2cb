#pragma once
// CTagDialog: adds or edits one tag: title, description, frequency (the masked field
// "____.___.___": MHz, kHz and Hz in groups), bandwidth in Hz, start time (UTC) and
// duration in seconds. The caption shows the tag's list caption.

#include <QDialog>

#include "persist/TagDefinitions.h"

class QDateTimeEdit;
class QLineEdit;
class QSpinBox;

class CTagDialog final : public QDialog {
  Q_OBJECT
 public:
  CTagDialog(const CTagDefinition& tag, bool bNew, QWidget* pParent = nullptr);

  // The tag as entered.
  CTagDefinition Tag() const;

  // The masked field's text of a frequency ("0007.100.000") and back (false when the text
  // holds no digits or more than fits in 32 bits).
  static QString FrequencyFieldText(std::uint32_t nFrequencyHz);
  static bool ParseFrequencyField(const QString& strText, std::uint32_t& nFrequencyHz);

  QLineEdit* FrequencyField() const { return m_pFrequency; }
  QLineEdit* TitleField() const { return m_pTitle; }

  // OK: refused (with a message) while the frequency field holds no frequency.
  void accept() override;

 private:
  QLineEdit* m_pTitle = nullptr;
  QLineEdit* m_pDescription = nullptr;
  QLineEdit* m_pFrequency = nullptr;
  QSpinBox* m_pBandwidth = nullptr;
  QDateTimeEdit* m_pStart = nullptr;
  QSpinBox* m_pDuration = nullptr;
};
