#pragma once

#include "core/records/Enums.h"

namespace corvane {

enum class AppearanceMode { system, light, dark };
// `automatic` is saved as "auto"; `auto` itself is a C++ keyword.
enum class TerminalAppearanceMode { automatic, light, dark };
// Saved as the number of days; never is 0.
enum class ArchiveRetention { never = 0, thirtyDays = 30, sixtyDays = 60, ninetyDays = 90 };

CORVANE_ENUM_CODEC(AppearanceMode, system, "system", "light", "dark")
CORVANE_ENUM_CODEC(TerminalAppearanceMode, automatic, "auto", "light", "dark")

} // namespace corvane
