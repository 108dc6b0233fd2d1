#include "tools/files/FileTreeItemModel.h"

#include "tools/files/FileOperations.h"
#include "tools/files/FileTreeViewModel.h"

#include <QFileInfo>
#include <QIcon>
#include <QMimeData>
#include <QSet>
#include <QUrl>

namespace corvane {

struct FileTreeItemModel::Item
{
    QString path;
    QString name;
    bool isDirectory = false;
    bool loaded = false;
    int row = 0;
    Item *parent = nullptr;
    std::vector<std::unique_ptr<Item>> children;
};

namespace {

// Names are unique in a folder; a file and a folder of one name are still different rows.
QString keyOf(const QString &name, bool isDirectory)
{
    return isDirectory ? name + QLatin1Char('/') : name;
}

const QIcon &folderIcon()
{
    static const QIcon icon = QIcon::fromTheme(QStringLiteral("folder"));
    return icon;
}

const QIcon &fileIcon()
{
    static const QIcon icon = QIcon::fromTheme(QStringLiteral("text-x-generic"));
    return icon;
}

} // namespace

FileTreeItemModel::FileTreeItemModel(FileTreeViewModel &tree, QObject *parent)
    : QAbstractItemModel(parent), m_tree(tree), m_root(std::make_unique<Item>())
{
    connect(&tree, &FileTreeViewModel::rootChanged, this, &FileTreeItemModel::resetToTree);
    connect(&tree, &FileTreeViewModel::treeChanged, this, &FileTreeItemModel::syncToTree);
    resetToTree();
}

FileTreeItemModel::~FileTreeItemModel() = default;

FileTreeItemModel::Item *FileTreeItemModel::itemAt(const QModelIndex &index) const
{
    return index.isValid() ? static_cast<Item *>(index.internalPointer()) : m_root.get();
}

QModelIndex FileTreeItemModel::indexOf(Item *item) const
{
    return !item || item == m_root.get() ? QModelIndex() : createIndex(item->row, 0, item);
}

QModelIndex FileTreeItemModel::indexForPath(const QString &path) const
{
    return indexOf(m_byPath.value(path));
}

QString FileTreeItemModel::pathAt(const QModelIndex &index) const
{
    return itemAt(index)->path;
}

bool FileTreeItemModel::isDirectory(const QModelIndex &index) const
{
    return !index.isValid() || itemAt(index)->isDirectory;
}

QString FileTreeItemModel::folderFor(const QModelIndex &index) const
{
    const Item *item = itemAt(index);
    if (item->isDirectory || item == m_root.get())
        return item->path;
    return item->parent ? item->parent->path : m_root->path;
}

void FileTreeItemModel::resetToTree()
{
    emit aboutToSync();
    beginResetModel();
    m_byPath.clear();
    m_root = std::make_unique<Item>();
    m_root->isDirectory = true;
    m_root->path = m_tree.rootPath().value_or(QString());
    if (const auto node = m_tree.rootNode(); node && node->path == m_root->path && node->children) {
        m_root->loaded = true;
        for (const auto &child : *node->children)
            m_root->children.push_back(makeItem(*child, m_root.get()));
        renumber(m_root.get());
    }
    endResetModel();
    emit synced();
}

void FileTreeItemModel::syncToTree()
{
    const auto node = m_tree.rootNode();
    if (node && node->path != m_root->path) {
        resetToTree();
        return;
    }
    emit aboutToSync();
    if (node)
        syncChildren(m_root.get(), *node);
    else if (!m_root->children.empty())
        removeItems(m_root.get(), 0, int(m_root->children.size()) - 1);
    emit synced();
}

void FileTreeItemModel::syncChildren(Item *item, const FileNode &node)
{
    if (!node.children) {
        if (!item->children.empty())
            removeItems(item, 0, int(item->children.size()) - 1);
        if (std::exchange(item->loaded, false) && item != m_root.get())
            emit dataChanged(indexOf(item), indexOf(item)); // may have children again
        return;
    }
    const FileNodeList &fresh = *node.children;
    const bool wasLoaded = std::exchange(item->loaded, true);

    // Rows that went, in runs from the end so that the rows before keep their numbers.
    QSet<QString> freshKeys;
    freshKeys.reserve(fresh.size());
    for (const auto &child : fresh)
        freshKeys.insert(keyOf(child->name, child->isDirectory));
    for (int last = int(item->children.size()) - 1; last >= 0;) {
        if (freshKeys.contains(keyOf(item->children[size_t(last)]->name, item->children[size_t(last)]->isDirectory))) {
            --last;
            continue;
        }
        int first = last;
        while (first > 0 && !freshKeys.contains(keyOf(item->children[size_t(first - 1)]->name, item->children[size_t(first - 1)]->isDirectory)))
            --first;
        removeItems(item, first, last);
        last = first - 1;
    }

    // What stays is in the fresh order unless the sort order itself changed (another locale);
    // then the folder's rows are simply laid out again.
    qsizetype k = 0;
    for (const auto &child : fresh) {
        if (k < qsizetype(item->children.size()) && keyOf(child->name, child->isDirectory) == keyOf(item->children[size_t(k)]->name, item->children[size_t(k)]->isDirectory))
            ++k;
    }
    if (k != qsizetype(item->children.size()) && !item->children.empty())
        removeItems(item, 0, int(item->children.size()) - 1);

    // Rows that came, in runs, and the folders that stayed brought up to date.
    size_t old = 0;
    for (qsizetype i = 0; i < fresh.size();) {
        const FileNode &child = *fresh[i];
        if (old < item->children.size() && keyOf(child.name, child.isDirectory) == keyOf(item->children[old]->name, item->children[old]->isDirectory)) {
            if (child.isDirectory)
                syncChildren(item->children[old].get(), child);
            ++old;
            ++i;
            continue;
        }
        std::vector<const FileNode *> run;
        while (i < fresh.size() && !(old < item->children.size()
                                     && keyOf(fresh[i]->name, fresh[i]->isDirectory) == keyOf(item->children[old]->name, item->children[old]->isDirectory)))
            run.push_back(fresh[i++].get());
        insertItems(item, int(old), run);
        old += run.size();
    }
    if (!wasLoaded && item != m_root.get())
        emit dataChanged(indexOf(item), indexOf(item));
}

void FileTreeItemModel::removeItems(Item *item, int first, int last)
{
    beginRemoveRows(indexOf(item), first, last);
    for (int row = first; row <= last; ++row)
        forget(item->children[size_t(row)].get());
    item->children.erase(item->children.begin() + first, item->children.begin() + last + 1);
    renumber(item);
    endRemoveRows();
}

void FileTreeItemModel::insertItems(Item *item, int position, const std::vector<const FileNode *> &nodes)
{
    beginInsertRows(indexOf(item), position, position + int(nodes.size()) - 1);
    std::vector<std::unique_ptr<Item>> made;
    made.reserve(nodes.size());
    for (const FileNode *node : nodes)
        made.push_back(makeItem(*node, item));
    item->children.insert(item->children.begin() + position, std::make_move_iterator(made.begin()), std::make_move_iterator(made.end()));
    renumber(item);
    endInsertRows();
}

std::unique_ptr<FileTreeItemModel::Item> FileTreeItemModel::makeItem(const FileNode &node, Item *parent)
{
    auto item = std::make_unique<Item>();
    item->path = node.path;
    item->name = node.name;
    item->isDirectory = node.isDirectory;
    item->parent = parent;
    item->loaded = node.isLoaded();
    if (node.children) {
        item->children.reserve(size_t(node.children->size()));
        for (const auto &child : *node.children)
            item->children.push_back(makeItem(*child, item.get()));
        renumber(item.get());
    }
    m_byPath.insert(item->path, item.get());
    return item;
}

void FileTreeItemModel::forget(Item *item)
{
    m_byPath.remove(item->path);
    for (const auto &child : item->children)
        forget(child.get());
}

void FileTreeItemModel::renumber(Item *item)
{
    int row = 0;
    for (const auto &child : item->children)
        child->row = row++;
}

QModelIndex FileTreeItemModel::index(int row, int column, const QModelIndex &parent) const
{
    const Item *item = itemAt(parent);
    if (column != 0 || row < 0 || row >= int(item->children.size()))
        return {};
    return createIndex(row, column, item->children[size_t(row)].get());
}

QModelIndex FileTreeItemModel::parent(const QModelIndex &child) const
{
    if (!child.isValid())
        return {};
    return indexOf(itemAt(child)->parent);
}

int FileTreeItemModel::rowCount(const QModelIndex &parent) const
{
    if (parent.column() > 0)
        return 0;
    return int(itemAt(parent)->children.size());
}

int FileTreeItemModel::columnCount(const QModelIndex &) const
{
    return 1;
}

bool FileTreeItemModel::hasChildren(const QModelIndex &parent) const
{
    const Item *item = itemAt(parent);
    return item->isDirectory && (!item->loaded || !item->children.empty());
}

bool FileTreeItemModel::canFetchMore(const QModelIndex &parent) const
{
    const Item *item = itemAt(parent);
    return parent.isValid() && item->isDirectory && !item->loaded && !m_tree.isLoading(item->path);
}

void FileTreeItemModel::fetchMore(const QModelIndex &parent)
{
    if (canFetchMore(parent))
        m_tree.setExpanded(itemAt(parent)->path, true);
}

QVariant FileTreeItemModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    const Item *item = itemAt(index);
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return item->name;
    case Qt::ToolTipRole:
    case PathRole:
        return item->path;
    case Qt::DecorationRole:
        return item->isDirectory ? folderIcon() : fileIcon();
    case IsDirectoryRole:
        return item->isDirectory;
    default:
        return {};
    }
}

