#pragma once

#include "core/records/Enums.h"

#include <QString>
#include <QStringList>

namespace corvane {

// What an agent reports about its session when it starts one (or resumes one).
struct AgentSessionInfo
{
    QString sessionId;
    QString model;
    QStringList tools;
    QString version;
    AgentType agentType = AgentType::claudeCode;

    bool operator==(const AgentSessionInfo &) const = default;
};

} // namespace corvane
