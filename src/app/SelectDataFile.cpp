#include "app/SelectDataFile.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTableWidget>
#include <QTimeEdit>
#include <QVBoxLayout>

#include "analysis/AnalysisSession.h"
#include "persist/MySettingsStore.h"

namespace {

constexpr const char* kLayoutKey = "CSelectDataFile";

void FillList(QComboBox& box, const CSelectionModel::SOptionList& list) {
  for (const CSelectionModel::SOption& option : list.aEntries)
    box.addItem(QString::fromStdString(option.strLabel), QVariant::fromValue<qlonglong>(option.nValue));
  box.setCurrentIndex(static_cast<int>(list.nDefault));
}

// Selects the entry of value n; a value the list does not hold gets an entry of its own
// (a bandwidth such as the recording's whole band).
void SelectValue(QComboBox& box, std::int64_t n, const QString& strLabel) {
  int i = box.findData(QVariant::fromValue<qlonglong>(n));
  if (i < 0) {
    box.addItem(strLabel, QVariant::fromValue<qlonglong>(n));
    i = box.count() - 1;
  }
  box.setCurrentIndex(i);
}

std::int64_t Value(const QComboBox& box) { return box.currentData().toLongLong(); }

QDateTime Utc(std::int64_t t) { return QDateTime::fromSecsSinceEpoch(t, Qt::UTC); }

std::int64_t Seconds(const QDateEdit& date, const QTimeEdit& time) {
  return QDateTime(date.date(), time.time(), Qt::UTC).toSecsSinceEpoch();
}

}  // namespace

