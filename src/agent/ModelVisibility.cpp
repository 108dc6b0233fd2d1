#include "agent/ModelVisibility.h"

#include "agent/AgentModelCatalogue.h"

namespace corvane {

QString agentTitle(AgentType type)
{
    return type == AgentType::codex ? QStringLiteral("Codex") : QStringLiteral("Claude");
}

std::optional<QString> refusalToHideModel(const QString &id, const QSet<QString> &hiddenIds)
{
    const auto model = AgentModelCatalogue::byId(id);
    if (!model || hiddenIds.contains(id))
        return std::nullopt;
    for (const AgentModelDescriptor &other : AgentModelCatalogue::forAgentType(model->agentType))
        if (other.id != id && !hiddenIds.contains(other.id))
            return std::nullopt;
    return QStringLiteral("%1 is the last visible %2 model. At least one must stay visible, "
                          "or new %2 chats would have no model to pick.")
        .arg(model->displayName, agentTitle(model->agentType));
}

} // namespace corvane
