#pragma once

// A made-up machine for the first-run checklist: a home of its own, a PATH of one empty folder,
// no session bus, and stand-in programs written where a test wants them.
#include "accounts/onboarding/OnboardingChecklistItem.h"
#include "support/CoreFiles.h"
#include "support/TestEnvironment.h"

#include <QFile>
#include <QProcessEnvironment>

namespace corvane::test {

// An executable script at `path`, its folders made: a stand-in git, node, npm or claude.
inline bool writeExecutable(const QString &path, const QByteArray &script = "#!/bin/sh\nexit 0\n")
{
    return writeFile(path, script)
           && QFile::setPermissions(path, QFile::permissions(path) | QFileDevice::ExeOwner | QFileDevice::ExeGroup
                                              | QFileDevice::ExeOther);
}

class OnboardingMachine
{
public:
    OnboardingMachine() { QDir().mkpath(m_env.path("path")); }

    QString home() const { return m_env.path("home"); }
    QString path(const QString &relative) const { return m_env.path(relative); }
    // The folder on this machine's PATH.
    QString pathFolder() const { return m_env.path("path"); }

    // What the program would have been started with here: our own variables, but this PATH,
    // this HOME, no bus and none of the agents' variables.
    QProcessEnvironment environment() const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const char *name : {"DBUS_SESSION_BUS_ADDRESS", "CODEX_HOME", "CLAUDE_CONFIG_DIR", "ANTHROPIC_API_KEY",
                                 "OPENAI_API_KEY", "npm_config_prefix"})
            env.remove(QLatin1String(name));
        env.insert(QStringLiteral("PATH"), pathFolder());
        env.insert(QStringLiteral("HOME"), home());
        env.insert(QStringLiteral("SHELL"), QStringLiteral("/bin/bash"));
        return env;
    }

    onboarding::Places places() const { return {home(), QStringLiteral("tester"), environment().toStringList()}; }
    QList<OnboardingChecklistItem> items() const { return onboarding::defaultItems(places()); }

private:
    TestEnvironment m_env;
};

// One dependency row of our own: a program that exists nowhere unless a test puts it there.
inline OnboardingChecklistItem dependencyRow(const QString &id, const QStringList &checkPaths,
                                             const QString &installCommand = QStringLiteral("true"))
{
    OnboardingChecklistItem item;
    item.id = id;
    item.title = id;
    item.kind = OnboardingChecklistItem::Kind::dependency;
    item.checkPaths = checkPaths;
    item.installCommand = installCommand;
    return item;
}

} // namespace corvane::test
