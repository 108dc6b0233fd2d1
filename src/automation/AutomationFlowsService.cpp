#include "automation/AutomationFlowsService.h"

#include "automation/DefinitionFiles.h"
#include "automation/RecordMirror.h"
#include "core/store/StoreContext.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace corvane {

namespace files = definitionfiles;

namespace {

QList<ScannedFlow> scanFolder(const QString &folder)
{
    QList<ScannedFlow> flows;
    for (const QString &path : files::markdownFiles(folder))
        if (const auto content = files::readUtf8(path))
            flows.append(flowfile::parse(*content, path));
    return flows;
}

} // namespace

void applyScannedFlow(AutomationFlow &record, const ScannedFlow &flow)
{
    record.name = flow.name;
    record.descriptionText = flow.description;
    record.icon = flow.icon;
    record.colorHex = flow.colorHex;
    record.coordinatorPrompt = flow.coordinatorPrompt;
    record.availableAgentNames = flow.availableAgentNames;
    record.enabledGateNames = flow.enabledGateNames;
    record.skipImplementationPhase = flow.skipImplementationPhase;
    record.skipReviewPhase = flow.skipReviewPhase;
    record.requiresExistingDiff = flow.requiresExistingDiff;
    record.permissionModeRaw = flow.permissionModeRaw;
    record.defaultOpenWorkspace = flow.defaultOpenWorkspace;
    record.isBuiltin = false;
    record.updatedAt = QDateTime::currentDateTime();
}

ScannedFlow scannedFlowOf(const AutomationFlow &record)
{
    ScannedFlow flow;
    flow.name = record.name;
    flow.description = record.descriptionText;
    flow.icon = record.icon;
    flow.colorHex = record.colorHex;
    flow.coordinatorPrompt = record.coordinatorPrompt;
    flow.availableAgentNames = record.availableAgentNames;
    flow.enabledGateNames = record.enabledGateNames;
    flow.skipImplementationPhase = record.skipImplementationPhase;
    flow.skipReviewPhase = record.skipReviewPhase;
    flow.requiresExistingDiff = record.requiresExistingDiff;
    flow.permissionModeRaw = record.permissionModeRaw;
    flow.defaultOpenWorkspace = record.defaultOpenWorkspace;
    flow.filePath = record.filePath;
    return flow;
}

AutomationFlowsService::AutomationFlowsService(std::shared_ptr<Store> store, QObject *parent)
    : DefinitionService(std::move(store), parent)
{
}

QString AutomationFlowsService::userFolder()
{
    return files::claudeHome() + QStringLiteral("/flows");
}

QString AutomationFlowsService::projectFolder(const QString &projectPath)
{
    return projectPath + QStringLiteral("/.corvane/flows");
}

QString AutomationFlowsService::alreadyExistsMessage(const QString &name)
{
    return QStringLiteral("A flow named '%1' already exists").arg(name);
}

void AutomationFlowsService::installBuiltins()
{
    QList<std::pair<QString, QString>> builtins;
    for (const ScannedFlow &flow : flowfile::builtins())
        builtins.append({flow.name + QStringLiteral(".md"), flowfile::write(flow)});
    files::installMissing(userFolder(), builtins);
}

DefinitionService::ScanJob AutomationFlowsService::scanJob(const QStringList &projectPaths)
{
    QStringList folders;
    for (const QString &path : projectPaths)
        folders.append(projectFolder(path));
    return [projectPaths, folders](StoreContext &context) {
        installBuiltins();
        return mirrorDefinitionFolders<AutomationFlow>(context, userFolder(), folders, projectPaths, scanFolder,
                                                       applyScannedFlow);
    };
}

Status AutomationFlowsService::publish()
{
    auto flows = mainContext().fetch<AutomationFlow>();
    if (!flows)
        return flows.error();
    sortByName(*flows);
    m_flows = std::move(flows).value();
    return {};
}

Result<QString> AutomationFlowsService::createFlow(const QString &name, const DefinitionLocation &location)
{
    if (Status valid = files::checkName(name); !valid)
        return valid.error();
    const QString folder = location.projectFolder ? projectFolder(*location.projectFolder) : userFolder();
    auto path = files::createNew(folder, name + QStringLiteral(".md"), flowfile::newFlowTemplate(name),
                                 alreadyExistsMessage(name));
    if (path)
        reload();
    return path;
}

Status AutomationFlowsService::saveFlow(const std::shared_ptr<AutomationFlow> &flow, ScannedFlow edited)
{
    edited.name = edited.name.trimmed();
    if (edited.name.isEmpty())
        edited.name = flow->name;
    const auto target = files::renameForSave(flow->filePath, edited.name, alreadyExistsMessage(edited.name));
    if (!target)
        return target.error();
    edited.filePath = *target;
    if (Status written = files::writeAtomically(*target, flowfile::write(edited)); !written)
        return written;
    applyScannedFlow(*flow, edited);
    flow->filePath = *target;
    Status saved = mainContext().save();
    reload();
    return saved;
}

Result<QString> AutomationFlowsService::cloneFlow(const std::shared_ptr<AutomationFlow> &flow)
{
    ScannedFlow copy = readFlowFile(flow).value_or(scannedFlowOf(*flow));
    const QFileInfo file(flow->filePath);
    copy.name = files::copyName(file.completeBaseName(), {}, [&](const QString &candidate) {
        return QFileInfo::exists(file.path() + QLatin1Char('/') + candidate + QStringLiteral(".md"));
    });
    auto path = files::createNew(file.path(), copy.name + QStringLiteral(".md"), flowfile::write(copy),
                                 alreadyExistsMessage(copy.name));
    if (path)
        reload();
    return path;
}

Status AutomationFlowsService::deleteFlow(const std::shared_ptr<AutomationFlow> &flow)
{
    Status removed = files::removePath(flow->filePath);
    reload();
    return removed;
}

std::optional<ScannedFlow> AutomationFlowsService::readFlowFile(const std::shared_ptr<AutomationFlow> &flow) const
{
    const auto content = files::readUtf8(flow->filePath);
    if (!content)
        return std::nullopt;
    return flowfile::parse(*content, flow->filePath);
}

} // namespace corvane
