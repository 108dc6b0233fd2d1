#pragma once

#include "agent/AgentTypes.h"

namespace corvane {

// The events of an agent's stream, delivered on the main thread, one at a time, in stream order.
// Events of subagents arrive exactly like top-level ones.
class AgentStreamDelegate
{
public:
    virtual ~AgentStreamDelegate() = default;

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
    virtual void didReportToolProgress(const QString &toolName, double elapsedSeconds) = 0;
    virtual void didComplete(const AgentResult &result) = 0;
    virtual void didFail(const AgentError &error) = 0;
    virtual void didStall(double seconds) = 0;
    virtual void didRequestPermission(const AgentPermissionRequest &request) = 0;
    virtual void didCancelPermissionRequest(const QString &requestId) = 0;
    virtual void didAskUserQuestion(const QList<AgentQuestion> &questions, const QString &requestId,
                                    const QVariantMap &toolInput) = 0;
};

} // namespace corvane
