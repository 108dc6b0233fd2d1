#include "agent/session/PermissionRules.h"

#include "agent/AgentPermissionRequest.h"

#include <QRegularExpression>
#include <QStringList>

namespace corvane::permissionrules {

namespace {

const QStringList &protectedFolders()
{
    static const QStringList names{".git", ".claude", ".vscode", ".idea"};
    return names;
}

} // namespace

bool isAutoAcceptTool(const QString &toolName)
{
    static const QStringList tools{"Edit", "Write", "Read", "Glob", "Grep", "NotebookEdit"};
    return tools.contains(toolName);
}

bool touchesProtectedPath(const QString &toolName, const QVariantMap &input)
{
    static const QStringList guarded{"Edit", "Write", "NotebookEdit", "Bash"};
    if (!guarded.contains(toolName))
        return false;
    const QVariant path = input.value(QStringLiteral("file_path"));
    if (path.typeId() == QMetaType::QString) {
        const QStringList components = path.toString().split(QLatin1Char('/'));
        for (const QString &name : protectedFolders())
            if (components.contains(name))
                return true;
        return false;
    }
    const QVariant command = input.value(QStringLiteral("command"));
    if (toolName != QLatin1String("Bash") || command.typeId() != QMetaType::QString)
        return false;
    // Word by word, so "rm -rf .git/hooks" is caught as well as "cat /x/.idea/y"; quotes around
    // a path do not hide it.
    static const QRegularExpression separators(QStringLiteral("[\\s;&|()<>]+"));
    const QStringList words = command.toString().split(separators, Qt::SkipEmptyParts);
    for (QString word : words) {
        word.remove(QLatin1Char('"'));
        word.remove(QLatin1Char('\''));
        for (const QString &name : protectedFolders()) {
            if (word == name || word.startsWith(name + QLatin1Char('/')) || word.contains(QLatin1Char('/') + name + QLatin1Char('/'))
                || word.endsWith(QLatin1Char('/') + name))
                return true;
        }
    }
    return false;
}

std::optional<QString> autoApprovalLabel(PermissionMode mode, const QString &toolName, const QVariantMap &input)
{
    switch (mode) {
    case PermissionMode::acceptAll:
        if (touchesProtectedPath(toolName, input))
            return std::nullopt;
        return modeLabel(mode);
    case PermissionMode::acceptEdits:
        if (isAutoAcceptTool(toolName))
            return modeLabel(mode);
        return std::nullopt;
    case PermissionMode::ask: break;
    }
    return std::nullopt;
}

QString modeLabel(PermissionMode mode)
{
    switch (mode) {
    case PermissionMode::acceptEdits: return QStringLiteral("Auto Accept Edits");
    case PermissionMode::acceptAll: return QStringLiteral("Bypass Permissions");
    case PermissionMode::ask: break;
    }
    return QStringLiteral("Ask");
}

QString requestSummary(const AgentPermissionRequest &request)
{
    static const QList<std::pair<QString, std::pair<QString, QString>>> texts{
        {"Bash", {"Run command: ", "command"}},   {"Read", {"Read file: ", "file_path"}},
        {"Write", {"Write to file: ", "file_path"}}, {"Edit", {"Edit file: ", "file_path"}},
        {"Glob", {"Search for files: ", "pattern"}}, {"Grep", {"Search in files: ", "pattern"}},
        {"WebFetch", {"Fetch URL: ", "url"}},       {"WebSearch", {"Web search: ", "query"}},
    };
    for (const auto &[tool, text] : texts)
        if (tool == request.toolName)
            return text.first + request.toolInput.value(text.second).toString();
    return request.description.value_or(QString());
}

QString requestHeading(const QString &toolName)
{
    static const QList<std::pair<QString, QString>> headings{
        {"Bash", "Claude wants to run a command:"},       {"Write", "Claude wants to create a file:"},
        {"Edit", "Claude wants to edit a file:"},         {"WebFetch", "Claude wants to fetch a URL:"},
        {"WebSearch", "Claude wants to search the web:"}, {"NotebookEdit", "Claude wants to edit a notebook:"},
    };
    for (const auto &[tool, heading] : headings)
        if (tool == toolName)
            return heading;
    return QStringLiteral("Claude wants to use ") + toolName;
}

} // namespace corvane::permissionrules
