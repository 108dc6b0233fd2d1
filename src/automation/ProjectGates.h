#pragma once

#include "core/Result.h"
#include "core/records/QualityGate.h"

#include <QList>
#include <QUuid>

#include <memory>

namespace corvane {

class StoreContext;

// A project's quality gates as the user edits them: the list in its order, checked and saved as
// a whole by the window's editor. `corvane-cli gate add` reads the list and the default feedback
// from here too.
namespace projectgates {

// What a failed gate tells the coordinator unless the user writes their own.
QString defaultFeedback();

// The project's gates by their order.
QList<std::shared_ptr<QualityGate>> of(StoreContext &context, const QUuid &projectId);

// Why the list cannot be saved, naming the first gate at fault: an empty name or command, two
// gates of one name, a negative time-out.
Status check(const QList<QualityGate> &gates);

// Makes the project's gates the list: gates no longer in it are deleted, the others written, and
// the order renumbered 0..n as listed. Checked first; nothing is written when the check fails.
Status save(StoreContext &context, const QUuid &projectId, QList<QualityGate> gates);

} // namespace projectgates
} // namespace corvane
