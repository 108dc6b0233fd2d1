#pragma once

#include "agent/AgentAdapter.h"
#include "agent/AgentStreamDelegate.h"
#include "agent/runtime/ToolLocator.h"
#include "core/process/ChildProcess.h"
#include "core/records/Profile.h"

#include <QObject>
#include <QProcessEnvironment>

#include <functional>
#include <memory>
#include <optional>

namespace corvane {

// What the claude and codex clients share: the tool and where it runs, the receiver of events,
// one child process at a time with its start and its release, and the report of a failure. A
// client is the chat's AgentAdapter itself; the subclasses add their tool's protocol.
//
// Releasing a process never kills it outright: it goes to the ProcessReaper, which closes its
// input and lets it end by itself (claude writes its session only when it exits), with SIGTERM
// and SIGKILL as the bound.
class AgentProcessClient : public QObject, public AgentAdapter
{
    Q_OBJECT

public:
    // NotLaunched: nowhere to run yet (or the process is gone). Ready: between turns. InTurn: a
    // turn has been sent and not yet answered.
    enum class State { NotLaunched, Ready, InTurn };
    Q_ENUM(State)

    ~AgentProcessClient() override;

    State state() const { return m_state; }
    bool isLaunched() const override { return m_state != State::NotLaunched; }
    PermissionMode permissionMode() const override { return m_permissionMode; }

    // Extra variables for the child, on top of ours and the profile's (tests point the tools at a
    // local model service this way).
    void setExtraEnvironment(const QProcessEnvironment &extra) { m_extraEnvironment = extra; }
    void setResumeFallback(std::function<std::optional<QString>()> replay) override { m_replay = std::move(replay); }

    QString sessionId() const { return m_sessionId; }
    QStringList lastArguments() const { return m_lastArguments; }
    qint64 processId() const { return m_process ? m_process->processId() : 0; }

    // The agent is done with: its process ends by itself, bounded (see ProcessReaper). No event
    // reaches the delegate afterwards.
    void terminate() override;

protected:
    AgentProcessClient(ToolLocation tool, const char *logTag, QObject *parent = nullptr);

    void setState(State state) { m_state = state; }
    // Remembers where and how the agent runs.
    void setPlace(const QString &workingDirectory, const QString &model, const QString &sessionId,
                  const Profile *profile);
    const Profile *profile() const { return m_profile ? &*m_profile : nullptr; }

    // Starts the tool with `arguments` in the working directory, with `environment` plus the
    // extra variables; output, exit and launch failure arrive at the virtual handlers below.
    // False (after reporting the failure) when the tool is not installed.
    bool startProcess(const QStringList &arguments, QProcessEnvironment environment);
    // Hands the running process to the reaper; grace and kill delays as ProcessReaper::retire.
    void releaseProcess(int graceMs, int killMs);
    // Drops the wrapper of a process that has ended (from onExit/onFailedToStart).
    void dropEndedProcess();

    void fail(int code, const QString &description);
    const char *tag() const { return m_tag; }

    virtual void onLine(const QByteArray &line) = 0;
    virtual void onExit(int exitCode, ChildProcess::ExitKind kind, int signal) = 0;
    // Default: logged and reported to the delegate.
    virtual void onFailedToStart(const Error &error);
    virtual void onStarted() {}

    ToolLocation m_tool;
    PermissionMode m_permissionMode = PermissionMode::ask;
    QProcessEnvironment m_extraEnvironment;
    std::function<std::optional<QString>()> m_replay;
    std::unique_ptr<ChildProcess> m_process;
    QString m_workingDirectory;
    QString m_model;
    QString m_sessionId;
    QStringList m_lastArguments;

private:
    const char *m_tag;
    State m_state = State::NotLaunched;
    std::optional<Profile> m_profile;
};

} // namespace corvane
