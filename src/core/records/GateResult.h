#pragma once

#include "core/store/RecordTraits.h"

#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// The outcome of one gate in one validation.
struct GateResult
{
    QUuid id = QUuid::createUuid();
    std::optional<QUuid> runId;
    QString gateName;
    qint64 iterationNumber = 1;
    bool passed = false;
    qint64 exitCode = 0;
    double durationSeconds = 0;
    QString outputTail;
    QDateTime ranAt = QDateTime::currentDateTime();
};

template <>
struct store::RecordTraits<GateResult>
{
    static constexpr const char *entity = "GateResult";
    static const auto &columns()
    {
        using R = GateResult;
        static const auto c = std::make_tuple(
            column("id", &R::id), column("runId", &R::runId), column("gateName", &R::gateName),
            column("iterationNumber", &R::iterationNumber), column("passed", &R::passed),
            column("exitCode", &R::exitCode), column("durationSeconds", &R::durationSeconds),
            column("outputTail", &R::outputTail), column("ranAt", &R::ranAt));
        return c;
    }
};

} // namespace corvane
