#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

namespace corvane::globalignore {

// The file git's `core.excludesFile` names when it has no value yet.
inline constexpr char16_t defaultLocation[] = u"~/.gitignore";

// "~" and "~/..." against `home`; any other path as it is.
QString expandTilde(const QString &path, const QString &home);

// The patterns of an ignore file: each line trimmed, blank lines and "#" comments left out, in
// file order. None when the bytes are not UTF-8: such a file is not ours to rewrite.
std::optional<QStringList> parsePatterns(const QByteArray &text);

// The file after an edit of its pattern list: the comment and blank lines of `original` stay
// where they were, pattern lines stay while `patterns` still holds them (once each), and the new
// patterns follow at the end. Ends with a newline unless nothing is left.
QByteArray rewrite(const QByteArray &original, const QStringList &patterns);

} // namespace corvane::globalignore
