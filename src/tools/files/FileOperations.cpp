#include "tools/files/FileOperations.h"

#include <QCollator>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace corvane::files {

namespace {

QString quoted(const QString &path)
{
    return QStringLiteral("\u201C%1\u201D").arg(QFileInfo(path).fileName());
}

QString systemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

// Something is there, a dangling link included.
bool occupied(const QString &path)
{
    struct stat st;
    return ::lstat(QFile::encodeName(path).constData(), &st) == 0;
}

QString joined(const QString &folder, const QString &name)
{
    return folder.endsWith(QLatin1Char('/')) ? folder + name : folder + QLatin1Char('/') + name;
}

QString parentOf(const QString &path)
{
    return QFileInfo(path).absolutePath();
}

// Removes a file, a link or a whole folder.
bool removeItem(const QString &path)
{
    const QFileInfo info(path);
    if (info.isDir() && !info.isSymLink())
        return QDir(path).removeRecursively();
    return QFile::remove(path);
}

// Copies `source` to `destination`, where nothing is yet.
Status copyInto(const QString &source, const QString &destination)
{
    const QFileInfo info(source);
    const QByteArray from = QFile::encodeName(source);
    const QByteArray to = QFile::encodeName(destination);
    if (info.isSymLink()) {
        char target[4096];
        const ssize_t length = ::readlink(from.constData(), target, sizeof target - 1);
        if (length < 0 || ::symlink(QByteArray(target, int(length)).constData(), to.constData()) != 0)
            return Error(QStringLiteral("Could not copy the link %1: %2").arg(quoted(source), systemError(errno)));
        return {};
    }
    if (!info.isDir()) {
        QFile file(source);
        if (!file.copy(destination))
            return Error(QStringLiteral("Could not copy %1: %2").arg(quoted(source), file.errorString()));
        return {};
    }
    if (::mkdir(to.constData(), 0700) != 0)
        return Error(QStringLiteral("Could not create the folder %1: %2").arg(quoted(destination), systemError(errno)));
    QDirIterator entries(source, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    while (entries.hasNext()) {
        entries.next();
        if (Status done = copyInto(entries.filePath(), joined(destination, entries.fileName())); !done)
            return done;
    }
    // Last, so that a read-only folder can still be filled.
    QFile::setPermissions(destination, info.permissions());
    return {};
}

// Copies, and on failure takes away what was made.
Status copyWhole(const QString &source, const QString &destination)
{
    Status done = copyInto(source, destination);
    if (!done && occupied(destination))
        removeItem(destination);
    return done;
}

Status moveWhole(const QString &source, const QString &destination)
{
    if (::rename(QFile::encodeName(source).constData(), QFile::encodeName(destination).constData()) == 0)
        return {};
    const int error = errno;
    if (error != EXDEV)
        return Error(QStringLiteral("Could not move %1 to %2: %3").arg(quoted(source), quoted(parentOf(destination)), systemError(error)));
    // Another file system: copy, and only then remove the original.
    if (Status copied = copyWhole(source, destination); !copied)
        return copied;
    if (!removeItem(source))
        return Error(QStringLiteral("%1 was copied to %2 but could not be removed from its old place").arg(quoted(source), quoted(parentOf(destination))));
    return {};
}

Status refuseIntoItself(const QString &source, const QString &destination, const char *verb)
{
    if (QFileInfo(source).isDir() && !QFileInfo(source).isSymLink() && isSameOrInside(parentOf(destination), source))
        return Error(QStringLiteral("Can't %1 %2 into itself").arg(QLatin1String(verb), quoted(source)));
    return {};
}

using Transfer = Status (*)(const QString &, const QString &);

Result<QString> transferReplacing(const QString &source, const QString &destination, Transfer transfer, const char *verb)
{
    if (!occupied(source))
        return Error(QStringLiteral("%1 no longer exists").arg(quoted(source)));
    if (Status ok = refuseIntoItself(source, destination, verb); !ok)
        return ok.error();
    if (!occupied(destination)) {
        if (Status done = transfer(source, destination); !done)
            return done.error();
        return destination;
    }
    if (resolvedPath(source) == resolvedPath(destination))
        return destination; // replacing an item with itself changes nothing
    if (isSameOrInside(source, destination))
        return Error(QStringLiteral("%1 can't replace the folder it is in").arg(quoted(source)));
    // The old item steps aside under a hidden name and goes only once the new one is in place.
    const QString aside = uniquePath(joined(parentOf(destination), QStringLiteral(".%1.replaced").arg(QFileInfo(destination).fileName())));
    if (::rename(QFile::encodeName(destination).constData(), QFile::encodeName(aside).constData()) != 0)
        return Error(QStringLiteral("Could not replace %1: %2").arg(quoted(destination), systemError(errno)));
    if (Status done = transfer(source, destination); !done) {
        ::rename(QFile::encodeName(aside).constData(), QFile::encodeName(destination).constData());
        return done.error();
    }
    removeItem(aside);
    return destination;
}

} // namespace

bool isAlwaysHidden(const QString &name)
{
    return name == QLatin1String(".git") || name == QLatin1String(".DS_Store");
}

void sortNodes(FileNodeList &nodes)
{
    // Keys of case-folded names: the "C" locale's collator ignores the case setting.
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    struct Keyed
    {
        QCollatorSortKey key;
        FileNodePtr node;
    };
    std::vector<Keyed> keyed;
    keyed.reserve(size_t(nodes.size()));
    for (const FileNodePtr &node : nodes)
        keyed.push_back({collator.sortKey(node->name.toCaseFolded()), node});
    std::stable_sort(keyed.begin(), keyed.end(), [](const Keyed &a, const Keyed &b) {
        if (a.node->isDirectory != b.node->isDirectory)
            return a.node->isDirectory;
        return a.key.compare(b.key) < 0;
    });
    for (qsizetype i = 0; i < nodes.size(); ++i)
        nodes[i] = std::move(keyed[size_t(i)].node);
}

Result<FileNodeList> loadDirectory(const QString &folder, bool recursive, bool showHidden)
{
    QDir dir(folder);
    if (!dir.exists())
        return Error(QStringLiteral("The folder %1 does not exist").arg(quoted(folder)));
    if (!dir.isReadable())
        return Error(QStringLiteral("The folder %1 can't be read").arg(quoted(folder)));
    QDir::Filters filters = QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System;
    if (showHidden)
        filters |= QDir::Hidden;
    FileNodeList nodes;
    QDirIterator entries(folder, filters);
    while (entries.hasNext()) {
        entries.next();
        const QFileInfo info = entries.fileInfo();
        const QString name = info.fileName();
        if (isAlwaysHidden(name))
            continue;
        nodes.append(FileNode::make(info.filePath(), name, info.isDir()));
    }
    // A settled order first, so that equal names come out the same at every listing.
    std::sort(nodes.begin(), nodes.end(), [](const FileNodePtr &a, const FileNodePtr &b) { return a->name < b->name; });
    if (recursive) {
        for (const FileNodePtr &node : nodes) {
            if (!node->isDirectory)
                continue;
            Result<FileNodeList> children = loadDirectory(node->path, true, showHidden);
            if (!children)
                return children.error();
            node->children = std::move(children.value());
        }
    }
    sortNodes(nodes);
    return nodes;
}

QString uniquePath(const QString &path)
{
    if (!occupied(path))
        return path;
    const QFileInfo info(path);
    const QString folder = info.absolutePath();
    QString base = info.fileName();
    QString extension;
    // completeBaseName() of ".env" is empty: a leading dot starts a name, not an extension.
    if (!info.isDir() && !info.completeBaseName().isEmpty() && !info.suffix().isEmpty()) {
        base = info.completeBaseName();
        extension = info.suffix();
    }
    for (int n = 2;; ++n) {
        QString name = base + QLatin1Char(' ') + QString::number(n);
        if (!extension.isEmpty())
            name += QLatin1Char('.') + extension;
        const QString candidate = joined(folder, name);
        if (!occupied(candidate))
            return candidate;
    }
}

QString resolvedPath(const QString &path)
{
    const QFileInfo info(path);
    const QString folder = QFileInfo(info.absolutePath()).canonicalFilePath();
    if (folder.isEmpty())
        return QDir::cleanPath(info.absoluteFilePath());
    return joined(folder, info.fileName());
}

bool isSameOrInside(const QString &folder, const QString &item)
{
    const QFileInfo folderInfo(folder);
    const QString resolvedFolder = folderInfo.exists() ? folderInfo.canonicalFilePath() : resolvedPath(folder);
    const QString resolvedItem = resolvedPath(item);
    return resolvedFolder == resolvedItem || (resolvedFolder + QLatin1Char('/')).startsWith(resolvedItem + QLatin1Char('/'));
}

Result<QString> move(const QString &source, const QString &destination)
{
    if (!occupied(source))
        return Error(QStringLiteral("%1 no longer exists").arg(quoted(source)));
    if (Status ok = refuseIntoItself(source, destination, "move"); !ok)
        return ok.error();
    const QString target = uniquePath(destination);
    if (Status done = moveWhole(source, target); !done)
        return done.error();
    return target;
}

Result<QString> copy(const QString &source, const QString &destination)
{
    if (!occupied(source))
        return Error(QStringLiteral("%1 no longer exists").arg(quoted(source)));
    if (Status ok = refuseIntoItself(source, destination, "copy"); !ok)
        return ok.error();
    const QString target = uniquePath(destination);
    if (Status done = copyWhole(source, target); !done)
        return done.error();
    return target;
}

Result<QString> moveReplacing(const QString &source, const QString &destination)
{
    return transferReplacing(source, destination, moveWhole, "move");
}

Result<QString> copyReplacing(const QString &source, const QString &destination)
{
    return transferReplacing(source, destination, copyWhole, "copy");
}

Status checkName(const QString &name)
{
    if (name.isEmpty())
        return Error(QStringLiteral("A name can't be empty"));
    if (name.contains(QLatin1Char('/')) || name == QLatin1String(".") || name == QLatin1String(".."))
        return Error(QStringLiteral("\u201C%1\u201D can't be used as a name").arg(name));
    return {};
}

Result<QString> rename(const QString &path, const QString &newName)
{
    if (Status ok = checkName(newName); !ok)
        return ok.error();
    if (!occupied(path))
        return Error(QStringLiteral("%1 no longer exists").arg(quoted(path)));
    if (QFileInfo(path).fileName() == newName)
        return path;
    const QString target = uniquePath(joined(parentOf(path), newName));
    if (::rename(QFile::encodeName(path).constData(), QFile::encodeName(target).constData()) != 0)
        return Error(QStringLiteral("Could not rename %1 to \u201C%2\u201D: %3").arg(quoted(path), newName, systemError(errno)));
    return target;
}

Result<QString> createFile(const QString &path)
{
    const QString target = uniquePath(path);
    QFile file(target);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return Error(QStringLiteral("Could not create %1: %2").arg(quoted(target), file.errorString()));
    return target;
}

Result<QString> createFolder(const QString &path)
{
    if (Status ok = checkName(QFileInfo(path).fileName()); !ok)
        return ok.error();
    const QString target = uniquePath(path);
    if (::mkdir(QFile::encodeName(target).constData(), 0777) != 0)
        return Error(QStringLiteral("Could not create the folder %1: %2").arg(quoted(target), systemError(errno)));
    return target;
}

Status moveToTrash(const QString &path)
{
    if (!occupied(path))
        return Error(QStringLiteral("%1 no longer exists").arg(quoted(path)));
    QFile file(path);
    if (!file.moveToTrash())
        return Error(QStringLiteral("Could not move %1 to the trash: %2").arg(quoted(path), file.errorString()));
    return {};
}

} // namespace corvane::files
