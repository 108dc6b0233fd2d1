#include "app/cli/ImportCommand.h"

#include "accounts/import/ImportService.h"
#include "app/cli/CliOutput.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>

namespace corvane::cli {

namespace {

const QString usage = QStringLiteral("usage: corvane-cli import --project DIR [--list] [--all | --session ID...]");

QString oneLine(QString text)
{
    text.replace(QLatin1String("\r\n"), QLatin1String(" "));
    text.replace(QLatin1Char('\n'), QLatin1Char(' '));
    text.replace(QLatin1Char('\r'), QLatin1Char(' '));
    return text.replace(QLatin1Char('\t'), QLatin1Char(' '));
}

std::shared_ptr<Project> projectAt(StoreContext &context, const QString &folder)
{
    const QFileInfo info(folder);
    for (const QString &path : {info.canonicalFilePath(), QDir::cleanPath(info.absoluteFilePath())}) {
        if (path.isEmpty())
            continue;
        auto found = context.fetchFirst<Project>(Query(where::eq("path", path)));
        if (found && *found)
            return *found;
    }
    return nullptr;
}

} // namespace

int importCommand(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addOption({"project", "The project's folder.", "DIR"});
    parser.addOption({"list", "List the importable sessions (the default)."});
    parser.addOption({"all", "Import every importable session."});
    parser.addOption({"session", "Import the session with this id (repeatable).", "ID"});
    if (!parser.parse(arguments)) {
        printErr(QStringLiteral("corvane-cli import: %1\n%2").arg(parser.errorText(), usage));
        return 2;
    }
    if (!parser.positionalArguments().isEmpty()) {
        printErr(QStringLiteral("corvane-cli import: unexpected argument \"%1\"\n%2")
                     .arg(parser.positionalArguments().first(), usage));
        return 2;
    }
    if (!parser.isSet("project") || parser.value("project").isEmpty()) {
        printErr(QStringLiteral("corvane-cli import: --project DIR is required\n") + usage);
        return 2;
    }
    const bool all = parser.isSet("all");
    const QStringList wanted = parser.values("session");
    if (all && !wanted.isEmpty()) {
        printErr(QStringLiteral("corvane-cli import: --all and --session exclude each other\n") + usage);
        return 2;
    }
    if (parser.isSet("list") && (all || !wanted.isEmpty())) {
        printErr(QStringLiteral("corvane-cli import: --list does not import; leave out --all and --session\n") + usage);
        return 2;
    }

    const auto store = openStoreOrSay();
    if (!store)
        return 1;
    StoreContext &context = store->mainContext();
    const QString folder = parser.value("project");
    const auto project = projectAt(context, folder);
    if (!project) {
        printErr(QStringLiteral("corvane-cli import: %1 is not a project; add the folder in the window first").arg(folder));
        return 1;
    }
    const auto profile = project->profileId ? context.get<Profile>(*project->profileId) : nullptr;
    const ImportService service(ImportRoots::forProfile(profile.get()));
    const QList<ImportableSession> sessions = service.discoverSessions(project->path, store.get());

    if (!all && wanted.isEmpty()) {
        for (const ImportableSession &s : sessions)
            printOut(QStringList{s.id, toRaw(s.agentType), s.modified.toUTC().toString(Qt::ISODate),
                                 s.model.value_or(QStringLiteral("-")), QString::number(s.messageCount), oneLine(s.firstPrompt)}
                         .join(QLatin1Char('\t')));
        return 0;
    }

    QList<ImportableSession> chosen;
    int failures = 0;
    if (all) {
        chosen = sessions;
    } else {
        for (const QString &id : wanted) {
            const auto it = std::find_if(sessions.begin(), sessions.end(), [&id](const ImportableSession &s) { return s.id == id; });
            if (it == sessions.end()) {
                printErr(QStringLiteral("corvane-cli import: no importable session %1 for %2 (already imported, or not "
                                        "a session of this folder)").arg(id, project->path));
                ++failures;
            } else if (!chosen.contains(*it)) {
                chosen.append(*it);
            }
        }
    }
    const ImportOutcome outcome = ImportService::importSessions(chosen, project->id, context);
    for (int i = 0; i < outcome.workspaceIds.size(); ++i) {
        const auto it = std::find_if(chosen.begin(), chosen.end(),
                                     [&](const ImportableSession &s) { return s.id == outcome.sessionIds[i]; });
        printOut(QStringList{outcome.workspaceIds[i].toString(QUuid::WithoutBraces), outcome.chatIds[i].toString(QUuid::WithoutBraces),
                             outcome.sessionIds[i], oneLine(it->firstPrompt.left(60))}
                     .join(QLatin1Char('\t')));
    }
    for (const Error &error : outcome.errors)
        printErr(QStringLiteral("corvane-cli import: ") + error.message);
    failures += int(outcome.errors.size());
    return failures > 0 ? 1 : 0;
}

} // namespace corvane::cli
