// Start-up with ten profiles whose claude takes two seconds to say whether it is signed in: a
// main window built and shown the way the application does it, with the sign-in monitor wired
// in. Prints when the window was on screen, when the first and the last check came back, and
// the longest the event loop was held up while the checks ran. The window must come first; the
// checks must not hold the loop. Runs offscreen unless QT_QPA_PLATFORM says otherwise.
#include "accounts/ProfileAuthMonitor.h"
#include "accounts/ProfileRepairs.h"
#include "accounts/ProfileService.h"
#include "core/NotificationCenter.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "shell/window/MainWindow.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>

using namespace corvane;

namespace {

constexpr int profileCount = 10;
constexpr double claudeSeconds = 2.0;

// A claude that answers "signed in" for any folder, after a pause.
QString writeSlowClaude(const QString &folder)
{
    const QString path = folder + QStringLiteral("/claude");
    QFile script(path);
    if (!script.open(QIODevice::WriteOnly))
        return {};
    script.write(QByteArray("#!/bin/sh\nsleep ") + QByteArray::number(claudeSeconds)
                 + "\necho '{\"loggedIn\": true, \"email\": \"bench@example.com\"}'\n");
    script.close();
    script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QTemporaryDir home;
    qputenv("HOME", QFile::encodeName(home.path()));
    qputenv("XDG_DATA_HOME", QFile::encodeName(home.filePath("data")));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.filePath("config")));
    QApplication app(argc, argv);

    auto store = Store::open(home.filePath("data/Corvane/Corvane.store")).value();
    NotificationCenter center;
    PreferencesStore preferences(home.filePath("config/Corvane/settings.json"));
    AppSettings settings(preferences, center, [] { return SystemUserNames{}; });
    WorkspaceLifecycleService lifecycle(store->mainContext(), center);
    ProfileService profiles(store->mainContext(), center);
    profiles.setClaudePath(writeSlowClaude(home.path()));
    profiles::ensureDefaultProfile(store->mainContext());
    for (int i = 1; i < profileCount; ++i)
        if (!profiles.createProfile(QStringLiteral("Profile %1").arg(i), ProfileColor(i % 10)))
            return 1;

    QElapsedTimer clock;
    clock.start();
    ProfileAuthMonitor monitor(profiles, store->mainContext());
    double shownMs = -1, firstMs = -1, lastMs = -1, longestStallMs = 0;
    int answered = 0;
    QObject::connect(&monitor, &ProfileAuthMonitor::stateChanged, &app, [&](const QUuid &id) {
        if (monitor.state(id).kind != AuthState::Kind::signedIn)
            return;
        const double now = double(clock.nsecsElapsed()) / 1e6;
        if (firstMs < 0)
            firstMs = now;
        if (++answered == profileCount) {
            lastMs = now;
            app.quit();
        }
    });

    WindowServices services{store->mainContext(), preferences, settings, center, lifecycle};
    services.profiles = &profiles;
    services.authMonitor = &monitor;
    MainWindow window(services, 1);
    window.setAttribute(Qt::WA_DeleteOnClose, false);
    window.show();
    // Shown once the first paint has gone through, as the application reports it.
    QTimer::singleShot(0, &app, [&] { shownMs = double(clock.nsecsElapsed()) / 1e6; });

    // A 10 ms tick: how late it fires is how long the loop was held up.
    QElapsedTimer tickClock;
    tickClock.start();
    QTimer tick;
    tick.setTimerType(Qt::PreciseTimer);
    QObject::connect(&tick, &QTimer::timeout, &app, [&] {
        longestStallMs = std::max(longestStallMs, double(tickClock.restart()) - 10.0);
    });
    tick.start(10);
    QTimer::singleShot(30000, &app, &QApplication::quit);
    app.exec();

    std::printf("profiles                    %d (claude answers after %.1f s)\n", profileCount, claudeSeconds);
    std::printf("main window shown           %8.1f ms\n", shownMs);
    std::printf("first sign-in check back    %8.1f ms\n", firstMs);
    std::printf("all sign-in checks back     %8.1f ms (%d of %d)\n", lastMs, answered, profileCount);
    std::printf("longest event-loop stall    %8.1f ms\n", longestStallMs);
    const bool windowFirst = shownMs >= 0 && (firstMs < 0 || shownMs < firstMs);
    std::printf("window before first check   %s\n", windowFirst ? "yes" : "NO");
    return windowFirst && answered == profileCount ? 0 : 1;
}
