#pragma once

#include "automation/AutomatedAgentOrchestrator.h"
#include "core/Result.h"
#include "core/records/Enums.h"

#include <QObject>

#include <functional>
#include <memory>

namespace corvane {

struct Issue;

struct RunLaunchRequest
{
    std::shared_ptr<Issue> issue;
    std::shared_ptr<AutomationFlow> flow;
    WorkspaceCreationMode mode = WorkspaceCreationMode::worktree; // or simple: the project's checkout
    QString workspaceName; // empty: the issue's title
    QString branch;        // worktree only; empty: the title's slug
};

// Starts a run from an issue, for the Run Agent panel and corvane-cli alike: an open run of the
// issue's workspace is superseded, a new workspace is made (a worktree on a new branch, or the
// project's checkout) with a "Coordinator" chat, the issue moves to it, and the orchestrator
// starts the run with the launch prompt.
class RunLauncher : public QObject
{
    Q_OBJECT

public:
    RunLauncher(StoreContext &context, AutomatedAgentOrchestrator &orchestrator, QObject *parent = nullptr);

    using Done = std::function<void(Result<std::shared_ptr<AutomationRun>>)>;
    // Always answers through `done`, from the event loop; errors read "Failed to start run: ...".
    void start(RunLaunchRequest request, Done done);

private:
    void finishStart(const RunLaunchRequest &request, const QString &worktreePath, Done done);

    StoreContext &m_context;
    AutomatedAgentOrchestrator &m_orchestrator;
};

} // namespace corvane
