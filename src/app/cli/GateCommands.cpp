#include "app/cli/GateCommands.h"

#include "app/cli/ChatLookup.h"
#include "app/cli/CliOutput.h"
#include "automation/ProjectGates.h"
#include "core/records/Project.h"
#include "core/records/QualityGate.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"

#include <QCommandLineParser>
#include <QFileInfo>

namespace corvane::cli {

namespace {

// "order  name  required|optional  timeout  success code  command", tab-separated.
QString gateLine(const QualityGate &gate)
{
    return QStringList{QString::number(gate.order), gate.name,
                       gate.isRequired ? QStringLiteral("required") : QStringLiteral("optional"),
                       gate.timeoutSeconds > 0 ? QStringLiteral("%1s").arg(gate.timeoutSeconds) : QStringLiteral("-"),
                       QString::number(gate.successExitCode),
                       gate.isEnabled ? gate.command : gate.command + QStringLiteral(" (disabled)")}
        .join(QLatin1Char('\t'));
}

} // namespace

int gateCommand(const QStringList &arguments)
{
    const QString verb = arguments.value(1);
    const QStringList rest = withoutVerb(arguments);
    QCommandLineParser parser;
    parser.addOption({"project", "The project folder.", "DIR"});
    parser.addOption({"name", "The gate's name.", "NAME"});
    parser.addOption({"command", "The shell command.", "CMD"});
    parser.addOption({"timeout", "Seconds before the gate is stopped (0: never).", "S", "0"});
    parser.addOption({"optional", "A failure is recorded but does not stop the run."});
    parser.addOption({"feedback", "What the coordinator is told when it fails: {name}, {exitCode}, {output}.", "TEMPLATE"});
    if (verb != QLatin1String("add") || !parser.parse(rest) || !parser.isSet("project") || !parser.isSet("name")
        || !parser.isSet("command")) {
        printErr(QStringLiteral("corvane-cli gate: usage: corvane-cli gate add --project DIR --name NAME --command CMD "
                                "[--timeout S] [--optional] [--feedback TEMPLATE]"));
        return 2;
    }
    bool numeric = false;
    const qint64 timeout = parser.value("timeout").toLongLong(&numeric);
    if (!numeric || timeout < 0) {
        printErr(QStringLiteral("corvane-cli gate add: \"%1\" is not a number of seconds").arg(parser.value("timeout")));
        return 2;
    }
    const QString name = parser.value("name").trimmed();
    if (name.isEmpty() || parser.value("command").trimmed().isEmpty()) {
        printErr(QStringLiteral("corvane-cli gate add: the name and the command cannot be empty"));
        return 2;
    }
    if (!QFileInfo(parser.value("project")).isDir()) {
        printErr(QStringLiteral("corvane-cli gate add: %1 is not a folder").arg(parser.value("project")));
        return 2;
    }
    const auto store = openStoreOrSay();
    if (!store)
        return 1;
    StoreContext &context = store->mainContext();
    auto project = projectForFolder(context, parser.value("project"));
    if (!project) {
        printErr(QStringLiteral("corvane-cli gate add: ") + project.error().message);
        return 1;
    }
    const auto existing = projectgates::of(context, (*project)->id);
    for (const auto &gate : existing) {
        if (gate->name == name) {
            printErr(QStringLiteral("corvane-cli gate add: %1 already has a gate named \"%2\"").arg((*project)->path, name));
            return 1;
        }
    }
    QualityGate gate;
    gate.projectId = (*project)->id;
    gate.name = name;
    gate.command = parser.value("command");
    gate.timeoutSeconds = timeout;
    gate.isRequired = !parser.isSet("optional");
    gate.order = existing.isEmpty() ? 0 : existing.last()->order + 1;
    gate.feedbackTemplate = parser.isSet("feedback") ? parser.value("feedback") : projectgates::defaultFeedback();
    context.insert(gate);
    if (Status saved = context.save(); !saved) {
        printErr(QStringLiteral("corvane-cli gate add: ") + saved.error().message);
        return 1;
    }
    printOut(gateLine(gate));
    return 0;
}

int listGates(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addOption({"project", "The project folder.", "DIR"});
    if (!parser.parse(arguments) || !parser.isSet("project")) {
        printErr(QStringLiteral("corvane-cli gates: --project DIR is required"));
        return 2;
    }
    const auto store = openStoreOrSay();
    if (!store)
        return 1;
    StoreContext &context = store->mainContext();
    const QString path = QFileInfo(parser.value("project")).canonicalFilePath();
    const auto project = path.isEmpty() ? nullptr : context.fetchFirst<Project>(Query(where::eq("path", path))).valueOr(nullptr);
    if (!project)
        return 0; // a folder that is no project has no gates
    for (const auto &gate : projectgates::of(context, project->id))
        printOut(gateLine(*gate));
    return 0;
}

} // namespace corvane::cli
