#include "agent/claude/ClaudeSDKService.h"

#include "agent/claude/ClaudeProtocol.h"
#include "agent/runtime/AgentEnvironment.h"
#include "core/Log.h"

#include <QJsonObject>

namespace corvane {

namespace {

const char *const Tag = "ClaudeSDK";

QString modeArgument(PermissionMode mode)
{
    switch (mode) {
    case PermissionMode::acceptEdits: return QStringLiteral("acceptEdits");
    // claude's own bypass mode never asks, so the folders we always guard (.git, .claude, ...)
    // could not be guarded: it runs in its asking mode and the session approves everything else.
    case PermissionMode::acceptAll: return QStringLiteral("default");
    case PermissionMode::ask: break;
    }
    return QStringLiteral("default");
}

bool meansSessionLost(const QString &text)
{
    return text.contains(QLatin1String("No conversation found"));
}

} // namespace

ClaudeSDKService::ClaudeSDKService(ToolLocation tool, QObject *parent)
    : AgentProcessClient(std::move(tool), Tag, parent)
{
    m_activityTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_activityTimer, &QTimer::timeout, this, &ClaudeSDKService::checkStall);
    m_interruptFallback.setSingleShot(true);
    connect(&m_interruptFallback, &QTimer::timeout, this, [this] {
        if (m_process && m_process->isRunning() && inTurn()) {
            logLine(Tag, QStringLiteral("Sent SIGINT (interrupt)"));
            m_process->interrupt();
        }
    });
}

QStringList ClaudeSDKService::arguments(PermissionMode mode, const QString &model, const QString &sessionId)
{
    QStringList args{"--output-format", "stream-json", "--input-format", "stream-json", "--verbose",
                     "--include-partial-messages", "--permission-prompt-tool", "stdio", "--permission-mode",
                     modeArgument(mode)};
    if (!model.isEmpty())
        args << QStringLiteral("--model") << model;
    if (!sessionId.isEmpty())
        args << QStringLiteral("--resume") << sessionId;
    return args;
}

void ClaudeSDKService::launch(const QString &workingDirectory, const QString &model, const QString &sessionId,
                              const Profile *profile)
{
    setPlace(workingDirectory, model, sessionId, profile);
    // A process still running here is being replaced (a relaunch): it need not save anything.
    releaseProcess(200, 2000);
    setState(State::NotLaunched);
    m_decoder = ClaudeStreamDecoder();
    m_run = Run{};
    m_run.resumed = !m_sessionId.isEmpty();

    if (!startProcess(arguments(m_permissionMode, m_model, m_sessionId),
                      claudeEnvironment(QProcessEnvironment::systemEnvironment(), this->profile()))) {
        m_activityTimer.stop();
        return;
    }
    // Counted as launched from here: a turn written now waits in the pipe until claude reads it.
    setState(State::Ready);
    const Profile *p = this->profile();
    logLine(Tag, QStringLiteral("Launched: %1 %2").arg(m_tool.program(), m_lastArguments.join(QLatin1Char(' '))));
    logLine(Tag, QStringLiteral("Profile: %1 | configDir: %2 | account: %3")
                     .arg(p ? p->name : QStringLiteral("Default"),
                          p && !p->isDefault ? p->configDirPath : QStringLiteral("~/.claude (inherited)"),
                          p ? p->accountEmail.value_or(QStringLiteral("unknown")) : QStringLiteral("unknown")));
}

void ClaudeSDKService::onStarted()
{
    if (m_delegate)
        m_delegate->agentDidBecomeReady();
}

void ClaudeSDKService::send(const QString &text, const QList<Attachment> &attachments)
{
    if (!m_process || !m_process->isRunning()) {
        logLine(Tag, QStringLiteral("Process not running, relaunching for new message"));
        const std::optional<Profile> place = profile() ? std::optional<Profile>(*profile()) : std::nullopt;
        launch(m_workingDirectory, m_model, m_sessionId, place ? &*place : nullptr);
        if (!isLaunched()) {
            endTurn(); // the launch has told the chat why
            return;
        }
    }
    if (!m_process || !isLaunched()) {
        failTurn(1, QStringLiteral("Process not launched"));
        return;
    }
    m_pendingTurn = claudeprotocol::contentBlocks(text, attachments);
    beginTurn();
    writeLine(claudeprotocol::userTurn(m_pendingTurn, m_sessionId));
    if (m_delegate)
        m_delegate->didStartThinking();
}

void ClaudeSDKService::beginTurn()
{
    m_decoder.resetTurn();
    m_sinceActivity.start();
    m_sinceContent.start();
    m_turn = Turn{};
    setState(State::InTurn);
    m_activityTimer.start(m_timing.stallCheckMs);
}

void ClaudeSDKService::endTurn()
{
    if (inTurn())
        setState(State::Ready);
    m_activityTimer.stop();
    m_interruptFallback.stop();
}

