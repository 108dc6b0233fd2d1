#pragma once

#include "core/records/Enums.h"
#include "core/store/RecordTraits.h"

#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// One execution of a flow for one workspace. Its iterations and gate results go with it.
struct AutomationRun
{
    QUuid id = QUuid::createUuid();
    std::optional<QUuid> workspaceId;
    // The card the run works on, by identifier only, so a run outlives its card.
    std::optional<QUuid> issueId;
    QUuid coordinatorChatId;
    QString flowName;
    QString coordinatorPromptSnapshot;
    qint64 creationModeRaw = 0;
    QString statusRaw = QStringLiteral("planning");
    QString currentPhaseRaw = QStringLiteral("planning");
    qint64 iterationCount = 1;
    qint64 cumulativeTokens = 0;
    double cumulativeCostUSD = 0;
    QDateTime startedAt = QDateTime::currentDateTime();
    std::optional<QDateTime> finishedAt;
    std::optional<QString> reviewVerdictRaw;
    std::optional<QString> failureReason;

    AutomationRunStatus status() const { return fromRaw<AutomationRunStatus>(statusRaw); }
    void setStatus(AutomationRunStatus value) { statusRaw = toRaw(value); }
    AutomationRunPhase currentPhase() const { return fromRaw<AutomationRunPhase>(currentPhaseRaw); }
    void setCurrentPhase(AutomationRunPhase value) { currentPhaseRaw = toRaw(value); }
    std::optional<ReviewVerdict> reviewVerdict() const
    {
        return reviewVerdictRaw ? store::EnumCodec<ReviewVerdict>::tryFromRaw(*reviewVerdictRaw) : std::nullopt;
    }
    // Closed runs no longer drive their coordinator: awaiting review, blocked, done or failed.
    bool isClosed() const;
    // A new run starts validating when its flow skips implementation, else planning.
    static QString initialStatusRaw(bool skipImplementationPhase)
    {
        return skipImplementationPhase ? QStringLiteral("validating") : QStringLiteral("planning");
    }
};

template <>
struct store::RecordTraits<AutomationRun>
{
    static constexpr const char *entity = "AutomationRun";
    static const auto &columns()
    {
        using R = AutomationRun;
        static const auto c = std::make_tuple(
            column("id", &R::id), column("workspaceId", &R::workspaceId), column("issueId", &R::issueId),
            column("coordinatorChatId", &R::coordinatorChatId), column("flowName", &R::flowName),
            column("coordinatorPromptSnapshot", &R::coordinatorPromptSnapshot),
            column("creationModeRaw", &R::creationModeRaw), column("statusRaw", &R::statusRaw),
            column("currentPhaseRaw", &R::currentPhaseRaw), column("iterationCount", &R::iterationCount),
            column("cumulativeTokens", &R::cumulativeTokens), column("cumulativeCostUSD", &R::cumulativeCostUSD),
            column("startedAt", &R::startedAt), column("finishedAt", &R::finishedAt),
            column("reviewVerdictRaw", &R::reviewVerdictRaw), column("failureReason", &R::failureReason));
        return c;
    }
};

} // namespace corvane
