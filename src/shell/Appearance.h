#pragma once

#include "core/settings/SettingsEnums.h"

namespace corvane {

// Applies the chosen look to the whole application: light, dark, or the desktop's own.
void applyAppearance(AppearanceMode mode);

} // namespace corvane
