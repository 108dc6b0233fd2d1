# The first-run checklist: what Corvane needs on the machine, checked and put right.
target_sources(corvane_accounts PRIVATE
    onboarding/OnboardingChecklistItem.h onboarding/OnboardingChecklistItem.cpp
    onboarding/OnboardingShell.h onboarding/OnboardingShell.cpp
    onboarding/DesktopServices.h onboarding/DesktopServices.cpp
    onboarding/OnboardingValidator.h onboarding/OnboardingValidator.cpp
    onboarding/OnboardingChecklistViewModel.h onboarding/OnboardingChecklistViewModel.cpp)
target_link_libraries(corvane_accounts PUBLIC Qt6::Concurrent Qt6::DBus Qt6::Gui Qt6::Multimedia)
