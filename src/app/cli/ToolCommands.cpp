#include "app/cli/ToolCommands.h"

#include "app/cli/CliOutput.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "tools/launch/RunCommandPresets.h"
#include "tools/ports/PortService.h"
#include "tools/ports/ProjectScopes.h"

#include <QCommandLineParser>
#include <QEventLoop>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace corvane::cli {

namespace {

void printJson(const QJsonArray &array)
{
    printOut(QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact)));
}

QJsonValue optional(const std::optional<QString> &text)
{
    return text ? QJsonValue(*text) : QJsonValue();
}

} // namespace

int portsCommand(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addOption({"json", "One JSON array instead of lines."});
    if (!parser.parse(arguments)) {
        printErr(QStringLiteral("corvane-cli ports: ") + parser.errorText());
        return 2;
    }
    const auto store = openStoreOrSay();
    if (!store)
        return 1;
    PortService service;
    service.setProjectScopes(projectScopes(store->mainContext()));
    QEventLoop loop;
    QObject::connect(&service, &PortService::changed, &loop, [&] {
        if (!service.isLoading())
            loop.quit();
    });
    service.refresh();
    if (service.isLoading())
        loop.exec();
    if (service.lastError()) {
        printErr(QStringLiteral("corvane-cli ports: ") + *service.lastError());
        return 1;
    }
    if (parser.isSet("json")) {
        QJsonArray rows;
        for (const PortInfo &port : service.ports())
            rows.append(QJsonObject{{"port", port.port},
                                    {"pid", port.pid},
                                    {"process", port.processName},
                                    {"address", port.address},
                                    {"project", optional(port.projectName)},
                                    {"workingDirectory", optional(port.workingDirectory)}});
        printJson(rows);
        return 0;
    }
    printOut(QStringLiteral("PORT\tPID\tPROCESS\tADDRESS\tPROJECT\tFOLDER"));
    for (const PortInfo &port : service.ports())
        printOut(QStringList{QString::number(port.port), QString::number(port.pid), port.processName,
                             port.displayAddress(), port.projectName.value_or(QStringLiteral("-")),
                             port.workingDirectory.value_or(QStringLiteral("-"))}
                     .join(QLatin1Char('\t')));
    return 0;
}

int runCommandsCommand(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addOption({"project", "The project folder.", "DIR"});
    parser.addOption({"json", "One JSON array instead of lines."});
    if (!parser.parse(arguments) || !parser.isSet("project")) {
        printErr(QStringLiteral("corvane-cli run-commands: usage: corvane-cli run-commands --project DIR [--json]"));
        return 2;
    }
    const QString folder = parser.value("project");
    if (!QFileInfo(folder).isDir()) {
        printErr(QStringLiteral("corvane-cli run-commands: %1 is not a folder").arg(folder));
        return 1;
    }
    const QList<RunCommandPreset> presets = detectPresets(folder);
    if (parser.isSet("json")) {
        QJsonArray rows;
        for (const RunCommandPreset &preset : presets)
            rows.append(QJsonObject{{"name", preset.name}, {"command", preset.command}, {"detectedBy", preset.detectedBy}});
        printJson(rows);
        return 0;
    }
    for (const RunCommandPreset &preset : presets)
        printOut(QStringList{preset.name, preset.command, preset.detectedBy}.join(QLatin1Char('\t')));
    return 0;
}

} // namespace corvane::cli
