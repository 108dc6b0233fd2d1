#include "automation/DefinitionFiles.h"

#include "core/Log.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStringDecoder>

namespace corvane::definitionfiles {

QString claudeHome()
{
    return QDir::homePath() + QStringLiteral("/.claude");
}

std::optional<QString> readUtf8(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return std::nullopt;
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

Status writeAtomically(const QString &path, const QString &content)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return Error(QStringLiteral("Could not write %1: %2").arg(path, file.errorString()));
    const QByteArray bytes = content.toUtf8();
    if (file.write(bytes) != bytes.size() || !file.commit())
        return Error(QStringLiteral("Could not write %1: %2").arg(path, file.errorString()));
    return {};
}

Status makeFolder(const QString &path)
{
    if (QFileInfo(path).isDir() || QDir().mkpath(path))
        return {};
    return Error(QStringLiteral("Could not create the folder %1").arg(path));
}

QStringList markdownFiles(const QString &folder)
{
    QStringList files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System);
    while (it.hasNext()) {
        it.next();
        const QString name = it.fileName();
        if (name.endsWith(QLatin1String(".md")) && !name.startsWith(QLatin1Char('.')))
            files.append(it.filePath());
    }
    return files;
}

QString copyName(const QString &stem, const QString &suffix, const std::function<bool(const QString &)> &taken)
{
    QString candidate = stem + QStringLiteral("-copy") + suffix;
    for (int n = 2; taken(candidate); ++n)
        candidate = stem + QStringLiteral("-copy-%1").arg(n) + suffix;
    return candidate;
}

Status checkName(const QString &name)
{
    if (name.isEmpty() || name.contains(QLatin1Char('/')) || name == QLatin1String(".") || name == QLatin1String(".."))
        return Error(QStringLiteral("'%1' cannot be used as a name").arg(name));
    return {};
}

Result<QString> createNew(const QString &folder, const QString &fileName, const QString &content,
                          const QString &collision)
{
    if (Status valid = checkName(fileName); !valid)
        return valid.error();
    if (Status made = makeFolder(folder); !made)
        return made.error();
    const QString path = folder + QLatin1Char('/') + fileName;
    if (QFileInfo::exists(path) || QFileInfo(path).isSymLink())
        return Error(collision);
    if (Status written = writeAtomically(path, content); !written)
        return written.error();
    return path;
}

Result<QString> renameForSave(const QString &filePath, const QString &name, const QString &collision)
{
    const QFileInfo current(filePath);
    if (name == current.completeBaseName())
        return filePath;
    if (Status valid = checkName(name); !valid)
        return valid.error();
    const QString target = current.path() + QLatin1Char('/') + name + QStringLiteral(".md");
    if (QFileInfo::exists(target) || QFileInfo(target).isSymLink())
        return Error(collision);
    // A failed move (the old file already gone) still lets the save write the new one.
    QFile::rename(filePath, target);
    return target;
}

void installMissing(const QString &folder, const QList<std::pair<QString, QString>> &files)
{
    if (!makeFolder(folder))
        return;
    for (const auto &[name, content] : files) {
        const QString path = folder + QLatin1Char('/') + name;
        if (QFileInfo::exists(path) || QFileInfo(path).isSymLink())
            continue;
        if (Status written = writeAtomically(path, content); !written)
            logLine("Definitions", written.error().message);
    }
}

Status copyFolder(const QString &from, const QString &to)
{
    if (QFileInfo::exists(to))
        return Error(QStringLiteral("%1 already exists").arg(to));
    if (Status made = makeFolder(to); !made)
        return made;
    const QDir source(from);
    const auto entries = source.entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo &entry : entries) {
        const QString target = to + QLatin1Char('/') + entry.fileName();
        if (entry.isDir() && !entry.isSymLink()) {
            if (Status copied = copyFolder(entry.filePath(), target); !copied)
                return copied;
        } else if (!QFile::copy(entry.filePath(), target)) {
            return Error(QStringLiteral("Could not copy %1 to %2").arg(entry.filePath(), target));
        }
    }
    return {};
}

Status removePath(const QString &path)
{
    const QFileInfo info(path);
    if (!info.exists() && !info.isSymLink())
        return Error(QStringLiteral("%1 does not exist").arg(path));
    const bool removed = info.isDir() && !info.isSymLink() ? QDir(path).removeRecursively() : QFile::remove(path);
    return removed ? Status() : Error(QStringLiteral("Could not remove %1").arg(path));
}

} // namespace corvane::definitionfiles
