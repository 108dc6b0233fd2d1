#pragma once

#include "core/NotificationCenter.h"
#include "tools/editor/TextFile.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QObject>
#include <QUuid>

#include <functional>
#include <memory>
#include <optional>

namespace corvane {

// A file open beside a workspace's chats. It is dirty while the buffer differs from what was
// last read from or written to disk.
struct OpenFile
{
    QString path;
    QString contents;
    QString savedContents;
    TextFile shape; // line ends and byte order mark to write back
    // The disk copy as last seen, to tell someone else's change from our own write.
    QDateTime diskModified;
    qint64 diskSize = -1;
    // The file changed on disk while the buffer had unsaved edits: both versions exist now.
    bool changedOnDisk = false;

    QString fileName() const;
    bool isDirty() const { return contents != savedContents; }
};
using OpenFilePtr = std::shared_ptr<OpenFile>;

// The open files of every workspace, in opening order, and the one each shows. Posts
// `openFilesDidChange` for a workspace whenever its list, its active file or a dirty state
// changes, and `editorDidSaveFile` after a save. Reads and writes happen on the calling (main)
// thread: files are opened one at a time by a person, and are at most a few megabytes.
//
// Asking is left to the window: the save prompt and the warnings are callbacks, so that this
// class stays free of widgets and tests answer for the user.
class OpenFileService : public QObject
{
    Q_OBJECT

public:
    enum class SaveAnswer { save, discard, cancel };
    using SavePrompt = std::function<SaveAnswer(const OpenFile &file)>;
    using Warning = std::function<void(const QString &title, const QString &text)>;

    explicit OpenFileService(NotificationCenter &center = NotificationCenter::instance(), QObject *parent = nullptr);
    ~OpenFileService() override;

    void setSavePrompt(SavePrompt prompt) { m_prompt = std::move(prompt); }
    void setWarning(Warning warning) { m_warning = std::move(warning); }

    QList<OpenFilePtr> files(const QUuid &workspaceId) const { return m_files.value(workspaceId); }
    OpenFilePtr file(const QString &path, const QUuid &workspaceId) const;
    OpenFilePtr activeFile(const QUuid &workspaceId) const;
    QList<QUuid> workspaces() const { return m_files.keys(); }
    std::optional<QUuid> currentWorkspaceId() const { return m_current; }
    void setCurrentWorkspaceId(std::optional<QUuid> workspaceId) { m_current = workspaceId; }

    // Opens the file (or, already open, makes it active without reading it again). Null after a
    // failure, which the warning has told: "Couldn't open <name>" with the reason.
    OpenFilePtr open(const QString &path, const QUuid &workspaceId);
    void setActive(const std::optional<QString> &path, const QUuid &workspaceId);
    // False when the user cancelled (or a save asked for failed); the file then stays open.
    bool close(const QString &path, const QUuid &workspaceId, bool prompt);
    // Closes every file of the workspace without asking: it was closed or archived.
    void closeWorkspace(const QUuid &workspaceId);
    // Asks about each dirty file of the workspace, then closes them all, as when the workspace
    // closes; false once one is cancelled, with the files not yet asked about left open.
    bool closeWorkspaceAsking(const QUuid &workspaceId);
    // The same for every workspace, as before quitting.
    bool closeAllAsking();

    // The editor's text for the buffer; posts when that flips its dirty state.
    void setContents(const OpenFilePtr &file, const QString &text);
    bool save(const OpenFilePtr &file);
    // Drops unsaved edits and reads the disk copy again.
    bool revert(const OpenFilePtr &file);
    // Looks again at the open files under `directory` whose disk copy changed. A clean buffer
    // takes the new text; a dirty one keeps the user's and is marked `changedOnDisk`. A file
    // deleted on disk stays open with its text, and saving writes it again.
    void refreshFromDisk(const QString &directory);
    // An item was renamed or moved: open files at `from`, or below it for a folder, follow it,
    // so that saving writes where the file now is rather than bringing back the old name.
    void followMove(const QString &from, const QString &to);

signals:
    void filesChanged(const QUuid &workspaceId);
    // A buffer's text was replaced from disk (not by typing): editors bound to it show it again.
    void contentsReplaced(const QString &path);
    // An open file's path changed (followMove); editors rekey what they hold for it.
    void pathChanged(const QString &from, const QString &to);

private:
    void changed(const QUuid &workspaceId);
    QUuid workspaceOf(const OpenFile *file) const;
    void noteDiskState(OpenFile &file) const;

    NotificationCenter &m_center;
    QHash<QUuid, QList<OpenFilePtr>> m_files;
    QHash<QUuid, QString> m_active;
    std::optional<QUuid> m_current;
    SavePrompt m_prompt;
    Warning m_warning;
    ObserverGuard m_diskObserver;
};

} // namespace corvane
