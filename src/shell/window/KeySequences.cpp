#include "shell/window/KeySequences.h"

namespace corvane {

QKeySequence keySequence(const KeyCombo &combo)
{
    // The display string is written in Qt's portable key names ("Ctrl+Shift+T", "Esc", "F11").
    return QKeySequence::fromString(combo.displayString(), QKeySequence::PortableText);
}

} // namespace corvane