CSelectDataFile::CSelectDataFile(EMode eMode, CMySettingsStore& settings, CSelectionModel model, QWidget* pParent)
    : QDialog(pParent), m_settings(settings), m_model(std::move(model)) {
  setWindowTitle(eMode == EMode::New ? "New Project" : "Edit Project");
  setObjectName(kLayoutKey);

  m_pFile = new QLineEdit(this);
  m_pFile->setReadOnly(true);
  m_pFile->setPlaceholderText("No recording chosen");
  m_pBrowse = new QPushButton("Browse...", this);
  m_pBrowse->setToolTip("Select an IQ data file");
  m_pStatus = new QLabel(this);
  m_pStatus->setObjectName("StatusLine");

  m_pSwapIQ = new QCheckBox("Swap IQ", this);
  m_pSwapIQ->setToolTip("If the displayed is inverted in the frequency domain then select this option");
  m_pCentre = new QLineEdit(this);
  m_pCentre->setInputMask("9999.999.999;_");
  m_pCentre->setToolTip("The frequency shown in the center of the display");
  m_pLoadCentre = new QPushButton("Recording", this);
  m_pLoadCentre->setToolTip("Load the center frequency of the recording");
  m_pBandwidth = new QComboBox(this);
  m_pBandwidth->setToolTip("The display bandiwdth");
  FillList(*m_pBandwidth, CSelectionModel::Bandwidths());
  m_pFullBandwidth = new QPushButton("Full", this);
  m_pFullBandwidth->setToolTip("Display the entire recording bandwidth");

  m_pFFT = new QComboBox(this);
  m_pFFT->setToolTip("Computer FFT values using the selected width and height in pixels");
  FillList(*m_pFFT, CSelectionModel::FFTSizes());
  m_pOverlap = new QComboBox(this);
  FillList(*m_pOverlap, CSelectionModel::Overlaps());
  m_pWindow = new QComboBox(this);
  FillList(*m_pWindow, CSelectionModel::Windows());
  m_pWidth = new QComboBox(this);
  m_pWidth->setToolTip("The display width in pixels");
  FillList(*m_pWidth, CSelectionModel::DisplayWidths());
  m_pHeight = new QComboBox(this);
  m_pHeight->setToolTip("The display height in pixels");
  FillList(*m_pHeight, CSelectionModel::DisplayHeights());

  m_pWholeRange = new QCheckBox("Whole recording", this);
  m_pStartDate = new QDateEdit(this);
  m_pEndDate = new QDateEdit(this);
  m_pStartTime = new QTimeEdit(this);
  m_pEndTime = new QTimeEdit(this);
  for (QDateEdit* p : {m_pStartDate, m_pEndDate}) {
    p->setDisplayFormat("yyyy-MM-dd");
    p->setCalendarPopup(true);
    p->setTimeSpec(Qt::UTC);
  }
  for (QTimeEdit* p : {m_pStartTime, m_pEndTime}) {
    p->setDisplayFormat("HH:mm:ss");
    p->setTimeSpec(Qt::UTC);
  }

  m_pSummary = new QTableWidget(0, 2, this);
  m_pSummary->setHorizontalHeaderLabels({"Item", "Value"});
  m_pSummary->horizontalHeader()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
  m_pSummary->horizontalHeader()->setStretchLastSection(true);
  m_pSummary->verticalHeader()->hide();
  m_pSummary->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  m_pSummary->verticalHeader()->setDefaultSectionSize(m_pSummary->fontMetrics().height() + 6);
  m_pSummary->setEditTriggers(QAbstractItemView::NoEditTriggers);
  m_pSummary->setSelectionMode(QAbstractItemView::NoSelection);
  m_pSummary->setMinimumHeight(kMinSummaryHeight);
  m_pSummary->setMinimumWidth(380);

  auto* pButtons = new QDialogButtonBox(this);
  m_pOK = pButtons->addButton("Analyse", QDialogButtonBox::AcceptRole);
  m_pOK->setToolTip("Start the analysis");
  m_pOK->setDefault(true);
  pButtons->addButton(QDialogButtonBox::Cancel);
  connect(pButtons, &QDialogButtonBox::accepted, this, &CSelectDataFile::accept);
  connect(pButtons, &QDialogButtonBox::rejected, this, &CSelectDataFile::reject);

  // Layout: the choices on the left, the summary on the right.
  auto* pFileRow = new QHBoxLayout;
  pFileRow->addWidget(m_pFile, 1);
  pFileRow->addWidget(m_pBrowse);
  auto* pFileBox = new QGroupBox("Recording");
  auto* pFileLayout = new QVBoxLayout(pFileBox);
  pFileLayout->addLayout(pFileRow);
  pFileLayout->addWidget(m_pStatus);

  auto* pFreqBox = new QGroupBox("Frequency");
  auto* pFreq = new QGridLayout(pFreqBox);
  pFreq->addWidget(new QLabel("Centre (MHz.kHz.Hz):"), 0, 0);
  pFreq->addWidget(m_pCentre, 0, 1);
  pFreq->addWidget(m_pLoadCentre, 0, 2);
  pFreq->addWidget(new QLabel("Bandwidth:"), 1, 0);
  pFreq->addWidget(m_pBandwidth, 1, 1);
  pFreq->addWidget(m_pFullBandwidth, 1, 2);
  pFreq->addWidget(m_pSwapIQ, 2, 0, 1, 3);

  auto* pFFTBox = new QGroupBox("Analysis");
  auto* pFFTForm = new QFormLayout(pFFTBox);
  pFFTForm->addRow("FFT size:", m_pFFT);
  pFFTForm->addRow("Overlap:", m_pOverlap);
  pFFTForm->addRow("Window:", m_pWindow);
  pFFTForm->addRow("Display width:", m_pWidth);
  pFFTForm->addRow("Display height:", m_pHeight);

  auto* pRangeBox = new QGroupBox("Time range (UTC)");
  auto* pRange = new QGridLayout(pRangeBox);
  pRange->addWidget(m_pWholeRange, 0, 0, 1, 3);
  pRange->addWidget(new QLabel("Start:"), 1, 0);
  pRange->addWidget(m_pStartDate, 1, 1);
  pRange->addWidget(m_pStartTime, 1, 2);
  pRange->addWidget(new QLabel("End:"), 2, 0);
  pRange->addWidget(m_pEndDate, 2, 1);
  pRange->addWidget(m_pEndTime, 2, 2);

  auto* pLeft = new QVBoxLayout;
  pLeft->addWidget(pFileBox);
  pLeft->addWidget(pFreqBox);
  pLeft->addWidget(pFFTBox);
  pLeft->addWidget(pRangeBox);
  pLeft->addStretch(1);
  auto* pColumns = new QHBoxLayout;
  pColumns->addLayout(pLeft);
  pColumns->addWidget(m_pSummary, 1);
  auto* pLayout = new QVBoxLayout(this);
  pLayout->addLayout(pColumns, 1);
  pLayout->addWidget(pButtons);

  if (const CRecordingDescription* pDesc = m_model.Recording(); pDesc && !pDesc->m_astrFileNames.empty())
    m_strFile = QString::fromStdString(pDesc->m_astrFileNames.front());
  m_pFile->setText(m_strFile);
  ChoicesToControls();
  RebuildSummary();

  connect(m_pBrowse, &QPushButton::clicked, this, &CSelectDataFile::Browse);
  connect(m_pLoadCentre, &QPushButton::clicked, this, [this] {
    if (const CRecordingDescription* pDesc = m_model.Recording()) SetCentre(pDesc->m_nCenterFrequency);
  });
  connect(m_pFullBandwidth, &QPushButton::clicked, this, [this] {
    if (const CRecordingDescription* pDesc = m_model.Recording())
      SelectValue(*m_pBandwidth, pDesc->m_nSampleRate,
                  QString::fromStdString(CSelectionModel::BandwidthLabel(pDesc->m_nSampleRate)));
  });
  const auto changed = [this] { ControlsToChoices(); };
  for (QComboBox* p : {m_pBandwidth, m_pFFT, m_pOverlap, m_pWindow, m_pWidth, m_pHeight})
    connect(p, &QComboBox::currentIndexChanged, this, changed);
  connect(m_pCentre, &QLineEdit::textChanged, this, changed);
  connect(m_pSwapIQ, &QCheckBox::toggled, this, changed);
  connect(m_pWholeRange, &QCheckBox::toggled, this, changed);
  for (QDateEdit* p : {m_pStartDate, m_pEndDate}) connect(p, &QDateEdit::dateChanged, this, changed);
  for (QTimeEdit* p : {m_pStartTime, m_pEndTime}) connect(p, &QTimeEdit::timeChanged, this, changed);

  std::vector<std::uint8_t> abLayout;
  if (m_settings.Read(kLayoutKey, abLayout) && !abLayout.empty())
    restoreGeometry(QByteArray(reinterpret_cast<const char*>(abLayout.data()), static_cast<qsizetype>(abLayout.size())));
}

