#include "tools/launch/TerminalLaunch.h"

#include "core/Log.h"

#include <QProcess>
#include <QStandardPaths>

namespace corvane::terminallaunch {

namespace {

struct Terminal
{
    const char *program;
    const char *desktop; // the XDG_CURRENT_DESKTOP name it belongs to, or none
    QStringList (*arguments)(const QString &folder);
};

const QList<Terminal> &terminals()
{
    // Every one also starts in its working directory; the options make sure of it where a running
    // instance would otherwise open the new window where it was started itself.
    static const QList<Terminal> known{
        {"gnome-terminal", "GNOME", [](const QString &f) { return QStringList{QStringLiteral("--working-directory=") + f}; }},
        {"konsole", "KDE", [](const QString &f) { return QStringList{QStringLiteral("--workdir"), f}; }},
        {"xfce4-terminal", "XFCE", [](const QString &f) { return QStringList{QStringLiteral("--working-directory=") + f}; }},
        {"xterm", nullptr, [](const QString &) { return QStringList(); }},
    };
    return known;
}

} // namespace

std::optional<Launch> choose(const QString &folder, const QStringList &binDirs, const QString &currentDesktop)
{
    const QString alternative = QStandardPaths::findExecutable(QStringLiteral("x-terminal-emulator"), binDirs);
    if (!alternative.isEmpty())
        return Launch{alternative, {}, folder};
    // The desktop's own terminal first, then the others in their order.
    const QStringList desktops = currentDesktop.split(QLatin1Char(':'), Qt::SkipEmptyParts);
    const auto owns = [&desktops](const Terminal &t) {
        return t.desktop && desktops.contains(QLatin1String(t.desktop), Qt::CaseInsensitive);
    };
    QList<const Terminal *> order;
    for (const Terminal &terminal : terminals())
        if (owns(terminal))
            order.append(&terminal);
    for (const Terminal &terminal : terminals())
        if (!owns(terminal))
            order.append(&terminal);
    for (const Terminal *terminal : std::as_const(order)) {
        const QString path = QStandardPaths::findExecutable(QLatin1String(terminal->program), binDirs);
        if (!path.isEmpty())
            return Launch{path, terminal->arguments(folder), folder};
    }
    return std::nullopt;
}

void openInTerminal(const QString &folder)
{
    const QStringList binDirs = qEnvironmentVariable("PATH").split(QLatin1Char(':'), Qt::SkipEmptyParts);
    const auto launch = choose(folder, binDirs, qEnvironmentVariable("XDG_CURRENT_DESKTOP"));
    if (!launch) {
        logLine("Launch", QStringLiteral("no terminal application found to open %1").arg(folder));
        return;
    }
    if (!QProcess::startDetached(launch->program, launch->arguments, launch->workingDirectory))
        logLine("Launch", QStringLiteral("could not start %1 in %2").arg(launch->program, folder));
}

} // namespace corvane::terminallaunch
