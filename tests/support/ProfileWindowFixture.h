#pragma once

// A main window with the agent accounts wired in as the application wires them: a ProfileService
// and a ProfileAuthMonitor over a real store, answered by the stand-in claude, so the profile
// strip, its sheets and the sign-in gate are all live.
#include "accounts/ProfileAuthMonitor.h"
#include "accounts/ProfileRepairs.h"
#include "accounts/ProfileService.h"
#include "core/NotificationCenter.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "shell/window/MainWindow.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"
#include "support/ClaudeStub.h"
#include "support/TestEnvironment.h"

#include <QProcess>
#include <QTest>

namespace corvane::test {

struct ProfileWindowFixture
{
    TestEnvironment env;
    std::shared_ptr<Store> store = Store::open(env.path("store.sqlite")).value();
    PreferencesStore preferences{env.path("settings.json")};
    NotificationCenter center;
    AppSettings settings{preferences, center, [] { return SystemUserNames{"Ada Lovelace", "ada"}; }};
    WorkspaceLifecycleService lifecycle{store->mainContext(), center};
    ProfileService profiles{store->mainContext(), center};
    ProfileAuthMonitor monitor{profiles, store->mainContext()};
    ClaudeStub stub = ClaudeStub::write(env.root());
    std::unique_ptr<MainWindow> window;
    int profilePosts = 0;
    ObserverGuard postCounter{center, center.addObserver(QStringLiteral("profilesDidChange"),
                                                         [this](const Notification &) { ++profilePosts; })};

    ProfileWindowFixture()
    {
        qunsetenv("CLAUDE_CONFIG_DIR");
        qunsetenv("ANTHROPIC_API_KEY");
        profiles.setClaudePath(stub.path);
        profiles::ensureDefaultProfile(ctx());
    }

    StoreContext &ctx() { return store->mainContext(); }

    std::shared_ptr<Profile> defaultProfile() { return profiles.defaultProfile(); }

    std::shared_ptr<Profile> newProfile(const QString &name, ProfileColor color = ProfileColor::purple)
    {
        auto created = profiles.createProfile(name, color);
        if (!created)
            qFatal("%s", qPrintable(created.error().message));
        return *created;
    }

    // A project on a real git folder, on `profile`.
    std::shared_ptr<Project> newProject(const QString &name, const std::shared_ptr<Profile> &profile)
    {
        const QString path = env.path(name);
        QDir().mkpath(path);
        QProcess::execute(QStringLiteral("git"), {"init", "-q", "-b", "main", path});
        Project project;
        project.name = name;
        project.path = path;
        project.profileId = profile->id;
        auto inserted = ctx().insert(project);
        if (!ctx().save())
            qFatal("could not save a project");
        return inserted;
    }

    // `withProfiles` false builds the window as the older tests do: no strip menu, no gate.
    MainWindow &openWindow(bool withProfiles = true, const QSize &size = QSize(1100, 720))
    {
        WindowServices services{ctx(), preferences, settings, center, lifecycle};
        if (withProfiles) {
            services.profiles = &profiles;
            services.authMonitor = &monitor;
        }
        window = std::make_unique<MainWindow>(services, 1);
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->resize(size);
        window->show();
        return *window;
    }

    bool settled() { return QTest::qWaitFor([this] { return monitor.inFlight().isEmpty(); }, 20000); }
    // Until the claude check of `profile` has answered (the window starts it once it shows).
    bool checked(const std::shared_ptr<Profile> &profile)
    {
        return QTest::qWaitFor([&] {
            const AuthState::Kind kind = monitor.state(profile->id).kind;
            return kind != AuthState::Kind::unknown && kind != AuthState::Kind::probing;
        }, 20000);
    }
};

} // namespace corvane::test