void ClaudeSDKService::writeLine(const QByteArray &line)
{
    if (!m_process)
        return;
    if (!m_process->isRunning()) {
        logLine(Tag, QStringLiteral("Write skipped: process not running"));
        failTurn(-2, QStringLiteral("Lost connection to Claude process."));
        return;
    }
    if (!m_process->write(line)) {
        logLine(Tag, QStringLiteral("Write failed"));
        failTurn(-2, QStringLiteral("Lost connection to Claude process."));
        return;
    }
    logLine(Tag, QStringLiteral("→ ") + QString::fromUtf8(line.left(200)).trimmed());
}

void ClaudeSDKService::respondToPermission(const QString &requestId, bool allow,
                                           const std::optional<QVariantMap> &updatedInput,
                                           const std::optional<QString> &message)
{
    // Allowing always carries the input the tool runs with: the request's own when unchanged.
    const QVariantMap input = updatedInput ? *updatedInput : m_decoder.requestInput(requestId).value_or(QVariantMap());
    writeLine(allow ? claudeprotocol::allow(requestId, input) : claudeprotocol::deny(requestId, message));
    m_decoder.forgetRequest(requestId);
}

void ClaudeSDKService::setPermissionMode(PermissionMode mode)
{
    if (mode == m_permissionMode)
        return;
    m_permissionMode = mode;
    if (m_process && m_process->isRunning()) {
        writeLine(claudeprotocol::setPermissionModeRequest(QStringLiteral("corvane-mode-%1").arg(++m_controlCounter),
                                                           modeArgument(mode)));
        logLine(Tag, QStringLiteral("Permission mode set to ") + modeArgument(mode));
    }
}

void ClaudeSDKService::interrupt()
{
    if (!m_process || !m_process->isRunning())
        return;
    // The interrupt request ends the turn and keeps the process (a signal would end claude
    // itself, and sometimes before it reports the turn); the signal is the fallback.
    m_turn.userStopped = true;
    m_decoder.noteInterruptRequested();
    writeLine(claudeprotocol::interruptRequest(QStringLiteral("corvane-interrupt-%1").arg(++m_controlCounter)));
    logLine(Tag, QStringLiteral("Sent interrupt request"));
    m_interruptFallback.start(m_timing.interruptFallbackMs);
}

void ClaudeSDKService::forceTerminate()
{
    endTurn();
    releaseProcess(200, 2000);
    setState(State::NotLaunched);
    if (m_delegate)
        QMetaObject::invokeMethod(this, [this] { if (m_delegate) m_delegate->agentDidBecomeReady(); }, Qt::QueuedConnection);
}

void ClaudeSDKService::onFailedToStart(const Error &error)
{
    m_activityTimer.stop();
    setState(State::NotLaunched);
    logLine(Tag, QStringLiteral("Failed to launch: ") + error.message);
    dropEndedProcess();
    failTurn(1, error.message);
}

void ClaudeSDKService::onLine(const QByteArray &line)
{
    m_sinceActivity.restart();
    if (line.trimmed().isEmpty())
        return;
    const ClaudeStreamDecoder::Output out = m_decoder.decode(line);
    if (out.isContent)
        m_sinceContent.restart();
    for (const ClaudeEvent &event : out.events) {
        dispatch(event);
        if (!m_delegate)
            break;
    }
}

void ClaudeSDKService::dispatch(const ClaudeEvent &event)
{
    if (event.kind == ClaudeEvent::Kind::result) {
        onResult(event);
        return;
    }
    if (!m_delegate)
        return;
    switch (event.kind) {
    case ClaudeEvent::Kind::initialized:
        m_run.initSeen = true;
        if (!event.info.sessionId.isEmpty() && event.info.sessionId != m_sessionId) {
            m_sessionId = event.info.sessionId;
            logLine(Tag, QStringLiteral("Session ID: ") + m_sessionId);
        }
        m_delegate->didInitialize(event.info);
        break;
    case ClaudeEvent::Kind::statusChanged: m_delegate->didChangeStatus(event.status); break;
    case ClaudeEvent::Kind::thinkingStarted: m_delegate->didStartThinking(); break;
    case ClaudeEvent::Kind::text: m_delegate->didReceiveText(event.text); break;
    case ClaudeEvent::Kind::toolStarted: m_delegate->didStartTool(event.name, event.id, event.input); break;
    case ClaudeEvent::Kind::toolResult: m_delegate->didReceiveToolResult(event.id, event.text); break;
    case ClaudeEvent::Kind::toolProgress: m_delegate->didReportToolProgress(event.name, event.seconds); break;
    case ClaudeEvent::Kind::permissionRequest: m_delegate->didRequestPermission(event.permission); break;
    case ClaudeEvent::Kind::question: m_delegate->didAskUserQuestion(event.questions, event.id, event.input); break;
    case ClaudeEvent::Kind::cancelRequest: m_delegate->didCancelPermissionRequest(event.id); break;
    case ClaudeEvent::Kind::result: break;
    }
}

