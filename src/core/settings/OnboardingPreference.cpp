#include "core/settings/OnboardingPreference.h"

#include "core/settings/PreferencesStore.h"

namespace corvane {

bool shouldShowOnboarding(const PreferencesStore &store)
{
    // Only an explicit false switches it off; a missing switch means onboarding is on.
    if (store.contains(onboardingKey::onboardingEnabled)
        && !store.boolean(onboardingKey::onboardingEnabled))
        return false;
    return !store.boolean(onboardingKey::hasCompletedOnboarding, false);
}

} // namespace corvane
