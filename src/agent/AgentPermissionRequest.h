#pragma once

#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariantMap>

#include <optional>

namespace corvane {

// The agent asks before running a tool. `requestId` is what the answer must quote.
struct AgentPermissionRequest
{
    QString requestId;
    QString toolName;
    QVariantMap toolInput;
    QString toolUseId;
    std::optional<QString> reason;
    std::optional<QList<QVariantMap>> suggestions;
    std::optional<QString> description;

    bool operator==(const AgentPermissionRequest &) const = default;
};

} // namespace corvane

Q_DECLARE_METATYPE(corvane::AgentPermissionRequest)
