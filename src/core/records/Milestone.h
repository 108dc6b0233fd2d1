#pragma once

#include "core/store/RecordTraits.h"

#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// A dated group of cards in one project. Deleting it keeps the cards, without a milestone.
struct Milestone
{
    QUuid id = QUuid::createUuid();
    QString title;
    std::optional<QString> descriptionText;
    std::optional<QDateTime> dueDate;
    QDateTime createdAt = QDateTime::currentDateTime();
    std::optional<QUuid> projectId;
};

template <>
struct store::RecordTraits<Milestone>
{
    static constexpr const char *entity = "Milestone";
    static const auto &columns()
    {
        using R = Milestone;
        static const auto c = std::make_tuple(column("id", &R::id), column("title", &R::title),
                                              column("descriptionText", &R::descriptionText),
                                              column("dueDate", &R::dueDate), column("createdAt", &R::createdAt),
                                              column("projectId", &R::projectId));
        return c;
    }
};

// "3/7": cards whose raw status is exactly "done", over all cards of the milestone.
QString milestoneProgressText(int doneCount, int totalCount);

} // namespace corvane
