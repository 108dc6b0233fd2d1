#include "automation/CoordinatorMarkers.h"

#include <QRegularExpression>

namespace corvane::markers {

namespace {

const QString FeedbackBegin = QStringLiteral("[CORVANE:REVIEW_FEEDBACK_BEGIN]");
const QString FeedbackEnd = QStringLiteral("[CORVANE:REVIEW_FEEDBACK_END]");

bool isBlank(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t');
}

QString trimBlanks(const QString &text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isBlank(text.at(begin)))
        ++begin;
    while (end > begin && isBlank(text.at(end - 1)))
        --end;
    return text.mid(begin, end - begin);
}

bool isMarkerLine(const QString &trimmed)
{
    return trimmed.startsWith(Prefix) && trimmed.endsWith(QLatin1Char(']'));
}

std::optional<ReviewVerdict> verdictOf(const QString &value)
{
    const QString v = value.toLower();
    if (v == QLatin1String("approved"))
        return ReviewVerdict::approved;
    if (v == QLatin1String("needs_changes") || v == QLatin1String("needschanges"))
        return ReviewVerdict::needsChanges;
    if (v == QLatin1String("rejected"))
        return ReviewVerdict::rejected;
    return std::nullopt;
}

QString captionOf(const QString &marker)
{
    if (marker == QLatin1String("[CORVANE:READY_FOR_VALIDATION]"))
        return QStringLiteral("_Implementation complete \u2014 running quality gates._");
    if (marker == QLatin1String("[CORVANE:REVIEW_VERDICT=approved]"))
        return QStringLiteral("_Reviewer approved \u2014 awaiting your final decision in the inspector._");
    if (marker == QLatin1String("[CORVANE:REVIEW_VERDICT=needs_changes]"))
        return QStringLiteral("_Reviewer requested changes \u2014 coordinator will iterate._");
    if (marker == QLatin1String("[CORVANE:REVIEW_VERDICT=rejected]"))
        return QStringLiteral("_Reviewer rejected the changes._");
    return {};
}

} // namespace

QList<CoordinatorSignal> parseSignals(const QString &text)
{
    QList<CoordinatorSignal> found;
    if (!text.contains(Prefix))
        return found;
    // A fenced block serves the first verdict, wherever in the text it stands.
    std::optional<QString> feedback;
    const qsizetype begin = text.indexOf(FeedbackBegin);
    if (begin >= 0) {
        const qsizetype from = begin + FeedbackBegin.size();
        const qsizetype end = text.indexOf(FeedbackEnd, from);
        if (end >= 0)
            feedback = text.mid(from, end - from).trimmed();
    }
    static const QRegularExpression lineBreaks(QStringLiteral("\r\n|[\n\r\u0085\u2028\u2029\v\f]"));
    for (const QString &line : text.split(lineBreaks)) {
        const QString trimmed = trimBlanks(line);
        if (!isMarkerLine(trimmed))
            continue;
        const QString body = trimmed.mid(Prefix.size(), trimmed.size() - Prefix.size() - 1);
        if (body == QLatin1String("READY_FOR_VALIDATION")) {
            found.append({CoordinatorSignal::Kind::readyForValidation, ReviewVerdict::approved, std::nullopt});
        } else if (body.startsWith(QLatin1String("REVIEW_FEEDBACK="))) {
            feedback = body.mid(16);
        } else if (body.startsWith(QLatin1String("REVIEW_VERDICT="))) {
            if (const auto verdict = verdictOf(body.mid(15))) {
                found.append({CoordinatorSignal::Kind::reviewVerdict, *verdict, feedback});
                feedback.reset();
            }
        }
    }
    return found;
}

QString stripAutomationMarkers(const QString &text)
{
    if (!text.contains(Prefix))
        return text;
    QStringList kept;
    QString lastMarker;
    bool insideFence = false;
    for (const QString &line : text.split(QLatin1Char('\n'))) {
        const QString trimmed = trimBlanks(line);
        if (insideFence) {
            insideFence = trimmed != FeedbackEnd;
        } else if (trimmed == FeedbackBegin) {
            insideFence = true;
        } else if (isMarkerLine(trimmed)) {
            lastMarker = trimmed;
        } else {
            kept.append(line);
        }
    }
    // Blank runs become one blank line; none at either end.
    QStringList shown;
    for (const QString &line : std::as_const(kept)) {
        const bool blank = trimBlanks(line).isEmpty();
        if (blank && (shown.isEmpty() || trimBlanks(shown.last()).isEmpty()))
            continue;
        shown.append(line);
    }
    while (!shown.isEmpty() && trimBlanks(shown.last()).isEmpty())
        shown.removeLast();
    if (!shown.isEmpty())
        return shown.join(QLatin1Char('\n'));
    return lastMarker.isEmpty() ? QString() : captionOf(lastMarker);
}

} // namespace corvane::markers
