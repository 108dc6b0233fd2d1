#include "core/window/PreferencesTab.h"

namespace corvane {

const std::array<PreferencesTab, 10> &allPreferencesTabs()
{
    static const std::array<PreferencesTab, 10> tabs{
        PreferencesTab::general,       PreferencesTab::appearance, PreferencesTab::profiles,
        PreferencesTab::models,        PreferencesTab::sourceControl, PreferencesTab::tools,
        PreferencesTab::shortcuts,     PreferencesTab::archivedChats, PreferencesTab::archivedWorkspaces,
        PreferencesTab::updates,
    };
    return tabs;
}

QString title(PreferencesTab tab)
{
    static const std::array<const char *, 10> titles{
        "General", "Appearance", "Profiles", "Models", "Source Control",
        "Tools",   "Shortcuts",  "Archived Chats", "Archived Workspaces", "Updates"};
    return QString::fromLatin1(titles[std::size_t(tab)]);
}

} // namespace corvane
