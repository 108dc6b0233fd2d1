#pragma once

#include "core/Result.h"

#include <QString>

namespace corvane {

// What a failed git call tells its caller. `commandFailed` is git's own verdict: its exit status
// and its standard error, trimmed, shown to the user unchanged. Our own refusals (a name git would
// reject, output we cannot read, no default branch) use the same case with exit status 1.
// `launchFailed` is the platform's error when git could not be run at all.
struct GitError
{
    enum class Kind { commandFailed, launchFailed };

    Kind kind = Kind::commandFailed;
    int exitCode = 1;
    QString message;

    static GitError commandFailed(int exitCode, QString message);
    static GitError launchFailed(const Error &platformError);

    // What the user reads: the message, unchanged.
    QString description() const { return message; }
    // "<Action> failed: " and the message, the form in which actions report git's errors,
    // e.g. failureText("Commit") gives "Commit failed: fatal: not a git repository ...".
    QString failureText(const QString &action) const;
    Error toError() const { return Error(message, exitCode); }

    bool operator==(const GitError &other) const = default;
};

} // namespace corvane
