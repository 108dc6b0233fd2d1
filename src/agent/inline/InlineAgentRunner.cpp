#include "agent/inline/InlineAgentRunner.h"

#include "agent/AgentModelCatalogue.h"
#include "agent/runtime/AgentEnvironment.h"
#include "core/Log.h"
#include "core/process/ChildProcess.h"
#include "core/records/Profile.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QStringDecoder>
#include <QTimer>

namespace corvane {

QString RunnerError::description() const
{
    const QString tool = toolName(agent);
    switch (kind) {
    case Kind::binaryNotFound:
        return QStringLiteral("Couldn't find the %1 CLI on PATH.").arg(tool);
    case Kind::nonZeroExit:
        return errorText.isEmpty() ? QStringLiteral("%1 exited with status %2").arg(tool).arg(status) : errorText;
    case Kind::emptyOutput:
        return QStringLiteral("%1 returned no output.").arg(tool);
    case Kind::timeout:
        return QStringLiteral("%1 timed out after %2s.").arg(tool).arg(seconds);
    case Kind::launchFailed:
        return errorText;
    }
    return {};
}

RunnerError RunnerError::make(Kind kind, AgentTool agent)
{
    RunnerError error;
    error.kind = kind;
    error.agent = agent;
    return error;
}

RunnerError RunnerError::nonZeroExit(AgentTool agent, int status, QString errorText)
{
    RunnerError error = make(Kind::nonZeroExit, agent);
    error.status = status;
    error.errorText = std::move(errorText);
    return error;
}

RunnerError RunnerError::timeout(AgentTool agent, int seconds)
{
    RunnerError error = make(Kind::timeout, agent);
    error.seconds = seconds;
    return error;
}

RunnerError RunnerError::launchFailed(AgentTool agent, QString message)
{
    RunnerError error = make(Kind::launchFailed, agent);
    error.errorText = std::move(message);
    return error;
}

InlineModel resolveInlineModel(const Profile *profile)
{
    const QString sonnet = QStringLiteral("claude-sonnet-4-5-20250929");
    if (!profile)
        return {AgentTool::claude, sonnet};
    if (profile->commitMessageModelId) {
        if (const auto model = AgentModelCatalogue::byId(*profile->commitMessageModelId)) {
            const bool claude = model->agentType == AgentType::claudeCode;
            if (claude ? profile->lastLoginAt.has_value() : profile->codexLastLoginAt.has_value())
                return {claude ? AgentTool::claude : AgentTool::codex, model->id};
        }
    }
    if (profile->lastLoginAt)
        return {AgentTool::claude, sonnet};
    if (profile->codexLastLoginAt)
        return {AgentTool::codex, QStringLiteral("gpt-5.5")};
    return {AgentTool::claude, sonnet};
}

namespace {

QString utf8OrEmpty(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(bytes);
    return decoder.hasError() ? QString() : text;
}

} // namespace

QString InlineAgentRunner::lastAgentMessage(const QByteArray &jsonLines)
{
    QString last;
    for (const QByteArray &line : jsonLines.split('\n')) {
        const QJsonObject event = QJsonDocument::fromJson(line.trimmed()).object();
        if (event.value(QLatin1String("type")).toString() != QLatin1String("item.completed"))
            continue;
        const QJsonObject item = event.value(QLatin1String("item")).toObject();
        if (item.value(QLatin1String("type")).toString() == QLatin1String("agent_message"))
            last = item.value(QLatin1String("text")).toString();
    }
    return last;
}

InlineAgentRunner::InlineAgentRunner(std::function<ToolLocation(AgentTool)> locate, QObject *parent)
    : QObject(parent), m_locate(locate ? std::move(locate) : [](AgentTool tool) { return locateTool(tool); })
{
}

InlineAgentRunner::~InlineAgentRunner()
{
    cancel();
}

bool InlineAgentRunner::isRunning() const
{
    return bool(m_done);
}

void InlineAgentRunner::cancel()
{
    m_done = nullptr;
    if (m_process) {
        m_process->disconnect(this);
        m_process->kill();
        m_process->deleteLater();
    }
}

void InlineAgentRunner::finish(Outcome outcome)
{
    if (m_process) {
        m_process->disconnect(this);
        m_process->deleteLater();
    }
    if (auto done = std::exchange(m_done, nullptr))
        done(std::move(outcome));
}

void InlineAgentRunner::run(const InlineRequest &request, std::function<void(Outcome)> done)
{
    cancel();
    m_done = std::move(done);
    const InlineModel model = resolveInlineModel(request.profile);
    const ToolLocation location = m_locate(model.agent);
    if (!location.found()) {
        // Delivered from the event loop like every other outcome.
        QTimer::singleShot(0, this, [this, agent = model.agent] { finish(RunnerError::binaryNotFound(agent)); });
        return;
    }
    ProcessCommand command;
    command.program = location.program();
    command.workingDirectory = request.workingDirectory;
    const bool claude = model.agent == AgentTool::claude;
    if (claude) {
        command.arguments = {"-p", "--output-format", "text", "--max-turns", "1", "--model", model.modelId};
        for (const QString &tool : request.allowedTools)
            command.arguments << QStringLiteral("--allowedTools") << tool;
        command.environment = claudeEnvironment(QProcessEnvironment::systemEnvironment(), request.profile);
    } else {
        command.arguments = {"exec", "--json", "--skip-git-repo-check", "--ephemeral", "-s", "read-only",
                             "-C", request.workingDirectory, "-m", model.modelId, request.prompt};
        command.environment = codexEnvironment(QProcessEnvironment::systemEnvironment(), request.profile);
    }
    command.environment.insert(QStringLiteral("NO_COLOR"), QStringLiteral("1"));

    auto *process = new ChildProcess(ChildProcess::OutputMode::Raw, this);
    m_process = process;
    auto output = std::make_shared<QByteArray>();
    auto errors = std::make_shared<QByteArray>();
    connect(process, &ChildProcess::outputReady, this, [output](const QByteArray &data) { *output += data; });
    connect(process, &ChildProcess::errorOutput, this, [errors](const QByteArray &data) { *errors += data; });
    connect(process, &ChildProcess::failedToStart, this, [this, agent = model.agent](const Error &error) {
        finish(RunnerError::launchFailed(agent, error.message));
    });
    connect(process, &ChildProcess::finished, this, [this, output, errors, claude, agent = model.agent](int exitCode, ChildProcess::ExitKind kind, int) {
        if (kind != ChildProcess::ExitKind::Normal || exitCode != 0)
            return finish(RunnerError::nonZeroExit(agent, exitCode, utf8OrEmpty(*errors).trimmed()));
        const QString answer = (claude ? utf8OrEmpty(*output) : lastAgentMessage(*output)).trimmed();
        if (answer.isEmpty())
            return finish(RunnerError::emptyOutput(agent));
        finish(answer);
    });
    // The clock starts with the process; a run past it is ended and reports the time-out.
    auto *clock = new QTimer(process);
    clock->setSingleShot(true);
    connect(clock, &QTimer::timeout, this, [this, agent = model.agent, seconds = request.timeoutSeconds] {
        logLine(agent == AgentTool::claude ? "InlineAgent:claudeCode" : "InlineAgent:codex", QStringLiteral("Timeout \u2014 killing process"));
        if (m_process)
            m_process->kill();
        finish(RunnerError::timeout(agent, seconds));
    });
    clock->start(request.timeoutSeconds * 1000);
    process->start(command);
    logLine(claude ? "InlineAgent:claudeCode" : "InlineAgent:codex", command.arguments.join(QLatin1Char(' ')).left(120));
    if (claude)
        process->write(request.prompt.toUtf8());
    process->closeInput();
}

} // namespace corvane
