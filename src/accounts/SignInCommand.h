#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace corvane {

struct Profile;

enum class SignInAgent { claude, chatGpt };

// What the sign-in sheet runs: the agent's own login (`claude auth login`, `codex login`) inside
// the user's login shell, so a PATH set up in their shell files finds the tool, in the profile's
// folder and with an environment made for it rather than ours.
struct SignInCommand
{
    SignInAgent agent = SignInAgent::claude;
    QString title; // "Sign in to Claude", "Sign in with ChatGPT"
    QString text;  // the line above the terminal, naming the profile
    QString program;
    QStringList arguments;
    QString workingDirectory;
    QStringList environment; // "NAME=value", the child's whole environment
};

namespace signin {

// `toolPath` is the agent tool the user set or we found; blank leaves the bare name to the
// shell's PATH. `profile` may be null (the user's own folders). `ours` and `home` are the
// program's environment and the user's home, injectable for tests.
SignInCommand command(SignInAgent agent, const Profile *profile, const QString &toolPath,
                      const QProcessEnvironment &ours = QProcessEnvironment::systemEnvironment(),
                      const QString &home = QString());

// Quotes a word for a POSIX shell: 'it'\''s'.
QString shellQuote(const QString &word);

} // namespace signin
} // namespace corvane
