#pragma once

#include "agent/runtime/ToolLocator.h"

#include <QObject>
#include <QPointer>
#include <QStringList>

#include <functional>
#include <variant>

namespace corvane {

class ChildProcess;
struct Profile;

// Why a one-shot run gave no answer, with the text the user reads.
struct RunnerError
{
    enum class Kind { binaryNotFound, nonZeroExit, emptyOutput, timeout, launchFailed };
    Kind kind = Kind::emptyOutput;
    AgentTool agent = AgentTool::claude;
    int status = 0;        // nonZeroExit
    QString errorText;     // nonZeroExit: standard error, trimmed; launchFailed: the platform's
    int seconds = 0;       // timeout

    QString description() const;

    static RunnerError binaryNotFound(AgentTool agent) { return make(Kind::binaryNotFound, agent); }
    static RunnerError nonZeroExit(AgentTool agent, int status, QString errorText);
    static RunnerError emptyOutput(AgentTool agent) { return make(Kind::emptyOutput, agent); }
    static RunnerError timeout(AgentTool agent, int seconds);
    static RunnerError launchFailed(AgentTool agent, QString message);

private:
    static RunnerError make(Kind kind, AgentTool agent);
};

// The agent and model a one-shot run uses for a profile: the profile's chosen model when its
// agent is signed in, else Sonnet with claude signed in, else GPT with codex, else Sonnet.
struct InlineModel
{
    AgentTool agent = AgentTool::claude;
    QString modelId;
};
InlineModel resolveInlineModel(const Profile *profile);

struct InlineRequest
{
    QString prompt;
    QString workingDirectory;
    const Profile *profile = nullptr; // read when the run starts
    QStringList allowedTools;         // claude only
    int timeoutSeconds = 60;
};

// One agent process for one prompt: `claude -p` (the prompt on standard input) or `codex exec
// --json` (the prompt as its last argument), its whole answer returned as text. Exactly one
// outcome is delivered, on the thread of the runner, never from inside run(). Destroying the
// runner (or cancel()) ends the process and delivers nothing.
class InlineAgentRunner : public QObject
{
    Q_OBJECT

public:
    using Outcome = std::variant<QString, RunnerError>;
    // Where the tools are; the default looks in the usual install places.
    explicit InlineAgentRunner(std::function<ToolLocation(AgentTool)> locate = {}, QObject *parent = nullptr);
    ~InlineAgentRunner() override;

    void run(const InlineRequest &request, std::function<void(Outcome)> done);
    void cancel();
    bool isRunning() const;

    // The codex transformer: the text of the last finished agent message in `codex exec --json`
    // output; empty when there is none.
    static QString lastAgentMessage(const QByteArray &jsonLines);

private:
    void finish(Outcome outcome);

    std::function<ToolLocation(AgentTool)> m_locate;
    QPointer<ChildProcess> m_process;
    std::function<void(Outcome)> m_done;
};

} // namespace corvane
