#include "agent/codex/CodexSDKService.h"

#include "agent/codex/CodexOutputParser.h"
#include "agent/codex/CodexTurn.h"
#include "agent/runtime/AgentEnvironment.h"
#include "core/Log.h"

namespace corvane {

namespace {

const char *const Tag = "CodexSDK";

} // namespace

CodexSDKService::CodexSDKService(ToolLocation tool, QObject *parent) : QObject(parent), m_tool(std::move(tool)) {}

CodexSDKService::~CodexSDKService()
{
    m_delegate = nullptr;
    detachProcess(); // the process group goes with the wrapper
}

void CodexSDKService::launch(const QString &workingDirectory, const QString &model, const QString &sessionId,
                             const Profile *profile)
{
    m_workingDirectory = workingDirectory;
    m_model = model;
    if (profile)
        m_profile = *profile;
    else
        m_profile.reset();
    m_sessionId = sessionId;
    // A resumed thread was announced to the session when it began.
    m_didEmitInitForCurrentSession = !sessionId.isEmpty();
    m_isLaunched = true;
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
    if (!m_workingDirectory) {
        fail(1, QStringLiteral("Process not launched"));
        return;
    }
    if (isTurnRunning()) {
        if (m_didReceiveTurnCompleted) {
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
    m_resumingThisTurn = !m_sessionId.isEmpty();
    m_threadSeenThisTurn = false;
    m_lastArguments = codexturn::arguments(m_permissionMode, m_model, m_sessionId, *m_workingDirectory, m_turnInput);

    ProcessCommand command;
    command.program = m_tool.program();
    command.arguments = m_lastArguments;
    command.workingDirectory = *m_workingDirectory;
    QProcessEnvironment env = codexEnvironment(QProcessEnvironment::systemEnvironment(), m_profile ? &*m_profile : nullptr);
    for (const QString &key : m_extraEnvironment.keys())
        env.insert(key, m_extraEnvironment.value(key));
    command.environment = env;

    m_didReceiveTurnCompleted = false;
    m_userStopped = false;
    m_textOpen = false;
    m_process = std::make_unique<ChildProcess>(ChildProcess::OutputMode::Lines);
    ChildProcess *process = m_process.get();
    connect(process, &ChildProcess::lineReady, this, &CodexSDKService::onLine);
    connect(process, &ChildProcess::errorOutput, this, [](const QByteArray &data) {
        logLine(Tag, QStringLiteral("stderr: ") + QString::fromUtf8(data).trimmed());
    });
    connect(process, &ChildProcess::finished, this, &CodexSDKService::onExit);
    connect(process, &ChildProcess::failedToStart, this, &CodexSDKService::onFailedToStart);
    process->start(command);
    process->closeInput(); // codex must never wait for input
    QStringList shown = m_lastArguments;
    if (shown.last().size() > 200) // the prompt, which can carry whole files
        shown.last() = shown.last().left(200) + QStringLiteral("…");
    logLine(Tag, QStringLiteral("Launched: %1 %2").arg(command.program, shown.join(QLatin1Char(' '))));
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
    m_userStopped = true;
    m_process->interrupt();
    logLine(Tag, QStringLiteral("Sent SIGINT"));
}

void CodexSDKService::terminate()
{
    if (!isTurnRunning())
        return;
    m_userStopped = true;
    m_process->terminate();
    logLine(Tag, QStringLiteral("Sent SIGTERM"));
}

void CodexSDKService::forceTerminate()
{
    m_queuedTurn.reset();
    detachProcess();
    m_isLaunched = false;
    m_workingDirectory.reset();
    m_sessionId.clear();
    m_didEmitInitForCurrentSession = false;
    QMetaObject::invokeMethod(this, [this] {
        if (m_delegate)
            m_delegate->agentDidBecomeReady();
    }, Qt::QueuedConnection);
}

void CodexSDKService::detachProcess()
{
    if (!m_process)
        return;
    ChildProcess *process = m_process.release();
    process->disconnect(this);
    if (!process->isRunning()) {
        process->deleteLater();
        return;
    }
    // Ask politely, then make sure; the wrapper deletes itself when the process is gone.
    process->setParent(this);
    connect(process, &ChildProcess::finished, process, &QObject::deleteLater);
    process->stop(200, 2000);
}

void CodexSDKService::onFailedToStart(const Error &error)
{
    logLine(Tag, QStringLiteral("Failed to launch: ") + error.message);
    if (m_process)
        m_process.release()->deleteLater();
    fail(error.code ? error.code : 1, error.message);
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
        m_threadSeenThisTurn = true;
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
        m_didReceiveTurnCompleted = true;
        completeTurn(event.usage);
        return;
    case Kind::turnFailed:
        m_didReceiveTurnCompleted = true;
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
            m_delegate->didReceiveText(m_textOpen ? QStringLiteral("\n\n") + event.text : event.text);
        m_textOpen = true;
        return;
    case Kind::toolStarted:
        m_textOpen = false;
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
    if (m_process)
        m_process.release()->deleteLater();
    if (kind == ChildProcess::ExitKind::Normal && fallBackFromLostThread(exitCode, stderrText))
        return; // the turn goes on in a new thread
    if (!m_didReceiveTurnCompleted) {
        // codex answers SIGINT with status 1, not 130: our own stop is what marks it as one.
        if (m_userStopped || kind == ChildProcess::ExitKind::Crashed || exitCode == 130) {
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
    if (exitCode == 0 || m_userStopped || m_didReceiveTurnCompleted || !m_resumingThisTurn || m_threadSeenThisTurn
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

void CodexSDKService::fail(int code, const QString &description)
{
    if (m_delegate)
        m_delegate->didFail(AgentError{QStringLiteral("CodexSDK"), code, description});
}

} // namespace corvane
