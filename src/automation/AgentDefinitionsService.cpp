#include "automation/AgentDefinitionsService.h"

#include "automation/DefinitionFiles.h"
#include "automation/RecordMirror.h"
#include "core/store/StoreContext.h"

#include <QFileInfo>

namespace corvane {

namespace files = definitionfiles;

namespace {

QList<ScannedAgent> scanFolder(const QString &folder)
{
    QList<ScannedAgent> agents;
    for (const QString &path : files::markdownFiles(folder))
        if (const auto content = files::readUtf8(path))
            agents.append(agentfile::parse(*content, path));
    return agents;
}

} // namespace

void applyScannedAgent(AgentDefinition &record, const ScannedAgent &agent)
{
    record.name = agent.name;
    record.displayName = agent.displayName;
    record.descriptionText = agent.description;
    record.systemPrompt = agent.systemPrompt;
    record.allowedTools = agent.allowedTools;
    record.model = agent.model;
    record.icon = agent.icon;
    record.colorHex = agent.colorHex;
    record.isBuiltin = false;
    record.updatedAt = QDateTime::currentDateTime();
}

ScannedAgent scannedAgentOf(const AgentDefinition &record)
{
    ScannedAgent agent;
    agent.name = record.name;
    agent.displayName = record.displayName;
    agent.description = record.descriptionText;
    agent.systemPrompt = record.systemPrompt;
    agent.allowedTools = record.allowedTools;
    agent.model = record.model;
    agent.icon = record.icon;
    agent.colorHex = record.colorHex;
    agent.filePath = record.filePath;
    return agent;
}

AgentDefinitionsService::AgentDefinitionsService(std::shared_ptr<Store> store, QObject *parent)
    : DefinitionService(std::move(store), parent)
{
}

QString AgentDefinitionsService::userFolder()
{
    return files::claudeHome() + QStringLiteral("/agents");
}

QString AgentDefinitionsService::projectFolder(const QString &projectPath)
{
    return projectPath + QStringLiteral("/.claude/agents");
}

QString AgentDefinitionsService::alreadyExistsMessage(const QString &name)
{
    return QStringLiteral("An agent named '%1' already exists").arg(name);
}

void AgentDefinitionsService::installBuiltins()
{
    QList<std::pair<QString, QString>> builtins;
    for (const ScannedAgent &agent : agentfile::builtins())
        builtins.append({agent.name + QStringLiteral(".md"), agentfile::write(agent)});
    files::installMissing(userFolder(), builtins);
}

DefinitionService::ScanJob AgentDefinitionsService::scanJob(const QStringList &projectPaths)
{
    QStringList folders;
    for (const QString &path : projectPaths)
        folders.append(projectFolder(path));
    return [projectPaths, folders](StoreContext &context) {
        installBuiltins();
        return mirrorDefinitionFolders<AgentDefinition>(context, userFolder(), folders, projectPaths, scanFolder,
                                                        applyScannedAgent);
    };
}

Status AgentDefinitionsService::publish()
{
    auto agents = mainContext().fetch<AgentDefinition>();
    if (!agents)
        return agents.error();
    sortByName(*agents);
    m_agents = std::move(agents).value();
    return {};
}

Result<QString> AgentDefinitionsService::createAgent(const QString &name, const DefinitionLocation &location)
{
    if (Status valid = files::checkName(name); !valid)
        return valid.error();
    const QString folder = location.projectFolder ? projectFolder(*location.projectFolder) : userFolder();
    auto path = files::createNew(folder, name + QStringLiteral(".md"), agentfile::newAgentTemplate(name),
                                 alreadyExistsMessage(name));
    if (path)
        reload();
    return path;
}

Status AgentDefinitionsService::saveAgent(const std::shared_ptr<AgentDefinition> &agent, ScannedAgent edited)
{
    edited.name = edited.name.trimmed();
    if (edited.name.isEmpty())
        edited.name = agent->name;
    const auto target = files::renameForSave(agent->filePath, edited.name, alreadyExistsMessage(edited.name));
    if (!target)
        return target.error();
    edited.filePath = *target;
    if (Status written = files::writeAtomically(*target, agentfile::write(edited)); !written)
        return written;
    applyScannedAgent(*agent, edited);
    agent->filePath = *target;
    Status saved = mainContext().save();
    reload();
    return saved;
}

Result<QString> AgentDefinitionsService::cloneAgent(const std::shared_ptr<AgentDefinition> &agent)
{
    const auto content = files::readUtf8(agent->filePath);
    ScannedAgent copy = content ? agentfile::parse(*content, agent->filePath) : scannedAgentOf(*agent);
    const QFileInfo file(agent->filePath);
    copy.name = files::copyName(file.completeBaseName(), {}, [&](const QString &candidate) {
        return QFileInfo::exists(file.path() + QLatin1Char('/') + candidate + QStringLiteral(".md"));
    });
    if (copy.displayName == agent->name)
        copy.displayName = copy.name;
    auto path = files::createNew(file.path(), copy.name + QStringLiteral(".md"), agentfile::write(copy),
                                 alreadyExistsMessage(copy.name));
    if (path)
        reload();
    return path;
}

Status AgentDefinitionsService::deleteAgent(const std::shared_ptr<AgentDefinition> &agent)
{
    Status removed = files::removePath(agent->filePath);
    reload();
    return removed;
}

std::optional<QString> AgentDefinitionsService::readAgentFile(const std::shared_ptr<AgentDefinition> &agent) const
{
    const auto content = files::readUtf8(agent->filePath);
    if (!content)
        return std::nullopt;
    return agentfile::parse(*content, agent->filePath).systemPrompt;
}

} // namespace corvane