bool FileTreeItemModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!index.isValid() || role != Qt::EditRole)
        return false;
    m_tree.rename(itemAt(index)->path, value.toString());
    return true;
}

Qt::ItemFlags FileTreeItemModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::ItemIsDropEnabled; // the empty area: the root
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsEditable | Qt::ItemIsDragEnabled;
    if (itemAt(index)->isDirectory)
        flags |= Qt::ItemIsDropEnabled;
    else
        flags |= Qt::ItemNeverHasChildren;
    return flags;
}

QStringList FileTreeItemModel::mimeTypes() const
{
    return {QStringLiteral("text/uri-list")};
}

QMimeData *FileTreeItemModel::mimeData(const QModelIndexList &indexes) const
{
    QList<QUrl> urls;
    for (const QModelIndex &index : indexes) {
        if (index.isValid() && index.column() == 0)
            urls.append(QUrl::fromLocalFile(itemAt(index)->path));
    }
    auto *data = new QMimeData;
    data->setUrls(urls);
    return data;
}

Qt::DropActions FileTreeItemModel::supportedDragActions() const
{
    return Qt::MoveAction | Qt::CopyAction;
}

Qt::DropActions FileTreeItemModel::supportedDropActions() const
{
    return Qt::MoveAction | Qt::CopyAction;
}

