#pragma once

#include "source_control/overview/HygieneTypes.h"

#include <QDateTime>

namespace corvane::hygiene {

// Figures younger than this are not measured again when the page is shown again.
inline constexpr qint64 freshnessSeconds = 600;
// Branches whose tip is older than this count as stale.
inline constexpr int staleAfterDays = 90;

// "12M" -> 12582912. Absent for an empty text, "...", or a number that does not parse. The last
// character is the unit (K, M, G, T in powers of 1024); any other leaves the number as it is.
std::optional<qint64> diskUsageBytes(const QString &text);

HygieneColor diskUsageColor(const std::optional<QString> &text);
HygieneColor stashColor(std::optional<qint64> count);
HygieneColor uncommittedColor(std::optional<qint64> count);
HygieneColor staleBranchColor(std::optional<qint64> count);
HygieneColor lingeringColor(std::optional<qint64> count);
HygieneColor outdatedColor(std::optional<qint64> count);
// A worktree nobody works in is worth a look, never an alarm.
HygieneColor orphanWorktreeColor(std::optional<qint64> count);

// Red if any is red, else yellow if any is yellow, else green.
HygieneColor summary(const QList<HygieneColor> &colors);
// "Good", "Fair", "Poor"; "..." before the first measurement.
QString healthWord(std::optional<HygieneColor> summaryColor);
QString colorName(HygieneColor color);

bool isFresh(const std::optional<QDateTime> &checkedAt, const QDateTime &now);

} // namespace corvane::hygiene
