#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace corvane::terminallaunch {

// A terminal application to start in a folder.
struct Launch
{
    QString program;
    QStringList arguments;
    QString workingDirectory;
};

// Debian's x-terminal-emulator when it is set up, else the terminal of the running desktop
// (`currentDesktop` as in XDG_CURRENT_DESKTOP), else any known one found in `binDirs`.
std::optional<Launch> choose(const QString &folder, const QStringList &binDirs, const QString &currentDesktop);

// Opens the user's terminal application in `folder` without waiting for it; a failure is only
// logged.
void openInTerminal(const QString &folder);

} // namespace corvane::terminallaunch
