#pragma once

#include "core/records/Enums.h"
#include "core/store/RecordTraits.h"

#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// One pass of the coordinator, from the prompt that starts it to the next one.
struct AutomationIteration
{
    QUuid id = QUuid::createUuid();
    std::optional<QUuid> runId;
    qint64 number = 1;
    QString triggerReasonRaw = QStringLiteral("initial");
    std::optional<QString> triggerNote;
    std::optional<QString> summary;
    QDateTime startedAt = QDateTime::currentDateTime();
    std::optional<QDateTime> finishedAt;

    AutomationTriggerReason triggerReason() const { return fromRaw<AutomationTriggerReason>(triggerReasonRaw); }
};

template <>
struct store::RecordTraits<AutomationIteration>
{
    static constexpr const char *entity = "AutomationIteration";
    static const auto &columns()
    {
        using R = AutomationIteration;
        static const auto c = std::make_tuple(
            column("id", &R::id), column("runId", &R::runId), column("number", &R::number),
            column("triggerReasonRaw", &R::triggerReasonRaw), column("triggerNote", &R::triggerNote),
            column("summary", &R::summary), column("startedAt", &R::startedAt), column("finishedAt", &R::finishedAt));
        return c;
    }
};

} // namespace corvane
