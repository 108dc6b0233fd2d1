#pragma once

#include "core/store/RecordTraits.h"

#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// A coloured tag, created for a project and belonging to the card it was created on.
struct IssueLabel
{
    QUuid id = QUuid::createUuid();
    QString name;
    QString colorHex;
    std::optional<QUuid> projectId;
    std::optional<QUuid> issueId;
};

template <>
struct store::RecordTraits<IssueLabel>
{
    static constexpr const char *entity = "IssueLabel";
    static const auto &columns()
    {
        using R = IssueLabel;
        static const auto c = std::make_tuple(column("id", &R::id), column("name", &R::name),
                                              column("colorHex", &R::colorHex), column("projectId", &R::projectId),
                                              column("issueId", &R::issueId));
        return c;
    }
};

} // namespace corvane
