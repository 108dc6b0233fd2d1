#include "tools/terminal/ShellLaunch.h"

namespace corvane::shelllaunch {

namespace {

const QString fallbackPath = QStringLiteral("/usr/local/bin:/usr/bin:/bin");

} // namespace

QString shell(const QProcessEnvironment &environment)
{
    const QString configured = environment.value(QStringLiteral("SHELL"));
    return configured.isEmpty() ? QStringLiteral("/bin/bash") : configured;
}

QStringList environment(const QProcessEnvironment &program, const QString &systemHome, const QString &systemUser)
{
    const QString home = program.value(QStringLiteral("HOME"), systemHome);
    const QString user = program.value(QStringLiteral("USER"), systemUser);
    const QString programPath = program.value(QStringLiteral("PATH"), fallbackPath);
    QStringList entries{
        QStringLiteral("TERM=xterm-256color"),
        QStringLiteral("COLORTERM=truecolor"),
        QStringLiteral("LANG=") + program.value(QStringLiteral("LANG"), QStringLiteral("C.UTF-8")),
        QStringLiteral("HOME=") + home,
        QStringLiteral("PATH=") + QStringList{home + QStringLiteral("/.local/bin"), home + QStringLiteral("/.npm-global/bin"),
                                              programPath, fallbackPath}.join(QLatin1Char(':')),
        QStringLiteral("SHELL=") + shell(program),
        QStringLiteral("USER=") + user,
        QStringLiteral("XDG_CONFIG_HOME=") + home + QStringLiteral("/.config"),
        QStringLiteral("XDG_DATA_HOME=") + home + QStringLiteral("/.local/share"),
        QStringLiteral("XDG_CACHE_HOME=") + home + QStringLiteral("/.cache"),
    };
    QStringList names = program.keys();
    names.sort();
    for (const QString &name : std::as_const(names)) {
        if (name.startsWith(QLatin1String("ANTHROPIC")) || name.startsWith(QLatin1String("CLAUDE")))
            entries << name + QLatin1Char('=') + program.value(name);
    }
    for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "XDG_RUNTIME_DIR", "DBUS_SESSION_BUS_ADDRESS"}) {
        const QString key = QString::fromLatin1(name);
        if (program.contains(key))
            entries << key + QLatin1Char('=') + program.value(key);
    }
    return entries;
}

} // namespace corvane::shelllaunch
