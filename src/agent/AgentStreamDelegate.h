#pragma once

#include "agent/AgentTypes.h"

#include <QList>
#include <QString>
#include <QVariantMap>

#include <optional>

namespace corvane {

// The events of an agent's stream, delivered on the main thread, one at a time, in stream order
// and never from inside the decoder's own call. Events of subagents arrive exactly like top-level
// ones: the stream is flat.
class AgentStreamDelegate
{
public:
    virtual ~AgentStreamDelegate() = default;

    // The agent reported its session.
    virtual void didInitialize(const AgentSessionInfo &info) = 0;
    // A spawn succeeded, or the process has exited.
    virtual void agentDidBecomeReady() = 0;
    virtual void didChangeStatus(const std::optional<QString> &status) = 0;
    // A turn was written, or the first thinking block of a turn arrived.
    virtual void didStartThinking() = 0;
    // New assistant text, as a delta.
    virtual void didReceiveText(const QString &text) = 0;
    virtual void didStartTool(const QString &name, const QString &toolUseId, const QVariantMap &input) = 0;
    virtual void didReceiveToolResult(const QString &toolUseId, const QString &output) = 0;
    // A long tool is still running.
    virtual void didReportToolProgress(const QString &toolName, double elapsedSeconds) = 0;
    // The turn ended without error.
    virtual void didComplete(const AgentResult &result) = 0;
    virtual void didFail(const AgentError &error) = 0;
    // Nothing (or nothing but keep-alives) arrived for this many seconds; the turn goes on.
    virtual void didStall(double seconds) = 0;
    virtual void didRequestPermission(const AgentPermissionRequest &request) = 0;
    // The agent withdrew a request (the turn was interrupted while it waited).
    virtual void didCancelPermissionRequest(const QString &requestId) = 0;
    virtual void didAskUserQuestion(const QList<AgentQuestion> &questions, const QString &requestId,
                                    const QVariantMap &toolInput) = 0;
};

} // namespace corvane
