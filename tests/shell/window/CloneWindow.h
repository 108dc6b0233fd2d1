#pragma once

#include "core/NotificationCenter.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "shell/window/MainWindow.h"
#include "source_control/GitSandbox.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include <memory>

namespace corvane::test {

// A main window on a clone of a bare repository, the way a user's project with a remote looks:
// real store and settings files in a sandbox, the project added through the window.
struct CloneWindow
{
    GitSandbox sandbox;
    QString repo = sandbox.makeClone("app");
    std::shared_ptr<Store> store = Store::open(sandbox.path("store.sqlite")).value();
    PreferencesStore preferences{sandbox.path("settings.json")};
    NotificationCenter center;
    AppSettings settings{preferences, center, [] { return SystemUserNames{"Ada Lovelace", "ada"}; }};
    WorkspaceLifecycleService lifecycle{store->mainContext(), center};
    std::unique_ptr<MainWindow> window;

    StoreContext &ctx() { return store->mainContext(); }

    void openWindow()
    {
        window = std::make_unique<MainWindow>(WindowServices{ctx(), preferences, settings, center, lifecycle}, 1);
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->resize(1100, 720);
        window->show();
    }

    bool openWithProject()
    {
        openWindow();
        return bool(window->addProjectFolder(repo));
    }
};

} // namespace corvane::test
