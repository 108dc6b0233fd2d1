#pragma once

#include "agent/AgentTypes.h"

#include <QString>
#include <QUuid>

namespace corvane {

// What an attached view hears from its chat session. Calls arrive on the main thread, always
// from the event loop (never from inside an agent event), so a handler may call back into the
// session freely.
class ChatSessionUIHandler
{
public:
    virtual ~ChatSessionUIHandler() = default;

    virtual void sessionMessagesChanged() {}
    // One row changed in place (streamed text, a finished tool): redraw just that row.
    virtual void sessionMessageChanged(const QUuid &messageId) { Q_UNUSED(messageId); }
    virtual void sessionReady() {}
    virtual void sessionNeedsAnswer() {}
    virtual void sessionInitialized(const AgentSessionInfo &info) { Q_UNUSED(info); }
    virtual void sessionFailed(const QString &description) { Q_UNUSED(description); }
    virtual void sessionInputStatusChanged(const QString &status, bool waiting) { Q_UNUSED(status); Q_UNUSED(waiting); }
};

} // namespace corvane
