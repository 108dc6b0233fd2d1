#include "core/process/ProgramLookup.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace corvane {

namespace {

Error cannotStart(const QString &program, const QString &reason, int code)
{
    return Error(QStringLiteral("Could not start %1: %2").arg(program, reason), code);
}

// Why `path` cannot be executed (an errno value), or 0 when it can.
int whyNotRunnable(const QString &path)
{
    const QByteArray native = QFile::encodeName(path);
    struct stat info = {};
    if (::stat(native.constData(), &info) != 0)
        return errno;
    if (S_ISDIR(info.st_mode))
        return EISDIR;
    if (::access(native.constData(), X_OK) != 0)
        return errno;
    return 0;
}

} // namespace

Result<QString> resolveProgram(const ProcessCommand &command)
{
    const QString &program = command.program;
    if (program.isEmpty())
        return Error(QStringLiteral("Could not start a process: no program was given"), EINVAL);

    const QString &folder = command.workingDirectory;
    if (!folder.isEmpty()) {
        const QFileInfo info(folder);
        if (!info.exists())
            return cannotStart(program, QStringLiteral("the working directory %1 does not exist").arg(folder), ENOENT);
        if (!info.isDir())
            return cannotStart(program, QStringLiteral("the working directory %1 is not a folder").arg(folder), ENOTDIR);
    }

    if (program.contains(QLatin1Char('/'))) {
        // Relative paths mean what they would mean to the child: relative to its working directory.
        const QString path = QDir(folder.isEmpty() ? QDir::currentPath() : folder).absoluteFilePath(program);
        if (const int code = whyNotRunnable(path))
            return cannotStart(program, QString::fromLocal8Bit(std::strerror(code)), code);
        return path;
    }

    const QString searchPath = command.environment.contains(QStringLiteral("PATH"))
        ? command.environment.value(QStringLiteral("PATH"))
        : qEnvironmentVariable("PATH");
    for (const QString &entry : searchPath.split(QLatin1Char(':'), Qt::SkipEmptyParts)) {
        // A relative entry would make the result depend on whichever folder the child starts in:
        // never run a tool found that way.
        if (!QDir::isAbsolutePath(entry))
            continue;
        const QString candidate = QDir(entry).filePath(program);
        if (whyNotRunnable(candidate) == 0)
            return candidate;
    }
    return cannotStart(program, QStringLiteral("not found in PATH (%1)").arg(searchPath), ENOENT);
}

} // namespace corvane
