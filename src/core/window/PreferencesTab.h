#pragma once

#include <QString>

#include <array>

namespace corvane {

// The tabs of the Preferences window, in their order; the window opens on `general`.
enum class PreferencesTab {
    general,
    appearance,
    profiles,
    models,
    sourceControl,
    tools,
    shortcuts,
    archivedChats,
    archivedWorkspaces,
    updates,
};

inline constexpr PreferencesTab defaultPreferencesTab = PreferencesTab::general;

const std::array<PreferencesTab, 10> &allPreferencesTabs();
QString title(PreferencesTab tab);

} // namespace corvane
