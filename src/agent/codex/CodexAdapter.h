#pragma once

#include "agent/AgentAdapter.h"
#include "agent/codex/CodexSDKService.h"

namespace corvane {

// The agent contract over the codex client. codex asks for no permissions, so there is never a
// request to answer.
class CodexAdapter : public AgentAdapter
{
public:
    explicit CodexAdapter(ToolLocation tool) : m_service(std::move(tool)) {}

    CodexSDKService &service() { return m_service; }

    void setDelegate(AgentStreamDelegate *delegate) override
    {
        AgentAdapter::setDelegate(delegate);
        m_service.setDelegate(delegate);
    }
    AgentType agentType() const override { return AgentType::codex; }
    bool isLaunched() const override { return m_service.isLaunched(); }
    PermissionMode permissionMode() const override { return m_service.permissionMode(); }
    void setPermissionMode(PermissionMode mode) override { m_service.setPermissionMode(mode); }
    void launch(const QString &workingDirectory, const QString &model, const QString &sessionId,
                const Profile *profile) override
    {
        m_service.launch(workingDirectory, model, sessionId, profile);
    }
    void send(const QString &text, const QList<Attachment> &attachments) override { m_service.send(text, attachments); }
    void respondToPermission(const QString &, bool, const std::optional<QVariantMap> &,
                             const std::optional<QString> &) override
    {
    }
    void interrupt() override { m_service.interrupt(); }
    void terminate() override { m_service.terminate(); }
    void forceTerminate() override { m_service.forceTerminate(); }
    void setResumeFallback(std::function<std::optional<QString>()> replay) override
    {
        m_service.setResumeFallback(std::move(replay));
    }

private:
    CodexSDKService m_service;
};

} // namespace corvane
