#include "core/records/Skill.h"

#include <QFileInfo>

namespace corvane {

bool Skill::isDirectoryBased() const
{
    return QFileInfo(filePath).fileName() == QLatin1String("SKILL.md");
}

std::optional<QString> Skill::directoryPath() const
{
    if (!isDirectoryBased())
        return std::nullopt;
    return QFileInfo(filePath).path();
}

} // namespace corvane
