#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace corvane {

// What to run. The program is started directly, never through a shell: a caller that wants shell
// syntax runs "/bin/sh" with {"-c", script} itself, so quoting is always a visible choice.
struct ProcessCommand
{
    // An absolute path, a path relative to workingDirectory, or a bare name looked up in the PATH
    // of `environment` (the child's PATH, not ours).
    QString program;
    QStringList arguments;
    // Empty: the application's current directory.
    QString workingDirectory;
    // The child's complete environment; nothing else is inherited. It starts as a copy of ours so
    // a caller that only adds variables does not have to fetch it first.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // Standard error joins standard output in one stream, in the order written (quality gates
    // show their output as a terminal would).
    bool mergeErrorIntoOutput = false;
};

} // namespace corvane
