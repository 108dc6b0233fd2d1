#pragma once

#include "core/records/Enums.h"

#include <QList>
#include <QString>

#include <optional>

namespace corvane {

// What a coordinator tells its run, each on a line of its own in a finished turn:
//   [CORVANE:READY_FOR_VALIDATION]              the work is done: run the quality gates
//   [CORVANE:REVIEW_VERDICT=approved]           also needs_changes (needschanges) and rejected, any case
//   [CORVANE:REVIEW_FEEDBACK=one line]          feedback for the next verdict
//   [CORVANE:REVIEW_FEEDBACK_BEGIN] ... [CORVANE:REVIEW_FEEDBACK_END]   feedback of many lines
// A marker must fill its line (blanks around it aside): one quoted inside a sentence is no marker.
struct CoordinatorSignal
{
    enum class Kind { reviewVerdict, readyForValidation };
    Kind kind = Kind::readyForValidation;
    ReviewVerdict verdict = ReviewVerdict::approved;
    std::optional<QString> feedback;

    bool operator==(const CoordinatorSignal &) const = default;
};

namespace markers {

inline const QString Prefix = QStringLiteral("[CORVANE:");

// The signals of a turn's text, in the order of their lines.
QList<CoordinatorSignal> parseSignals(const QString &text);

// The text a reader sees: marker lines and fenced feedback gone, blank runs collapsed. A message
// of nothing but markers shows the last one's caption ("_Implementation complete — running
// quality gates._"). The stored message keeps the raw text.
QString stripAutomationMarkers(const QString &text);

} // namespace markers
} // namespace corvane
