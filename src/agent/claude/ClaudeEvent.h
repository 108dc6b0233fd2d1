#pragma once

#include "agent/AgentTypes.h"

#include <QList>
#include <QString>
#include <QVariantMap>

#include <optional>

namespace corvane {

// One thing the claude stream said, decoded; the client forwards these to the session.
struct ClaudeEvent
{
    enum class Kind {
        initialized,        // info
        statusChanged,      // status
        thinkingStarted,
        text,               // text: a delta
        toolStarted,        // name, id, input
        toolResult,         // id, text: the output
        toolProgress,       // name, seconds
        result,             // result, errors
        permissionRequest,  // permission
        question,           // questions, id (request id), input
        cancelRequest,      // id (request id)
    };

    Kind kind = Kind::text;
    QString text;
    QString name;
    QString id;
    QVariantMap input;
    double seconds = 0;
    std::optional<QString> status;
    AgentSessionInfo info;
    AgentResult result;
    QStringList errors;
    AgentPermissionRequest permission;
    QList<AgentQuestion> questions;
};

} // namespace corvane
