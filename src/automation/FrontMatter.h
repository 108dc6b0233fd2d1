#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>

namespace corvane {

// The header of a flow, subagent or skill file: "key: value" lines between two "---" lines, then
// the body. The same files are read by the claude agent, so this reads them the way it does, and
// that is not YAML: quotes stay part of a value, "#" starts no comment, a line that begins with a
// blank or a tab continues the previous value (joined with one blank), a later duplicate key
// wins, and an unknown key is kept and ignored. "\r\n" counts as two line breaks.
struct FrontMatter
{
    QHash<QString, QString> fields; // values trimmed of blanks and tabs; keys exact, with case
    QString body;                   // line breaks trimmed at both ends, blanks kept
    QStringList keys;               // in the order they first appear, so a rewrite keeps it

    std::optional<QString> value(const QString &key) const
    {
        const auto it = fields.constFind(key);
        return it == fields.cend() ? std::nullopt : std::optional(*it);
    }
};

namespace frontmatter {

// Without a header (no "---" first line, a blank line before it, no closing line), the fields are
// empty and the body is the content as it stands.
FrontMatter parse(const QString &content);

// "a, b" or "[a, b]": pieces trimmed, empty ones dropped, quotes kept. None gives an empty list.
QStringList list(const std::optional<QString> &value);
// A skill's "allowed-tools": like list(), but a comma inside round brackets does not split,
// so "[Bash(git add:*, git status:*), Read]" is two entries. A leading "[" and a trailing "]"
// are dropped each on its own.
QStringList allowedTools(const std::optional<QString> &value);
// "true", "yes", "1" and "false", "no", "0", in any case; anything else, or none, gives none.
std::optional<bool> boolean(const std::optional<QString> &value);

} // namespace frontmatter
} // namespace corvane
