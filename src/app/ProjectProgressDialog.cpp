#include "app/ProjectProgressDialog.h"

#include <QCoreApplication>

CProjectProgressDialog::CProjectProgressDialog(QWidget* pParent) : m_dialog(pParent) {
  m_dialog.setWindowTitle("Vexlor");
  m_dialog.setCancelButton(nullptr);
  // Not modal: a modal dialog would handle events on every SetPos. User input waits anyway,
  // as Pump() leaves it queued.
  m_dialog.setWindowModality(Qt::NonModal);
  m_dialog.setMinimumDuration(300);
  m_dialog.setAutoClose(false);
  m_dialog.setAutoReset(false);
}

void CProjectProgressDialog::SetCaption(const std::string& strCaption) {
  m_dialog.setLabelText(QString::fromStdString(strCaption));
  Pump();
}

void CProjectProgressDialog::SetRange(int nLow, int nHigh) { m_dialog.setRange(nLow, nHigh); }

void CProjectProgressDialog::SetPos(int nPos) { m_dialog.setValue(nPos); }

void CProjectProgressDialog::Pump() {
  QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}
