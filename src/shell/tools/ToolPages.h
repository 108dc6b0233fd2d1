#pragma once

#include <QString>

#include <QUuid>

#include <functional>
#include <memory>

class QWidget;

namespace corvane {

class AgentDefinitionsService;
class AutomationFlowsService;
class PlannerService;
class SkillsService;
class NotificationCenter;
class Store;
class StoreContext;
class TerminalService;

// The services behind the tool pages, one set for the whole application.
struct ToolServices
{
    AutomationFlowsService &flows;
    AgentDefinitionsService &agents;
    SkillsService &skills;
    PlannerService *planner = nullptr;
    TerminalService *terminals = nullptr;
    // The Pulse tool reads the store on workers and follows the broadcasts.
    std::shared_ptr<Store> store;
    NotificationCenter *center = nullptr;
    // Whether a chat's agent is running now, for Pulse's rows; none shows no chat as running.
    std::function<bool(const QUuid &chatId)> isChatRunning = {};
};

// The page of the tool "flows", "agents", "skills", "planner" or "ports", or null for a tool without
// one yet.
QWidget *makeToolPage(const QString &toolId, ToolServices &services, StoreContext &context, QWidget *parent);
// Shows the page again: the definition tools rescan their folders.
void refreshToolPage(QWidget *page);

} // namespace corvane
