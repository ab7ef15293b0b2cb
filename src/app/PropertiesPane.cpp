#include "app/PropertiesPane.h"

#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QScreen>

#include "app/VexlorApp.h"
#include "persist/MySettingsStore.h"

namespace {

constexpr int kKeyRole = Qt::UserRole + 1;

struct SSoundProperty {
  const char* pszLabel;
  const char* pszKey;
  const char* pszTooltip;
};
constexpr SSoundProperty kSounds[] = {
    {"Startup", CVexlorApp::kSoundStartup, "The sound (wave file) to play when the program starts"},
    {"Closedown", CVexlorApp::kSoundClosedown, "The sound (wave file) to play when the program closes"},
    {"Finished Analysing", CVexlorApp::kSoundAnalysis, "The sound (wave file) to play when analysis is finished"},
};

}  // namespace

CPropertiesPane::CPropertiesPane(CMySettingsStore& settings, QWidget* pParent)
    : QTreeWidget(pParent), m_settings(settings) {
  setColumnCount(2);
  setHeaderLabels({"Property", "Value"});
  header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
  setRootIsDecorated(true);
  auto* pGroup = new QTreeWidgetItem(this, {"Sounds"});
  pGroup->setFirstColumnSpanned(true);
  for (const SSoundProperty& sound : kSounds) {
    std::string strFile;
    m_settings.Read(sound.pszKey, strFile);
    auto* pItem = new QTreeWidgetItem(pGroup, {sound.pszLabel, QString::fromStdString(strFile)});
    pItem->setData(0, kKeyRole, QString(sound.pszKey));
    pItem->setToolTip(0, sound.pszTooltip);
    pItem->setToolTip(1, sound.pszTooltip);
  }
  // The zoom window's monitor: one of the screens, stored by name.
  auto* pMonitor = new QTreeWidgetItem(pGroup, {"Zoom Monitor"});
  pMonitor->setData(0, kKeyRole, QString(CVexlorApp::kZoomMonitor));
  pMonitor->setToolTip(0, "The monitor where the zoom window is displayed");
  auto* pScreens = new QComboBox;
  pScreens->setToolTip("The monitor where the zoom window is displayed");
  for (const QScreen* pScreen : QGuiApplication::screens()) pScreens->addItem(pScreen->name());
  std::string strMonitor;
  if (m_settings.Read(CVexlorApp::kZoomMonitor, strMonitor))
    pScreens->setCurrentText(QString::fromStdString(strMonitor));
  connect(pScreens, &QComboBox::currentTextChanged, this,
          [this](const QString& strName) { m_settings.Write(CVexlorApp::kZoomMonitor, strName.toStdString()); });
  setItemWidget(pMonitor, 1, pScreens);
  expandAll();
  connect(this, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* pItem) { ChooseFile(pItem); });
}

QTreeWidgetItem* CPropertiesPane::Item(const QString& strKey) const {
  for (QTreeWidgetItemIterator it(const_cast<CPropertiesPane*>(this)); *it; ++it)
    if ((*it)->data(0, kKeyRole).toString() == strKey) return *it;
  return nullptr;
}

void CPropertiesPane::SetSoundFile(const QString& strKey, const QString& strPath) {
  QTreeWidgetItem* pItem = Item(strKey);
  if (!pItem) return;
  pItem->setText(1, strPath);
  m_settings.Write(strKey.toStdString(), strPath.toStdString());
}

void CPropertiesPane::ChooseFile(QTreeWidgetItem* pItem) {
  const QString strKey = pItem ? pItem->data(0, kKeyRole).toString() : QString();
  if (strKey.isEmpty() || strKey == CVexlorApp::kZoomMonitor) return;
  const QString strPath = QFileDialog::getOpenFileName(this, pItem->text(0), QFileInfo(pItem->text(1)).path(),
                                                       "Windows Audio file (*.WAV *.wav)");
  if (!strPath.isEmpty()) SetSoundFile(strKey, strPath);
}

void CPropertiesPane::keyPressEvent(QKeyEvent* pEvent) {
  QTreeWidgetItem* pItem = currentItem();
  const QString strKey = pItem ? pItem->data(0, kKeyRole).toString() : QString();
  if (!strKey.isEmpty() && strKey != CVexlorApp::kZoomMonitor) {
    if (pEvent->key() == Qt::Key_Return || pEvent->key() == Qt::Key_Enter) {
      ChooseFile(pItem);
      return;
    }
    if (pEvent->key() == Qt::Key_Delete || pEvent->key() == Qt::Key_Backspace) {
      SetSoundFile(strKey, QString());
      return;
    }
  }
  QTreeWidget::keyPressEvent(pEvent);
}
