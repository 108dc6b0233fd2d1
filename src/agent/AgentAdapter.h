#pragma once

#include "agent/AgentTypes.h"
#include "agent/Attachment.h"

#include <QList>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <optional>

namespace corvane {

class AgentStreamDelegate;
struct Profile;

// What a chat session holds of its agent: one contract over the claude and codex clients, which
// translate their own traffic into the events of AgentStreamDelegate.
class AgentAdapter
{
public:
    virtual ~AgentAdapter() = default;

    // The receiver of events; not owned, and cleared by the session before it goes away.
    virtual AgentStreamDelegate *delegate() const { return m_delegate; }
    virtual void setDelegate(AgentStreamDelegate *delegate) { m_delegate = delegate; }

    virtual AgentType agentType() const = 0;
    // The client's own flag: true from a successful spawn until exit or forceTerminate().
    virtual bool isLaunched() const = 0;
    virtual PermissionMode permissionMode() const = 0;
    virtual void setPermissionMode(PermissionMode mode) = 0;

    // Starts the agent in `workingDirectory`. `model` is a model's command-line name or empty;
    // `sessionId` the session to resume or empty. The profile is copied.
    virtual void launch(const QString &workingDirectory, const QString &model, const QString &sessionId,
                        const Profile *profile) = 0;
    // One user turn.
    virtual void send(const QString &text, const QList<Attachment> &attachments) = 0;
    // Answers a permission request. Without `updatedInput` the tool runs with the input it asked
    // for; without `message` a denial says "User denied".
    virtual void respondToPermission(const QString &requestId, bool allow,
                                     const std::optional<QVariantMap> &updatedInput,
                                     const std::optional<QString> &message) = 0;
    // Stops the current turn.
    virtual void interrupt() = 0;
    // The chat is done with its agent (closed, archived, the application quits): input closed,
    // the process left to end by itself and save what it keeps, bounded by signals. Nothing more
    // reaches the delegate.
    virtual void terminate() = 0;
    // Immediate end of whatever runs (a forced stop, a reset); the client can be launched again.
    virtual void forceTerminate() = 0;

    // When a stored session can no longer be resumed, the client starts a new one and replays
    // the recent conversation into it. The session supplies that text (absent: nothing to replay).
    virtual void setResumeFallback(std::function<std::optional<QString>()> replay) { Q_UNUSED(replay); }

protected:
    AgentStreamDelegate *m_delegate = nullptr;
};

} // namespace corvane
