#pragma once

#include <QAbstractItemModel>
#include <QHash>

#include <memory>
#include <vector>

namespace corvane {

class FileTreeViewModel;
struct FileNode;

// The file tree for an item view: one column of names over FileTreeViewModel's nodes, loaded
// lazily (expanding an unread folder asks the tree to read it).
//
// Each change of the tree is applied as the rows that came and went, never as a reset, so the
// view's open folders, selection and scroll position outlive a reload; only a new root resets.
// Drops of local files go to the folder under the pointer (a file's own folder, the root for
// the empty area): from inside the root they move, from outside they copy.
class FileTreeItemModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    enum Role { PathRole = Qt::UserRole + 1, IsDirectoryRole };

    explicit FileTreeItemModel(FileTreeViewModel &tree, QObject *parent = nullptr);
    ~FileTreeItemModel() override;

    FileTreeViewModel &tree() const { return m_tree; }
    QModelIndex indexForPath(const QString &path) const;
    QString pathAt(const QModelIndex &index) const;
    bool isDirectory(const QModelIndex &index) const;
    // The folder something dropped or pasted at `index` goes into.
    QString folderFor(const QModelIndex &index) const;

    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    bool hasChildren(const QModelIndex &parent = {}) const override;
    bool canFetchMore(const QModelIndex &parent) const override;
    void fetchMore(const QModelIndex &parent) override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

    QStringList mimeTypes() const override;
    QMimeData *mimeData(const QModelIndexList &indexes) const override;
    Qt::DropActions supportedDragActions() const override;
    Qt::DropActions supportedDropActions() const override;
    bool canDropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column, const QModelIndex &parent) const override;
    bool dropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column, const QModelIndex &parent) override;

signals:
    // Rows are about to be brought in line with the tree (selection changes that follow are
    // not the user's), and are now.
    void aboutToSync();
    void synced();

private:
    struct Item;

    Item *itemAt(const QModelIndex &index) const;
    QModelIndex indexOf(Item *item) const;
    void resetToTree();
    void syncToTree();
    void syncChildren(Item *item, const FileNode &node);
    void removeItems(Item *item, int first, int last);
    void insertItems(Item *item, int position, const std::vector<const FileNode *> &nodes);
    std::unique_ptr<Item> makeItem(const FileNode &node, Item *parent);
    void forget(Item *item);
    static void renumber(Item *item);

    FileTreeViewModel &m_tree;
    std::unique_ptr<Item> m_root;
    QHash<QString, Item *> m_byPath;
};

} // namespace corvane
