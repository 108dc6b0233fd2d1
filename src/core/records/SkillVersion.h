#pragma once

#include "core/store/RecordTraits.h"

#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// One snapshot of a skill's files: file name to whole content.
struct SkillVersion
{
    QUuid id = QUuid::createUuid();
    qint64 versionNumber = 1;
    store::StringMap files;
    QDateTime createdAt = QDateTime::currentDateTime();
    std::optional<QString> label;
    std::optional<QUuid> skillId;
};

template <>
struct store::RecordTraits<SkillVersion>
{
    static constexpr const char *entity = "SkillVersion";
    static const auto &columns()
    {
        using R = SkillVersion;
        static const auto c = std::make_tuple(column("id", &R::id), column("versionNumber", &R::versionNumber),
                                              column("files", &R::files), column("createdAt", &R::createdAt),
                                              column("label", &R::label), column("skillId", &R::skillId));
        return c;
    }
};

} // namespace corvane