bool FileTreeItemModel::canDropMimeData(const QMimeData *data, Qt::DropAction, int, int, const QModelIndex &parent) const
{
    if (!data || !data->hasUrls() || !m_tree.rootPath())
        return false;
    const QString folder = folderFor(parent);
    bool any = false;
    for (const QUrl &url : data->urls()) {
        if (!url.isLocalFile())
            return false;
        const QString source = url.toLocalFile();
        if (m_tree.isInsideRoot(source)) {
            // A move that would do nothing is no drop at all: no indicator, no action.
            const QFileInfo info(source);
            if (info.isDir() && !info.isSymLink() && files::isSameOrInside(folder, source))
                return false;
            if (files::resolvedPath(info.absolutePath()) == files::resolvedPath(folder))
                continue;
        }
        any = true;
    }
    return any;
}

bool FileTreeItemModel::dropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column, const QModelIndex &parent)
{
    if (!canDropMimeData(data, action, row, column, parent))
        return false;
    const QString folder = folderFor(parent);
    for (const QUrl &url : data->urls()) {
        const QString source = url.toLocalFile();
        if (m_tree.isInsideRoot(source))
            m_tree.moveItem(source, folder);
        else
            m_tree.copyItem(source, folder);
    }
    // The tree moves or copies the files itself: the view must not remove any rows.
    return false;
}

} // namespace corvane
