target_sources(corvane_core PRIVATE
    settings/PreferencesStore.h settings/PreferencesStore.cpp
    settings/KeyCombo.h settings/KeyCombo.cpp
    settings/KeyboardShortcutAction.h settings/KeyboardShortcutAction.cpp
    settings/SettingsEnums.h
    settings/OnboardingPreference.h settings/OnboardingPreference.cpp
    settings/AppSettings.h settings/AppSettings.cpp)
