#pragma once

#include "core/process/ProcessCommand.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace corvane::onboarding {

// Where a user's tools live: each nvm node version's bin folder (newest first), then the usual
// user and system folders, then the PATH we were started with ("/usr/bin:/bin" without one).
// A desktop launcher gives us a short PATH, so the folders a terminal would know are added.
QStringList nvmBinFolders(const QString &home);
QStringList toolFolders(const QString &home, const QString &environmentPath);

// True when a file exists at one of `checkPaths`, or when the last part of the first path
// names an executable file in one of `folders`.
bool dependencyPresent(const QStringList &checkPaths, const QStringList &folders);

// A shell line run the way a terminal would: the user's login shell (bash unless $SHELL is a
// POSIX one), nvm loaded when present, PATH set from toolFolders(), standard error merged into
// standard output, in the home folder.
ProcessCommand shellCommand(const QString &command, const QProcessEnvironment &ours, const QString &home);

} // namespace corvane::onboarding
