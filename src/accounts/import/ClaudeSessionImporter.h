#pragma once

#include "accounts/import/ImportableSession.h"
#include "core/Result.h"
#include "core/records/Message.h"

#include <QByteArrayView>
#include <QJsonObject>
#include <QList>
#include <QStringList>

namespace corvane {

// What the head of a claude session log tells: the pure half of the list's scan.
struct ClaudeHeader
{
    QString firstPrompt; // empty: the head holds no user text, and the log is not listed
    int messageCount = 0;
    std::optional<QDateTime> started;
    std::optional<QString> model;
    std::optional<QString> cwd; // the first folder a record names
};

namespace claudelog {

// claude cuts a folder name longer than this and adds a hash of the path after a "-".
inline constexpr int folderNameLimit = 200;

// The folder claude keeps a project's sessions in. claude 2.1 turns every character that is not
// an ASCII letter or digit (each UTF-16 unit) into "-", so "/a/b.c" is kept under "-a-b-c".
QString projectFolderName(const QString &projectPath);
// The older naming, where only "/" was replaced ("/a/b.c" under "-a-b.c"); still looked at, so
// logs written that way are found too.
QString slashOnlyFolderName(const QString &projectPath);

// The text a person typed in a "user" record: its own "content" string, else the text blocks of
// "message"."content" joined with "\n", else that "content" when it is a plain string (how claude
// writes a typed prompt). Tool results, notes claude adds itself (isMeta) and slash-command
// echoes are no user text.
std::optional<QString> userText(const QJsonObject &record);

ClaudeHeader scanHeader(QByteArrayView text);
// The messages of a whole log, in order, stamped with the time of the import (`now`).
QList<Message> parseLog(QByteArrayView text, const QDateTime &now);

} // namespace claudelog

// Finds and reads the logs claude wrote for one project folder under any of its roots (each a
// "projects" folder of a claude configuration).
class ClaudeSessionImporter
{
public:
    explicit ClaudeSessionImporter(QStringList claudeDirs) : m_claudeDirs(std::move(claudeDirs)) {}

    static constexpr AgentType agentType = AgentType::claudeCode;
    const QStringList &claudeDirs() const { return m_claudeDirs; }

    // Newest first; a missing folder gives an empty list.
    QList<ImportableSession> discoverSessions(const QString &projectPath) const;
    // The header scan of one file; nothing when it holds no importable session, or, with
    // `checkCwd`, when its records name another folder than `projectPath`.
    static std::optional<ImportableSession> scanFile(const QString &path, const QString &projectPath, bool checkCwd = false);
    static Result<QList<Message>> parseMessages(const ImportableSession &session);

private:
    // The folders of `root` that may hold the project's logs, and whether their logs must name
    // the project's folder to count (a cut name is shared by every path with its first 200
    // characters).
    static QList<std::pair<QString, bool>> foldersIn(const QString &root, const QString &projectPath);

    QStringList m_claudeDirs;
};

} // namespace corvane
