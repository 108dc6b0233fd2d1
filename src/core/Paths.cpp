#include "core/Paths.h"

#include <QStandardPaths>

namespace corvane::paths {

QString dataRoot()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Corvane");
}

QString configRoot()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/Corvane");
}

QString storeFile()
{
    return dataRoot() + QStringLiteral("/Corvane.store");
}

QString settingsFile()
{
    return configRoot() + QStringLiteral("/settings.json");
}

QString worktreesRoot()
{
    return dataRoot() + QStringLiteral("/worktrees");
}

QString profilesRoot()
{
    return dataRoot() + QStringLiteral("/Profiles");
}

} // namespace corvane::paths
