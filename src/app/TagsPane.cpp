#include "app/TagsPane.h"

#include <QFileDialog>
#include <QAction>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QToolBar>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "analysis/AnalysisSession.h"
#include "app/TagDialog.h"

namespace {

constexpr const char* kFileFilter = "XML files (*.XML *.xml)";

QString DurationText(std::uint32_t nSeconds) {
  if (nSeconds < 3600) return QString("%1:%2").arg(nSeconds / 60).arg(nSeconds % 60, 2, 10, QChar('0'));
  return QString("%1:%2:%3")
      .arg(nSeconds / 3600)
      .arg(nSeconds / 60 % 60, 2, 10, QChar('0'))
      .arg(nSeconds % 60, 2, 10, QChar('0'));
}

}  // namespace

CTagsPane::CTagsPane(CAnalysisSession& session, QWidget* pParent) : QWidget(pParent), m_session(session) {
  setObjectName("CTagsPane");
  m_pList = new QTreeWidget(this);
  m_pList->setObjectName("TagList");
  m_pList->setRootIsDecorated(false);
  m_pList->setUniformRowHeights(true);
  m_pList->setSelectionMode(QAbstractItemView::ExtendedSelection);
  m_pList->setHeaderLabels({"Frequency", "Bandwidth", "Time", "Duration", "Description"});
  QFont font("Courier New");
  font.setStyleHint(QFont::TypeWriter);
  m_pList->setFont(font);
  m_pList->header()->setStretchLastSection(true);
  connect(m_pList, &QTreeWidget::itemSelectionChanged, this, &CTagsPane::UpdateCaption);
  connect(m_pList, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* pItem) {
    const int nRow = m_pList->indexOfTopLevelItem(pItem);
    const auto& tags = m_session.Tags().Tags();
    if (nRow >= 0 && static_cast<std::size_t>(nRow) < tags.size()) emit TagActivated(tags[static_cast<std::size_t>(nRow)]);
  });

  m_pCaption = new QLabel(this);
  m_pCaption->setObjectName("TagCaption");
  m_pCaption->setTextInteractionFlags(Qt::TextSelectableByMouse);
  // A toolbar rather than a row of buttons: in a narrow pane the rest folds into its menu.
  auto* pButtons = new QToolBar(this);
  pButtons->setToolButtonStyle(Qt::ToolButtonTextOnly);
  const struct {
    const char* pszName;
    const char* pszText;
    const char* pszTip;
    void (CTagsPane::*pSlot)();
  } kButtons[] = {
      {"TagAdd", "Add...", "Add a tag (or drag a rectangle on the picture with Alt held)", &CTagsPane::OnAdd},
      {"TagEdit", "Edit...", "Edit the selected tag", &CTagsPane::OnEdit},
      {"TagDelete", "Delete", "Delete the selected tags", &CTagsPane::OnDelete},
      {"TagOpen", "Open...", "Replace the list with a tag definitions file", &CTagsPane::OnOpen},
      {"TagSave", "Save...", "Save the list as a tag definitions file", &CTagsPane::OnSave},
  };
  for (const auto& button : kButtons) {
    QAction* p = pButtons->addAction(button.pszText, this, button.pSlot);
    p->setObjectName(button.pszName);
    p->setToolTip(button.pszTip);
  }
  auto* pLayout = new QVBoxLayout(this);
  pLayout->setContentsMargins(4, 4, 4, 4);
  pLayout->addWidget(pButtons);
  pLayout->addWidget(m_pList, 1);
  pLayout->addWidget(m_pCaption);
  Refresh();
}

void CTagsPane::Refresh() {
  m_pList->clear();
  for (const CTagDefinition& tag : m_session.Tags().Tags()) {
    auto* pItem = new QTreeWidgetItem(
        {QString::fromStdString(FormatTagFrequency(tag.m_nFrequency)),
         QString::fromStdString(FormatTagFrequency(tag.m_nBandwidth)), QString::fromStdString(FormatTagTime(tag.m_tStartTime)),
         DurationText(tag.m_nDuration), QString::fromStdString(tag.m_strDescription)});
    for (int c : {0, 1, 3}) pItem->setTextAlignment(c, Qt::AlignRight | Qt::AlignVCenter);
    const QString strCaption = QString::fromStdString(TagCaption(tag));
    for (int c = 0; c < 5; ++c) pItem->setToolTip(c, strCaption);
    m_pList->addTopLevelItem(pItem);
  }
  for (int c = 0; c < 4; ++c) m_pList->resizeColumnToContents(c);
  UpdateCaption();
}

std::vector<int> CTagsPane::SelectedRows() const {
  std::vector<int> anRows;
  for (int i = 0; i < m_pList->topLevelItemCount(); ++i)
    if (m_pList->topLevelItem(i)->isSelected()) anRows.push_back(i);
  return anRows;
}

