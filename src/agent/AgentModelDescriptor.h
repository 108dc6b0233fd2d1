#pragma once

#include "core/records/Enums.h"

#include <QString>

namespace corvane {

// One entry of the model catalogue. `id` is "claude:" or "codex:" followed by `cliFlag`, the
// value handed to the tool's --model.
struct AgentModelDescriptor
{
    QString id;
    QString displayName;
    QString cliFlag;
    AgentType agentType = AgentType::claudeCode;
    QString iconName;
    bool isCurrentGeneration = false;
    QString providerLabel;

    bool operator==(const AgentModelDescriptor &) const = default;
};

} // namespace corvane
