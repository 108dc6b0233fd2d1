#pragma once

#include "core/Broadcasts.h"

// The broadcasts the sidebar posts and observes, named in core/Broadcasts.h.
namespace corvane::workspaceNotification {

using broadcast::chatActivityStateDidChange;
using broadcast::chatArchiveStateDidChange;
using broadcast::chatSessionDidChange;
using broadcast::profilesDidChange;
using broadcast::workspaceDidRename;

inline const QString chatIdKey = QStringLiteral("chatId");
inline const QString stateKey = QStringLiteral("state");
inline const QString hasSessionKey = QStringLiteral("hasSession");
inline const QString workspaceIdKey = QStringLiteral("workspaceId");

} // namespace corvane::workspaceNotification
