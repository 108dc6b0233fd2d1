#pragma once

#include <QString>

// Names and payload keys of the broadcasts the sidebar posts and observes.
namespace corvane::workspaceNotification {

// {"chatId", "state"}: a live session's activity changed.
inline const QString chatActivityStateDidChange = QStringLiteral("chatActivityStateDidChange");
// {"chatId", "hasSession"}: a session was created or closed.
inline const QString chatSessionDidChange = QStringLiteral("chatSessionDidChange");
// No payload: a chat or workspace was archived or restored.
inline const QString chatArchiveStateDidChange = QStringLiteral("chatArchiveStateDidChange");
// {"workspaceId"}: a workspace got a new name.
inline const QString workspaceDidRename = QStringLiteral("workspaceDidRename");
inline const QString profilesDidChange = QStringLiteral("profilesDidChange");

inline const QString chatIdKey = QStringLiteral("chatId");
inline const QString stateKey = QStringLiteral("state");
inline const QString hasSessionKey = QStringLiteral("hasSession");
inline const QString workspaceIdKey = QStringLiteral("workspaceId");

} // namespace corvane::workspaceNotification
