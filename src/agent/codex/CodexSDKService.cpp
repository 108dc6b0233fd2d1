#include "agent/codex/CodexSDKService.h"

#include "agent/codex/CodexOutputParser.h"
#include "agent/runtime/AgentEnvironment.h"
#include "core/Log.h"

#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>
#include <QUuid>

namespace corvane {

namespace {

const char *const Tag = "CodexSDK";

// Printed by codex on every run (the second whenever its home is under /tmp), also when nothing
// is wrong: never the reason for a failure.
bool isRoutineNotice(const QString &line)
{
    const QString trimmed = line.trimmed();
    return trimmed == QLatin1String("Reading additional input from stdin...")
        || trimmed.startsWith(QLatin1String("WARNING: proceeding, even though we could not create PATH aliases"));
}

std::optional<QString> readUtf8(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(file.readAll());
    if (utf8.hasError())
        return std::nullopt;
    return text;
}

QString imageSuffix(const Attachment &attachment)
{
    const QString type = attachment.mediaType.toLower();
    if (type.endsWith(QLatin1String("jpeg")) || type.endsWith(QLatin1String("jpg")))
        return QStringLiteral(".jpg");
    if (type.endsWith(QLatin1String("gif")))
        return QStringLiteral(".gif");
    if (type.endsWith(QLatin1String("webp")))
        return QStringLiteral(".webp");
    return QStringLiteral(".png");
}

bool needsScratch(const QList<Attachment> &attachments)
{
    for (const Attachment &a : attachments)
        if (a.type == AttachmentType::image && !(a.fileURL && a.fileURL->isLocalFile()) && !a.data.isEmpty())
            return true;
    return false;
}

} // namespace

CodexSDKService::CodexSDKService(ToolLocation tool, QObject *parent) : QObject(parent), m_tool(std::move(tool)) {}

CodexSDKService::~CodexSDKService()
{
    m_delegate = nullptr;
    detachProcess(); // the process group goes with the wrapper
}

CodexSDKService::TurnInput CodexSDKService::turnInput(const QString &text, const QList<Attachment> &attachments,
                                                      const QString &scratch)
{
    TurnInput input;
    QStringList parts;
    if (!text.isEmpty())
        parts << text;
    for (const Attachment &a : attachments) {
        switch (a.type) {
        case AttachmentType::tempFile:
            if (a.fileURL) {
                if (const auto contents = readUtf8(a.fileURL->toLocalFile()))
                    parts << QStringLiteral("\n--- attachment: ") + a.fileName + QStringLiteral(" ---\n") + *contents;
                else
                    logLine(Tag, QStringLiteral("Skipped unreadable attachment: ") + a.fileName);
            }
            break;
        case AttachmentType::image:
            if (a.fileURL && a.fileURL->isLocalFile() && QFileInfo::exists(a.fileURL->toLocalFile())) {
                input.imagePaths << a.fileURL->toLocalFile();
            } else if (!a.data.isEmpty() && !scratch.isEmpty()) {
                // A pasted image lives only in memory; codex reads images from files.
                const QString path = scratch + QLatin1Char('/') + a.id.toString(QUuid::WithoutBraces) + imageSuffix(a);
                QFile file(path);
                if (file.open(QIODevice::WriteOnly) && file.write(a.data) == a.data.size())
                    input.imagePaths << path;
                else
                    logLine(Tag, QStringLiteral("Could not keep image %1 for codex: %2").arg(a.fileName, file.errorString()));
            } else {
                logLine(Tag, QStringLiteral("Dropped image without a file: ") + a.fileName);
            }
            break;
        case AttachmentType::pdf:
            logLine(Tag, QStringLiteral("codex takes no PDF; not sent: ") + a.fileName);
            break;
        }
    }
    input.prompt = parts.join(QLatin1Char('\n'));
    if (input.prompt.isEmpty())
        input.prompt = QStringLiteral(" ");
    return input;
}

QStringList CodexSDKService::arguments(PermissionMode mode, const QString &model, const QString &sessionId,
                                       const QString &workingDirectory, const TurnInput &input)
{
    const bool resuming = !sessionId.isEmpty();
    QStringList args{QStringLiteral("exec")};
    if (resuming)
        args << QStringLiteral("resume") << sessionId;
    args << QStringLiteral("--json") << QStringLiteral("--skip-git-repo-check");
    if (!model.isEmpty())
        args << QStringLiteral("-m") << model;
    if (mode == PermissionMode::acceptAll)
        args << QStringLiteral("--dangerously-bypass-approvals-and-sandbox");
    else if (resuming) // resume takes no -s
        args << QStringLiteral("-c") << QStringLiteral("sandbox_mode=\"workspace-write\"");
    else
        args << QStringLiteral("-s") << QStringLiteral("workspace-write");
    if (!resuming) // a resumed thread keeps its own folder
        args << QStringLiteral("-C") << workingDirectory;
    for (const QString &path : input.imagePaths)
        args << QStringLiteral("-i") << path;
    // -i takes any number of values: without the separator the prompt would be read as one more image.
    args << QStringLiteral("--") << input.prompt;
    return args;
}

QString CodexSDKService::failureText(const QString &stderrTail)
{
    QStringList lines = stderrTail.split(QLatin1Char('\n'));
    lines.removeIf(isRoutineNotice);
    return lines.join(QLatin1Char('\n')).trimmed();
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
    QMetaObject::invokeMethod(this, [this] {
        if (!m_delegate)
            return;
        m_delegate->agentDidBecomeReady();
        // The first message is usually sent right after launch, before this arrives: readiness
        // must not make that running turn look finished.
        if (m_delegate && isTurnRunning())
            m_delegate->didStartThinking();
    }, Qt::QueuedConnection);
}

void CodexSDKService::send(const QString &text, const QList<Attachment> &attachments)
{
    if (!m_workingDirectory) {
        fail(1, QStringLiteral("Process not launched"));
        return;
    }
    if (isTurnRunning()) {
        logLine(Tag, QStringLiteral("send() called while previous turn still running — ignoring"));
        return;
    }
    if (!m_tool.found()) {
        logLine(Tag, QStringLiteral("Failed to launch: ") + m_tool.notFoundMessage());
        fail(1, m_tool.notFoundMessage());
        return;
    }
    if (needsScratch(attachments) && !m_scratch) {
        m_scratch = std::make_unique<QTemporaryDir>();
        if (!m_scratch->isValid())
            logLine(Tag, QStringLiteral("No folder for pasted images: ") + m_scratch->errorString());
    }
    m_turnInput = turnInput(text, attachments, m_scratch && m_scratch->isValid() ? m_scratch->path() : QString());
    m_turnStart.start();
    startTurn();
    if (m_delegate)
        m_delegate->didStartThinking();
}

void CodexSDKService::startTurn()
{
    m_resumingThisTurn = !m_sessionId.isEmpty();
    m_threadSeenThisTurn = false;
    m_lastArguments = arguments(m_permissionMode, m_model, m_sessionId, *m_workingDirectory, m_turnInput);

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
    const QString stderrText = m_process ? failureText(m_process->errorTailText()) : QString();
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
        }
    }
    if (m_delegate)
        m_delegate->agentDidBecomeReady();
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
