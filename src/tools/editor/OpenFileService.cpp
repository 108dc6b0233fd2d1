#include "tools/editor/OpenFileService.h"

#include "core/Broadcasts.h"
#include "core/Log.h"

#include <QDir>
#include <QFileInfo>

namespace corvane {

QString OpenFile::fileName() const
{
    return QFileInfo(path).fileName();
}

OpenFileService::OpenFileService(NotificationCenter &center, QObject *parent) : QObject(parent), m_center(center)
{
    m_diskObserver = broadcast::observe<broadcast::FileSystemChanged>(m_center, this, [this](const broadcast::FileSystemChanged &c) {
        refreshFromDisk(c.workingDirectory);
    });
}

OpenFileService::~OpenFileService() = default;

OpenFilePtr OpenFileService::file(const QString &path, const QUuid &workspaceId) const
{
    for (const OpenFilePtr &open : m_files.value(workspaceId))
        if (open->path == path)
            return open;
    return {};
}

OpenFilePtr OpenFileService::activeFile(const QUuid &workspaceId) const
{
    const auto active = m_active.constFind(workspaceId);
    return active == m_active.cend() ? OpenFilePtr() : file(*active, workspaceId);
}

void OpenFileService::changed(const QUuid &workspaceId)
{
    emit filesChanged(workspaceId);
    broadcast::post(m_center, broadcast::OpenFilesChanged{workspaceId}, this);
}

QUuid OpenFileService::workspaceOf(const OpenFile *file) const
{
    for (auto it = m_files.cbegin(); it != m_files.cend(); ++it)
        for (const OpenFilePtr &open : it.value())
            if (open.get() == file)
                return it.key();
    return {};
}

void OpenFileService::noteDiskState(OpenFile &file) const
{
    const QFileInfo info(file.path);
    file.diskModified = info.exists() ? info.lastModified() : QDateTime();
    file.diskSize = info.exists() ? info.size() : -1;
}

OpenFilePtr OpenFileService::open(const QString &path, const QUuid &workspaceId)
{
    const QString clean = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    if (OpenFilePtr already = file(clean, workspaceId)) {
        m_active.insert(workspaceId, clean);
        changed(workspaceId);
        return already;
    }
    Result<TextFile> read = textfile::read(clean);
    if (!read) {
        if (m_warning)
            m_warning(tr("Couldn't open %1").arg(QFileInfo(clean).fileName()), read.error().message);
        return {};
    }
    auto opened = std::make_shared<OpenFile>();
    opened->path = clean;
    opened->contents = opened->savedContents = read->text;
    opened->shape = *read;
    opened->shape.text.clear();
    noteDiskState(*opened);
    m_files[workspaceId].append(opened);
    m_active.insert(workspaceId, clean);
    changed(workspaceId);
    return opened;
}

void OpenFileService::setActive(const std::optional<QString> &path, const QUuid &workspaceId)
{
    if (path && file(*path, workspaceId))
        m_active.insert(workspaceId, *path);
    else if (!path)
        m_active.remove(workspaceId);
    else
        return;
    changed(workspaceId);
}

bool OpenFileService::close(const QString &path, const QUuid &workspaceId, bool prompt)
{
    const OpenFilePtr closing = file(path, workspaceId);
    if (!closing)
        return true;
    if (prompt && closing->isDirty() && m_prompt) {
        switch (m_prompt(*closing)) {
        case SaveAnswer::save:
            if (!save(closing))
                return false;
            break;
        case SaveAnswer::discard:
            break;
        case SaveAnswer::cancel:
            return false;
        }
    }
    QList<OpenFilePtr> &list = m_files[workspaceId];
    list.removeAll(closing);
    if (list.isEmpty())
        m_files.remove(workspaceId);
    if (m_active.value(workspaceId) == path) {
        if (const auto remaining = m_files.constFind(workspaceId); remaining != m_files.cend())
            m_active.insert(workspaceId, remaining->constLast()->path);
        else
            m_active.remove(workspaceId);
    }
    changed(workspaceId);
    return true;
}

void OpenFileService::closeWorkspace(const QUuid &workspaceId)
{
    if (!m_files.remove(workspaceId))
        return;
    m_active.remove(workspaceId);
    changed(workspaceId);
}

bool OpenFileService::closeWorkspaceAsking(const QUuid &workspaceId)
{
    for (const OpenFilePtr &open : files(workspaceId))
        if (open->isDirty()) {
            // The file asked about is the one on show.
            m_active.insert(workspaceId, open->path);
            changed(workspaceId);
            if (!close(open->path, workspaceId, true))
                return false;
        }
    closeWorkspace(workspaceId);
    return true;
}

bool OpenFileService::closeAllAsking()
{
    for (const QUuid &workspaceId : workspaces())
        if (!closeWorkspaceAsking(workspaceId))
            return false;
    return true;
}

void OpenFileService::setContents(const OpenFilePtr &file, const QString &text)
{
    if (!file || file->contents == text)
        return;
    const bool wasDirty = file->isDirty();
    file->contents = text;
    if (wasDirty != file->isDirty())
        changed(workspaceOf(file.get()));
}

bool OpenFileService::save(const OpenFilePtr &file)
{
    if (!file)
        return false;
    if (Status written = textfile::write(file->path, textfile::encode(file->contents, file->shape)); !written) {
        if (m_warning)
            m_warning(tr("Couldn't save %1").arg(file->fileName()), written.error().message);
        return false;
    }
    file->savedContents = file->contents;
    file->changedOnDisk = false;
    noteDiskState(*file);
    // The same file may be open in another workspace too; its clean buffer follows.
    for (auto it = m_files.cbegin(); it != m_files.cend(); ++it)
        for (const OpenFilePtr &other : it.value())
            if (other != file && other->path == file->path && !other->isDirty()) {
                other->contents = other->savedContents = file->contents;
                noteDiskState(*other);
                emit contentsReplaced(other->path);
            }
    broadcast::post(m_center, broadcast::EditorSavedFile{file->path}, this);
    changed(workspaceOf(file.get()));
    return true;
}

bool OpenFileService::revert(const OpenFilePtr &file)
{
    Result<TextFile> read = textfile::read(file->path);
    if (!read) {
        if (m_warning)
            m_warning(tr("Couldn't open %1").arg(file->fileName()), read.error().message);
        return false;
    }
    file->contents = file->savedContents = read->text;
    file->changedOnDisk = false;
    noteDiskState(*file);
    emit contentsReplaced(file->path);
    changed(workspaceOf(file.get()));
    return true;
}

void OpenFileService::followMove(const QString &from, const QString &to)
{
    const QString folder = QDir::cleanPath(from) + QLatin1Char('/');
    for (const QUuid &workspaceId : workspaces()) {
        bool any = false;
        for (const OpenFilePtr &open : files(workspaceId)) {
            if (open->path != QDir::cleanPath(from) && !open->path.startsWith(folder))
                continue;
            const QString old = open->path;
            open->path = QDir::cleanPath(to) + old.mid(QDir::cleanPath(from).size());
            if (m_active.value(workspaceId) == old)
                m_active.insert(workspaceId, open->path);
            emit pathChanged(old, open->path);
            any = true;
        }
        if (any)
            changed(workspaceId);
    }
}

void OpenFileService::refreshFromDisk(const QString &directory)
{
    const QString prefix = QDir::cleanPath(directory) + QLatin1Char('/');
    for (const QUuid &workspaceId : workspaces()) {
        bool any = false;
        for (const OpenFilePtr &open : files(workspaceId)) {
            if (!open->path.startsWith(prefix))
                continue;
            const QFileInfo info(open->path);
            if (!info.exists() || (info.lastModified() == open->diskModified && info.size() == open->diskSize))
                continue;
            Result<TextFile> read = textfile::read(open->path);
            noteDiskState(*open);
            if (!read) {
                logLine("OpenFiles", QStringLiteral("Could not read %1 again: %2").arg(open->path, read.error().message));
                continue;
            }
            if (read->text == open->savedContents)
                continue;
            if (open->isDirty()) {
                open->savedContents = read->text;
                open->changedOnDisk = true;
            } else {
                open->contents = open->savedContents = read->text;
                emit contentsReplaced(open->path);
            }
            any = true;
        }
        if (any)
            changed(workspaceId);
    }
}

} // namespace corvane
