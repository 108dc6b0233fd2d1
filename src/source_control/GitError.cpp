#include "source_control/GitError.h"

namespace corvane {

GitError GitError::commandFailed(int exitCode, QString message)
{
    return GitError{Kind::commandFailed, exitCode, std::move(message)};
}

GitError GitError::launchFailed(const Error &platformError)
{
    return GitError{Kind::launchFailed, platformError.code, platformError.message};
}

QString GitError::failureText(const QString &action) const
{
    return action + QStringLiteral(" failed: ") + message;
}

} // namespace corvane
