#include "shell/files/FileTreeView.h"

#include "shell/files/FileDialogs.h"
#include "tools/files/FileTreeItemModel.h"
#include "tools/files/FileTreeViewModel.h"

#include <QClipboard>
#include <QContextMenuEvent>
#include <QDesktopServices>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QUrl>

namespace corvane {

FileTreeView::FileTreeView(QWidget *parent)
    : QTreeView(parent), m_folderName(NewFolderDialog::ask)
{
    setObjectName(QStringLiteral("fileTree"));
    setHeaderHidden(true);
    setUniformRowHeights(true); // large folders lay out in constant time per row
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers); // renaming goes through the tree's state
    setDragEnabled(true);
    setAcceptDrops(true);
    setDropIndicatorShown(true);
    setDragDropMode(QAbstractItemView::DragDrop);
    setDefaultDropAction(Qt::MoveAction);
    setAutoExpandDelay(700);
    setFrameShape(QFrame::NoFrame);
}

FileTreeView::~FileTreeView() = default;

void FileTreeView::setTreeModel(FileTreeViewModel *tree)
{
    if (m_tree)
        disconnect(m_tree, nullptr, this, nullptr);
    QAbstractItemModel *old = m_items;
    m_tree = tree;
    m_items = tree ? new FileTreeItemModel(*tree, this) : nullptr;
    setModel(m_items);
    delete old;
    if (!tree)
        return;
    connect(this, &QTreeView::expanded, this, [this](const QModelIndex &index) { m_tree->setExpanded(m_items->pathAt(index), true); });
    connect(this, &QTreeView::collapsed, this, [this](const QModelIndex &index) { m_tree->setExpanded(m_items->pathAt(index), false); });
    connect(tree, &FileTreeViewModel::expansionChanged, this, [this](const QString &folder, bool open) {
        if (const QModelIndex index = m_items->indexForPath(folder); index.isValid() && isExpanded(index) != open)
            setExpanded(index, open);
    });
    connect(m_items, &FileTreeItemModel::aboutToSync, this, [this] { m_quiet = true; });
    connect(m_items, &FileTreeItemModel::synced, this, [this] {
        m_quiet = false;
        applyExpansion();
        editPendingRename();
    });
    connect(tree, &FileTreeViewModel::renamingChanged, this, &FileTreeView::editPendingRename);
    connect(tree, &FileTreeViewModel::conflictRaised, this, &FileTreeView::showConflict);
    applyExpansion();
}

QString FileTreeView::currentPath() const
{
    const QModelIndex index = currentIndex();
    return index.isValid() && m_items ? m_items->pathAt(index) : QString();
}

QString FileTreeView::currentFolder() const
{
    return m_items ? m_items->folderFor(currentIndex()) : QString();
}

void FileTreeView::applyExpansion()
{
    for (const QString &folder : m_tree->expandedPaths()) {
        if (const QModelIndex index = m_items->indexForPath(folder); index.isValid() && !isExpanded(index))
            setExpanded(index, true);
    }
}

void FileTreeView::editPendingRename()
{
    const std::optional<QString> path = m_tree ? m_tree->renamingPath() : std::nullopt;
    if (!path || state() == QAbstractItemView::EditingState)
        return;
    const QModelIndex index = m_items->indexForPath(*path);
    if (!index.isValid())
        return; // the row comes with the next reload
    m_quiet = true;
    setCurrentIndex(index);
    m_quiet = false;
    scrollTo(index);
    edit(index);
}

QMenu *FileTreeView::makeContextMenu(const QModelIndex &index)
{
    auto *menu = new QMenu(this);
    if (!m_tree || !m_tree->rootPath())
        return menu;
    const QString path = index.isValid() ? m_items->pathAt(index) : *m_tree->rootPath();
    const QString folder = m_items->folderFor(index);
    if (index.isValid()) {
        if (!m_items->isDirectory(index)) {
            menu->addAction(tr("Open in Editor"), this, [this, path] { emit fileOpenRequested(path); });
            menu->addAction(tr("Preview"), this, [this, path] { emit filePreviewRequested(path); });
            menu->addAction(tr("Open With\u2026"), this, [path] { QDesktopServices::openUrl(QUrl::fromLocalFile(path)); });
        }
        menu->addAction(tr("Copy as Pathname"), this, [path] { QGuiApplication::clipboard()->setText(path); });
        menu->addAction(tr("Show in Folder"), this, [path] { showInFileManager(path); });
        menu->addSeparator();
        menu->addAction(tr("Rename"), this, [this, path] { m_tree->beginRename(path); });
        menu->addAction(tr("Duplicate"), this, [this, path] { m_tree->duplicate(path); });
        menu->addSeparator();
    }
    menu->addAction(tr("New File"), this, [this, folder] { m_tree->newFile(folder); });
    menu->addAction(tr("New Folder\u2026"), this, [this, folder] { askNewFolder(folder); });
    menu->addSeparator();
    if (index.isValid()) {
        menu->addAction(tr("Copy"), this, [this, path] { m_tree->copyToClipboard(path); });
        menu->addAction(tr("Cut"), this, [this, path] { m_tree->cutToClipboard(path); });
    }
    QAction *paste = menu->addAction(tr("Paste"), this, [this, folder] { m_tree->paste(folder); });
    paste->setEnabled(m_tree->clipboard().has_value());
    if (index.isValid()) {
        menu->addSeparator();
        menu->addAction(tr("Move to Trash"), this, [this, path] { m_tree->moveToTrash(path); });
    }
    return menu;
}

