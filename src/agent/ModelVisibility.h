#pragma once

#include "core/records/Enums.h"

#include <QSet>
#include <QString>

#include <optional>

namespace corvane {

// The name of an agent as the model settings show it: "Claude", "Codex".
QString agentTitle(AgentType type);

// Why the model `id` may not be hidden while `hiddenIds` are: a chat with that agent would have
// no model left to pick. Nothing when hiding it is fine (or it is already hidden, or unknown).
std::optional<QString> refusalToHideModel(const QString &id, const QSet<QString> &hiddenIds);

} // namespace corvane
