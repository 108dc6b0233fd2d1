#pragma once

#include <QString>

namespace corvane {

class PreferencesStore;

namespace onboardingKey {
// A switch for developers and managed machines: false never shows onboarding.
inline const QString onboardingEnabled = QStringLiteral("onboardingEnabled");
// Set once the user has finished the onboarding checklist.
inline const QString hasCompletedOnboarding = QStringLiteral("hasCompletedOnboarding");
} // namespace onboardingKey

// Whether start-up opens onboarding instead of a main window. Takes the store rather than
// AppSettings so start-up can ask before anything else is built.
bool shouldShowOnboarding(const PreferencesStore &store);

} // namespace corvane
