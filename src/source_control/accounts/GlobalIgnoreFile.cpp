#include "source_control/accounts/GlobalIgnoreFile.h"

#include "source_control/ParserSupport.h"

#include <QSet>

namespace corvane::globalignore {

namespace {

bool isPatternLine(const QString &trimmed)
{
    return !trimmed.isEmpty() && !trimmed.startsWith(QLatin1Char('#'));
}

} // namespace

QString expandTilde(const QString &path, const QString &home)
{
    if (path == QLatin1String("~"))
        return home;
    if (path.startsWith(QLatin1String("~/")))
        return home + path.mid(1);
    return path;
}

std::optional<QStringList> parsePatterns(const QByteArray &text)
{
    const std::optional<QString> decoded = gitparse::strictUtf8(text);
    if (!decoded)
        return std::nullopt;
    QStringList patterns;
    for (const QString &line : decoded->split(QLatin1Char('\n'))) {
        const QString trimmed = line.trimmed();
        if (isPatternLine(trimmed))
            patterns << trimmed;
    }
    return patterns;
}

QByteArray rewrite(const QByteArray &original, const QStringList &patterns)
{
    QStringList lines = QString::fromUtf8(original).split(QLatin1Char('\n'));
    if (!lines.isEmpty() && lines.constLast().isEmpty())
        lines.removeLast(); // the final newline, put back below
    const QSet<QString> wanted(patterns.cbegin(), patterns.cend());
    QSet<QString> written;
    QStringList kept;
    for (const QString &line : std::as_const(lines)) {
        const QString trimmed = line.trimmed();
        if (!isPatternLine(trimmed)) {
            kept << line;
        } else if (wanted.contains(trimmed) && !written.contains(trimmed)) {
            kept << line;
            written.insert(trimmed);
        }
    }
    for (const QString &pattern : patterns) {
        if (!written.contains(pattern)) {
            kept << pattern;
            written.insert(pattern);
        }
    }
    if (kept.isEmpty())
        return {};
    return (kept.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8();
}

} // namespace corvane::globalignore
