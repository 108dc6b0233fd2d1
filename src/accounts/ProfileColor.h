#pragma once

#include "core/records/Enums.h"

#include <QList>
#include <QString>

#include <optional>

namespace corvane {

// The colour picker's order.
QList<ProfileColor> allProfileColors();
// By hex ("#0a84ff" too) or by name ("blue"); absent for anything else.
std::optional<ProfileColor> profileColorFromText(const QString &text);

} // namespace corvane
