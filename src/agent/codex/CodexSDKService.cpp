#include "agent/codex/CodexSDKService.h"

#include "agent/codex/CodexOutputParser.h"
#include "agent/codex/CodexTurn.h"
#include "agent/runtime/AgentEnvironment.h"
#include "core/Log.h"

namespace corvane {

namespace {

const char *const Tag = "CodexSDK";

} // namespace

CodexSDKService::CodexSDKService(ToolLocation tool, QObject *parent) : AgentProcessClient(std::move(tool), Tag, parent)
{
}

CodexSDKService::~CodexSDKService() = default;

void CodexSDKService::launch(const QString &workingDirectory, const QString &model, const QString &sessionId,
                             const Profile *profile)
{
    setPlace(workingDirectory, model, sessionId, profile);
    m_sessionId = sessionId;
    // A resumed thread was announced to the session when it began.
    m_didEmitInitForCurrentSession = !sessionId.isEmpty();
    setState(State::Ready);
    logLine(Tag, QStringLiteral("Ready in %1%2").arg(workingDirectory,
                                                     sessionId.isEmpty() ? QString() : QStringLiteral(", resuming ") + sessionId));
    QMetaObject::invokeMethod(this, &CodexSDKService::announceReady, Qt::QueuedConnection);
}

void CodexSDKService::announceReady()
{
    if (!m_delegate)
        return;
    m_delegate->agentDidBecomeReady();
    // A turn can already be running: the first message is usually sent right after launch, and
    // the next one may be sent from inside the previous turn's completion. Readiness must not
    // make that turn look finished.
    if (m_delegate && isTurnRunning())
        m_delegate->didStartThinking();
}

void CodexSDKService::send(const QString &text, const QList<Attachment> &attachments)
{
    if (!isLaunched()) {
        fail(1, QStringLiteral("Process not launched"));
        return;
    }
    if (isTurnRunning()) {
        if (m_turn.receivedCompletion) {
            // The turn has ended, only codex itself has not exited yet: the next one starts when
            // it has (a message sent from the completion, as the automation does, is not lost).
            logLine(Tag, QStringLiteral("Previous turn finished, codex still exiting; the new turn waits for it"));
            m_queuedTurn = QueuedTurn{text, attachments};
            if (m_delegate)
                m_delegate->didStartThinking();
            return;
        }
        logLine(Tag, QStringLiteral("send() called while previous turn still running — ignoring"));
        return;
    }
    if (!m_tool.found()) {
        logLine(Tag, QStringLiteral("Failed to launch: ") + m_tool.notFoundMessage());
        fail(1, m_tool.notFoundMessage());
        return;
    }
    if (codexturn::needsScratch(attachments) && !m_scratch) {
        m_scratch = std::make_unique<QTemporaryDir>();
        if (!m_scratch->isValid())
            logLine(Tag, QStringLiteral("No folder for pasted images: ") + m_scratch->errorString());
    }
    m_turnInput = codexturn::build(text, attachments, m_scratch && m_scratch->isValid() ? m_scratch->path() : QString());
    m_turnStart.start();
    startTurn();
    if (m_delegate)
        m_delegate->didStartThinking();
}

void CodexSDKService::startTurn()
{
    m_turn = Turn{};
    m_turn.resuming = !m_sessionId.isEmpty();
    const QStringList arguments = codexturn::arguments(m_permissionMode, m_model, m_sessionId, m_workingDirectory, m_turnInput);
    if (!startProcess(arguments, codexEnvironment(QProcessEnvironment::systemEnvironment(), profile())))
        return;
    setState(State::InTurn);
    m_process->closeInput(); // codex must never wait for input
    QStringList shown = m_lastArguments;
    if (shown.last().size() > 200) // the prompt, which can carry whole files
        shown.last() = shown.last().left(200) + QStringLiteral("…");
    logLine(Tag, QStringLiteral("Launched: %1 %2").arg(m_tool.program(), shown.join(QLatin1Char(' '))));
}

void CodexSDKService::interrupt()
{
    if (m_queuedTurn) {
        logLine(Tag, QStringLiteral("Dropped the waiting turn (interrupt)"));
        m_queuedTurn.reset();
        completeTurn(std::nullopt);
        return;
    }
    if (!isTurnRunning())
        return;
    m_turn.userStopped = true;
    m_process->interrupt();
    logLine(Tag, QStringLiteral("Sent SIGINT"));
}

void CodexSDKService::forceTerminate()
{
    m_queuedTurn.reset();
    releaseProcess(200, 2000);
    setState(State::NotLaunched);
    m_sessionId.clear();
    m_didEmitInitForCurrentSession = false;
    QMetaObject::invokeMethod(this, [this] {
        if (m_delegate)
            m_delegate->agentDidBecomeReady();
    }, Qt::QueuedConnection);
}

void CodexSDKService::onLine(const QByteArray &line)
{
    const codexoutput::Line decoded = codexoutput::decodeLine(line);
    if (decoded.event)
        dispatch(*decoded.event);
}

void CodexSDKService::dispatch(const CodexEvent &event)
{
    using Kind = CodexEvent::Kind;
    switch (event.kind) {
    case Kind::threadStarted:
        m_turn.threadSeen = true;
        if (m_sessionId.isEmpty()) {
            m_sessionId = event.id;
            logLine(Tag, QStringLiteral("Session ID: ") + m_sessionId);
        }
        if (!m_didEmitInitForCurrentSession) {
            m_didEmitInitForCurrentSession = true;
            if (m_delegate)
                m_delegate->didInitialize(AgentSessionInfo{event.id, m_model, {}, QString(), AgentType::codex});
        }
        return;
    case Kind::turnStarted:
        if (m_delegate)
            m_delegate->didChangeStatus(QStringLiteral("Thinking"));
        return;
    case Kind::turnCompleted:
        m_turn.receivedCompletion = true;
        completeTurn(event.usage);
        return;
    case Kind::turnFailed:
        m_turn.receivedCompletion = true;
        logLine(Tag, QStringLiteral("Turn failed: ") + event.text);
        fail(-1, event.text);
        return;
    case Kind::notice:
        logLine(Tag, QStringLiteral("codex: ") + event.text);
        if (m_delegate)
            m_delegate->didChangeStatus(event.text);
        return;
    case Kind::text:
        // Each agent message arrives whole; two in a row would otherwise run into one paragraph.
        if (m_delegate)
            m_delegate->didReceiveText(m_turn.textOpen ? QStringLiteral("\n\n") + event.text : event.text);
        m_turn.textOpen = true;
        return;
    case Kind::toolStarted:
        m_turn.textOpen = false;
        if (m_delegate)
            m_delegate->didStartTool(event.name, event.id, event.input);
        return;
    case Kind::toolResult:
        if (m_delegate)
            m_delegate->didReceiveToolResult(event.id, event.text);
        return;
    }
}

void CodexSDKService::completeTurn(const std::optional<QVariantMap> &usage)
{
    AgentResult result;
    result.subtype = QStringLiteral("success");
    result.durationMs = m_turnStart.isValid() ? double(m_turnStart.elapsed()) : 0;
    result.numTurns = 1;
    result.usage = usage;
    if (usage)
        logLine(Tag, QStringLiteral("Complete. Usage: input %1, output %2")
                         .arg(usage->value("input_tokens").toLongLong())
                         .arg(usage->value("output_tokens").toLongLong()));
    if (m_delegate)
        m_delegate->didComplete(result);
}

void CodexSDKService::onExit(int exitCode, ChildProcess::ExitKind kind, int signal)
{
    const QString stderrText = m_process ? codexturn::failureText(m_process->errorTailText()) : QString();
    dropEndedProcess();
    setState(State::Ready);
    if (kind == ChildProcess::ExitKind::Normal && fallBackFromLostThread(exitCode, stderrText))
        return; // the turn goes on in a new thread
    if (!m_turn.receivedCompletion) {
        // codex answers SIGINT with status 1, not 130: our own stop is what marks it as one.
        if (m_turn.userStopped || kind == ChildProcess::ExitKind::Crashed || exitCode == 130) {
            logLine(Tag, kind == ChildProcess::ExitKind::Crashed ? QStringLiteral("Turn stopped (signal %1)").arg(signal)
                                                                  : QStringLiteral("Turn stopped (status %1)").arg(exitCode));
            completeTurn(std::nullopt);
        } else if (exitCode != 0) {
            logLine(Tag, QStringLiteral("Process exited with status %1").arg(exitCode));
            fail(exitCode, stderrText.isEmpty()
                               ? QStringLiteral("Codex exited with status %1 before completing the turn.").arg(exitCode)
                               : stderrText);
        } else {
            // A clean exit without the turn's end: close the turn, so nothing stays "thinking".
            logLine(Tag, QStringLiteral("Process exited without turn.completed"));
            completeTurn(std::nullopt);
        }
    }
    if (m_queuedTurn) {
        const QueuedTurn next = *std::exchange(m_queuedTurn, std::nullopt);
        send(next.text, next.attachments);
    }
    announceReady();
}

bool CodexSDKService::fallBackFromLostThread(int exitCode, const QString &stderrText)
{
    // codex refuses a thread it has no record of before it prints anything on standard output.
    if (exitCode == 0 || m_turn.userStopped || m_turn.receivedCompletion || !m_turn.resuming || m_turn.threadSeen
        || !stderrText.contains(QLatin1String("no rollout found")))
        return false;
    logLine(Tag, QStringLiteral("Thread %1 could not be resumed; starting a new thread with the recent conversation replayed")
                     .arg(m_sessionId));
    m_sessionId.clear();
    m_didEmitInitForCurrentSession = false;
    if (const std::optional<QString> replay = m_replay ? m_replay() : std::nullopt) {
        const bool blank = m_turnInput.prompt.trimmed().isEmpty();
        m_turnInput.prompt = blank ? *replay : *replay + QStringLiteral("\n\n") + m_turnInput.prompt;
    }
    startTurn();
    return true;
}

} // namespace corvane
