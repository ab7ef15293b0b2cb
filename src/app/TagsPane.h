#pragma once
// CTagsPane: the "Tags" pane. The document's tag list in the columns "Frequency",
// "Bandwidth", "Time", "Duration" and "Description" (monospaced), each entry's caption
// ("%s, %s": title or "<Title>", start time) as its tooltip and under the list; add, edit,
// delete (asked first) and open or save definition files.
//
// Every change is stored in the data folder's "Vexlor_TagDefinitions.xml" at once; the
// list's change count goes up and TagsChanged() tells the views to draw the tags again.
// A double-click asks for the tag to be shown (TagActivated).

#include <QWidget>

#include "persist/TagDefinitions.h"

class CAnalysisSession;
class QLabel;
class QTreeWidget;

class CTagsPane final : public QWidget {
  Q_OBJECT
 public:
  explicit CTagsPane(CAnalysisSession& session, QWidget* pParent = nullptr);

  // Fills the list again from the document (after a project was loaded).
  void Refresh();
  QTreeWidget* List() const { return m_pList; }
  std::vector<int> SelectedRows() const;

  // Adds a tag (a rectangle dragged on the picture, or the "Add" dialog), stores the list.
  void AddTag(const CTagDefinition& tag);
  // Shows the dialog for a new tag with these starting values; true when it was added.
  bool AddWithDialog(const CTagDefinition& start);
  // The commands of the pane's buttons.
  void OnAdd();
  void OnEdit();
  void OnDelete();
  void OnOpen();
  void OnSave();
  // Replaces the list with a definition file's / writes the list to one. False with strError.
  bool OpenDefinitions(const QString& strPath, QString& strError);
  bool SaveDefinitions(const QString& strPath, QString& strError);

 signals:
  void TagsChanged(unsigned nChangeCount);
  void TagActivated(const CTagDefinition& tag);

 private:
  void Store();
  void UpdateCaption();

  CAnalysisSession& m_session;
  QTreeWidget* m_pList = nullptr;
  QLabel* m_pCaption = nullptr;
};
