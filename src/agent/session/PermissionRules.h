#pragma once

#include "core/records/Enums.h"

#include <QString>
#include <QVariantMap>

#include <optional>

namespace corvane {

struct AgentPermissionRequest;

namespace permissionrules {

// Tools that "Auto Accept Edits" lets through.
bool isAutoAcceptTool(const QString &toolName);

// A request that touches a folder we never let an agent change unasked (.git, .claude, .vscode,
// .idea), even when every other tool use is approved.
bool touchesProtectedPath(const QString &toolName, const QVariantMap &input);

// The label of the mode that approves this request by itself ("Bypass Permissions", "Auto Accept
// Edits"), or nothing when the user must answer.
std::optional<QString> autoApprovalLabel(PermissionMode mode, const QString &toolName, const QVariantMap &input);

QString modeLabel(PermissionMode mode);

// The one-line text of a permission row, and the heading of its card.
QString requestSummary(const AgentPermissionRequest &request);
QString requestHeading(const QString &toolName);

} // namespace permissionrules
} // namespace corvane
