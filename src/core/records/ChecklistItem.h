#pragma once

#include "core/store/RecordTraits.h"

#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// One step of a card's checklist.
struct ChecklistItem
{
    QUuid id = QUuid::createUuid();
    QString title;
    bool isCompleted = false;
    qint64 sortOrder = 0;
    QDateTime createdAt = QDateTime::currentDateTime();
    std::optional<QUuid> issueId;
};

template <>
struct store::RecordTraits<ChecklistItem>
{
    static constexpr const char *entity = "ChecklistItem";
    static const auto &columns()
    {
        using R = ChecklistItem;
        static const auto c = std::make_tuple(column("id", &R::id), column("title", &R::title),
                                              column("isCompleted", &R::isCompleted), column("sortOrder", &R::sortOrder),
                                              column("createdAt", &R::createdAt), column("issueId", &R::issueId));
        return c;
    }
};

} // namespace corvane
