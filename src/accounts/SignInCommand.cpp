#include "accounts/SignInCommand.h"

#include "agent/runtime/AgentEnvironment.h"
#include "core/records/Profile.h"

#include <QDir>
#include <QFileInfo>
#include <QObject>

namespace corvane::signin {

namespace {

const QString fallbackPath = QStringLiteral("/usr/local/bin:/usr/bin:/bin");

// A browser opened by the login needs the desktop session; these carry no account.
const char *const desktopVariables[] = {"DISPLAY", "WAYLAND_DISPLAY", "XAUTHORITY", "XDG_RUNTIME_DIR",
                                        "DBUS_SESSION_BUS_ADDRESS", "XDG_CURRENT_DESKTOP", "BROWSER"};

QString existingFolderOr(const QString &folder, const QString &fallback)
{
    return !folder.isEmpty() && QFileInfo(folder).isDir() ? folder : fallback;
}

} // namespace

QString shellQuote(const QString &word)
{
    QString quoted = word;
    quoted.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

SignInCommand command(SignInAgent agent, const Profile *profile, const QString &toolPath,
                      const QProcessEnvironment &ours, const QString &givenHome)
{
    const bool claude = agent == SignInAgent::claude;
    const bool named = profile && !profile->isDefault;
    const QString account = claude ? QStringLiteral("Claude") : QStringLiteral("ChatGPT");
    SignInCommand result;
    result.agent = agent;
    result.title = claude ? QObject::tr("Sign in to Claude") : QObject::tr("Sign in with ChatGPT");
    result.text = named ? QObject::tr("Sign in to %1 for the \"%2\" profile.").arg(account, profile->name)
                        : QObject::tr("Sign in to %1 using the terminal below.").arg(account);

    const QString home = !givenHome.isEmpty() ? givenHome : ours.value(QStringLiteral("HOME"), QDir::homePath());
    const QString shell = ours.value(QStringLiteral("SHELL"));
    result.program = !shell.isEmpty() ? shell : QStringLiteral("/bin/bash");
    const QString tool = !toolPath.isEmpty() ? shellQuote(toolPath)
                                             : (claude ? QStringLiteral("claude") : QStringLiteral("codex"));
    result.arguments = {QStringLiteral("-l"), QStringLiteral("-c"),
                        tool + (claude ? QStringLiteral(" auth login") : QStringLiteral(" login"))};

    const QString defaultFolder = claude ? home + QStringLiteral("/.claude") : home + QStringLiteral("/.codex");
    const QString folder = profile ? (claude ? profile->configDirPath : profile->codexHomeDir.value_or(defaultFolder))
                                   : defaultFolder;
    result.workingDirectory = existingFolderOr(folder, home);

    const QString userPath = ours.value(QStringLiteral("PATH"));
    const QString user = ours.value(QStringLiteral("USER"), qEnvironmentVariable("USER"));
    const QString lang = ours.value(QStringLiteral("LANG"));
    QStringList env{
        QStringLiteral("TERM=xterm-256color"),
        QStringLiteral("COLORTERM=truecolor"),
        // en_US.UTF-8 is often not generated on Linux; C.UTF-8 always is.
        QStringLiteral("LANG=") + (lang.isEmpty() ? QStringLiteral("C.UTF-8") : lang),
        QStringLiteral("HOME=") + home,
        QStringLiteral("PATH=") + QStringList{home + QStringLiteral("/.local/bin"), home + QStringLiteral("/.npm-global/bin"),
                                              userPath.isEmpty() ? fallbackPath : userPath, fallbackPath}
                                      .join(QLatin1Char(':')),
        QStringLiteral("SHELL=") + result.program,
        QStringLiteral("USER=") + user,
    };
    for (const char *name : desktopVariables)
        if (ours.contains(QLatin1String(name)))
            env.append(QLatin1String(name) + QLatin1Char('=') + ours.value(QLatin1String(name)));
    const QStringList prefixes = claude ? QStringList{QStringLiteral("ANTHROPIC"), QStringLiteral("CLAUDE")}
                                        : QStringList{QStringLiteral("OPENAI"), QStringLiteral("CODEX")};
    for (const QString &key : ours.keys())
        for (const QString &prefix : prefixes)
            if (key.startsWith(prefix)) {
                env.append(key + QLatin1Char('=') + ours.value(key));
                break;
            }
    if (named)
        env = claude ? applyClaudeEnvironment(env, *profile) : applyCodexEnvironment(env, *profile);
    result.environment = env;
    return result;
}

} // namespace corvane::signin
