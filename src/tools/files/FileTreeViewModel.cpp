#include "tools/files/FileTreeViewModel.h"

#include "core/Broadcasts.h"
#include "core/Log.h"
#include "tools/files/FileOperations.h"
#include "tools/files/FileSystemService.h"

#include <QDir>
#include <QFileInfo>

namespace corvane {

namespace {

constexpr char Tag[] = "FileTreeVM";
constexpr char ViewTag[] = "FilesView";

QString join(const QString &folder, const QString &name)
{
    return folder + QLatin1Char('/') + name;
}

// What a reload read: the root's entries and those of every open folder under it.
struct LoadedTree
{
    std::optional<Error> error;
    FileNodePtr root;
    QStringList failedFolders;
};

void loadOpenFolders(const FileNodeList &nodes, const QSet<QString> &expanded, bool showHidden, QStringList &failed)
{
    for (const FileNodePtr &node : nodes) {
        if (!node->isDirectory || !expanded.contains(node->path))
            continue;
        Result<FileNodeList> children = files::loadDirectory(node->path, false, showHidden);
        if (!children) {
            failed.append(node->path);
            continue;
        }
        node->children = std::move(children.value());
        loadOpenFolders(*node->children, expanded, showHidden, failed);
    }
}

LoadedTree loadTree(const QString &root, const QSet<QString> &expanded, bool showHidden)
{
    LoadedTree tree;
    Result<FileNodeList> entries = files::loadDirectory(root, false, showHidden);
    if (!entries) {
        tree.error = entries.error();
        return tree;
    }
    tree.root = FileNode::make(root, QFileInfo(root).fileName(), true);
    tree.root->children = std::move(entries.value());
    loadOpenFolders(*tree.root->children, expanded, showHidden, tree.failedFolders);
    return tree;
}

} // namespace

struct FileTreeViewModel::TransferOutcome
{
    enum class Kind { nothing, conflict, done, failed } kind = Kind::nothing;
    QString destination;
    QString error;
};

FileTreeViewModel::FileTreeViewModel(NotificationCenter &center, QObject *parent)
    : QObject(parent), m_center(center)
{
    observe();
}

FileTreeViewModel::~FileTreeViewModel() = default;

template <typename Work, typename Done>
void FileTreeViewModel::run(Work work, Done done)
{
    ++m_running;
    m_service->run(this, std::move(work), [this, epoch = m_epoch, done = std::move(done)](auto result) mutable {
        if (epoch != m_epoch)
            return; // for a root no longer shown
        done(std::move(result));
        if (--m_running == 0)
            emit idle();
    });
}

void FileTreeViewModel::observe()
{
    m_observers.emplace_back(m_center, m_center.addObserver(broadcast::showHiddenFilesChanged, [this](const Notification &) {
        reload();
    }, nullptr, this));
    m_observers.push_back(broadcast::observe<broadcast::FileSystemChanged>(m_center, this, [this](const broadcast::FileSystemChanged &c) {
        onFileSystemChanged(c.workingDirectory);
    }));
}

void FileTreeViewModel::onFileSystemChanged(const QString &workingDirectory)
{
    if (!m_root || workingDirectory.isEmpty())
        return;
    const QString changed = QDir::cleanPath(workingDirectory);
    if (*m_root == changed || m_root->startsWith(changed + QLatin1Char('/')))
        reload();
}

void FileTreeViewModel::setRoot(const std::optional<QString> &root)
{
    endRename();
    ++m_generation;
    ++m_epoch; // answers on their way are for the old root
    m_loading.clear();
    m_conflict.reset();
    m_dropTarget.reset();
    m_expanded.clear();
    m_rootNode.reset();
    m_running = 0; // the old service's answers are dropped with it
    if (!root) {
        m_service.reset();
        m_root.reset();
        m_resolvedRoot.clear();
        ++m_treeVersion;
        emit rootChanged();
        return;
    }
    m_root = QDir::cleanPath(*root);
    const QString canonical = QFileInfo(*m_root).canonicalFilePath();
    m_resolvedRoot = canonical.isEmpty() ? *m_root : canonical;
    m_service = std::make_unique<FileSystemService>(*m_root);
    ++m_treeVersion;
    emit rootChanged();
    reload();
}

FileNodePtr FileTreeViewModel::nodeAt(const QString &path) const
{
    if (!m_rootNode || !m_root)
        return nullptr;
    if (path == *m_root)
        return m_rootNode;
    if (!path.startsWith(*m_root + QLatin1Char('/')))
        return nullptr;
    FileNodePtr node = m_rootNode;
    const QStringList parts = path.mid(m_root->size() + 1).split(QLatin1Char('/'), Qt::SkipEmptyParts);
    for (const QString &part : parts) {
        if (!node->children)
            return nullptr;
        const auto next = std::find_if(node->children->cbegin(), node->children->cend(),
                                       [&part](const FileNodePtr &child) { return child->name == part; });
        if (next == node->children->cend())
            return nullptr;
        node = *next;
    }
    return node;
}

void FileTreeViewModel::reload(std::function<void()> then)
{
    if (!m_root || !m_service)
        return;
    const int generation = ++m_generation;
    run([root = *m_root, expanded = m_expanded, hidden = showHidden()] { return loadTree(root, expanded, hidden); },
        [this, generation, then = std::move(then)](const LoadedTree &tree) {
        if (generation != m_generation) {
            if (then)
                then(); // a newer reload carries the same change
            return;
        }
        if (tree.error) {
            logLine(Tag, QStringLiteral("Failed to load files: ") + tree.error->message);
            return;
        }
        for (const QString &folder : tree.failedFolders) {
            if (m_expanded.remove(folder))
                emit expansionChanged(folder, false);
        }
        m_rootNode = tree.root;
        ++m_treeVersion;
        emit treeChanged();
        if (then)
            then();
    });
}

void FileTreeViewModel::toggleExpanded(const QString &folder)
{
    setExpanded(folder, !m_expanded.contains(folder));
}

void FileTreeViewModel::setExpanded(const QString &folder, bool expanded)
{
    if (m_expanded.contains(folder) == expanded)
        return;
    const FileNodePtr node = nodeAt(folder);
    if (expanded && (!node || !node->isDirectory || node == m_rootNode))
        return;
    if (expanded)
        m_expanded.insert(folder);
    else
        m_expanded.remove(folder);
    emit expansionChanged(folder, expanded);
    if (expanded && !node->isLoaded())
        loadChildren(folder);
}

void FileTreeViewModel::loadChildren(const QString &folder)
{
    if (m_loading.contains(folder))
        return;
    m_loading.insert(folder);
    const int generation = m_generation;
    run([folder, hidden = showHidden()] { return files::loadDirectory(folder, false, hidden); },
        [this, folder, generation](const Result<FileNodeList> &children) {
        m_loading.remove(folder);
        const FileNodePtr node = nodeAt(folder);
        if (!children) {
            logLine(Tag, QStringLiteral("Failed to load children for %1: %2").arg(QFileInfo(folder).fileName(), children.error().message));
            if (m_expanded.remove(folder))
                emit expansionChanged(folder, false);
            return;
        }
        // After a reload began the folder comes with it; a newer tree is left alone.
        if (!node || generation != m_generation || node->isLoaded())
            return;
        node->children = children.value();
        ++m_treeVersion;
        emit treeChanged();
    });
}

void FileTreeViewModel::moveItem(const QString &source, const QString &folder)
{
    transfer(source, folder, true);
}

void FileTreeViewModel::copyItem(const QString &source, const QString &folder)
{
    transfer(source, folder, false);
}

void FileTreeViewModel::transfer(const QString &source, const QString &folder, bool isMove)
{
    if (!m_service)
        return;
    run([source, folder, isMove] {
        TransferOutcome outcome;
        const QString destination = join(folder, QFileInfo(source).fileName());
        outcome.destination = destination;
        if (isMove) {
            // Where it already is, or a folder into itself: nothing to do, nothing to say.
            if (files::resolvedPath(source) == files::resolvedPath(destination))
                return outcome;
            const QFileInfo info(source);
            if (info.isDir() && !info.isSymLink() && files::isSameOrInside(folder, source))
                return outcome;
        }
        if (QFileInfo(destination).exists() || QFileInfo(destination).isSymLink()) {
            outcome.kind = TransferOutcome::Kind::conflict;
            return outcome;
        }
        Result<QString> done = isMove ? files::move(source, destination) : files::copy(source, destination);
        outcome.kind = done ? TransferOutcome::Kind::done : TransferOutcome::Kind::failed;
        if (done)
            outcome.destination = done.value();
        else
            outcome.error = done.error().message;
        return outcome;
    }, [this, source, isMove](const TransferOutcome &outcome) {
        switch (outcome.kind) {
        case TransferOutcome::Kind::nothing:
            return;
        case TransferOutcome::Kind::conflict:
            if (m_conflict) {
                logLine(Tag, QStringLiteral("Skipped %1: another conflict is waiting for an answer").arg(source));
                return;
            }
            m_conflict = FileConflict{source, outcome.destination, isMove};
            emit conflictRaised(*m_conflict);
            return;
        case TransferOutcome::Kind::failed:
            logLine(Tag, (isMove ? QStringLiteral("Move failed: ") : QStringLiteral("Copy failed: ")) + outcome.error);
            return;
        case TransferOutcome::Kind::done:
            if (isMove)
                emit itemMoved(source, outcome.destination);
            reload();
            return;
        }
    });
}

void FileTreeViewModel::resolveConflictReplacing()
{
    resolveConflict(true);
}

void FileTreeViewModel::resolveConflictKeepingBoth()
{
    resolveConflict(false);
}

void FileTreeViewModel::resolveConflict(bool replacing)
{
    if (!m_conflict || !m_service)
        return;
    const FileConflict conflict = *std::exchange(m_conflict, std::nullopt);
    run([conflict, replacing] {
        if (replacing)
            return conflict.isMove ? files::moveReplacing(conflict.source, conflict.destination)
                                   : files::copyReplacing(conflict.source, conflict.destination);
        return conflict.isMove ? files::move(conflict.source, conflict.destination) : files::copy(conflict.source, conflict.destination);
    }, [this, replacing, conflict](const Result<QString> &done) {
        if (!done) {
            logLine(Tag, (replacing ? QStringLiteral("Replace failed: ") : QStringLiteral("Keep Both failed: ")) + done.error().message);
            return;
        }
        if (conflict.isMove)
            emit itemMoved(conflict.source, done.value());
        reload();
    });
}

void FileTreeViewModel::cancelConflict()
{
    m_conflict.reset();
}

void FileTreeViewModel::rename(const QString &path, const QString &text)
{
    const QString name = text.trimmed();
    if (name.isEmpty() || name == QFileInfo(path).fileName() || !m_service) {
        endRename();
        return;
    }
    run([path, name] { return files::rename(path, name); }, [this, path](const Result<QString> &renamed) {
        endRename();
        if (!renamed) {
            logLine(Tag, QStringLiteral("Rename failed: ") + renamed.error().message);
            return;
        }
        emit itemMoved(path, renamed.value());
        // Open folders keep open under their new name, those inside them too.
        const QString prefix = path + QLatin1Char('/');
        for (const QString &open : QSet<QString>(m_expanded)) {
            if (open == path || open.startsWith(prefix)) {
                m_expanded.remove(open);
                m_expanded.insert(renamed.value() + open.mid(path.size()));
            }
        }
        reload();
    });
}

void FileTreeViewModel::newFile(const QString &folder)
{
    if (!m_service)
        return;
    run([folder] { return files::createFile(join(folder, QStringLiteral("untitled"))); },
        [this, folder](const Result<QString> &made) {
        if (!made) {
            logLine(Tag, QStringLiteral("New file failed: ") + made.error().message);
            return;
        }
        if (folder != m_root && !m_expanded.contains(folder)) {
            m_expanded.insert(folder);
            emit expansionChanged(folder, true);
        }
        reload([this, path = made.value()] { beginRename(path); });
    });
}

void FileTreeViewModel::newFolder(const QString &folder, const QString &name)
{
    const QString trimmed = name.trimmed();
    if (!m_service || trimmed.isEmpty())
        return;
    run([folder, trimmed] { return files::createFolder(join(folder, trimmed)); }, [this](const Result<QString> &made) {
        if (!made) {
            logLine(ViewTag, QStringLiteral("Could not create folder: ") + made.error().message);
            return;
        }
        reload();
    });
}

void FileTreeViewModel::duplicate(const QString &path)
{
    if (!m_service)
        return;
    run([path] { return files::copy(path, path); }, [this](const Result<QString> &copied) {
        if (!copied) {
            logLine(Tag, QStringLiteral("Duplicate failed: ") + copied.error().message);
            return;
        }
        reload();
    });
}

void FileTreeViewModel::moveToTrash(const QString &path)
{
    if (!m_service)
        return;
    run([path] { return files::moveToTrash(path); }, [this](const Status &trashed) {
        if (!trashed) {
            logLine(ViewTag, QStringLiteral("Could not trash: ") + trashed.error().message);
            return;
        }
        reload();
    });
}

void FileTreeViewModel::copyToClipboard(const QString &path)
{
    m_clipboard = FileClipboard{FileClipboard::Kind::copy, path};
    emit clipboardChanged();
}

void FileTreeViewModel::cutToClipboard(const QString &path)
{
    m_clipboard = FileClipboard{FileClipboard::Kind::cut, path};
    emit clipboardChanged();
}

void FileTreeViewModel::paste(const QString &folder)
{
    if (!m_clipboard)
        return;
    if (m_clipboard->kind == FileClipboard::Kind::copy) {
        copyItem(m_clipboard->path, folder);
        return;
    }
    const QString path = m_clipboard->path;
    m_clipboard.reset();
    emit clipboardChanged();
    moveItem(path, folder);
}

bool FileTreeViewModel::isInsideRoot(const QString &path) const
{
    if (!m_root)
        return false;
    const QString resolved = QFileInfo(path).isDir() ? QFileInfo(path).canonicalFilePath() : files::resolvedPath(path);
    const QString item = resolved.isEmpty() ? files::resolvedPath(path) : resolved;
    return item == m_resolvedRoot || item.startsWith(m_resolvedRoot + QLatin1Char('/'));
}

void FileTreeViewModel::beginRename(const QString &path)
{
    if (m_renaming == path)
        return;
    m_renaming = path;
    emit renamingChanged();
}

void FileTreeViewModel::endRename()
{
    if (!m_renaming)
        return;
    m_renaming.reset();
    emit renamingChanged();
}

} // namespace corvane