CSelectDataFile::~CSelectDataFile() = default;

void CSelectDataFile::done(int nResult) {
  const QByteArray layout = saveGeometry();
  m_settings.Write(kLayoutKey, std::vector<std::uint8_t>(layout.begin(), layout.end()));
  QDialog::done(nResult);
}

bool CSelectDataFile::SetFile(const QString& strPath) {
  CRecordingDescription desc;
  std::string strError;
  m_strFile = strPath;
  m_pFile->setText(strPath);
  if (!CAnalysisSession::ReadRecording(strPath.toStdString(), desc, strError)) {
    // The status line names the kind of fault; its tooltip the whole reason.
    const bool bNotFound = !QFileInfo(strPath).isFile() || !QFileInfo(strPath).isReadable();
    m_pStatus->setText(bNotFound ? CSelectionModel::kFileNotFoundText : CSelectionModel::kFormatNotSupportedText);
    m_pStatus->setToolTip(QString::fromStdString(strError));
    m_pOK->setEnabled(false);
    return false;
  }
  // The analysis choices stay; the band, centre and range become the new recording's.
  const CAnalysisOptions kept = m_model.Options();
  m_model.SetRecording(desc);
  m_model.TakeAnalysisChoices(kept);
  m_pStatus->setText(QString("%1 recording, %2 file(s)")
                         .arg(QString::fromStdString(desc.m_strSource))
                         .arg(desc.m_nFiles));
  m_pStatus->setToolTip(QString());
  m_pOK->setEnabled(true);
  ChoicesToControls();
  RebuildSummary();
  return true;
}

QString CSelectDataFile::StatusText() const { return m_pStatus->text(); }

void CSelectDataFile::Browse() {
  const QString strPath = QFileDialog::getOpenFileName(this, "Open IQ data file recording...",
                                                       QFileInfo(m_strFile).path(),
                                                       "IQ data files (* 000.WAV * 000.wav);;IQ data files (*.WAV *.wav)");
  if (!strPath.isEmpty()) SetFile(strPath);
}

void CSelectDataFile::SetCentre(std::uint32_t nHz) { m_pCentre->setText(QString("%1").arg(nHz, 10, 10, QChar('0'))); }

