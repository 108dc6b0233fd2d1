#pragma once

#include "accounts/SignInCommand.h"
#include "accounts/onboarding/OnboardingChecklistItem.h"

#include <QObject>
#include <QPointer>
#include <QProcessEnvironment>
#include <QString>

#include <functional>

namespace corvane {

class ChildProcess;
class ProfileService;

// Checks a checklist row and acts on it. Nothing here waits on the calling thread: processes
// report through signals, file and bus look-ups run on the thread pool, and every answer
// arrives on the thread of the validator through the handler given. Shells still running when
// the validator goes are ended with everything they started.
class OnboardingValidator : public QObject
{
    Q_OBJECT

public:
    using Output = std::function<void(const QString &)>;
    using Done = std::function<void(bool)>;
    using CheckDone = std::function<void(OnboardingCheck)>;
    // Shows an agent's sign-in in a window of the application and calls `closed(signedIn)` once
    // it is closed; false when there was no window to show it over. The application provides
    // it, so this logic never touches a widget.
    using SignInOpener = std::function<bool(SignInAgent agent, std::function<void(bool)> closed)>;

    explicit OnboardingValidator(ProfileService *profiles, QObject *parent = nullptr);
    ~OnboardingValidator() override;

    // Ours and the user's home, for tests; the process's own by default.
    void setEnvironment(const QProcessEnvironment &environment, const QString &home);
    QProcessEnvironment environment() const { return m_environment; }
    QString home() const { return m_home; }
    // The commands chosen in the settings; a path given there counts as installed.
    void setToolPaths(const QString &claudePath, const QString &codexPath);
    void setSignInOpener(SignInOpener opener) { m_signIn = std::move(opener); }

    // Whether the row is satisfied now. `done` is not called once `context` is gone.
    void check(const OnboardingChecklistItem &item, QObject *context, CheckDone done);
    // The row's action; `onOutput` hears what it prints, `done` whether it succeeded.
    void perform(const OnboardingChecklistItem &item, Output onOutput, Done done);
    // `command` in the user's login shell (see onboarding::shellCommand). Failure to start
    // reports "Failed to start: <reason>" and counts as failure; otherwise exit status 0 is
    // success.
    void runShell(const QString &command, Output onOutput, Done done);

    // Shells started and not yet ended.
    int runningShells() const;

private:
    void checkDependency(const OnboardingChecklistItem &item, QObject *context, CheckDone done);
    void checkClaudeLogin(QObject *context, CheckDone done);
    void performSignIn(SignInAgent agent, const Output &onOutput, Done done);

    QPointer<ProfileService> m_profiles;
    QProcessEnvironment m_environment;
    QString m_home;
    QString m_claudePath;
    QString m_codexPath;
    SignInOpener m_signIn;
};

} // namespace corvane
