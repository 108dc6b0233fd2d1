#pragma once

#include <QPointer>
#include <QTreeView>

#include <functional>
#include <optional>

class QMenu;

namespace corvane {

class FileTreeItemModel;
class FileTreeViewModel;
struct FileConflict;

// The inspector's Files tab: a tree of the working directory over FileTreeViewModel. Selecting
// a file asks to open it; the row menu and the keys (F2, Delete, Ctrl+C/X/V) edit the tree;
// rows are renamed in place; items dragged inside the tree move, files dropped from outside
// are copied. A clash asks "Replace", "Keep Both" or "Cancel".
class FileTreeView : public QTreeView
{
    Q_OBJECT

public:
    // The name for a new folder, or none when the user cancelled.
    using FolderNamePrompt = std::function<std::optional<QString>(QWidget *parent)>;

    explicit FileTreeView(QWidget *parent = nullptr);
    ~FileTreeView() override;

    // Not owned; the view makes its item model over it.
    void setTreeModel(FileTreeViewModel *tree);
    FileTreeViewModel *treeModel() const { return m_tree; }
    FileTreeItemModel *itemModel() const { return m_items; }
    void setFolderNamePrompt(FolderNamePrompt prompt) { m_folderName = std::move(prompt); }
    // A row's name editor is open.
    bool isEditingName() const { return state() == QAbstractItemView::EditingState; }

    // The menu of the row at `index`, or of the empty area (the root) for none; the caller owns it.
    QMenu *makeContextMenu(const QModelIndex &index);

signals:
    void fileOpenRequested(const QString &path);
    void filePreviewRequested(const QString &path);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void selectionChanged(const QItemSelection &selected, const QItemSelection &deselected) override;
    void closeEditor(QWidget *editor, QAbstractItemDelegate::EndEditHint hint) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dragLeaveEvent(QDragLeaveEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    QString currentPath() const;
    QString currentFolder() const;
    void applyExpansion();
    void editPendingRename();
    void askNewFolder(const QString &folder);
    void showConflict(const FileConflict &conflict);

    FileTreeViewModel *m_tree = nullptr;
    FileTreeItemModel *m_items = nullptr;
    FolderNamePrompt m_folderName;
    bool m_quiet = false; // selection changed by the view itself
};

} // namespace corvane
