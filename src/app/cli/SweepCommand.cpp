#include "app/cli/SweepCommand.h"

#include "app/cli/CliOutput.h"
#include "core/Paths.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/Store.h"
#include "source_control/retention/ArchiveCleanupService.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include <QCommandLineParser>
#include <QEventLoop>

namespace corvane::cli {

namespace {

QString line(const SweepCandidate &candidate)
{
    return QStringList{candidate.kindName(), candidate.id.toString(QUuid::WithoutBraces), candidate.name,
                       candidate.archivedAt.toUTC().toString(Qt::ISODate)}
        .join(QLatin1Char('\t'));
}

QString plural(qsizetype count, const char *noun)
{
    return QStringLiteral("%1 %2%3").arg(count).arg(QLatin1String(noun)).arg(count == 1 ? "" : "s");
}

} // namespace

int sweepCommand(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addOption({"dry-run", "Only print what would be deleted."});
    if (!parser.parse(arguments) || !parser.positionalArguments().isEmpty()) {
        printErr(QStringLiteral("corvane-cli sweep: %1 (usage: corvane-cli sweep [--dry-run])")
                     .arg(parser.errorText().isEmpty() ? QStringLiteral("unexpected argument \"%1\"")
                                                             .arg(parser.positionalArguments().value(0))
                                                       : parser.errorText()));
        return 2;
    }
    auto store = openStoreOrSay();
    if (!store)
        return 1;
    const PreferencesStore preferences(paths::settingsFile());
    const ArchiveCleanupService::Retentions retentions{AppSettings::storedChatRetention(preferences),
                                                       AppSettings::storedWorkspaceRetention(preferences)};
    WorkspaceLifecycleService lifecycle(store->mainContext());
    ArchiveCleanupService cleanup(lifecycle, [retentions] { return retentions; });

    if (parser.isSet("dry-run")) {
        const SweepPlan plan = cleanup.plan();
        for (const SweepCandidate &candidate : plan.workspaces + plan.chats)
            printOut(line(candidate));
        printOut(QStringLiteral("total\t%1 would be deleted (%2, %3)")
                     .arg(plural(plan.size(), "record"), plural(plan.workspaces.size(), "workspace"),
                          plural(plan.chats.size(), "chat")));
        return 0;
    }

    QEventLoop loop;
    SweepReport report;
    QObject::connect(&cleanup, &ArchiveCleanupService::sweepFinished, &loop, [&](const SweepReport &r) {
        report = r;
        loop.quit();
    });
    cleanup.sweep();
    loop.exec();
    for (const SweepCandidate &candidate : std::as_const(report.deleted))
        printOut(QStringLiteral("deleted\t") + line(candidate));
    for (const auto &[candidate, why] : std::as_const(report.skipped))
        printOut(QStringLiteral("kept\t") + line(candidate) + QLatin1Char('\t') + why);
    printOut(QStringLiteral("total\t%1 deleted, %2 kept").arg(report.deleted.size()).arg(report.skipped.size()));
    return 0;
}

} // namespace corvane::cli
