#pragma once

#include "agent/AgentStreamDelegate.h"
#include "agent/Attachment.h"
#include "agent/claude/ClaudeStreamDecoder.h"
#include "agent/runtime/ToolLocator.h"
#include "core/process/ChildProcess.h"
#include "core/records/Profile.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>

namespace corvane {

// The claude client: one long-lived `claude` process per chat, serving many turns, one JSON line
// per turn. It frames and decodes the output, watches for stalls, and turns the process's end
// into the right event: nothing for a user's stop, the tool's own words for a failure.
class ClaudeSDKService : public QObject
{
    Q_OBJECT

public:
    struct Timing
    {
        int stallCheckMs = 30000;
        int silenceStallMs = 120000;
        int keepAliveOnlyStallMs = 180000;
        int terminateGraceMs = 3000;
        int interruptFallbackMs = 5000; // the interrupt request went unanswered: signal the process
    };

    explicit ClaudeSDKService(ToolLocation tool, QObject *parent = nullptr);
    ~ClaudeSDKService() override;

    void setDelegate(AgentStreamDelegate *delegate) { m_delegate = delegate; }
    void setTiming(const Timing &timing) { m_timing = timing; }
    // Extra variables for the child, on top of ours and the profile's (tests point claude at a
    // local model service this way).
    void setExtraEnvironment(const QProcessEnvironment &extra) { m_extraEnvironment = extra; }
    void setResumeFallback(std::function<std::optional<QString>()> replay) { m_replay = std::move(replay); }

    PermissionMode permissionMode() const { return m_permissionMode; }
    // Also tells a running process, so a switch to asking holds from its next tool use.
    void setPermissionMode(PermissionMode mode);
    bool isLaunched() const { return m_isLaunched; }
    QString sessionId() const { return m_sessionId; }
    QStringList lastArguments() const { return m_lastArguments; }
    qint64 processId() const { return m_process ? m_process->processId() : 0; }

    void launch(const QString &workingDirectory, const QString &model, const QString &sessionId, const Profile *profile);
    void send(const QString &text, const QList<Attachment> &attachments);
    void respondToPermission(const QString &requestId, bool allow, const std::optional<QVariantMap> &updatedInput,
                             const std::optional<QString> &message);
    void interrupt();
    void terminate();
    void forceTerminate();

    // The argument vector for a launch.
    static QStringList arguments(PermissionMode mode, const QString &model, const QString &sessionId);

private:
    void onLine(const QByteArray &line);
    void dispatch(const ClaudeEvent &event);
    void onResult(const ClaudeEvent &event);
    void onExit(int exitCode, ChildProcess::ExitKind kind, int signal);
    void onFailedToStart(const Error &error);
    void writeLine(const QByteArray &line);
    void beginTurn();
    void checkStall();
    void fail(int code, const QString &description);
    void detachProcess();
    bool fallBackFromLostSession();

    ToolLocation m_tool;
    QPointer<QObject> m_delegateGuard;
    AgentStreamDelegate *m_delegate = nullptr;
    PermissionMode m_permissionMode = PermissionMode::ask;
    Timing m_timing;
    QProcessEnvironment m_extraEnvironment;
    std::function<std::optional<QString>()> m_replay;

    std::unique_ptr<ChildProcess> m_process;
    QString m_workingDirectory;
    QString m_model;
    QString m_sessionId;
    std::optional<Profile> m_profile;
    QStringList m_lastArguments;
    bool m_isLaunched = false;

    ClaudeStreamDecoder m_decoder;
    QElapsedTimer m_sinceActivity;
    QElapsedTimer m_sinceContent;
    QTimer m_activityTimer;
    QTimer m_interruptFallback;
    bool m_turnInProgress = false;
    bool m_didReceiveResult = false;
    bool m_stallNotified = false;
    bool m_userStopped = false;
    bool m_failureReported = false;
    bool m_resumedThisProcess = false;
    bool m_sessionLost = false;
    bool m_initSeenThisProcess = false;
    QJsonArray m_pendingTurn;
    int m_controlCounter = 0;
};

} // namespace corvane
