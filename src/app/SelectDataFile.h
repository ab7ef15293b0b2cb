#pragma once
// CSelectDataFile: the New Project / Edit Project dialog over CSelectionModel.
//
// The user picks a recording and sets the analysis options; the summary table shows the
// recording and what the choices imply, rebuilt on every change. Accepting checks the
// choice (a centre frequency below half the bandwidth is refused with "Invalid Recording")
// and leaves the options in Options(). The dialog's layout is kept under "CSelectDataFile".

#include <QDialog>

#include "analysis/SelectionModel.h"

class QCheckBox;
class QComboBox;
class QDateEdit;
class QLabel;
class QLineEdit;
class QPushButton;
class QTableWidget;
class QTimeEdit;
class CMySettingsStore;

class CSelectDataFile final : public QDialog {
  Q_OBJECT
 public:
  enum class EMode { New, Edit };
  static constexpr int kMinSummaryHeight = 500;

  // The dialog shows model: for Edit the document's (CAnalysisSession::SelectionModel()),
  // for New one without a recording whose analysis choices may come from the last analysis.
  CSelectDataFile(EMode eMode, CMySettingsStore& settings, CSelectionModel model, QWidget* pParent = nullptr);
  ~CSelectDataFile() override;

  // Chooses the recording (as the file dialog would); false when it cannot be used (the
  // status line says why).
  bool SetFile(const QString& strPath);
  QString File() const { return m_strFile; }
  QString StatusText() const;
  const CSelectionModel& Model() const { return m_model; }
  CSelectionModel& Model() { return m_model; }
  // The options the current choices give.
  CAnalysisOptions Options() const { return m_model.Options(); }

  // The controls, for the tests.
  QComboBox* FFTSizeList() const { return m_pFFT; }
  QComboBox* OverlapList() const { return m_pOverlap; }
  QComboBox* BandwidthList() const { return m_pBandwidth; }
  QComboBox* WindowList() const { return m_pWindow; }
  QComboBox* WidthList() const { return m_pWidth; }
  QComboBox* HeightList() const { return m_pHeight; }
  QLineEdit* CentreField() const { return m_pCentre; }
  QTableWidget* Summary() const { return m_pSummary; }
  QPushButton* AnalyseButton() const { return m_pOK; }

 public slots:
  void accept() override;
  void done(int nResult) override;

 private:
  void Browse();
  void ChoicesToControls();
  void ControlsToChoices();
  void RebuildSummary();
  void SetCentre(std::uint32_t nHz);
  std::uint32_t Centre() const;

  CMySettingsStore& m_settings;
  CSelectionModel m_model;
  QString m_strFile;
  bool m_bUpdating = false;

  QLineEdit* m_pFile;
  QPushButton* m_pBrowse;
  QLabel* m_pStatus;
  QCheckBox* m_pSwapIQ;
  QLineEdit* m_pCentre;
  QPushButton* m_pLoadCentre;
  QComboBox* m_pBandwidth;
  QPushButton* m_pFullBandwidth;
  QComboBox* m_pFFT;
  QComboBox* m_pOverlap;
  QComboBox* m_pWindow;
  QComboBox* m_pWidth;
  QComboBox* m_pHeight;
  QCheckBox* m_pWholeRange;
  QDateEdit* m_pStartDate;
  QTimeEdit* m_pStartTime;
  QDateEdit* m_pEndDate;
  QTimeEdit* m_pEndTime;
  QTableWidget* m_pSummary;
  QPushButton* m_pOK;
};