void ClaudeSDKService::onResult(const ClaudeEvent &event)
{
    m_turn.receivedResult = true;
    endTurn();
    AgentResult result = event.result;
    const QString errors = event.errors.join(QLatin1Char('\n'));
    if (result.isError && m_run.resumed && !m_run.initSeen && meansSessionLost(errors + result.text)) {
        // Claude refuses the stored session before reading anything; the exit that follows
        // starts a new session instead (see onExit).
        m_run.sessionLost = true;
        m_turn.receivedResult = false; // the turn itself is still unanswered
        setState(State::InTurn);
        return;
    }
    if (!m_delegate)
        return;
    if (event.ending == ClaudeEvent::Ending::stopped) {
        // A stop the user asked for ends the turn quietly: no error row.
        logLine(Tag, QStringLiteral("Turn stopped by the user"));
        result.isError = false;
        result.text.clear();
        m_delegate->didComplete(result);
        return;
    }
    if (event.ending == ClaudeEvent::Ending::failed) {
        m_turn.failureReported = true;
        failTurn(event.error.code, event.error.message);
        return;
    }
    logLine(Tag, QStringLiteral("Complete. Cost: $%1").arg(result.cost, 0, 'f', 4));
    m_delegate->didComplete(result);
}

bool ClaudeSDKService::fallBackFromLostSession()
{
    const QString stderrText = m_process ? m_process->errorTailText() : QString();
    if (!m_run.sessionLost && !(m_run.resumed && !m_run.initSeen && meansSessionLost(stderrText)))
        return false;
    logLine(Tag, QStringLiteral("Session %1 could not be resumed; starting a new session with the recent conversation replayed")
                     .arg(m_sessionId));
    m_sessionId.clear();
    const QJsonArray turn = m_pendingTurn;
    const bool hadTurn = !turn.isEmpty() && !m_turn.receivedResult;
    const std::optional<QString> replay = m_replay ? m_replay() : std::nullopt;
    const std::optional<Profile> place = profile() ? std::optional<Profile>(*profile()) : std::nullopt;
    launch(m_workingDirectory, m_model, QString(), place ? &*place : nullptr);
    if (!m_process)
        return true;
    QJsonArray blocks;
    if (replay)
        blocks.append(QJsonObject{{"type", "text"}, {"text", *replay}});
    for (const QJsonValue &block : turn)
        blocks.append(block);
    if (hadTurn || replay) {
        beginTurn();
        writeLine(claudeprotocol::userTurn(blocks, QString()));
    }
    return true;
}

void ClaudeSDKService::onExit(int exitCode, ChildProcess::ExitKind kind, int signal)
{
    m_activityTimer.stop();
    m_interruptFallback.stop();
    const QString stderrText = m_process ? m_process->errorTailText().trimmed() : QString();
    const bool turnCut = inTurn() && !m_turn.receivedResult;
    const bool stoppedByUser = m_turn.userStopped;
    if (fallBackFromLostSession())
        return; // launch() replaced the ended process
    dropEndedProcess();
    setState(State::NotLaunched);

    const int status = kind == ChildProcess::ExitKind::Crashed ? 128 + signal : exitCode;
    bool reported = false;
    if (status != 0) {
        logLine(Tag, QStringLiteral("Process exited with status %1").arg(status));
        if (!stderrText.isEmpty() && !stoppedByUser && !m_turn.failureReported) {
            failTurn(status, stderrText);
            reported = true;
        }
    }
    if (!reported && turnCut && !stoppedByUser) {
        // The process died inside a turn without a word: say so, so the chat does not look busy
        // forever. The next message relaunches and resumes the same session.
        logLine(Tag, QStringLiteral("Process exited without result message"));
        failTurn(-1, QStringLiteral("Claude process exited unexpectedly without completing the response."));
    }
    if (m_delegate)
        m_delegate->agentDidBecomeReady();
}

void ClaudeSDKService::checkStall()
{
    if (m_turn.stallNotified || !inTurn() || !m_delegate)
        return;
    const qint64 silent = m_sinceActivity.isValid() ? m_sinceActivity.elapsed() : 0;
    if (silent >= m_timing.silenceStallMs) {
        m_turn.stallNotified = true;
        logLine(Tag, QStringLiteral("Stall detected: no data for %1s").arg(silent / 1000));
        m_delegate->didStall(silent / 1000.0);
        return;
    }
    const qint64 contentless = m_sinceContent.isValid() ? m_sinceContent.elapsed() : 0;
    if (contentless > silent && contentless >= m_timing.keepAliveOnlyStallMs) {
        m_turn.stallNotified = true;
        logLine(Tag, QStringLiteral("Stall detected: only keep-alives for %1s").arg(contentless / 1000));
        m_delegate->didStall(contentless / 1000.0);
    }
}

void ClaudeSDKService::failTurn(int code, const QString &description)
{
    endTurn();
    fail(code, description);
}

} // namespace corvane
