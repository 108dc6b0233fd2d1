#include "app/cli/DefinitionCommands.h"
#include "app/cli/CliOutput.h"

#include "app/StartupSequence.h"
#include "automation/AgentDefinitionsService.h"
#include "automation/AutomationFlowsService.h"
#include "core/Paths.h"
#include "core/records/Project.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "planning/SkillsService.h"

#include <QCommandLineParser>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>

#include <cstdio>

namespace corvane::cli {

namespace {

QString absolute(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() ? info.canonicalFilePath() : QDir::cleanPath(info.absoluteFilePath());
}

// Every project's folder, or just `only` when given: the folders a scan looks into besides the
// user's own.
QStringList projectFolders(StoreContext &context, const QString &only)
{
    if (!only.isEmpty())
        return {absolute(only)};
    QStringList folders;
    for (const auto &project : context.fetchOrEmpty<Project>())
        folders.append(project->path);
    return folders;
}

// Runs one reload to its end; false (with the reason printed) when it failed.
bool reloadAndWait(DefinitionService &service, const QStringList &projectPaths, const QString &command)
{
    QEventLoop loop;
    QObject::connect(&service, &DefinitionService::reloaded, &loop, &QEventLoop::quit);
    service.reload(projectPaths);
    loop.exec();
    if (service.lastError()) {
        printErr(QStringLiteral("corvane-cli %1: %2").arg(command, *service.lastError()));
        return false;
    }
    return true;
}

QString scopeWord(bool isProject)
{
    return isProject ? QStringLiteral("project") : QStringLiteral("user");
}

} // namespace

int listDefinitions(const QString &kind, const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addOption({"project", "The user's definitions and this folder's only.", "DIR"});
    if (!parser.parse(arguments) || !parser.positionalArguments().isEmpty()) {
        printErr(QStringLiteral("corvane-cli %1: usage: corvane-cli %1 [--project DIR]").arg(kind));
        return 2;
    }
    if (parser.isSet("project") && !QFileInfo(parser.value("project")).isDir()) {
        printErr(QStringLiteral("corvane-cli %1: %2 is not a folder").arg(kind, parser.value("project")));
        return 2;
    }
    const std::shared_ptr<Store> store = openStoreOrSay();
    if (!store)
        return 1;
    const QStringList folders = projectFolders(store->mainContext(), parser.value("project"));
    auto print = [](const QString &name, bool isProject, const QString &file) {
        printOut(QStringList{name, scopeWord(isProject), file}.join(QLatin1Char('\t')));
    };
    if (kind == QLatin1String("flows")) {
        AutomationFlowsService service(store);
        if (!reloadAndWait(service, folders, kind))
            return 1;
        for (const auto &flow : service.flows())
            print(flow->name, flow->isProjectScoped(), flow->filePath);
    } else if (kind == QLatin1String("agents")) {
        AgentDefinitionsService service(store);
        if (!reloadAndWait(service, folders, kind))
            return 1;
        for (const auto &agent : service.agents())
            print(agent->name, agent->isProjectScoped(), agent->filePath);
    } else {
        SkillsService service(store);
        if (!reloadAndWait(service, folders, kind))
            return 1;
        for (const auto &skill : service.skills())
            print(skill->name, skill->isProjectSkill(), skill->filePath);
    }
    return 0;
}

int skillCommand(const QStringList &arguments)
{
    const QString verb = arguments.value(1);
    QStringList rest = arguments;
    if (rest.size() > 1)
        rest.removeAt(1);
    QCommandLineParser parser;
    parser.addOption({"file", "The skill's SKILL.md or command file.", "PATH"});
    parser.addOption({"version", "The version to restore.", "N"});
    const bool known = verb == QLatin1String("history") || verb == QLatin1String("restore");
    if (!known || !parser.parse(rest) || !parser.isSet("file") || (verb == QLatin1String("restore") && !parser.isSet("version"))) {
        printErr(QStringLiteral("corvane-cli skill: usage: corvane-cli skill history --file PATH\n"
                                "                          corvane-cli skill restore --file PATH --version N"));
        return 2;
    }
    bool numeric = true;
    const qint64 wanted = parser.value("version").toLongLong(&numeric);
    if (verb == QLatin1String("restore") && (!numeric || wanted < 1)) {
        printErr(QStringLiteral("corvane-cli skill restore: \"%1\" is not a version number").arg(parser.value("version")));
        return 2;
    }
    const std::shared_ptr<Store> store = openStoreOrSay();
    if (!store)
        return 1;
    SkillsService service(store);
    if (!reloadAndWait(service, projectFolders(store->mainContext(), {}), QStringLiteral("skill")))
        return 1;
    const QString file = absolute(parser.value("file"));
    std::shared_ptr<Skill> skill;
    for (const auto &candidate : service.skills())
        if (absolute(candidate->filePath) == file)
            skill = candidate;
    if (!skill) {
        printErr(QStringLiteral("corvane-cli skill %1: no skill or command at %2 (skills live in "
                                "~/.claude/skills/<name>/SKILL.md and ~/.claude/commands/<name>.md, or the same "
                                "under a project's .claude)").arg(verb, file));
        return 1;
    }
    const auto versions = service.versions(skill);
    if (verb == QLatin1String("history")) {
        for (const auto &version : versions)
            printOut(QStringList{QStringLiteral("v%1").arg(version->versionNumber),
                                 version->createdAt.toUTC().toString(Qt::ISODate),
                                 version->label.value_or(QStringLiteral("-")), version->files.keys().join(QLatin1Char(','))}
                         .join(QLatin1Char('\t')));
        return 0;
    }
    const auto version = std::find_if(versions.cbegin(), versions.cend(),
                                      [&](const auto &v) { return v->versionNumber == wanted; });
    if (version == versions.cend()) {
        printErr(QStringLiteral("corvane-cli skill restore: %1 has no version %2").arg(file).arg(wanted));
        return 1;
    }
    if (Status restored = service.restoreVersion(skill, *version); !restored) {
        printErr(QStringLiteral("corvane-cli skill restore: ") + restored.error().message);
        return 1;
    }
    printOut(QStringLiteral("Restored %1 to v%2; the state before is v%3")
                 .arg(file).arg(wanted).arg(skill->currentVersionNumber));
    return 0;
}

} // namespace corvane::cli
