#include "source_control/overview/HygieneRules.h"

namespace corvane::hygiene {

namespace {

// Green up to `greenMax`, yellow up to `yellowMax`, red above; absent is green.
HygieneColor banded(std::optional<qint64> value, qint64 greenMax, qint64 yellowMax)
{
    if (!value || *value <= greenMax)
        return HygieneColor::green;
    return *value <= yellowMax ? HygieneColor::yellow : HygieneColor::red;
}

} // namespace

std::optional<qint64> diskUsageBytes(const QString &text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty() || trimmed == QLatin1String("..."))
        return std::nullopt;
    const QChar unit = trimmed.back();
    double factor = 1;
    switch (unit.unicode()) {
    case 'K': factor = 1024.0; break;
    case 'M': factor = 1024.0 * 1024; break;
    case 'G': factor = 1024.0 * 1024 * 1024; break;
    case 'T': factor = 1024.0 * 1024 * 1024 * 1024; break;
    default: break;
    }
    // A bare number ("0" for an empty folder) has no unit to cut off.
    bool ok = false;
    const double number = (unit.isDigit() ? trimmed : trimmed.chopped(1)).toDouble(&ok);
    if (!ok)
        return std::nullopt;
    return qint64(number * factor);
}

HygieneColor diskUsageColor(const std::optional<QString> &text)
{
    return banded(text ? diskUsageBytes(*text) : std::nullopt, 100LL * 1024 * 1024, 1024LL * 1024 * 1024);
}

HygieneColor stashColor(std::optional<qint64> count) { return banded(count, 0, 3); }
HygieneColor uncommittedColor(std::optional<qint64> count) { return banded(count, 0, 5); }
HygieneColor staleBranchColor(std::optional<qint64> count) { return banded(count, 0, 3); }
HygieneColor lingeringColor(std::optional<qint64> count) { return banded(count, 0, 0); }
HygieneColor outdatedColor(std::optional<qint64> count) { return banded(count, 0, 5); }
HygieneColor orphanWorktreeColor(std::optional<qint64> count)
{
    return count && *count > 0 ? HygieneColor::yellow : HygieneColor::green;
}

HygieneColor summary(const QList<HygieneColor> &colors)
{
    if (colors.contains(HygieneColor::red))
        return HygieneColor::red;
    return colors.contains(HygieneColor::yellow) ? HygieneColor::yellow : HygieneColor::green;
}

QString healthWord(std::optional<HygieneColor> summaryColor)
{
    if (!summaryColor)
        return QStringLiteral("...");
    switch (*summaryColor) {
    case HygieneColor::green: return QStringLiteral("Good");
    case HygieneColor::yellow: return QStringLiteral("Fair");
    case HygieneColor::red: return QStringLiteral("Poor");
    }
    return {};
}

QString colorName(HygieneColor color)
{
    switch (color) {
    case HygieneColor::green: return QStringLiteral("green");
    case HygieneColor::yellow: return QStringLiteral("yellow");
    case HygieneColor::red: return QStringLiteral("red");
    }
    return {};
}

bool isFresh(const std::optional<QDateTime> &checkedAt, const QDateTime &now)
{
    return checkedAt && checkedAt->secsTo(now) < freshnessSeconds && checkedAt->secsTo(now) >= 0;
}

} // namespace corvane::hygiene
