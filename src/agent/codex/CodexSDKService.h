#pragma once

#include "agent/AgentStreamDelegate.h"
#include "agent/Attachment.h"
#include "agent/codex/CodexEvent.h"
#include "agent/codex/CodexTurn.h"
#include "agent/runtime/ToolLocator.h"
#include "core/process/ChildProcess.h"
#include "core/records/Profile.h"

#include <QElapsedTimer>
#include <QObject>
#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <functional>
#include <memory>
#include <optional>

namespace corvane {

// The codex client: one `codex exec --json` process per turn, the prompt on its command line,
// later turns resuming the thread the first one started. codex asks for no permissions, so
// nothing is ever written to it; its standard input is closed at once.
class CodexSDKService : public QObject
{
    Q_OBJECT

public:
    explicit CodexSDKService(ToolLocation tool, QObject *parent = nullptr);
    ~CodexSDKService() override;

    void setDelegate(AgentStreamDelegate *delegate) { m_delegate = delegate; }
    // Extra variables for the child, on top of ours and the profile's (tests point codex at a
    // local model service this way).
    void setExtraEnvironment(const QProcessEnvironment &extra) { m_extraEnvironment = extra; }
    // When the stored thread is gone (another CODEX_HOME, deleted sessions), the turn runs in a
    // new thread with the recent conversation, as the session supplies it, ahead of the prompt.
    void setResumeFallback(std::function<std::optional<QString>()> replay) { m_replay = std::move(replay); }

    PermissionMode permissionMode() const { return m_permissionMode; }
    void setPermissionMode(PermissionMode mode) { m_permissionMode = mode; }
    // True from launch() until forceTerminate(); the end of a turn does not clear it.
    bool isLaunched() const { return m_isLaunched; }
    bool isTurnRunning() const { return m_process && m_process->isRunning(); }
    QString sessionId() const { return m_sessionId; }
    QStringList lastArguments() const { return m_lastArguments; }
    qint64 processId() const { return m_process ? m_process->processId() : 0; }

    // Remembers where and how to run; no process starts until send().
    void launch(const QString &workingDirectory, const QString &model, const QString &sessionId, const Profile *profile);
    void send(const QString &text, const QList<Attachment> &attachments);
    void interrupt();
    void terminate();
    void forceTerminate();

private:
    void startTurn();
    void announceReady();
    bool fallBackFromLostThread(int exitCode, const QString &stderrText);
    void onLine(const QByteArray &line);
    void dispatch(const CodexEvent &event);
    void onExit(int exitCode, ChildProcess::ExitKind kind, int signal);
    void onFailedToStart(const Error &error);
    void completeTurn(const std::optional<QVariantMap> &usage);
    void fail(int code, const QString &description);
    void detachProcess();

    struct QueuedTurn
    {
        QString text;
        QList<Attachment> attachments;
    };

    ToolLocation m_tool;
    AgentStreamDelegate *m_delegate = nullptr;
    PermissionMode m_permissionMode = PermissionMode::ask;
    QProcessEnvironment m_extraEnvironment;
    std::function<std::optional<QString>()> m_replay;

    std::unique_ptr<ChildProcess> m_process;
    std::optional<QString> m_workingDirectory;
    QString m_model;
    QString m_sessionId;
    std::optional<Profile> m_profile;
    QStringList m_lastArguments;
    codexturn::Input m_turnInput;
    std::optional<QueuedTurn> m_queuedTurn; // sent after the turn ended, before codex exited
    std::unique_ptr<QTemporaryDir> m_scratch;
    bool m_isLaunched = false;

    QElapsedTimer m_turnStart;
    bool m_didEmitInitForCurrentSession = false;
    bool m_didReceiveTurnCompleted = false;
    bool m_userStopped = false;
    bool m_resumingThisTurn = false;
    bool m_threadSeenThisTurn = false;
    bool m_textOpen = false; // the last event of the turn was assistant text
};

} // namespace corvane