std::uint32_t CSelectDataFile::Centre() const {
  QString strDigits = m_pCentre->text();
  strDigits.remove('.').remove('_').remove(' ');
  return strDigits.toUInt();
}

void CSelectDataFile::ChoicesToControls() {
  m_bUpdating = true;
  const CSelectionModel::SChoices& c = m_model.Choices();
  SelectValue(*m_pFFT, c.nFFTSize, QString::number(c.nFFTSize));
  SelectValue(*m_pOverlap, c.nOverlap, QString("%1 %").arg(c.nOverlap));
  SelectValue(*m_pWindow, c.eWindow, QString::number(c.eWindow));
  SelectValue(*m_pWidth, c.nDisplayWidth, QString::number(c.nDisplayWidth));
  SelectValue(*m_pHeight, c.nDisplayHeight, QString::number(c.nDisplayHeight));
  SelectValue(*m_pBandwidth, c.nBandwidth, QString::fromStdString(CSelectionModel::BandwidthLabel(c.nBandwidth)));
  SetCentre(c.nCenterFreq);
  m_pSwapIQ->setChecked(c.bSwapIQ);
  m_pWholeRange->setChecked(c.bWholeRange);
  m_pStartDate->setDate(Utc(c.tStartUTC).date());
  m_pStartTime->setTime(Utc(c.tStartUTC).time());
  m_pEndDate->setDate(Utc(c.tEndUTC).date());
  m_pEndTime->setTime(Utc(c.tEndUTC).time());
  for (QWidget* p : std::initializer_list<QWidget*>{m_pStartDate, m_pStartTime, m_pEndDate, m_pEndTime})
    p->setEnabled(!c.bWholeRange);
  const bool bHaveRecording = m_model.Recording() != nullptr;
  m_pOK->setEnabled(bHaveRecording);
  m_pLoadCentre->setEnabled(bHaveRecording);
  m_pFullBandwidth->setEnabled(bHaveRecording);
  m_bUpdating = false;
}

void CSelectDataFile::ControlsToChoices() {
  if (m_bUpdating) return;
  CSelectionModel::SChoices& c = m_model.Choices();
  c.nFFTSize = static_cast<std::uint32_t>(Value(*m_pFFT));
  c.nOverlap = static_cast<std::uint32_t>(Value(*m_pOverlap));
  c.eWindow = static_cast<std::uint32_t>(Value(*m_pWindow));
  c.nDisplayWidth = Value(*m_pWidth);
  c.nDisplayHeight = Value(*m_pHeight);
  c.nBandwidth = static_cast<std::uint32_t>(Value(*m_pBandwidth));
  c.nCenterFreq = Centre();
  c.bSwapIQ = m_pSwapIQ->isChecked();
  c.bWholeRange = m_pWholeRange->isChecked();
  if (!c.bWholeRange) {
    c.tStartUTC = Seconds(*m_pStartDate, *m_pStartTime);
    c.tEndUTC = Seconds(*m_pEndDate, *m_pEndTime);
  }
  for (QWidget* p : std::initializer_list<QWidget*>{m_pStartDate, m_pStartTime, m_pEndDate, m_pEndTime})
    p->setEnabled(!c.bWholeRange);
  RebuildSummary();
}

void CSelectDataFile::RebuildSummary() {
  const auto aRows = m_model.SummaryRows();
  m_pSummary->setRowCount(static_cast<int>(aRows.size()));
  for (int r = 0; r < static_cast<int>(aRows.size()); ++r) {
    const CSelectionModel::SSummaryRow& row = aRows[static_cast<std::size_t>(r)];
    auto* pLabel = new QTableWidgetItem(QString::fromStdString(row.strLabel));
    auto* pValue = new QTableWidgetItem(QString::fromStdString(row.strValue));
    pLabel->setToolTip(QString::fromStdString(row.strTooltip));
    pValue->setToolTip(QString::fromStdString(row.strTooltip));
    m_pSummary->setItem(r, 0, pLabel);
    m_pSummary->setItem(r, 1, pValue);
  }
}

void CSelectDataFile::accept() {
  ControlsToChoices();
  std::string strTitle, strMessage;
  if (!m_model.Accept(strTitle, strMessage)) {
    QMessageBox::warning(this, QString::fromStdString(strTitle), QString::fromStdString(strMessage));
    return;
  }
  QDialog::accept();
}
