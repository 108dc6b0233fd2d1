#include "accounts/onboarding/OnboardingValidator.h"

#include "accounts/AuthStatus.h"
#include "accounts/ProfileService.h"
#include "accounts/onboarding/DesktopServices.h"
#include "accounts/onboarding/OnboardingShell.h"
#include "agent/runtime/ToolLocator.h"
#include "core/MainThread.h"
#include "core/process/ChildProcess.h"

#include <QDir>
#include <QStringDecoder>
#include <QTimer>

#include <memory>

namespace corvane {

namespace {

using Kind = OnboardingChecklistItem::Kind;

} // namespace

OnboardingValidator::OnboardingValidator(ProfileService *profiles, QObject *parent)
    : QObject(parent), m_profiles(profiles), m_environment(QProcessEnvironment::systemEnvironment()),
      m_home(QDir::homePath())
{
}

OnboardingValidator::~OnboardingValidator() = default; // the shells are our children: their groups are killed

void OnboardingValidator::setEnvironment(const QProcessEnvironment &environment, const QString &home)
{
    m_environment = environment;
    m_home = home;
}

void OnboardingValidator::setToolPaths(const QString &claudePath, const QString &codexPath)
{
    m_claudePath = claudePath;
    m_codexPath = codexPath;
}

void OnboardingValidator::check(const OnboardingChecklistItem &item, QObject *context, CheckDone done)
{
    if (!context)
        context = this;
    switch (item.kind) {
    case Kind::dependency:
        return checkDependency(item, context, std::move(done));
    case Kind::claudeLogin:
        return checkClaudeLogin(context, std::move(done));
    case Kind::codexLogin: {
        // codex keeps its sign-in in $CODEX_HOME, ~/.codex unless set.
        const QString codexHome = m_environment.value(QStringLiteral("CODEX_HOME"));
        const std::optional<QString> folder = codexHome.isEmpty() ? std::optional<QString>(m_home + QStringLiteral("/.codex"))
                                                                  : std::optional<QString>(codexHome);
        return runInBackground(context, [folder] { return auth::readCodexAuth(folder); },
                         [done = std::move(done)](const CodexAuthStatus &status) {
                             done(status.loggedIn ? OnboardingCheck::ok() : OnboardingCheck::missing());
                         });
    }
    case Kind::permissionNotifications: {
        const QString address = m_environment.value(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
        return runInBackground(context, [address] { return onboarding::checkNotificationService(address); }, std::move(done));
    }
    case Kind::permissionMicrophone:
        // The audio system is asked on this thread, after the caller has returned.
        QTimer::singleShot(0, context, [done = std::move(done)] {
            done(onboarding::hasAudioInput() ? OnboardingCheck::ok()
                                             : OnboardingCheck::missing(tr("No microphone was found.")));
        });
        return;
    }
}

void OnboardingValidator::checkDependency(const OnboardingChecklistItem &item, QObject *context, CheckDone done)
{
    // A command chosen in the settings is what chats run, so it counts here too.
    std::optional<AgentTool> tool;
    if (item.id == QLatin1String("claude"))
        tool = AgentTool::claude;
    else if (item.id == QLatin1String("codex"))
        tool = AgentTool::codex;
    const QString chosen = !tool ? QString() : (*tool == AgentTool::claude ? m_claudePath : m_codexPath);
    const QString home = m_home;
    const QStringList environment = m_environment.toStringList();
    const QString path = m_environment.value(QStringLiteral("PATH"));
    const QStringList checkPaths = item.checkPaths;
    runInBackground(
        context,
        [=] {
            if (tool && !chosen.trimmed().isEmpty() && locateTool(*tool, chosen, home, environment).found())
                return OnboardingCheck::ok();
            return onboarding::dependencyPresent(checkPaths, onboarding::toolFolders(home, path)) ? OnboardingCheck::ok()
                                                                                                 : OnboardingCheck::missing();
        },
        std::move(done));
}

void OnboardingValidator::checkClaudeLogin(QObject *context, CheckDone done)
{
    if (!m_profiles || !m_profiles->resolveClaudeBinary()) {
        QTimer::singleShot(0, context, [done = std::move(done)] { done(OnboardingCheck::missing()); });
        return;
    }
    // The user's own sign-in: no configuration folder of a profile.
    m_profiles->fetchAuthStatus(std::nullopt, context, [done = std::move(done)](std::optional<AuthStatus> status) {
        done(status && status->loggedIn ? OnboardingCheck::ok() : OnboardingCheck::missing());
    });
}

void OnboardingValidator::perform(const OnboardingChecklistItem &item, Output onOutput, Done done)
{
    switch (item.kind) {
    case Kind::dependency:
        return runShell(item.installCommand, std::move(onOutput), std::move(done));
    case Kind::claudeLogin:
        return performSignIn(SignInAgent::claude, onOutput, std::move(done));
    case Kind::codexLogin:
        return performSignIn(SignInAgent::chatGpt, onOutput, std::move(done));
    case Kind::permissionNotifications: {
        const QString address = m_environment.value(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
        return runInBackground(this, [address] { return onboarding::sendTestNotification(address); },
                         [onOutput = std::move(onOutput), done = std::move(done)](const Result<QString> &sent) {
                             onOutput((sent ? sent.value() : sent.error().message) + QLatin1Char('\n'));
                             done(sent.ok());
                         });
    }
    case Kind::permissionMicrophone:
        // Linux asks no permission for a microphone: what counts is that there is one.
        QTimer::singleShot(0, this, [onOutput = std::move(onOutput), done = std::move(done)] {
            const bool found = onboarding::hasAudioInput();
            if (!found)
                onOutput(tr("No microphone was found.") + QLatin1Char('\n'));
            done(found);
        });
        return;
    }
}

void OnboardingValidator::performSignIn(SignInAgent agent, const Output &onOutput, Done done)
{
    auto once = std::make_shared<Done>(std::move(done));
    const bool shown = m_signIn && m_signIn(agent, [once, guard = QPointer<QObject>(this)](bool signedIn) {
        if (guard && *once)
            std::exchange(*once, Done())(signedIn);
    });
    if (!shown) {
        onOutput(tr("There is no window to show the sign-in in.") + QLatin1Char('\n'));
        QTimer::singleShot(0, this, [once] {
            if (*once)
                std::exchange(*once, Done())(false);
        });
    }
}

void OnboardingValidator::runShell(const QString &command, Output onOutput, Done done)
{
    auto *child = new ChildProcess(ChildProcess::OutputMode::Raw, this);
    child->setObjectName(QStringLiteral("onboardingShell"));
    // One decoder for both streams: a character split across two reads is joined again.
    auto decoder = std::make_shared<QStringDecoder>(QStringDecoder::Utf8);
    auto forward = [decoder, onOutput](const QByteArray &bytes) {
        const QString text = decoder->decode(bytes);
        if (!text.isEmpty() && onOutput)
            onOutput(text);
    };
    connect(child, &ChildProcess::outputReady, this, forward);
    connect(child, &ChildProcess::errorOutput, this, forward);
    connect(child, &ChildProcess::failedToStart, this, [child, onOutput, done](const Error &error) {
        if (onOutput)
            onOutput(QStringLiteral("Failed to start: ") + error.message + QLatin1Char('\n'));
        child->deleteLater();
        if (done)
            done(false);
    });
    connect(child, &ChildProcess::finished, this, [child, done](int code, ChildProcess::ExitKind kind, int) {
        child->deleteLater();
        if (done)
            done(kind == ChildProcess::ExitKind::Normal && code == 0);
    });
    child->start(onboarding::shellCommand(command, m_environment, m_home));
}

int OnboardingValidator::runningShells() const
{
    int count = 0;
    for (const ChildProcess *child : findChildren<ChildProcess *>(QStringLiteral("onboardingShell"), Qt::FindDirectChildrenOnly))
        count += child->isRunning() ? 1 : 0;
    return count;
}

} // namespace corvane
