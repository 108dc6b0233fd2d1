#pragma once

#include "core/settings/KeyCombo.h"

#include <QKeySequence>

namespace corvane {

// The Qt key sequence of a combination: Command is Ctrl, Option Alt, Control Meta.
QKeySequence keySequence(const KeyCombo &combo);

} // namespace corvane
