#pragma once

// A temporary HOME with a store, for the services that mirror definition files into records.
#include "automation/DefinitionService.h"
#include "core/store/Store.h"
#include "support/CoreFiles.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QSignalSpy>
#include <QTest>

#include <memory>

namespace corvane::test {

struct DefinitionFixture
{
    TestEnvironment env;
    std::shared_ptr<Store> store = Store::open(env.path("definitions.store")).value();

    QString home(const QString &relative) const { return QDir::homePath() + QLatin1Char('/') + relative; }
    // A project folder inside the temporary root.
    QString project(const QString &name) const
    {
        const QString folder = env.path(name);
        QDir().mkpath(folder);
        return folder;
    }

    // Reloads and waits for the list of that reload (one already under way is not enough: it
    // may have read the files before the caller's change).
    static bool reloaded(DefinitionService &service, const QStringList &projectPaths)
    {
        service.reload(projectPaths);
        return idle(service);
    }
    static bool idle(DefinitionService &service)
    {
        QSignalSpy done(&service, &DefinitionService::reloaded);
        while (service.isLoading())
            if (!done.wait(5000))
                return false;
        return true;
    }
    static bool reloaded(DefinitionService &service) { return reloaded(service, service.projectPaths()); }
    // Waits for a reload that the service starts by itself (after a change on disk).
    static bool reloadsBySelf(DefinitionService &service, int timeoutMs = 5000)
    {
        QSignalSpy done(&service, &DefinitionService::reloaded);
        return done.wait(timeoutMs) && idle(service);
    }
};

} // namespace corvane::test
