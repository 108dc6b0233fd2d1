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
    // When set, standard output and standard error both go to this descriptor, in the order
    // written (a pipe the caller reads itself, as quality gates do: a terminal's view of the run,
    // of which they keep only the end). The caller closes its copy once the child has started.
    int outputDescriptor = -1;
};

} // namespace corvane
