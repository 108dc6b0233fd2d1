#pragma once

#include "agent/AgentModelDescriptor.h"

#include <QList>
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
};

} // namespace corvane
