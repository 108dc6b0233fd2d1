#pragma once

#include "agent/AgentModelDescriptor.h"

#include <QList>
#include <QSet>
#include <QString>

#include <optional>

namespace corvane {

// The fixed list of models the user can pick, Claude entries first.
struct AgentModelCatalogue
{
    static const QList<AgentModelDescriptor> &all();
    // The models of one agent, in catalogue order.
    static QList<AgentModelDescriptor> forAgentType(AgentType type);
    static std::optional<AgentModelDescriptor> byId(const QString &id);
    // What the model picker offers: claude's models, then codex's, each agent's current
    // generation first, without the ones the user hid.
    static QList<AgentModelDescriptor> pickerOrder(const QSet<QString> &hiddenIds);
};

} // namespace corvane
