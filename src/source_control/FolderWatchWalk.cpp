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

FolderWatchWalkResult watchFolderTree(InotifyHub &hub, const std::shared_ptr<InotifySubscription> &subscription,
                                      const QString &root, const QString &relativeStart)
{
    FolderWatchWalkResult result;
    const QByteArray rootBytes = QFile::encodeName(root);
    QList<QByteArray> pending{QFile::encodeName(relativeStart)};
    const quint32 mask = folderWatchMask();
    while (!pending.isEmpty() && !subscription->isClosed()) {
        const QByteArray relative = pending.takeLast();
        const QByteArray path = relative.isEmpty() ? rootBytes : rootBytes + '/' + relative;
        // Watch before reading, so an entry made while we read is either seen here or reported.
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
                pending.append(relative.isEmpty() ? QByteArray(name) : relative + '/' + name);
        }
        ::closedir(dir);
    }
    return result;
}

} // namespace corvane
