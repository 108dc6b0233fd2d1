#pragma once

#include "agent/Attachment.h"
#include "agent/codex/CodexEvent.h"
#include "agent/codex/CodexTurn.h"
#include "agent/runtime/AgentProcessClient.h"

#include <QElapsedTimer>
#include <QTemporaryDir>

#include <memory>
#include <optional>

namespace corvane {

// The codex client: one `codex exec --json` process per turn, the prompt on its command line,
// later turns resuming the thread the first one started. codex asks for no permissions, so
// nothing is ever written to it; its standard input is closed at once.
class CodexSDKService : public AgentProcessClient
{
    Q_OBJECT

public:
    explicit CodexSDKService(ToolLocation tool, QObject *parent = nullptr);
    ~CodexSDKService() override;

    AgentType agentType() const override { return AgentType::codex; }
    void setPermissionMode(PermissionMode mode) override { m_permissionMode = mode; }
    bool isTurnRunning() const { return m_process && m_process->isRunning(); }

    // Remembers where and how to run; no process starts until send(). Launched from here until
    // forceTerminate(); the end of a turn does not change that.
    void launch(const QString &workingDirectory, const QString &model, const QString &sessionId,
                const Profile *profile) override;
    void send(const QString &text, const QList<Attachment> &attachments) override;
    // codex asks for nothing, so there is never a request to answer.
    void respondToPermission(const QString &, bool, const std::optional<QVariantMap> &,
                             const std::optional<QString> &) override
    {
    }
    void interrupt() override;
    void forceTerminate() override;

private:
    // What one turn's process has shown so far; each process starts from a fresh value.
    struct Turn
    {
        bool receivedCompletion = false;
        bool userStopped = false;
        bool resuming = false;   // started with "exec resume"
        bool threadSeen = false; // codex announced the thread
        bool textOpen = false;   // the last event was assistant text
    };
    struct QueuedTurn
    {
        QString text;
        QList<Attachment> attachments;
    };

    void startTurn();
    void announceReady();
    bool fallBackFromLostThread(int exitCode, const QString &stderrText);
    void onLine(const QByteArray &line) override;
    void onExit(int exitCode, ChildProcess::ExitKind kind, int signal) override;
    void dispatch(const CodexEvent &event);
    void completeTurn(const std::optional<QVariantMap> &usage);

    codexturn::Input m_turnInput;
    std::optional<QueuedTurn> m_queuedTurn; // sent after the turn ended, before codex exited
    std::unique_ptr<QTemporaryDir> m_scratch;
    QElapsedTimer m_turnStart;
    Turn m_turn;
    bool m_didEmitInitForCurrentSession = false;
};

} // namespace corvane
