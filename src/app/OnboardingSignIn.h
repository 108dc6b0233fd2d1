#pragma once

#include "accounts/onboarding/OnboardingValidator.h"

namespace corvane {

class AppSettings;

// How the checklist's sign-in rows show the agent's own login: in the terminal sheet, over the
// active window (else the first visible one), with the command chosen in the settings or the
// one found in the usual places.
OnboardingValidator::SignInOpener onboardingSignInOpener(AppSettings &settings);

} // namespace corvane
