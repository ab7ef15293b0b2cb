#pragma once
// CProjectProgressDialog: the progress of saving or loading a project ("Encoding data...",
// "Saving project...", "Writing file...", "Opening project...", "Loading project...",
// "Decoding"), with the captions the project file sets; Pump() keeps the window alive.

#include <QProgressDialog>

#include "analysis/ProjectFile.h"

class CProjectProgressDialog final : public CProjectProgress {
 public:
  explicit CProjectProgressDialog(QWidget* pParent);
  void SetCaption(const std::string& strCaption) override;
  void SetRange(int nLow, int nHigh) override;
  void SetPos(int nPos) override;
  void Pump() override;

 private:
  QProgressDialog m_dialog;
};
