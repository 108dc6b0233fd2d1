# The Preferences window and its pages.
target_sources(corvane_shell PRIVATE
    preferences/PreferencesWindow.h preferences/PreferencesWindow.cpp
    preferences/SourceControlPage.h preferences/SourceControlPage.cpp
    preferences/AccountSheets.h preferences/AccountSheets.cpp
    preferences/GitSettingsDialog.h preferences/GitSettingsDialog.cpp
    preferences/ProfilesPage.h preferences/ProfilesPage.cpp preferences/ProfileCard.h preferences/ProfileCard.cpp)
