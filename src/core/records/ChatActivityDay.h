#pragma once

#include "core/store/RecordTraits.h"

#include <QDateTime>
#include <QUuid>

#include <optional>

namespace corvane {

// One row per local calendar day on which a chat had activity.
struct ChatActivityDay
{
    QUuid id = QUuid::createUuid();
    QDateTime day;
    std::optional<QUuid> chatId;
};

template <>
struct store::RecordTraits<ChatActivityDay>
{
    static constexpr const char *entity = "ChatActivityDay";
    // A chat has one row per day (a unique index): a second one for the same day is dropped.
    static constexpr bool ignoresDuplicates = true;
    static const auto &columns()
    {
        using R = ChatActivityDay;
        static const auto c = std::make_tuple(column("id", &R::id), column("day", &R::day), column("chatId", &R::chatId));
        return c;
    }
};

// The start of the local calendar day of `date`.
QDateTime startOfLocalDay(const QDateTime &date);

} // namespace corvane
