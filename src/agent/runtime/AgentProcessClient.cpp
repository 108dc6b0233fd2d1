#include "agent/runtime/AgentProcessClient.h"

#include "core/Log.h"
#include "core/process/ProcessReaper.h"

namespace corvane {

AgentProcessClient::AgentProcessClient(ToolLocation tool, const char *logTag, QObject *parent)
    : QObject(parent), m_tool(std::move(tool)), m_tag(logTag)
{
}

AgentProcessClient::~AgentProcessClient()
{
    m_delegate = nullptr;
    releaseProcess(ProcessReaper::GraceMs, ProcessReaper::KillMs);
}

void AgentProcessClient::terminate()
{
    m_delegate = nullptr;
    releaseProcess(ProcessReaper::GraceMs, ProcessReaper::KillMs);
    m_state = State::NotLaunched;
}

void AgentProcessClient::setPlace(const QString &workingDirectory, const QString &model, const QString &sessionId,
                                  const Profile *profile)
{
    m_workingDirectory = workingDirectory;
    m_model = model;
    if (profile)
        m_profile = *profile;
    else
        m_profile.reset();
    if (!sessionId.isEmpty())
        m_sessionId = sessionId;
}

bool AgentProcessClient::startProcess(const QStringList &arguments, QProcessEnvironment environment)
{
    m_lastArguments = arguments;
    if (!m_tool.found()) {
        logLine(m_tag, QStringLiteral("Failed to launch: ") + m_tool.notFoundMessage());
        m_state = State::NotLaunched;
        fail(1, m_tool.notFoundMessage());
        return false;
    }
    ProcessCommand command;
    command.program = m_tool.program();
    command.arguments = arguments;
    command.workingDirectory = m_workingDirectory;
    const QStringList extraKeys = m_extraEnvironment.keys();
    for (const QString &key : extraKeys)
        environment.insert(key, m_extraEnvironment.value(key));
    command.environment = environment;

    m_process = std::make_unique<ChildProcess>(ChildProcess::OutputMode::Lines);
    ChildProcess *process = m_process.get();
    const char *logTag = m_tag;
    connect(process, &ChildProcess::lineReady, this, &AgentProcessClient::onLine);
    connect(process, &ChildProcess::errorOutput, this, [logTag](const QByteArray &data) {
        logLine(logTag, QStringLiteral("stderr: ") + QString::fromUtf8(data).trimmed());
    });
    connect(process, &ChildProcess::finished, this, &AgentProcessClient::onExit);
    connect(process, &ChildProcess::failedToStart, this, &AgentProcessClient::onFailedToStart);
    connect(process, &ChildProcess::stateChanged, this, [this](ChildProcess::State state) {
        if (state == ChildProcess::State::Running)
            onStarted();
    });
    process->start(command);
    return true;
}

void AgentProcessClient::releaseProcess(int graceMs, int killMs)
{
    if (!m_process)
        return;
    m_process->disconnect(this);
    ProcessReaper::shared().retire(std::move(m_process), graceMs, killMs);
}

void AgentProcessClient::dropEndedProcess()
{
    if (m_process)
        m_process.release()->deleteLater();
}

void AgentProcessClient::onFailedToStart(const Error &error)
{
    logLine(m_tag, QStringLiteral("Failed to launch: ") + error.message);
    dropEndedProcess();
    fail(error.code ? error.code : 1, error.message);
}

void AgentProcessClient::fail(int code, const QString &description)
{
    if (m_delegate)
        m_delegate->didFail(AgentError{QString::fromLatin1(m_tag), code, description});
}

} // namespace corvane
