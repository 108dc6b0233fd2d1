#pragma once

// The services a main window with its tool pages needs, over a temporary HOME and store: the
// definition tools' services and the planner. Make the window with window(); tests add their
// own records before or after.
#include "automation/AgentDefinitionsService.h"
#include "automation/AutomationFlowsService.h"
#include "core/NotificationCenter.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "planning/PlannerService.h"
#include "planning/SkillsService.h"
#include "shell/tools/ToolPages.h"
#include "shell/window/MainWindow.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"
#include "support/DefinitionFixture.h"

namespace corvane::test {

struct ToolWindowFixture
{
    DefinitionFixture f;
    PreferencesStore preferences{f.env.path("settings.json")};
    NotificationCenter center;
    AppSettings settings{preferences, center, [] { return SystemUserNames{"Ada Lovelace", "ada"}; }};
    WorkspaceLifecycleService lifecycle{f.store->mainContext(), center};
    AutomationFlowsService flows{f.store};
    AgentDefinitionsService agents{f.store};
    SkillsService skills{f.store};
    PlannerService planner{f.store->mainContext(), center};
    ToolServices tools{flows, agents, skills, &planner, nullptr, f.store, &center};
    std::unique_ptr<MainWindow> window;

    StoreContext &ctx() { return f.store->mainContext(); }
    void openWindow(const QSize &size)
    {
        window = std::make_unique<MainWindow>(WindowServices{ctx(), preferences, settings, center, lifecycle, &tools}, 1);
        window->resize(size);
        window->show();
    }
};

} // namespace corvane::test
