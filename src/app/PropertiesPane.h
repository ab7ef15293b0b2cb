#pragma once
// CPropertiesPane: the properties grid of the main frame. Group "Sounds": the wave files
// played at start-up, at close-down and when an analysis is finished, and the monitor of
// the zoom window. A double click (or Enter) on a sound chooses its file; Delete clears it.
// Every change is stored at once.

#include <QTreeWidget>

class CMySettingsStore;

class CPropertiesPane final : public QTreeWidget {
  Q_OBJECT
 public:
  CPropertiesPane(CMySettingsStore& settings, QWidget* pParent = nullptr);

  // Sets a sound's file (empty: none) as the file dialog would.
  void SetSoundFile(const QString& strKey, const QString& strPath);
  QTreeWidgetItem* Item(const QString& strKey) const;

 protected:
  void keyPressEvent(QKeyEvent* pEvent) override;

 private:
  void ChooseFile(QTreeWidgetItem* pItem);

  CMySettingsStore& m_settings;
};