void FileTreeView::askNewFolder(const QString &folder)
{
    if (const std::optional<QString> name = m_folderName(this); name && !name->trimmed().isEmpty())
        m_tree->newFolder(folder, *name);
}

void FileTreeView::showConflict(const FileConflict &conflict)
{
    QPointer<FileTreeViewModel> tree = m_tree;
    QMessageBox *box = makeConflictBox(conflict, this);
    connect(box, &QMessageBox::buttonClicked, this, [tree, box](QAbstractButton *button) {
        if (!tree)
            return;
        if (button == box->findChild<QPushButton *>(QStringLiteral("replace")))
            tree->resolveConflictReplacing();
        else if (button == box->findChild<QPushButton *>(QStringLiteral("keepBoth")))
            tree->resolveConflictKeepingBoth();
        else
            tree->cancelConflict();
    });
    box->open();
}

void FileTreeView::keyPressEvent(QKeyEvent *event)
{
    if (!m_tree || state() == QAbstractItemView::EditingState) {
        QTreeView::keyPressEvent(event);
        return;
    }
    const QString path = currentPath();
    if (event->key() == Qt::Key_F2 && !path.isEmpty())
        m_tree->beginRename(path);
    else if (event->key() == Qt::Key_Delete && !path.isEmpty())
        m_tree->moveToTrash(path);
    else if (event->matches(QKeySequence::Copy) && !path.isEmpty())
        m_tree->copyToClipboard(path);
    else if (event->matches(QKeySequence::Cut) && !path.isEmpty())
        m_tree->cutToClipboard(path);
    else if (event->matches(QKeySequence::Paste) && m_tree->rootPath())
        m_tree->paste(currentFolder());
    else {
        QTreeView::keyPressEvent(event);
        return;
    }
    event->accept();
}

void FileTreeView::contextMenuEvent(QContextMenuEvent *event)
{
    QModelIndex index = indexAt(event->pos());
    if (index.isValid()) {
        m_quiet = true; // the menu is for the row; it is not opened by this
        setCurrentIndex(index);
        m_quiet = false;
    }
    QMenu *menu = makeContextMenu(index);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(event->globalPos());
}

void FileTreeView::selectionChanged(const QItemSelection &selected, const QItemSelection &deselected)
{
    QTreeView::selectionChanged(selected, deselected);
    if (m_quiet || !m_tree || m_tree->renamingPath() || selected.indexes().size() != 1)
        return;
    const QModelIndex index = selected.indexes().first();
    if (!m_items->isDirectory(index))
        emit fileOpenRequested(m_items->pathAt(index));
}

void FileTreeView::closeEditor(QWidget *editor, QAbstractItemDelegate::EndEditHint hint)
{
    QTreeView::closeEditor(editor, hint);
    // A committed name has already gone to the tree through setData; Escape leaves it as it was.
    if (m_tree)
        m_tree->endRename();
}

void FileTreeView::dragMoveEvent(QDragMoveEvent *event)
{
    QTreeView::dragMoveEvent(event);
    if (!m_tree)
        return;
    if (event->isAccepted())
        m_tree->setDropTargetPath(m_items->folderFor(indexAt(event->position().toPoint())));
    else
        m_tree->setDropTargetPath(std::nullopt);
}

void FileTreeView::dragLeaveEvent(QDragLeaveEvent *event)
{
    QTreeView::dragLeaveEvent(event);
    if (m_tree)
        m_tree->setDropTargetPath(std::nullopt);
}

void FileTreeView::dropEvent(QDropEvent *event)
{
    QTreeView::dropEvent(event);
    if (m_tree)
        m_tree->setDropTargetPath(std::nullopt);
}

} // namespace corvane
