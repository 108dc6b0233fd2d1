#include "shell/tools/ToolPages.h"

#include "core/records/Project.h"
#include "core/store/StoreContext.h"
#include "shell/tools/AgentsToolPage.h"
#include "shell/tools/FlowsToolPage.h"
#include "shell/tools/PlannerToolPage.h"
#include "shell/tools/PortsToolPage.h"
#include "shell/tools/PulseToolPage.h"
#include "presentation/pulse/PulseModel.h"
#include "shell/tools/SkillsToolPage.h"
#include "shell/tools/TerminalsToolPage.h"
#include "tools/ports/PortService.h"
#include "tools/ports/ProjectScopes.h"

namespace corvane {

QWidget *makeToolPage(const QString &toolId, ToolServices &services, StoreContext &context, QWidget *parent)
{
    if (toolId == QLatin1String("planner")) {
        if (!services.planner)
            return nullptr;
        auto *board = new PlannerToolPage(*services.planner, parent);
        board->setObjectName(QStringLiteral("plannerToolPage"));
        return board;
    }
    if (toolId == QLatin1String("ports")) {
        // One service for every window's page, so that they share one poll.
        auto *ports = new PortsToolPage(PortService::shared(), [&context] { return projectScopes(context); }, parent);
        ports->setObjectName(QStringLiteral("portsToolPage"));
        return ports;
    }
    if (toolId == QLatin1String("pulse")) {
        if (!services.store || !services.center)
            return nullptr;
        auto *model = new PulseModel(services.store, *services.center);
        if (services.isChatRunning)
            model->setRunningProbe(services.isChatRunning);
        auto *pulse = new PulseToolPage(*model, parent);
        model->setParent(pulse);
        pulse->setObjectName(QStringLiteral("pulseToolPage"));
        return pulse;
    }
    if (toolId == QLatin1String("terminal")) {
        if (!services.terminals)
            return nullptr;
        auto *terminals = new TerminalsToolPage(*services.terminals, parent);
        terminals->setObjectName(QStringLiteral("terminalToolPage"));
        return terminals;
    }
    DefinitionToolPage *page = nullptr;
    if (toolId == QLatin1String("flows"))
        page = new FlowsToolPage(services.flows, services.agents, context, parent);
    else if (toolId == QLatin1String("agents"))
        page = new AgentsToolPage(services.agents, context, parent);
    else if (toolId == QLatin1String("skills"))
        page = new SkillsToolPage(services.skills, parent);
    if (!page)
        return nullptr;
    page->setObjectName(toolId + QStringLiteral("ToolPage"));
    page->setProjects([&context] {
        QList<ToolProject> projects;
        for (const auto &project : context.fetchOrEmpty<Project>(Query().orderBy("sortOrder")))
            projects.append({project->name, project->path});
        return projects;
    });
    return page;
}

void refreshToolPage(QWidget *page)
{
    if (auto *definitions = qobject_cast<DefinitionToolPage *>(page))
        definitions->refresh();
    else if (auto *board = qobject_cast<PlannerToolPage *>(page))
        board->refresh();
}

} // namespace corvane
