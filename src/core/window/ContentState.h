#pragma once

#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// What the content column of a main window shows: one thing at a time. Records are named by id
// and looked up when drawn, so a state never holds a record that was deleted meanwhile.
struct ContentState
{
    enum class Kind { projectInfo, chat, workspace, tool, empty };

    Kind kind = Kind::empty;
    QUuid id;       // the project, chat or workspace
    QString toolId; // for `tool`

    static ContentState projectInfo(const QUuid &projectId) { return {Kind::projectInfo, projectId, {}}; }
    static ContentState chat(const QUuid &chatId) { return {Kind::chat, chatId, {}}; }
    static ContentState workspace(const QUuid &workspaceId) { return {Kind::workspace, workspaceId, {}}; }
    static ContentState tool(const QString &id) { return {Kind::tool, {}, id}; }
    static ContentState empty() { return {}; }

    bool isEmpty() const { return kind == Kind::empty; }
    // The states in which chat commands (stop, focus input, terminal, close) apply.
    bool showsChat() const { return kind == Kind::chat || kind == Kind::workspace; }

    // One line for the preferences: "workspace:<uuid>", "tool:pulse", "empty".
    QString toText() const;
    // Nothing for text that is not one of those forms.
    static std::optional<ContentState> fromText(const QString &text);

    friend bool operator==(const ContentState &, const ContentState &) = default;
};

QString kindName(ContentState::Kind kind);

} // namespace corvane
