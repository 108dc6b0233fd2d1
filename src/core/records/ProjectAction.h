#pragma once

#include "core/store/RecordTraits.h"

#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// A toolbar shortcut that runs its script in a terminal of the workspace.
struct ProjectAction
{
    QUuid id = QUuid::createUuid();
    QString name;
    QString symbolName;
    QString script;
    qint64 sortOrder = 0;
    std::optional<QUuid> projectId;
};

template <>
struct store::RecordTraits<ProjectAction>
{
    static constexpr const char *entity = "ProjectAction";
    static const auto &columns()
    {
        using R = ProjectAction;
        static const auto c = std::make_tuple(column("id", &R::id), column("name", &R::name),
                                              column("symbolName", &R::symbolName), column("script", &R::script),
                                              column("sortOrder", &R::sortOrder), column("projectId", &R::projectId));
        return c;
    }
};

} // namespace corvane
