#pragma once

#include "automation/AgentFile.h"
#include "automation/DefinitionService.h"
#include "core/records/AgentDefinition.h"

#include <QList>

#include <memory>
#include <optional>

namespace corvane {

// Subagents where the claude agent finds them: "~/.claude/agents/*.md" for the user and
// "<project>/.claude/agents/*.md" for each project (no subfolders), mirrored into
// AgentDefinition records. "planner" and "reviewer" are written whenever they are missing.
class AgentDefinitionsService : public DefinitionService
{
    Q_OBJECT

public:
    AgentDefinitionsService(std::shared_ptr<Store> store, QObject *parent = nullptr);

    static QString userFolder();
    static QString projectFolder(const QString &projectPath);
    static QString alreadyExistsMessage(const QString &name);
    static void installBuiltins();

    // Sorted by name.
    const QList<std::shared_ptr<AgentDefinition>> &agents() const { return m_agents; }

    Result<QString> createAgent(const QString &name, const DefinitionLocation &location);
    // Writes the editor's form of `edited` (keys the editor does not know are dropped). A name that
    // differs from the file's stem moves the file first, refused when that file exists.
    Status saveAgent(const std::shared_ptr<AgentDefinition> &agent, ScannedAgent edited);
    // A copy beside the original, as "<stem>-copy.md" (then "-copy-2", ...) and named so.
    Result<QString> cloneAgent(const std::shared_ptr<AgentDefinition> &agent);
    Status deleteAgent(const std::shared_ptr<AgentDefinition> &agent);
    // The body of the file as it is now, or none when it cannot be read.
    std::optional<QString> readAgentFile(const std::shared_ptr<AgentDefinition> &agent) const;

protected:
    ScanJob scanJob(const QStringList &projectPaths) override;
    Status publish() override;

private:
    QList<std::shared_ptr<AgentDefinition>> m_agents;
};

void applyScannedAgent(AgentDefinition &record, const ScannedAgent &agent);
ScannedAgent scannedAgentOf(const AgentDefinition &record);

} // namespace corvane
