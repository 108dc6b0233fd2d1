#pragma once

#include "agent/Attachment.h"
#include "agent/claude/ClaudeStreamDecoder.h"
#include "agent/runtime/AgentProcessClient.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QTimer>

namespace corvane {

// The claude client: one long-lived `claude` process per chat, serving many turns, one JSON line
// per turn. It frames and decodes the output, watches for stalls, and turns the process's end
// into the right event: nothing for a user's stop, the tool's own words for a failure.
class ClaudeSDKService : public AgentProcessClient
{
    Q_OBJECT

public:
    struct Timing
    {
        int stallCheckMs = 30000;
        int silenceStallMs = 120000;
        int keepAliveOnlyStallMs = 180000;
        int interruptFallbackMs = 5000; // the interrupt request went unanswered: signal the process
    };

    explicit ClaudeSDKService(ToolLocation tool, QObject *parent = nullptr);

    void setTiming(const Timing &timing) { m_timing = timing; }

    AgentType agentType() const override { return AgentType::claudeCode; }
    // Also tells a running process, so a switch to asking holds from its next tool use.
    void setPermissionMode(PermissionMode mode) override;
    void launch(const QString &workingDirectory, const QString &model, const QString &sessionId,
                const Profile *profile) override;
    void send(const QString &text, const QList<Attachment> &attachments) override;
    void respondToPermission(const QString &requestId, bool allow, const std::optional<QVariantMap> &updatedInput,
                             const std::optional<QString> &message) override;
    void interrupt() override;
    void forceTerminate() override;

    // The argument vector for a launch.
    static QStringList arguments(PermissionMode mode, const QString &model, const QString &sessionId);

private:
    // What one turn has seen so far; a new turn starts from a fresh value.
    struct Turn
    {
        bool receivedResult = false;
        bool stallNotified = false;
        bool userStopped = false;
        bool failureReported = false;
    };
    // What one process has seen so far; a launch starts from a fresh value.
    struct Run
    {
        bool resumed = false;    // started with --resume
        bool initSeen = false;   // claude accepted the session and said so
        bool sessionLost = false; // claude refused the stored session
    };

    void onLine(const QByteArray &line) override;
    void onExit(int exitCode, ChildProcess::ExitKind kind, int signal) override;
    void onFailedToStart(const Error &error) override;
    void onStarted() override;
    void dispatch(const ClaudeEvent &event);
    void onResult(const ClaudeEvent &event);
    void writeLine(const QByteArray &line);
    void beginTurn();
    void endTurn();
    void checkStall();
    void failTurn(int code, const QString &description);
    bool fallBackFromLostSession();
    bool inTurn() const { return state() == State::InTurn; }

    Timing m_timing;
    ClaudeStreamDecoder m_decoder;
    QElapsedTimer m_sinceActivity;
    QElapsedTimer m_sinceContent;
    QTimer m_activityTimer;
    QTimer m_interruptFallback;
    Turn m_turn;
    Run m_run;
    QJsonArray m_pendingTurn;
    int m_controlCounter = 0;
};

} // namespace corvane
