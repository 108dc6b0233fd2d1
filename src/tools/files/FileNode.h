#pragma once

#include <QList>
#include <QString>

#include <memory>
#include <optional>

namespace corvane {

struct FileNode;
using FileNodePtr = std::shared_ptr<FileNode>;
using FileNodeList = QList<FileNodePtr>;

// One item of the file tree, identified by its absolute path. A folder's children are absent
// until they are loaded; a file never has any. Nodes are built on the service's worker and
// handed over whole; after that only the main thread touches them.
struct FileNode
{
    QString path;
    QString name;
    bool isDirectory = false;
    std::optional<FileNodeList> children;

    bool isLoaded() const { return children.has_value(); }

    static FileNodePtr make(const QString &path, const QString &name, bool isDirectory)
    {
        auto node = std::make_shared<FileNode>();
        node->path = path;
        node->name = name;
        node->isDirectory = isDirectory;
        return node;
    }
};

} // namespace corvane
