#include "app/cli/ProfilesCommand.h"
#include "app/cli/CliOutput.h"

#include "accounts/ProfileService.h"
#include "app/StartupSequence.h"
#include "core/Paths.h"
#include "core/records/Profile.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"

#include <QCommandLineParser>
#include <QEventLoop>
#include <QHash>
#include <QTimer>

#include <cstdio>

namespace corvane::cli {

namespace {

// "signed in (ana@example.com)", "signed out", or "unknown" when claude could not be asked.
QString claudeState(const std::optional<AuthStatus> &status, bool probed)
{
    if (!probed)
        return QStringLiteral("not asked");
    if (!status)
        return QStringLiteral("unknown");
    if (!status->loggedIn)
        return QStringLiteral("signed out");
    if (status->email)
        return QStringLiteral("signed in (%1)").arg(*status->email);
    return QStringLiteral("signed in (%1)").arg(status->authMethod.value_or(QStringLiteral("account")));
}

QString codexState(const CodexAuthStatus &status)
{
    if (!status.loggedIn)
        return QStringLiteral("signed out");
    if (status.email)
        return QStringLiteral("signed in (%1)").arg(*status.email);
    return QStringLiteral("signed in (%1)").arg(status.authMode.value_or(QStringLiteral("apikey")));
}

} // namespace

int profilesCommand(const QStringList &args)
{
    QCommandLineParser parser;
    parser.addOption({"claude", "Path of the claude command.", "PATH"});
    parser.addOption({"no-probe", "Do not run claude; show only what is stored and codex's auth.json."});
    if (!parser.parse(args)) {
        printErr(QStringLiteral("corvane-cli profiles: ") + parser.errorText());
        return 2;
    }
    const std::shared_ptr<Store> store = openStoreOrSay();
    if (!store)
        return 1;
    ProfileService service(store->mainContext());
    service.setClaudePath(parser.value("claude"));
    const auto profiles = service.fetchProfiles();

    // Every profile is asked at once; the answers also bring the stored sign-in up to date.
    QHash<QUuid, std::optional<AuthStatus>> answers;
    const bool probe = !parser.isSet("no-probe") && service.resolveClaudeBinary().has_value();
    if (probe) {
        QEventLoop loop;
        int waiting = int(profiles.size());
        for (const auto &profile : profiles) {
            service.refreshAccountInfo(profile, [&, id = profile->id](std::optional<AuthStatus> status) {
                answers.insert(id, std::move(status));
                if (--waiting == 0)
                    loop.quit();
            });
        }
        if (waiting > 0)
            loop.exec();
    } else if (!parser.isSet("no-probe")) {
        printErr(QStringLiteral("corvane-cli profiles: claude was not found; its sign-in state is unknown"));
    }

    for (const auto &profile : profiles) {
        const QString name = profile->isDefault ? profile->name + QStringLiteral(" (default)") : profile->name;
        const QString claude = claudeState(answers.value(profile->id), probe);
        const QString codex = codexState(ProfileService::fetchCodexAuthStatus(profile->codexHomeDir));
        const QString line = QStringList{profile->id.toString(QUuid::WithoutBraces).toUpper(), name,
                                         QStringLiteral("claude: ") + claude, QStringLiteral("codex: ") + codex,
                                         profile->configDirPath}
                                 .join(QLatin1Char('\t'));
        std::fprintf(stdout, "%s\n", line.toUtf8().constData());
    }
    return 0;
}

} // namespace corvane::cli
