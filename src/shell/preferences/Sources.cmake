# The Preferences window and its pages.
target_sources(corvane_shell PRIVATE
    preferences/PreferencesWindow.h preferences/PreferencesWindow.cpp
    preferences/SourceControlPage.h preferences/SourceControlPage.cpp
    preferences/AccountSheets.h preferences/AccountSheets.cpp
    preferences/GitSettingsDialog.h preferences/GitSettingsDialog.cpp
    preferences/PageParts.h preferences/PageParts.cpp
    preferences/GeneralPage.h preferences/GeneralPage.cpp
    preferences/AppearancePage.h preferences/AppearancePage.cpp
    preferences/ModelsPage.h preferences/ModelsPage.cpp
    preferences/ToolsPage.h preferences/ToolsPage.cpp
    preferences/ShortcutRecorder.h preferences/ShortcutRecorder.cpp
    preferences/ShortcutsPage.h preferences/ShortcutsPage.cpp
    preferences/ArchivedRecordsPage.h preferences/ArchivedRecordsPage.cpp
    preferences/ArchivedChatsPage.h preferences/ArchivedChatsPage.cpp
    preferences/ArchivedWorkspacesPage.h preferences/ArchivedWorkspacesPage.cpp
    preferences/UpdatesPage.h preferences/UpdatesPage.cpp
    preferences/ProfilesPage.h preferences/ProfilesPage.cpp preferences/ProfileCard.h preferences/ProfileCard.cpp)
