#pragma once

#include <QMetaType>
#include <QString>
#include <QVariantMap>

#include <optional>

namespace corvane {

// How a turn ended, as the agent reported it.
struct AgentResult
{
    QString text;
    double cost = 0; // US dollars; claude reports the running total of its process
    bool isError = false;
    QString subtype;
    double durationMs = 0;
    qint64 numTurns = 0;
    std::optional<QVariantMap> usage;
    // Agent-specific extras under fixed keys: "modelUsage" (map), "errors" (list of text),
    // "permissionDenials" (list of maps).
    QVariantMap extra;

    bool operator==(const AgentResult &) const = default;
};

} // namespace corvane

Q_DECLARE_METATYPE(corvane::AgentResult)
