#pragma once

#include "automation/DefinitionService.h"
#include "automation/FlowFile.h"
#include "automation/FrontMatter.h"
#include "core/records/AutomationFlow.h"

#include <QList>

#include <memory>
#include <optional>

namespace corvane {

// The automation flows: "~/.claude/flows/*.md" for the user and "<project>/.corvane/flows/*.md"
// for each project (no subfolders), mirrored into AutomationFlow records. The builtin flows are
// written into the user's folder whenever they are missing, and never over a file that is there.
class AutomationFlowsService : public DefinitionService
{
    Q_OBJECT

public:
    AutomationFlowsService(std::shared_ptr<Store> store, QObject *parent = nullptr);

    static QString userFolder();
    static QString projectFolder(const QString &projectPath);
    static QString alreadyExistsMessage(const QString &name);
    // Writes each builtin flow whose file is missing; errors are only logged.
    static void installBuiltins();

    // Sorted by name.
    const QList<std::shared_ptr<AutomationFlow>> &flows() const { return m_flows; }

    // Writes the new-flow template as "<name>.md" and rescans; the file's path.
    Result<QString> createFlow(const QString &name, const DefinitionLocation &location);
    // Writes the file from `edited` (its filePath is ignored). A name that differs from the file's
    // stem moves the file to "<name>.md" first, refused when that file exists. The record follows.
    Status saveFlow(const std::shared_ptr<AutomationFlow> &flow, ScannedFlow edited);
    // A copy beside the original, as "<stem>-copy.md" (then "-copy-2", ...) and named so.
    Result<QString> cloneFlow(const std::shared_ptr<AutomationFlow> &flow);
    Status deleteFlow(const std::shared_ptr<AutomationFlow> &flow);
    // The flow's file as it is now, or none when it cannot be read.
    std::optional<ScannedFlow> readFlowFile(const std::shared_ptr<AutomationFlow> &flow) const;

protected:
    ScanJob scanJob(const QStringList &projectPaths) override;
    Status publish() override;

private:
    QList<std::shared_ptr<AutomationFlow>> m_flows;
};

// The record's fields as read from a file.
void applyScannedFlow(AutomationFlow &record, const ScannedFlow &flow);
// The record's fields as the editor starts from them.
ScannedFlow scannedFlowOf(const AutomationFlow &record);

} // namespace corvane
