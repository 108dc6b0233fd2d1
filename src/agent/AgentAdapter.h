#pragma once

#include "agent/AgentTypes.h"
#include "agent/Attachment.h"

#include <QList>
#include <QString>

#include <functional>
#include <optional>

namespace corvane {

class AgentStreamDelegate;
struct Profile;

// What a chat session holds of its agent: one contract over the claude and codex clients.
class AgentAdapter
{
public:
    virtual ~AgentAdapter() = default;

    virtual void setDelegate(AgentStreamDelegate *delegate) = 0;
    virtual AgentType agentType() const = 0;
    virtual bool isLaunched() const = 0;
    virtual PermissionMode permissionMode() const = 0;
    virtual void setPermissionMode(PermissionMode mode) = 0;

    // Starts the agent in `workingDirectory`. `model` is a model's command-line name or empty;
    // `sessionId` the session to resume or empty. The profile is copied.
    virtual void launch(const QString &workingDirectory, const QString &model, const QString &sessionId,
                        const Profile *profile) = 0;
    virtual void send(const QString &text, const QList<Attachment> &attachments) = 0;
    virtual void respondToPermission(const QString &requestId, bool allow,
                                     const std::optional<QVariantMap> &updatedInput,
                                     const std::optional<QString> &message) = 0;
    virtual void interrupt() = 0;
    virtual void terminate() = 0;
    virtual void forceTerminate() = 0;

    // When a stored session can no longer be resumed, the client starts a new one and replays
    // the recent conversation into it. The session supplies that text (absent: nothing to replay).
    virtual void setResumeFallback(std::function<std::optional<QString>()> replay) { Q_UNUSED(replay); }
};

} // namespace corvane
