#pragma once

#include "core/store/RecordTraits.h"

#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// One shell check of a project, run through /bin/sh -c.
struct QualityGate
{
    QUuid id = QUuid::createUuid();
    std::optional<QUuid> projectId;
    QString name;
    QString command;
    std::optional<QString> workingDirOverride;
    qint64 successExitCode = 0;
    qint64 timeoutSeconds = 0;
    bool isRequired = true;
    qint64 order = 0;
    QString feedbackTemplate;
    bool isEnabled = true;
    QDateTime createdAt = QDateTime::currentDateTime();
    QDateTime updatedAt = QDateTime::currentDateTime();
};

template <>
struct store::RecordTraits<QualityGate>
{
    static constexpr const char *entity = "QualityGate";
    static const auto &columns()
    {
        using R = QualityGate;
        static const auto c = std::make_tuple(
            column("id", &R::id), column("projectId", &R::projectId), column("name", &R::name),
            column("command", &R::command), column("workingDirOverride", &R::workingDirOverride),
            column("successExitCode", &R::successExitCode), column("timeoutSeconds", &R::timeoutSeconds),
            column("isRequired", &R::isRequired), column("order", &R::order),
            column("feedbackTemplate", &R::feedbackTemplate), column("isEnabled", &R::isEnabled),
            column("createdAt", &R::createdAt), column("updatedAt", &R::updatedAt));
        return c;
    }
};

} // namespace corvane