void CTagsPane::UpdateCaption() {
  const std::vector<int> anRows = SelectedRows();
  const auto& tags = m_session.Tags().Tags();
  if (anRows.size() == 1 && static_cast<std::size_t>(anRows[0]) < tags.size())
    m_pCaption->setText(QString::fromStdString(TagCaption(tags[static_cast<std::size_t>(anRows[0])])));
  else
    m_pCaption->setText(tags.size() == 1 ? QString("1 tag") : QString("%1 tags").arg(tags.size()));
  findChild<QAction*>("TagEdit")->setEnabled(anRows.size() == 1);
  findChild<QAction*>("TagDelete")->setEnabled(!anRows.empty());
}

void CTagsPane::Store() {
  CTagDefinitions& tags = m_session.Tags();
  if (!tags.StoreDefault())
    QMessageBox::warning(this, "Tags",
                         QString("The tags could not be stored in %1").arg(QString::fromStdString(CTagDefinitions::DefaultFilePath().string())));
  Refresh();
  emit TagsChanged(tags.ChangeCount());
}

void CTagsPane::AddTag(const CTagDefinition& tag) {
  m_session.Tags().Tags().push_back(tag);
  Store();
  m_pList->setCurrentItem(m_pList->topLevelItem(m_pList->topLevelItemCount() - 1));
}

bool CTagsPane::AddWithDialog(const CTagDefinition& start) {
  CTagDialog dialog(start, true, this);
  if (dialog.exec() != QDialog::Accepted) return false;
  AddTag(dialog.Tag());
  return true;
}

void CTagsPane::OnAdd() {
  // A new tag starts at the picture's centre frequency and the start of the analysed range.
  const CAnalysisOptions& options = m_session.Options();
  CTagDefinition start;
  start.m_nFrequency = options.m_nAnalysisCenterFreq;
  start.m_nBandwidth = std::min<std::uint32_t>(options.m_nAnalysisBandwidth, 10000);
  start.m_tStartTime = options.m_tAnalysisStartUTC;
  start.m_nDuration = 60;
  AddWithDialog(start);
}

void CTagsPane::OnEdit() {
  const std::vector<int> anRows = SelectedRows();
  auto& tags = m_session.Tags().Tags();
  if (anRows.size() != 1 || static_cast<std::size_t>(anRows[0]) >= tags.size()) return;
  CTagDialog dialog(tags[static_cast<std::size_t>(anRows[0])], false, this);
  if (dialog.exec() != QDialog::Accepted) return;
  tags[static_cast<std::size_t>(anRows[0])] = dialog.Tag();
  Store();
  m_pList->setCurrentItem(m_pList->topLevelItem(anRows[0]));
}

void CTagsPane::OnDelete() {
  const std::vector<int> anRows = SelectedRows();
  if (anRows.empty()) return;
  if (QMessageBox::question(this, "Delete", "Really delete the selected definitions?",
                            QMessageBox::Yes | QMessageBox::No) != QMessageBox::Yes)
    return;
  auto& tags = m_session.Tags().Tags();
  for (auto it = anRows.rbegin(); it != anRows.rend(); ++it)
    if (static_cast<std::size_t>(*it) < tags.size()) tags.erase(tags.begin() + *it);
  Store();
}

bool CTagsPane::OpenDefinitions(const QString& strPath, QString& strError) {
  CTagDefinitions loaded;
  if (!loaded.Load(strPath.toStdString())) {
    strError = QString("%1: not a tag definitions file, or it cannot be read").arg(strPath);
    return false;
  }
  m_session.Tags().Tags() = loaded.Tags();
  Store();
  return true;
}

bool CTagsPane::SaveDefinitions(const QString& strPath, QString& strError) {
  if (m_session.Tags().Save(strPath.toStdString())) return true;
  strError = QString("%1: the file could not be written").arg(strPath);
  return false;
}

void CTagsPane::OnOpen() {
  const QString strPath = QFileDialog::getOpenFileName(this, "Open tag defnitions...", {}, kFileFilter);
  if (strPath.isEmpty()) return;
  QString strError;
  if (!OpenDefinitions(strPath, strError)) QMessageBox::warning(this, "Open tag defnitions...", strError);
}

void CTagsPane::OnSave() {
  const QString strPath =
      QFileDialog::getSaveFileName(this, "Save tag defnitions...", CTagDefinitions::kDefaultFileName, kFileFilter);
  if (strPath.isEmpty()) return;
  QString strError;
  if (!SaveDefinitions(strPath, strError)) QMessageBox::warning(this, "Save tag defnitions...", strError);
}
