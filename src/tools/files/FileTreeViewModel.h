#pragma once

#include "core/NotificationCenter.h"
#include "tools/files/FileNode.h"

#include <QObject>
#include <QSet>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace corvane {

class FileSystemService;

// A move or copy that would land on an existing item and waits for the user's answer.
struct FileConflict
{
    QString source;
    QString destination;
    bool isMove = false;

    bool operator==(const FileConflict &) const = default;
};

// The tree's own clipboard (not the system's): one item, copied or cut.
struct FileClipboard
{
    enum class Kind { copy, cut };
    Kind kind = Kind::copy;
    QString path;

    bool operator==(const FileClipboard &) const = default;
};

// The state of the inspector's file tree for one root folder: the loaded nodes, which folders
// are open, the row being renamed, the clipboard and a conflict waiting for an answer. All disk
// work goes to the root's FileSystemService; results are applied here, on the main thread.
// Failures are logged and leave the old tree in place; nothing is shown to the user.
//
// Reloads when the hidden-files setting changes and when `fileSystemDidChange` names the root
// or a folder above it (the inspector's FileSystemMonitor watches the same working directory,
// so the tree needs no watcher of its own).
class FileTreeViewModel : public QObject
{
    Q_OBJECT

public:
    // Whether hidden files show (`showHiddenFilesInInspector`); read at each load. Unset means yes.
    using ShowHiddenSetting = std::function<bool()>;

    explicit FileTreeViewModel(NotificationCenter &center = NotificationCenter::instance(), QObject *parent = nullptr);
    ~FileTreeViewModel() override;

    void setShowHiddenSetting(ShowHiddenSetting setting) { m_showHidden = std::move(setting); }

    // None clears the tree. A new root starts with every folder closed; setting the same root
    // again is left to the caller (it simply loads again).
    void setRoot(const std::optional<QString> &root);
    std::optional<QString> rootPath() const { return m_root; }
    FileNodePtr rootNode() const { return m_rootNode; }
    // Raised by one at each change of the nodes.
    int treeVersion() const { return m_treeVersion; }
    FileNodePtr nodeAt(const QString &path) const;

    const QSet<QString> &expandedPaths() const { return m_expanded; }
    bool isExpanded(const QString &folder) const { return m_expanded.contains(folder); }
    bool isLoading(const QString &folder) const { return m_loading.contains(folder); }
    std::optional<QString> dropTargetPath() const { return m_dropTarget; }
    void setDropTargetPath(const std::optional<QString> &folder) { m_dropTarget = folder; }
    std::optional<QString> renamingPath() const { return m_renaming; }
    std::optional<FileClipboard> clipboard() const { return m_clipboard; }
    std::optional<FileConflict> pendingConflict() const { return m_conflict; }
    // No disk work queued or running: what tests wait for.
    bool isIdle() const { return m_running == 0; }

    // Reads the root and every open folder again; runs `then` once the answer is in.
    void reload(std::function<void()> then = {});
    // Opens or closes a folder; an unloaded one is read first.
    void toggleExpanded(const QString &folder);
    void setExpanded(const QString &folder, bool expanded);

    // Into `folder` under the same name. A move to where the item already is, or of a folder
    // into itself or below it, does nothing; an existing item of that name raises a conflict.
    void moveItem(const QString &source, const QString &folder);
    void copyItem(const QString &source, const QString &folder);
    // `text` trimmed; empty or unchanged only ends renaming. A taken name becomes "name 2".
    void rename(const QString &path, const QString &text);
    // An empty "untitled" file (made unique) in `folder`, which opens; its row goes into rename.
    void newFile(const QString &folder);
    void newFolder(const QString &folder, const QString &name);
    // A copy beside the item: "a.txt" gives "a 2.txt".
    void duplicate(const QString &path);
    void moveToTrash(const QString &path);

    void copyToClipboard(const QString &path);
    void cutToClipboard(const QString &path);
    // A copied item may be pasted again and again; a cut one moves once.
    void paste(const QString &folder);

    // True for the root and what lies under it, with symbolic links resolved.
    bool isInsideRoot(const QString &path) const;

    void resolveConflictReplacing();
    void resolveConflictKeepingBoth();
    void cancelConflict();

    void beginRename(const QString &path);
    void endRename();

signals:
    // The root is a different folder (or none): views start afresh.
    void rootChanged();
    // Nodes changed; treeVersion() was raised.
    void treeChanged();
    void expansionChanged(const QString &folder, bool expanded);
    void renamingChanged();
    void clipboardChanged();
    void conflictRaised(const FileConflict &conflict);
    // An item (and all below it, for a folder) now lives elsewhere: renamed or moved by the tree.
    void itemMoved(const QString &from, const QString &to);
    // Any queued work ended (for tests and status).
    void idle();

private:
    struct TransferOutcome;
    template <typename Work, typename Done>
    void run(Work work, Done done);
    bool showHidden() const { return !m_showHidden || m_showHidden(); }
    void loadChildren(const QString &folder);
    void transfer(const QString &source, const QString &folder, bool isMove);
    void resolveConflict(bool replacing);
    void observe();
    void onFileSystemChanged(const QString &workingDirectory);

    NotificationCenter &m_center;
    ShowHiddenSetting m_showHidden;
    std::unique_ptr<FileSystemService> m_service;
    std::optional<QString> m_root;
    QString m_resolvedRoot;
    FileNodePtr m_rootNode;
    int m_treeVersion = 0;
    int m_generation = 0;
    int m_running = 0;
    int m_epoch = 0;
    QSet<QString> m_expanded;
    QSet<QString> m_loading;
    std::optional<QString> m_dropTarget;
    std::optional<QString> m_renaming;
    std::optional<FileClipboard> m_clipboard;
    std::optional<FileConflict> m_conflict;
    std::vector<ObserverGuard> m_observers;
};

} // namespace corvane
