#include "source_control/overview/MemoryFiles.h"

#include <QDir>
#include <QFile>
#include <QStringDecoder>

namespace corvane::memoryfiles {

namespace {

std::optional<QString> readUtf8(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder.decode(file.readAll());
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

void add(QList<MemoryFileInfo> &out, const QString &path, const QString &name, MemorySource source)
{
    const auto text = readUtf8(path);
    if (!text)
        return;
    MemoryFileInfo info;
    info.name = name;
    info.path = path;
    info.source = source;
    info.preview = text->split(QLatin1Char('\n')).mid(0, 3).join(QLatin1Char(' ')).left(200);
    out.append(info);
}

} // namespace

QString autoDirectory(const QString &projectPath, const QString &home)
{
    QString encoded = projectPath;
    encoded.replace(QLatin1Char('/'), QLatin1Char('-'));
    return home + QStringLiteral("/.claude/projects/") + encoded + QStringLiteral("/memory");
}

QList<MemoryFileInfo> load(const QString &projectPath, const QString &home)
{
    QList<MemoryFileInfo> out;
    add(out, projectPath + QStringLiteral("/CLAUDE.md"), QStringLiteral("CLAUDE.md"), MemorySource::project);
    add(out, projectPath + QStringLiteral("/.claude/CLAUDE.md"), QStringLiteral(".claude/CLAUDE.md"), MemorySource::project);
    // codex reads its instructions from here, and Corvane runs codex as well as claude.
    add(out, projectPath + QStringLiteral("/AGENTS.md"), QStringLiteral("AGENTS.md"), MemorySource::project);
    add(out, home + QStringLiteral("/.claude/CLAUDE.md"), QStringLiteral("CLAUDE.md"), MemorySource::global);
    const QString autoDir = autoDirectory(projectPath, home);
    add(out, autoDir + QStringLiteral("/MEMORY.md"), QStringLiteral("MEMORY.md"), MemorySource::autoMemory);
    const QStringList others = QDir(autoDir).entryList({QStringLiteral("*.md")}, QDir::Files, QDir::Name);
    for (const QString &name : others)
        if (name != QLatin1String("MEMORY.md"))
            add(out, autoDir + QLatin1Char('/') + name, name, MemorySource::autoMemory);
    return out;
}

} // namespace corvane::memoryfiles
