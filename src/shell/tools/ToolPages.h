#pragma once

#include <QString>

class QWidget;

namespace corvane {

class AgentDefinitionsService;
class AutomationFlowsService;
class SkillsService;
class StoreContext;

// The services behind the definition tools, one set for the whole application.
struct DefinitionServices
{
    AutomationFlowsService &flows;
    AgentDefinitionsService &agents;
    SkillsService &skills;
};

// The page of the tool "flows", "agents" or "skills", or null for a tool without one yet.
QWidget *makeToolPage(const QString &toolId, DefinitionServices &services, StoreContext &context, QWidget *parent);
// Shows the page again: the definition tools rescan their folders.
void refreshToolPage(QWidget *page);

} // namespace corvane
