#pragma once

#include <QString>

namespace corvane {

// Where Corvane keeps its files, following the XDG folders (so XDG_DATA_HOME and XDG_CONFIG_HOME
// isolate a test or a second user completely).
namespace paths {

// $XDG_DATA_HOME/Corvane: the store, worktrees and profiles.
QString dataRoot();
// $XDG_CONFIG_HOME/Corvane: the preferences.
QString configRoot();
QString storeFile();
QString settingsFile();
QString worktreesRoot();
QString profilesRoot();

} // namespace paths
} // namespace corvane
