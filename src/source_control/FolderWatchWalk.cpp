#include "source_control/FolderWatchWalk.h"

#include <QFile>

#include <cstring>
#include <dirent.h>
#include <sys/inotify.h>
#include <sys/stat.h>

namespace corvane {

quint32 folderWatchMask()
{
    return IN_CREATE | IN_DELETE | IN_MODIFY | IN_ATTRIB | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF
        | IN_MOVE_SELF | IN_ONLYDIR | IN_DONT_FOLLOW | IN_EXCL_UNLINK;
}

FolderWatchWalk::FolderWatchWalk(const QString &root, const QString &relativeStart)
    : m_root(QFile::encodeName(root)), m_pending{QFile::encodeName(relativeStart)}
{
}

bool FolderWatchWalk::run(InotifyHub &hub, const std::shared_ptr<InotifySubscription> &subscription,
                          QDeadlineTimer deadline, FolderWatchWalkResult &result)
{
    const quint32 mask = folderWatchMask();
    while (!m_pending.isEmpty()) {
        if (subscription->isClosed())
            return true;
        if (deadline.hasExpired())
            return false;
        const QByteArray relative = m_pending.takeLast();
        const QByteArray path = relative.isEmpty() ? m_root : m_root + '/' + relative;
        const int watch = hub.addWatch(path, mask, subscription);
        if (watch < 0) {
            ++result.failedFolders;
            result.lastError = -watch;
            continue;
        }
        result.folders.append(WatchedFolder{watch, QFile::decodeName(relative)});
        DIR *dir = ::opendir(path.constData());
        if (!dir)
            continue;
        while (const dirent *entry = ::readdir(dir)) {
            const char *name = entry->d_name;
            if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
                continue;
            if (std::strcmp(name, ".git") == 0)
                continue;
            bool isFolder = entry->d_type == DT_DIR;
            if (entry->d_type == DT_UNKNOWN) {
                struct stat info;
                const QByteArray child = path + '/' + name;
                isFolder = ::lstat(child.constData(), &info) == 0 && S_ISDIR(info.st_mode);
            }
            if (isFolder)
                m_pending.append(relative.isEmpty() ? QByteArray(name) : relative + '/' + name);
        }
        ::closedir(dir);
    }
    return true;
}

FolderWatchWalkResult watchFolderTree(InotifyHub &hub, const std::shared_ptr<InotifySubscription> &subscription,
                                      const QString &root, const QString &relativeStart)
{
    FolderWatchWalkResult result;
    FolderWatchWalk(root, relativeStart).run(hub, subscription, QDeadlineTimer(QDeadlineTimer::Forever), result);
    return result;
}

} // namespace corvane
